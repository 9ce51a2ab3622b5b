#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <future>
#include <set>
#include <thread>
#include <vector>

#include "center/OThreadPoolFactory.h"

namespace Ostrel {
namespace {

TEST(TaskPoolConcurrency, ConcurrentPostersAndFirstUseSeeOnePool) {
  std::vector<OThreadPoolFactory*> seen(4);
  std::atomic<int> ran{0};
  std::vector<std::thread> posters;
  for (int t = 0; t < 4; ++t) {
    posters.emplace_back([&, t] {
      seen[t] = OThreadPoolFactory::GetInstance();
      const EngineExecutors executors = seen[t]->Route();
      for (int i = 0; i < 250; ++i) {
        if (i % 2 == 0) {
          executors.lazyLoads->Post([&] { ++ran; }, "p");
        } else {
          executors.network->Post([&] { ++ran; }, "s");
        }
      }
    });
  }
  for (auto& poster : posters) poster.join();
  EXPECT_EQ(std::set<OThreadPoolFactory*>(seen.begin(), seen.end()).size(), 1u);
  // Both queues are FIFO: a marker posted last runs after everything before it.
  std::promise<void> primaryDone, secondaryDone;
  const EngineExecutors executors = OThreadPoolFactory::GetInstance()->Route();
  executors.lazyLoads->Post([&] { primaryDone.set_value(); }, "marker");
  executors.network->Post([&] { secondaryDone.set_value(); }, "marker");
  ASSERT_EQ(primaryDone.get_future().wait_for(std::chrono::seconds(10)),
            std::future_status::ready);
  ASSERT_EQ(secondaryDone.get_future().wait_for(std::chrono::seconds(10)),
            std::future_status::ready);
  EXPECT_EQ(ran, 1000);
  OThreadPoolFactory::DestroyInstance();
}

TEST(TaskPoolConcurrency, DestroyWhileTasksPostMoreWork) {
  for (int round = 0; round < 20; ++round) {
    std::atomic<int> ran{0};
    const EngineExecutors executors = OThreadPoolFactory::GetInstance()->Route();
    for (int i = 0; i < 20; ++i) {
      executors.lazyLoads->Post(
          [&] {
            ++ran;
            // A task that keeps posting while the pool is being destroyed is
            // refused, never deadlocked.
            executors.network->Post([&] { ++ran; }, "chain");
          },
          "feeder");
    }
    OThreadPoolFactory::DestroyInstance();
    EXPECT_LE(ran, 40);
  }
}

}  // namespace
}  // namespace Ostrel
