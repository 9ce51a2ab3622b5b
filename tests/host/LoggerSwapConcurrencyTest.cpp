#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

#include "CapturingLogger.h"
#include "host/LogManager.h"

namespace Ostrel {
namespace {

// Loggers and the threshold change while other threads log: every message
// reaches one of the installed loggers or none, without a data race.
TEST(LoggerSwapConcurrency, SwappingLoggerAndLevelWhileLogging) {
  OstrelTest::CapturingLogger first, second;
  LogManager manager;
  manager.SetLevel(0);
  std::atomic<bool> stop{false};
  std::atomic<int> running{0};
  std::vector<std::thread> writers;
  for (int t = 0; t < 3; ++t) {
    writers.emplace_back([&] {
      ++running;
      while (!stop) manager.Write(kLogWarn, LogTag("T"), "m", "message");
    });
  }
  while (running < 3) std::this_thread::yield();
  for (int i = 0; i < 20000; ++i) {
    manager.SetLogger(i % 3 == 0 ? &first : i % 3 == 1 ? &second : nullptr);
    manager.SetLevel(i % 4);
  }
  // The swaps may all happen while no writer is scheduled (wine runs them
  // that way); a logger left in place is reached for certain.
  manager.SetLogger(&first);
  manager.SetLevel(0);
  EXPECT_TRUE(first.WaitFor("message"));
  // On a busy machine the writers may not have run during the swaps: keep a
  // logger installed until one of them has been heard.
  manager.SetLogger(&second);
  manager.SetLevel(0);
  EXPECT_TRUE(second.WaitFor("message"));
  stop = true;
  for (auto& writer : writers) writer.join();
  for (const auto& line : first.Lines()) EXPECT_EQ(line.text, "message");
  for (const auto& line : second.Lines()) EXPECT_EQ(line.text, "message");
}

}  // namespace
}  // namespace Ostrel
