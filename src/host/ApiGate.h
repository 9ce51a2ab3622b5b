// Keeps host calls and teardown apart.
#ifndef OSTREL_HOST_APIGATE_H_
#define OSTREL_HOST_APIGATE_H_

#include "host/ReadSection.h"

namespace Ostrel {

// Every entry from the host (exports, facade slots, interceptor slots) passes
// the gate; DestroyIOstrelConfig closes it and waits until the calls inside
// have left before tearing anything down. A call that arrives while the gate
// is closed is answered with its "nothing" result instead of touching objects
// that are being destroyed.
//
// A pass is also a read section (host/ReadSection.h): for its duration the
// engine's published snapshots may be read without a lock. Entry costs a
// store to a counter of the calling thread's own and the load of a flag that
// only teardown writes, so concurrent readers do not share a written cache
// line.
class ApiGate {
 public:
  // RAII pass: check open() before doing anything.
  class Pass {
   public:
    Pass();
    ~Pass();
    Pass(const Pass&) = delete;
    Pass& operator=(const Pass&) = delete;
    bool open() const { return entered_; }

   private:
    ReadSection::Counter* const counter_;
    bool entered_;
  };

  // Closes the gate and returns once no call is inside. Calls that arrive
  // afterwards are turned away until Reopen.
  static void CloseAndDrain();
  static void Reopen();

  // True while the calling thread is inside a call (a listener running inside
  // registerListener, for example).
  static bool InsideOnThisThread();
};

}  // namespace Ostrel

#endif  // OSTREL_HOST_APIGATE_H_
