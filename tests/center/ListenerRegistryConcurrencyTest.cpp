// Removing a listener waits for every call of it still running, also when
// two threads call it at once.
#include "center/ListenerRegistry.h"

#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <set>
#include <string>
#include <thread>

namespace Ostrel {
namespace {

// Each call announces itself and stays inside until the test lets calls of
// its version go.
class HeldListener : public IOConfigListener {
 public:
  void onConfigUpdate(const char*, const char* version, bool) override {
    std::unique_lock<std::mutex> lock(mutex);
    ++inside;
    changed.notify_all();
    changed.wait_for(lock, std::chrono::seconds(10), [&] { return released.count(version) != 0; });
    --inside;
  }
  // Waits, bounded, until done holds.
  bool WaitUntil(const std::function<bool()>& done, std::chrono::milliseconds limit) {
    std::unique_lock<std::mutex> lock(mutex);
    return changed.wait_for(lock, limit, done);
  }
  void Release(const std::string& version) {
    std::lock_guard<std::mutex> lock(mutex);
    released.insert(version);
    changed.notify_all();
  }

  std::mutex mutex;
  std::condition_variable changed;
  int inside = 0;
  bool removed = false;
  std::set<std::string> released;
};

TEST(ListenerRegistryConcurrency, RemoveWaitsForTheLastOfTwoRunningCalls) {
  ListenerRegistry registry;
  HeldListener listener;
  ASSERT_TRUE(registry.Add("ns", &listener));
  std::thread first([&] { registry.NotifyOne("ns", &listener, "1", true); });
  std::thread second([&] { registry.Notify("ns", "2", false); });
  ASSERT_TRUE(listener.WaitUntil([&] { return listener.inside == 2; }, std::chrono::seconds(10)));
  listener.Release("1");
  first.join();

  std::thread remover([&] {
    registry.Remove("ns", &listener);
    std::lock_guard<std::mutex> lock(listener.mutex);
    listener.removed = true;
    listener.changed.notify_all();
  });
  EXPECT_FALSE(listener.WaitUntil([&] { return listener.removed; }, std::chrono::milliseconds(200)))
      << "Remove returned while the second call was still running";
  listener.Release("2");
  second.join();
  remover.join();
  EXPECT_TRUE(listener.removed);
}

}  // namespace
}  // namespace Ostrel
