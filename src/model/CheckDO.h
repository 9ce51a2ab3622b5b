// The validation base of the service's documents.
#ifndef OSTREL_MODEL_CHECKDO_H_
#define OSTREL_MODEL_CHECKDO_H_

#include <string>

namespace Ostrel {

// The application a document must be meant for: the app key and app version
// of the init parameters.
struct AppScope {
  std::string appKey;
  std::string appVersion;
};

// A parse only checks the shape of a document; CheckValid checks that its
// content is usable (required fields present, meant for app).
class CheckDO {
 public:
  virtual bool CheckValid(const AppScope& app) const = 0;

  virtual ~CheckDO() = default;

 protected:
  // True when a document of this app key and app version is meant for app;
  // the version "*" means any.
  static bool IsForApp(const AppScope& app, const std::string& appKey,
                       const std::string& appVersion) {
    return (appVersion == "*" || appVersion == app.appVersion) && appKey == app.appKey;
  }
};

}  // namespace Ostrel

#endif  // OSTREL_MODEL_CHECKDO_H_
