// The listener objects of one Client and the rule for freeing them.
#ifndef OSTREL_CPP_SUBSCRIPTIONHUB_HPP_
#define OSTREL_CPP_SUBSCRIPTIONHUB_HPP_

#include <algorithm>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "ostrel/IOstrelConfig.h"
#include "ostrel/cpp/ListenerAdapter.hpp"

namespace Ostrel {
namespace detail {

// The listener objects of one Client, shared with its Subscriptions so that
// either may go first. The library holds raw pointers to the adapters; an
// adapter is freed only once the library can no longer be inside it: after
// an unregisterListener that waited for its calls, or with the hub itself.
class SubscriptionHub {
 public:
  explicit SubscriptionHub(IOstrelConfig* sdk) noexcept : sdk_(sdk) {}

  // Registers a new adapter; null when the Client is closing. May throw
  // std::bad_alloc, before anything is registered.
  ListenerAdapter* Subscribe(const std::string& nameSpace,
                             std::function<void(const Change&)> callback) {
    auto owned = std::make_unique<ListenerAdapter>(nameSpace, std::move(callback));
    ListenerAdapter* adapter = owned.get();
    {
      std::lock_guard<std::mutex> lock(mutex_);
      if (closing_) return nullptr;
      adapters_.push_back(std::move(owned));
      ++busy_;
    }
    // May call the adapter before it returns, on this thread.
    sdk_->registerListener(adapter->nameSpace().c_str(), adapter);
    Leave();
    return adapter;
  }

  void Unsubscribe(ListenerAdapter* adapter) noexcept {
    {
      std::lock_guard<std::mutex> lock(mutex_);
      if (closing_) {
        // The Client is tearing the library down (or has): no more calls
        // into it. Detaching stops a notification still under way from
        // reaching the callback.
        adapter->Detach();
        return;
      }
      ++busy_;
    }
    sdk_->unregisterListener(adapter->nameSpace().c_str(), adapter);
    adapter->Detach();
    // Outside every listener call, unregisterListener has waited for the
    // adapter's calls on other threads, so it can go. Inside one it did not
    // wait (two callbacks ending each other's subscriptions would deadlock),
    // so the adapter stays, detached, until the hub goes.
    const bool mayFree = CallbackDepth() == 0;
    std::lock_guard<std::mutex> lock(mutex_);
    if (mayFree) {
      auto held = std::find_if(adapters_.begin(), adapters_.end(),
                               [adapter](const std::unique_ptr<ListenerAdapter>& owned) {
                                 return owned.get() == adapter;
                               });
      if (held != adapters_.end()) adapters_.erase(held);
    }
    --busy_;
    idle_.notify_all();
  }

  // Before teardown: stops new registrations and waits for the ones under way.
  // The adapters go with the hub, after the Client and its last Subscription;
  // by then the library has been torn down and holds no pointer to them.
  void BeginClose() noexcept {
    std::unique_lock<std::mutex> lock(mutex_);
    closing_ = true;
    idle_.wait(lock, [this] { return busy_ == 0; });
  }

 private:
  void Leave() noexcept {
    std::lock_guard<std::mutex> lock(mutex_);
    --busy_;
    idle_.notify_all();
  }

  IOstrelConfig* const sdk_;  // the process-wide facade; never freed

  std::mutex mutex_;
  std::condition_variable idle_;
  std::vector<std::unique_ptr<ListenerAdapter>> adapters_;  // guarded by mutex_
  int busy_ = 0;          // calls into the library under way; guarded by mutex_
  bool closing_ = false;  // guarded by mutex_
};

}  // namespace detail
}  // namespace Ostrel

#endif  // OSTREL_CPP_SUBSCRIPTIONHUB_HPP_
