// Lazily created process-wide instances that only teardown destroys.
#ifndef OSTREL_HOST_SINGLETON_H_
#define OSTREL_HOST_SINGLETON_H_

#include <atomic>

#include "host/Mutex.h"

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
    return GetOrCreate([] { return new T(); });
  }

  // create: a callable answering a new T*, run at most once per generation.
  template <typename Create>
  static T* GetOrCreate(Create create) {
    T* instance = instance_.load(std::memory_order_acquire);
    if (instance != nullptr) return instance;
    MutexLock lock(&mutex_);
    instance = instance_.load(std::memory_order_relaxed);
    if (instance == nullptr) {
      instance = create();
      instance_.store(instance, std::memory_order_release);
    }
    return instance;
  }

  // The instance if it exists; never creates one.
  static T* Peek() { return instance_.load(std::memory_order_acquire); }

  static void Destroy() {
    MutexLock lock(&mutex_);
    T* instance = instance_.load(std::memory_order_relaxed);
    if (instance == nullptr) return;
    delete instance;
    instance_.store(nullptr, std::memory_order_release);
  }

 private:
  static inline std::atomic<T*> instance_{nullptr};
  // Held while creating or destroying; never while the instance is in use.
  static inline Mutex mutex_;
};

}  // namespace Ostrel

#endif  // OSTREL_HOST_SINGLETON_H_
