#include "host/TaskExecutor.h"

#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <thread>
#include <vector>

#include "Latch.h"
#include "ScopedLogCapture.h"

namespace Ostrel {
namespace {

using OstrelTest::Latch;

class TaskExecutorTest : public OstrelTest::LoggerFixture {};

TEST_F(TaskExecutorTest, RunsTasksInPostingOrderOneAtATimeOnItsWorker) {
  TaskExecutor executor(1, 1);
  std::mutex mutex;
  std::vector<int> order;
  std::atomic<int> running{0};
  std::atomic<bool> overlapped{false};
  std::atomic<bool> onWorker{false};
  Latch done;
  for (int i = 0; i < 200; ++i) {
    ASSERT_TRUE(executor.Post(
        [&, i] {
          if (++running > 1) overlapped = true;
          {
            std::lock_guard<std::mutex> lock(mutex);
            order.push_back(i);
          }
          --running;
          if (i == 199) {
            onWorker = TaskExecutor::IsWorkerThread();
            done.Open();
          }
        },
        "task"));
  }
  ASSERT_TRUE(done.Wait());
  EXPECT_FALSE(overlapped);
  std::vector<int> expected(200);
  for (int i = 0; i < 200; ++i) expected[i] = i;
  EXPECT_EQ(order, expected);
  EXPECT_TRUE(onWorker);
  EXPECT_FALSE(TaskExecutor::IsWorkerThread());
}

TEST_F(TaskExecutorTest, ThrowingTaskIsLoggedAndWorkerSurvives) {
  TaskExecutor executor(1, 1);
  Latch after;
  executor.Post([] { throw std::runtime_error("boom"); }, "Thrower");
  executor.Post([] { throw 7; }, "OddThrower");
  executor.Post([&] { after.Open(); }, "After");
  ASSERT_TRUE(after.Wait());
  EXPECT_TRUE(logger.Contains("task Thrower threw: boom"));
  EXPECT_TRUE(logger.Contains("task OddThrower threw an unknown exception"));
}

// The running task finishes; queued ones never run, and what they captured
// is released by Shutdown itself.
TEST_F(TaskExecutorTest, ShutdownFinishesRunningTaskAndDropsQueuedOnes) {
  TaskExecutor executor(1, 1);
  Latch started, release;
  std::atomic<bool> runningFinished{false};
  std::atomic<int> queuedRan{0};
  auto token = std::make_shared<int>(1);
  executor.Post(
      [&] {
        started.Open();
        release.Wait();
        runningFinished = true;
      },
      "Running");
  for (int i = 0; i < 5; ++i) executor.Post([&, token] { ++queuedRan; }, "Queued");
  ASSERT_TRUE(started.Wait());
  std::thread stopper([&] { executor.Shutdown(); });
  // Posting is refused as soon as shutdown has begun, even before the running
  // task ends.
  while (executor.Post([] {}, "Probe")) std::this_thread::yield();
  release.Open();
  stopper.join();
  EXPECT_TRUE(runningFinished);
  EXPECT_EQ(queuedRan, 0);
  EXPECT_EQ(token.use_count(), 1);
  executor.Shutdown();
  EXPECT_FALSE(executor.Post([&] { ++queuedRan; }, "Late"));
}

}  // namespace
}  // namespace Ostrel
