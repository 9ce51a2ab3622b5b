#include "update/UpdateCheckGate.h"

namespace Ostrel {

bool UpdateCheckGate::TryPass(int64_t* now, int64_t* last) {
  MutexLock lock(&mutex_);
  *now = now_();
  *last = lastPass_;
  if (*now - *last <= kIntervalMs) return false;
  lastPass_ = *now;
  return true;
}

void UpdateCheckGate::Forget() {
  MutexLock lock(&mutex_);
  lastPass_ = 0;
}

}  // namespace Ostrel
