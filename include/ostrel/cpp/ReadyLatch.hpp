// The init listener behind Client::WaitUntilReady.
#ifndef OSTREL_CPP_READYLATCH_HPP_
#define OSTREL_CPP_READYLATCH_HPP_

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <mutex>

#include "ostrel/IOConfigListener.h"

namespace Ostrel {
namespace detail {

// Told once by the library when start-up has finished.
class ReadyLatch final : public IOInitListener {
 public:
  void onInitFinished() override {
    std::lock_guard<std::mutex> lock(mutex_);
    ready_ = true;
    changed_.notify_all();
  }
  bool WaitFor(std::chrono::milliseconds timeout) noexcept {
    // A "forever" such as milliseconds::max() would overflow the clock.
    const std::chrono::milliseconds kLongest = std::chrono::hours(24 * 365);
    std::unique_lock<std::mutex> lock(mutex_);
    return changed_.wait_for(lock, std::min(timeout, kLongest), [this] { return ready_; });
  }

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  bool ready_ = false;  // guarded by mutex_
};

}  // namespace detail
}  // namespace Ostrel

#endif  // OSTREL_CPP_READYLATCH_HPP_
