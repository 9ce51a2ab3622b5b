#include "host/ApiGate.h"

#include <atomic>
#include <chrono>
#include <thread>

#include "host/ReadSection.h"

namespace Ostrel {
namespace api_gate_internal {

std::atomic<bool> gClosed{false};
OSTREL_FAST_TLS OSTREL_THREAD_LOCAL int tDepth = 0;

}  // namespace api_gate_internal

using api_gate_internal::gClosed;

void ApiGate::CloseAndDrain() {
  gClosed.store(true, std::memory_order_seq_cst);
  // Calls inside are short (nothing in the facade waits for the network), so
  // a brief sleep between polls is enough.
  while (ReadSection::AnyReaderInside()) {
    std::this_thread::sleep_for(std::chrono::microseconds(200));
  }
}

void ApiGate::Reopen() { gClosed.store(false, std::memory_order_seq_cst); }

bool ApiGate::InsideOnThisThread() { return api_gate_internal::tDepth > 0; }

}  // namespace Ostrel
