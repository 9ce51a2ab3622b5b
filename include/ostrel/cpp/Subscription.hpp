// The handle that keeps a Subscribe callback registered.
#ifndef OSTREL_CPP_SUBSCRIPTION_HPP_
#define OSTREL_CPP_SUBSCRIPTION_HPP_

#include <memory>
#include <utility>

#include "ostrel/cpp/ListenerAdapter.hpp"
#include "ostrel/cpp/SubscriptionHub.hpp"

namespace Ostrel {

class Client;

// Keeps one callback subscribed to one namespace; ending the subscription
// (destructor, Reset, move-assignment) unregisters it. Move-only; one object
// is used by one thread at a time, but that may be any thread:
//  - outside every callback, ending it waits until calls of its callback
//    running on other threads have returned; afterwards the callback never
//    runs again, so whatever it captured may be destroyed;
//  - inside a callback of this layer (its own or another subscription's), it
//    does not wait, so that callbacks may end each other's subscriptions
//    without deadlock: no new call starts, but a call already running on
//    another thread may still finish. Its listener object is kept until the
//    Client and its last Subscription are gone.
// The one place where it must not be ended: inside an IOConfigListener that
// the host registered with registerListener directly, bypassing this layer.
// The library does not wait there either, and the layer cannot tell, so it
// would free a listener the library may still be calling.
// Ending it outside callbacks while its callback waits for the ending thread
// deadlocks, as with any join. Ended after its Client, it does nothing.
class Subscription {
 public:
  // An inactive subscription.
  Subscription() noexcept = default;
  ~Subscription() { Reset(); }
  Subscription(Subscription&& other) noexcept
      : hub_(std::move(other.hub_)), adapter_(std::exchange(other.adapter_, nullptr)) {}
  Subscription& operator=(Subscription&& other) noexcept {
    if (this != &other) {
      Reset();
      hub_ = std::move(other.hub_);
      adapter_ = std::exchange(other.adapter_, nullptr);
    }
    return *this;
  }
  Subscription(const Subscription&) = delete;
  Subscription& operator=(const Subscription&) = delete;

  // Ends the subscription now (see the class comment); then inactive.
  void Reset() noexcept {
    if (adapter_ != nullptr) hub_->Unsubscribe(adapter_);
    adapter_ = nullptr;
    hub_.reset();
  }
  // True from Subscribe until the subscription is ended.
  bool Active() const noexcept { return adapter_ != nullptr; }

 private:
  friend class Client;
  Subscription(std::shared_ptr<detail::SubscriptionHub> hub,
               detail::ListenerAdapter* adapter) noexcept
      : hub_(std::move(hub)), adapter_(adapter) {}

  std::shared_ptr<detail::SubscriptionHub> hub_;
  detail::ListenerAdapter* adapter_ = nullptr;  // owned by hub_; a key only
};

}  // namespace Ostrel

#endif  // OSTREL_CPP_SUBSCRIPTION_HPP_
