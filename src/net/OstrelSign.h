// The process-wide signing object of the platform.
#ifndef OSTREL_NET_OSTRELSIGN_H_
#define OSTREL_NET_OSTRELSIGN_H_

#include <memory>

#include "net/IOstrelSign.h"

namespace Ostrel {

// Each platform provides its signer through CreatePlatformSign, defined in
// that platform's source file; the accessor below is shared.
class OstrelSign {
 public:
  // Created on first use; never null.
  static IOstrelSign* GetInstance();
  // The instance if it exists; never creates one.
  static IOstrelSign* Peek();
  // Releases the loaded library, then destroys the instance under the
  // accessor's mutex. A later GetInstance creates a fresh, unstarted one.
  static void DestroyInstance();
};

// Defined once per platform.
std::unique_ptr<IOstrelSign> CreatePlatformSign();

}  // namespace Ostrel

#endif  // OSTREL_NET_OSTRELSIGN_H_
