// The gateway interceptor handed to the host.
#ifndef OSTREL_UPDATE_TOVRAINTERCEPT_H_
#define OSTREL_UPDATE_TOVRAINTERCEPT_H_

#include "ostrel/IOIntercept.h"

namespace Ostrel {

// Stateless: each getIntercept makes a new one, releaseIntercept deletes it.
class TovraIntercept final : public IOIntercept {
 public:
  TovraIntercept() = default;
  ~TovraIntercept() override = default;

  void OnOstrelResponse(const char* text) override;
  void FreeValue(char* value) override;
};

}  // namespace Ostrel

#endif  // OSTREL_UPDATE_TOVRAINTERCEPT_H_
