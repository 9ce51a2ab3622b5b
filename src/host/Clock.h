// Time sources of the library, replaceable by tests.
#ifndef OSTREL_HOST_CLOCK_H_
#define OSTREL_HOST_CLOCK_H_

#include <cstdint>

namespace Ostrel {

class Clock {
 public:
  using NowFunction = int64_t (*)();

  // Milliseconds of a monotonic clock, for elapsed times.
  static int64_t SteadyMillis();
  // Milliseconds since the Unix epoch (system clock), for the update-check
  // rate limit and request time stamps.
  static int64_t SystemMillis();

  // Replaces the system clock; null restores the real one. For tests.
  static void SetSystemClockForTest(NowFunction now);
};

}  // namespace Ostrel

#endif  // OSTREL_HOST_CLOCK_H_
