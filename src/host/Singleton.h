// Lazily created process-wide instances that only teardown destroys.
#ifndef OSTREL_HOST_SINGLETON_H_
#define OSTREL_HOST_SINGLETON_H_

#include <atomic>
#include <mutex>

namespace Ostrel {

// Double-checked creation: an unlocked read of the pointer, then the
// singleton's own mutex, a second read and creation. Destroy deletes the
// object while holding that mutex and clears the pointer afterwards, so a
// thread that races the teardown (a pool task finishing) still reaches a live
// object rather than creating a second one.
template <typename T>
class Singleton {
 public:
  static T* Get() {
    T* instance = instance_.load(std::memory_order_acquire);
    if (instance != nullptr) return instance;
    std::lock_guard<std::mutex> lock(mutex_);
    instance = instance_.load(std::memory_order_relaxed);
    if (instance == nullptr) {
      instance = new T();
      instance_.store(instance, std::memory_order_release);
    }
    return instance;
  }

  // The instance if it exists; never creates one.
  static T* Peek() { return instance_.load(std::memory_order_acquire); }

  static void Destroy() {
    std::lock_guard<std::mutex> lock(mutex_);
    T* instance = instance_.load(std::memory_order_relaxed);
    if (instance == nullptr) return;
    delete instance;
    instance_.store(nullptr, std::memory_order_release);
  }

 private:
  static inline std::atomic<T*> instance_{nullptr};
  static inline std::mutex mutex_;
};

}  // namespace Ostrel

#endif  // OSTREL_HOST_SINGLETON_H_
