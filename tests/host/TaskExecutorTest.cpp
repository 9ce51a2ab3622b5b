#include "host/TaskExecutor.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <stdexcept>
#include <vector>

#include "ScopedLogCapture.h"

namespace Ostrel {
namespace {

// A one-shot latch with a bounded wait.
class Latch {
 public:
  void Open() {
    {
      std::lock_guard<std::mutex> lock(mutex_);
      open_ = true;
    }
    changed_.notify_all();
  }
  bool Wait(std::chrono::milliseconds timeout = std::chrono::seconds(10)) {
    std::unique_lock<std::mutex> lock(mutex_);
    return changed_.wait_for(lock, timeout, [&] { return open_; });
  }

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  bool open_ = false;
};

class TaskExecutorTest : public OstrelTest::LoggerFixture {};

TEST_F(TaskExecutorTest, RunsTasksInPostingOrderOneAtATime) {
  TaskExecutor executor(1, 1);
  std::mutex mutex;
  std::vector<int> order;
  std::atomic<int> running{0};
  std::atomic<bool> overlapped{false};
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
          if (i == 199) done.Open();
        },
        "task"));
  }
  ASSERT_TRUE(done.Wait());
  EXPECT_FALSE(overlapped);
  std::vector<int> expected(200);
  for (int i = 0; i < 200; ++i) expected[i] = i;
  EXPECT_EQ(order, expected);
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

TEST_F(TaskExecutorTest, ShutdownFinishesRunningTaskAndDropsQueuedOnes) {
  TaskExecutor executor(1, 1);
  Latch started, release;
  std::atomic<bool> runningFinished{false};
  std::atomic<int> queuedRan{0};
  executor.Post(
      [&] {
        started.Open();
        release.Wait();
        runningFinished = true;
      },
      "Running");
  for (int i = 0; i < 5; ++i) executor.Post([&] { ++queuedRan; }, "Queued");
  ASSERT_TRUE(started.Wait());
  std::thread stopper([&] { executor.Shutdown(); });
  // Posting is refused as soon as shutdown has begun, even before the running
  // task ends.
  while (executor.Post([] {}, "Probe")) std::this_thread::yield();
  release.Open();
  stopper.join();
  EXPECT_TRUE(runningFinished);
  EXPECT_EQ(queuedRan, 0);
}

TEST_F(TaskExecutorTest, PostAfterShutdownReturnsFalseAndRunsNothing) {
  TaskExecutor executor(1, 1);
  executor.Shutdown();
  bool ran = false;
  EXPECT_FALSE(executor.Post([&] { ran = true; }, "Late"));
  executor.Shutdown();  // idempotent
  EXPECT_FALSE(ran);
}

TEST_F(TaskExecutorTest, QueuedTaskCapturesAreReleasedOnShutdown) {
  auto token = std::make_shared<int>(1);
  {
    TaskExecutor executor(1, 1);
    Latch release;
    executor.Post([&] { release.Wait(std::chrono::milliseconds(200)); }, "Block");
    executor.Post([token] {}, "Holder");
    release.Open();
  }
  EXPECT_EQ(token.use_count(), 1);
}

TEST_F(TaskExecutorTest, WorkerThreadsAreRecognised) {
  TaskExecutor executor(1, 1);
  Latch done;
  std::atomic<bool> onWorker{false};
  executor.Post(
      [&] {
        onWorker = TaskExecutor::IsWorkerThread();
        done.Open();
      },
      "Probe");
  ASSERT_TRUE(done.Wait());
  EXPECT_TRUE(onWorker);
  EXPECT_FALSE(TaskExecutor::IsWorkerThread());
}

}  // namespace
}  // namespace Ostrel
