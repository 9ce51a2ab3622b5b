// A thin std::mutex wrapper and a condition variable bound to it, both
// written so that clang's -Wthread-safety can check their users.
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
  // Lets the analysis know the caller holds the mutex where it cannot see
  // the locking (a callback run under it).
  void AssertHeld() const ASSERT_CAPABILITY(this) {}

 private:
  friend class CondVar;
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

// A condition variable that always waits on one Mutex, which the caller
// holds: the analysis then checks every guarded read of the caller's wait
// loop, as it cannot when a lambda tests the condition inside
// std::condition_variable. Wait releases the mutex while blocked and holds it
// again when it returns; callers test their condition in a loop around it.
class CondVar {
 public:
  explicit CondVar(Mutex* mu) : mu_(mu) {}
  CondVar(const CondVar&) = delete;
  CondVar& operator=(const CondVar&) = delete;

  void Wait() {
    std::unique_lock<std::mutex> lock(mu_->mu_, std::adopt_lock);
    cv_.wait(lock);
    lock.release();  // still held: the caller's lock releases it
  }

  void Signal() { cv_.notify_one(); }
  void SignalAll() { cv_.notify_all(); }

 private:
  Mutex* const mu_;
  std::condition_variable cv_;
};

}  // namespace Ostrel

#endif  // OSTREL_HOST_MUTEX_H_
