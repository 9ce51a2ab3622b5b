// A one-shot latch with a bounded wait: threaded tests wait on it, never on
// a sleep, and a wait that times out fails instead of hanging the run.
#ifndef OSTREL_TESTS_SUPPORT_LATCH_H_
#define OSTREL_TESTS_SUPPORT_LATCH_H_

#include <chrono>
#include <condition_variable>
#include <mutex>

namespace OstrelTest {

class Latch {
 public:
  // Notifies under the lock: a waiter that sees the latch open may destroy
  // it at once, so nothing of it may be touched after the lock is left.
  void Open() {
    std::lock_guard<std::mutex> lock(mutex_);
    open_ = true;
    changed_.notify_all();
  }
  // What the opening thread wrote before Open is visible after a true return.
  bool Wait(std::chrono::milliseconds timeout = std::chrono::seconds(10)) {
    std::unique_lock<std::mutex> lock(mutex_);
    return changed_.wait_for(lock, timeout, [&] { return open_; });
  }

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  bool open_ = false;
};

}  // namespace OstrelTest

#endif  // OSTREL_TESTS_SUPPORT_LATCH_H_
