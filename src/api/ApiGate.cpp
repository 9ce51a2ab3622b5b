#include "api/ApiGate.h"

#include <atomic>
#include <chrono>
#include <cstdint>
#include <thread>

namespace Ostrel {
namespace {

constexpr int kStripeCount = 16;

struct alignas(64) Stripe {
  std::atomic<int64_t> inside{0};
};

Stripe gStripes[kStripeCount];
std::atomic<bool> gClosed{false};
std::atomic<unsigned> gNextStripe{0};

thread_local int tStripe = -1;
thread_local int tDepth = 0;

Stripe& MyStripe() {
  if (tStripe < 0) {
    tStripe = static_cast<int>(gNextStripe.fetch_add(1, std::memory_order_relaxed) %
                               kStripeCount);
  }
  return gStripes[tStripe];
}

int64_t CountInside() {
  int64_t total = 0;
  for (Stripe& stripe : gStripes) total += stripe.inside.load(std::memory_order_seq_cst);
  return total;
}

}  // namespace

// The increment and the test of gClosed are both sequentially consistent, as
// are the closing store and the counting loads: either the entering thread
// sees the gate closed, or the closing thread sees the entering thread's
// count. Both missing each other is impossible.
ApiGate::Pass::Pass() {
  Stripe& stripe = MyStripe();
  stripe.inside.fetch_add(1, std::memory_order_seq_cst);
  if (gClosed.load(std::memory_order_seq_cst)) {
    stripe.inside.fetch_sub(1, std::memory_order_release);
    entered_ = false;
    return;
  }
  entered_ = true;
  ++tDepth;
}

ApiGate::Pass::~Pass() {
  if (!entered_) return;
  --tDepth;
  MyStripe().inside.fetch_sub(1, std::memory_order_release);
}

void ApiGate::CloseAndDrain() {
  gClosed.store(true, std::memory_order_seq_cst);
  // Calls inside are short (nothing in the facade waits for the network), so
  // a brief sleep between polls is enough.
  while (CountInside() != 0) std::this_thread::sleep_for(std::chrono::microseconds(200));
}

void ApiGate::Reopen() { gClosed.store(false, std::memory_order_seq_cst); }

bool ApiGate::InsideOnThisThread() { return tDepth > 0; }

}  // namespace Ostrel
