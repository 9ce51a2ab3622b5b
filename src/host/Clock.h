// Time sources of the library.
#ifndef OSTREL_HOST_CLOCK_H_
#define OSTREL_HOST_CLOCK_H_

#include <cstdint>

namespace Ostrel {

// Milliseconds since the Unix epoch. The parts that read the wall clock (the
// update-check rate limit, request time stamps) receive one of these at
// construction, so tests can hand them a clock of their own.
using SystemClock = int64_t (*)();

class Clock {
 public:
  // Milliseconds of a monotonic clock, for elapsed times.
  static int64_t SteadyMillis();
  // The real system clock.
  static int64_t SystemMillis();
};

}  // namespace Ostrel

#endif  // OSTREL_HOST_CLOCK_H_
