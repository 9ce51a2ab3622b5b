// Keeps host calls and teardown apart.
#ifndef OSTREL_HOST_APIGATE_H_
#define OSTREL_HOST_APIGATE_H_

#include <atomic>

#include "host/ReadSection.h"

namespace Ostrel {

namespace api_gate_internal {

extern std::atomic<bool> gClosed;
// Passes the calling thread holds (they nest: a listener called inside
// registerListener may call in again).
extern OSTREL_FAST_TLS OSTREL_THREAD_LOCAL int tDepth;

}  // namespace api_gate_internal

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
  // RAII pass: check open() before doing anything. Inline, as it is on every
  // host call.
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

// A pass is a read section: the engine's published snapshots stay valid for
// as long as the call holds it. The test of gClosed is a load after the
// entry (ReadSection::Enter orders it), and the closing thread counts
// readers only after its store of gClosed and a barrier that every reading
// thread passes (AnyReaderInside): either the entering thread sees the gate
// closed, or the closing thread sees it inside and waits for it.
inline ApiGate::Pass::Pass() : counter_(ReadSection::Enter()) {
  if (api_gate_internal::gClosed.load(std::memory_order_seq_cst)) {
    ReadSection::Leave(counter_);
    entered_ = false;
    return;
  }
  entered_ = true;
  ++api_gate_internal::tDepth;
}

inline ApiGate::Pass::~Pass() {
  if (!entered_) return;
  --api_gate_internal::tDepth;
  ReadSection::Leave(counter_);
}

}  // namespace Ostrel

#endif  // OSTREL_HOST_APIGATE_H_
