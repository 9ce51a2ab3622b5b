// The validation base of the service's documents.
#ifndef OSTREL_MODEL_CHECKDO_H_
#define OSTREL_MODEL_CHECKDO_H_

#include <string>

namespace Ostrel {

// A parse only checks the shape of a document; CheckValid checks that its
// content is usable (required fields present, meant for this application).
class CheckDO {
 public:
  virtual bool CheckValid() const = 0;

  virtual ~CheckDO() = default;

 protected:
  // True when a document of this app key and app version is meant for the
  // application the engine was initialised with; the version "*" means any.
  static bool IsForThisApp(const std::string& appKey, const std::string& appVersion);
};

}  // namespace Ostrel

#endif  // OSTREL_MODEL_CHECKDO_H_
