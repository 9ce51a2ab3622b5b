// The IOConfigListener that carries a Subscribe callback.
#ifndef OSTREL_CPP_LISTENERADAPTER_HPP_
#define OSTREL_CPP_LISTENERADAPTER_HPP_

#include <atomic>
#include <functional>
#include <string>
#include <utility>

#include "ostrel/IOConfigListener.h"

namespace Ostrel {

// One listener call: strings copied, so the object may be kept.
struct Change {
  std::string nameSpace;
  std::string version;
  bool fromCache;  // restored from storage, or delivered at subscription
};

namespace detail {

// Layer callbacks running on this thread. Inside one, unregisterListener does
// not wait for calls on other threads, so a subscription ended there must
// keep its listener object alive.
inline int& CallbackDepth() noexcept {
  static thread_local int depth = 0;
  return depth;
}

// The IOConfigListener behind one Subscription. The library may call it on a
// library thread and on the subscribing thread, also concurrently.
class ListenerAdapter final : public IOConfigListener {
 public:
  ListenerAdapter(std::string nameSpace, std::function<void(const Change&)> callback)
      : nameSpace_(std::move(nameSpace)), callback_(std::move(callback)) {}

  void onConfigUpdate(const char* nameSpace, const char* version, bool fromCache) override {
    // A call that began before the subscription ended in a way that could
    // not wait for it (see SubscriptionHub::Unsubscribe) is dropped here.
    if (detached_.load(std::memory_order_acquire)) return;
    ++CallbackDepth();
    try {
      callback_(Change{nameSpace != nullptr ? nameSpace : "", version != nullptr ? version : "",
                       fromCache});
    } catch (...) {
      // The host's callback threw: nothing may cross the vtable.
    }
    --CallbackDepth();
  }

  void Detach() noexcept { detached_.store(true, std::memory_order_release); }
  const std::string& nameSpace() const noexcept { return nameSpace_; }

 private:
  const std::string nameSpace_;
  const std::function<void(const Change&)> callback_;
  std::atomic<bool> detached_{false};
};

}  // namespace detail
}  // namespace Ostrel

#endif  // OSTREL_CPP_LISTENERADAPTER_HPP_
