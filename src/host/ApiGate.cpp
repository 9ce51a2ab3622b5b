#include "host/ApiGate.h"

#include <atomic>
#include <chrono>
#include <thread>

#include "host/ReadSection.h"

namespace Ostrel {
namespace {

std::atomic<bool> gClosed{false};
OSTREL_FAST_TLS thread_local int tDepth = 0;

}  // namespace

// A pass is a read section: the engine's published snapshots stay valid for
// as long as the call holds it. The test of gClosed is a load after the
// entry (ReadSection::Enter orders it), and the closing thread counts
// readers only after its store of gClosed and a barrier that every reading
// thread passes (AnyReaderInside): either the entering thread sees the gate
// closed, or the closing thread sees it inside and waits for it.
ApiGate::Pass::Pass() : counter_(ReadSection::Enter()) {
  if (gClosed.load(std::memory_order_seq_cst)) {
    ReadSection::Leave(counter_);
    entered_ = false;
    return;
  }
  entered_ = true;
  ++tDepth;
}

ApiGate::Pass::~Pass() {
  if (!entered_) return;
  --tDepth;
  ReadSection::Leave(counter_);
}

void ApiGate::CloseAndDrain() {
  gClosed.store(true, std::memory_order_seq_cst);
  // Calls inside are short (nothing in the facade waits for the network), so
  // a brief sleep between polls is enough.
  while (ReadSection::AnyReaderInside()) {
    std::this_thread::sleep_for(std::chrono::microseconds(200));
  }
}

void ApiGate::Reopen() { gClosed.store(false, std::memory_order_seq_cst); }

bool ApiGate::InsideOnThisThread() { return tDepth > 0; }

}  // namespace Ostrel
