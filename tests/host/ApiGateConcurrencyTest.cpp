// Teardown's drain against calls on other threads.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <future>
#include <thread>
#include <vector>

#include "host/ApiGate.h"

namespace Ostrel {
namespace {

using std::chrono::milliseconds;

TEST(ApiGateConcurrency, DrainWaitsForTheCallInside) {
  std::promise<void> entered, release;
  std::shared_future<void> released = release.get_future().share();
  std::thread caller([&] {
    ApiGate::Pass pass;
    EXPECT_TRUE(pass.open());
    entered.set_value();
    released.wait_for(std::chrono::seconds(10));
  });
  ASSERT_EQ(entered.get_future().wait_for(std::chrono::seconds(10)), std::future_status::ready);
  std::future<void> drained = std::async(std::launch::async, [] { ApiGate::CloseAndDrain(); });
  // Bounded: the drain must still be waiting while the call is inside.
  EXPECT_EQ(drained.wait_for(milliseconds(100)), std::future_status::timeout);
  release.set_value();
  EXPECT_EQ(drained.wait_for(std::chrono::seconds(10)), std::future_status::ready);
  caller.join();
  ApiGate::Reopen();
}

// Calls enter and leave without pause while the gate is closed and opened
// again: once a drain has returned, no call may be inside an open pass until
// the gate reopens. A call that entered unseen by the drain (its entry not
// yet visible when the drain counted) would be caught here.
TEST(ApiGateConcurrency, NoCallIsInsideAfterADrain) {
  constexpr int kCallers = 3;
  constexpr int kCycles = 1000;
  std::atomic<bool> stop{false};
  std::atomic<bool> drained{false};
  std::atomic<int> reopenings{0};
  std::atomic<int> running{0};
  std::atomic<long> openPasses{0};
  std::atomic<int> violations{0};
  std::vector<std::thread> callers;
  for (int t = 0; t < kCallers; ++t) {
    callers.emplace_back([&] {
      ++running;
      while (!stop) {
        const int reopened = reopenings;
        bool turnedAway = false;
        {
          ApiGate::Pass pass;
          turnedAway = !pass.open();
          if (!turnedAway) {
            if (drained) ++violations;
            ++openPasses;
          }
        }
        // Callers turned away wait outside until the gate reopens, as a
        // stream of them would keep the drain from ever seeing none inside.
        while (turnedAway && reopenings == reopened && !stop) std::this_thread::yield();
      }
    });
  }
  while (running < kCallers) std::this_thread::yield();
  for (int cycle = 0; cycle < kCycles; ++cycle) {
    ApiGate::CloseAndDrain();
    drained = true;
    // Give the callers a chance to slip in while the gate is closed.
    for (int i = 0; i < 50; ++i) std::this_thread::yield();
    drained = false;
    ApiGate::Reopen();
    ++reopenings;
  }
  stop = true;
  for (auto& caller : callers) caller.join();
  EXPECT_EQ(violations, 0);
  EXPECT_GT(openPasses, 0);
}

}  // namespace
}  // namespace Ostrel
