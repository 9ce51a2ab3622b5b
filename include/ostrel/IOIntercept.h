// Gateway interceptor handed to the host.
#ifndef OSTREL_IOINTERCEPT_H_
#define OSTREL_IOINTERCEPT_H_

namespace Ostrel {

// Created by IOstrelConfig::getIntercept and released by releaseIntercept.
// Safe to call from any host thread.
class IOIntercept {
 public:
  // Slot 0 (and, in the Itanium ABI, slot 1 too).
  virtual ~IOIntercept() = default;
  // Hands the library the index update notice that a gateway response
  // carried, in its key=value form. Returns at once; the work runs on a
  // library thread. Null is ignored.
  virtual void OnOstrelResponse(const char* text) = 0;
  // Releases a buffer that the library handed out. Null is ignored.
  virtual void FreeValue(char* value) = 0;
};

}  // namespace Ostrel

#endif  // OSTREL_IOINTERCEPT_H_
