#include "host/Clock.h"

#include <atomic>
#include <chrono>

namespace Ostrel {
namespace {

std::atomic<Clock::NowFunction> gSystemClockOverride{nullptr};

}  // namespace

int64_t Clock::SteadyMillis() {
  return std::chrono::duration_cast<std::chrono::milliseconds>(
             std::chrono::steady_clock::now().time_since_epoch())
      .count();
}

int64_t Clock::SystemMillis() {
  NowFunction now = gSystemClockOverride.load(std::memory_order_acquire);
  if (now != nullptr) return now();
  return std::chrono::duration_cast<std::chrono::milliseconds>(
             std::chrono::system_clock::now().time_since_epoch())
      .count();
}

void Clock::SetSystemClockForTest(NowFunction now) {
  gSystemClockOverride.store(now, std::memory_order_release);
}

}  // namespace Ostrel
