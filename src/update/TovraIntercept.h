// The gateway interceptor handed to the host.
#ifndef OSTREL_UPDATE_TOVRAINTERCEPT_H_
#define OSTREL_UPDATE_TOVRAINTERCEPT_H_

#include <string>

#include "ostrel/IOIntercept.h"

namespace Ostrel {

// Each getIntercept makes a new one, releaseIntercept deletes it. It keeps
// nothing but where to relay notices, so an interceptor the host holds across
// a teardown reaches the next engine.
class TovraIntercept final : public IOIntercept {
 public:
  // Takes a gateway response's notice text for the engine of the moment;
  // false when that engine has not finished start-up. Called inside the
  // host call's gate pass.
  using NoticeRelay = bool (*)(std::string notice);

  explicit TovraIntercept(NoticeRelay relay) : relay_(relay) {}
  ~TovraIntercept() override = default;

  void OnOstrelResponse(const char* text) override;
  void FreeValue(char* value) override;

 private:
  const NoticeRelay relay_;
};

}  // namespace Ostrel

#endif  // OSTREL_UPDATE_TOVRAINTERCEPT_H_
