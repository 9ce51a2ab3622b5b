// A thin std::mutex wrapper that clang's -Wthread-safety can check.
#ifndef OSTREL_HOST_MUTEX_H_
#define OSTREL_HOST_MUTEX_H_

#include <condition_variable>
#include <mutex>

#include "host/ThreadAnnotations.h"

namespace Ostrel {

class CAPABILITY("mutex") Mutex {
 public:
  Mutex() = default;
  Mutex(const Mutex&) = delete;
  Mutex& operator=(const Mutex&) = delete;

  void Lock() ACQUIRE() { mu_.lock(); }
  void Unlock() RELEASE() { mu_.unlock(); }

  // For condition variables, which need the underlying mutex.
  std::mutex& native() { return mu_; }

 private:
  std::mutex mu_;
};

class SCOPED_CAPABILITY MutexLock {
 public:
  explicit MutexLock(Mutex* mu) ACQUIRE(mu) : mu_(mu) { mu_->Lock(); }
  ~MutexLock() RELEASE() { mu_->Unlock(); }
  MutexLock(const MutexLock&) = delete;
  MutexLock& operator=(const MutexLock&) = delete;

 private:
  Mutex* const mu_;
};

}  // namespace Ostrel

#endif  // OSTREL_HOST_MUTEX_H_
