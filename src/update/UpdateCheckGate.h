// The rate limit of update checks.
#ifndef OSTREL_UPDATE_UPDATECHECKGATE_H_
#define OSTREL_UPDATE_UPDATECHECKGATE_H_

#include <cstdint>

#include "host/Clock.h"
#include "host/Mutex.h"

namespace Ostrel {

// At most one update check per interval: the first call always passes. The
// library keeps one gate for the whole process, so that a host tearing the
// library down and starting it again does not check more often.
class UpdateCheckGate {
 public:
  static constexpr int64_t kIntervalMs = 43200000;  // twelve hours

  explicit UpdateCheckGate(SystemClock now) : now_(now) {}

  UpdateCheckGate(const UpdateCheckGate&) = delete;
  UpdateCheckGate& operator=(const UpdateCheckGate&) = delete;

  // True, and the time recorded, when more than kIntervalMs have passed
  // since the last call that passed. now and last receive the two times
  // compared. The test and the record are one step: of two simultaneous
  // calls only one passes.
  bool TryPass(int64_t* now, int64_t* last);

  // The next call passes as the first one does. For tests that play several
  // processes in one.
  void Forget();

 private:
  // Constant after construction.
  const SystemClock now_;

  Mutex mutex_;
  int64_t lastPass_ GUARDED_BY(mutex_) = 0;
};

}  // namespace Ostrel

#endif  // OSTREL_UPDATE_UPDATECHECKGATE_H_
