// What reaches the host logger, and in which argument order.
#include "host/LogManager.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "CapturingLogger.h"

namespace Ostrel {
namespace {

TEST(LogManager, ThresholdDecidesWhichLevelsReachTheHost) {
  const struct {
    bool set;
    int threshold;
    std::vector<int> delivered;
  } kCases[] = {
      {false, 0, {2, 3}},  // warnings and errors until a level is set
      {true, 2, {2, 3}},    {true, 0, {0, 1, 2, 3}}, {true, 3, {3}},
      {true, 4, {}},        {true, -5, {0, 1, 2, 3}},
  };
  for (const auto& c : kCases) {
    OstrelTest::CapturingLogger logger;
    LogManager manager;
    EXPECT_FALSE(manager.Enabled(kLogError)) << "no logger, nothing enabled";
    manager.SetLogger(&logger);
    if (c.set) manager.SetLevel(c.threshold);
    std::vector<int> enabled;
    for (int level : {0, 1, 2, 3}) {
      if (manager.Enabled(level)) enabled.push_back(level);
    }
    manager.Debug("T", "m", "d");
    manager.Info("T", "m", "i");
    manager.Warn("T", "m", "w");
    manager.Error("T", "m", "e");
    std::vector<int> levels;
    for (const auto& line : logger.Lines()) levels.push_back(line.level);
    EXPECT_EQ(c.delivered, levels) << "threshold " << c.threshold;
    EXPECT_EQ(c.delivered, enabled) << "threshold " << c.threshold;
  }
}

TEST(LogManager, LibraryFunctionsTakeTheMethodFirstAndTheHostGetsTheTagFirst) {
  OstrelTest::CapturingLogger logger;
  LogManager::GetInstance()->SetLogger(&logger);
  LogManager::GetInstance()->SetLevel(kLogDebug);
  LogDebug("M0", "T0", "x0");
  LogInfo("M1", "T1", "x1");
  LogWarn("M2", "T2", "x2");
  LogError("M3", "T3", "x3");
  const bool enabled = LogEnabled(kLogDebug);
  LogManager::GetInstance()->SetLogger(nullptr);
  LogManager::GetInstance()->SetLevel(kLogWarn);
  EXPECT_TRUE(enabled);
  EXPECT_FALSE(LogEnabled(kLogError));
  std::vector<std::string> lines;
  for (const auto& line : logger.Lines()) {
    lines.push_back(std::to_string(line.level) + " " + line.tag + " " + line.method + " " +
                    line.text);
  }
  EXPECT_EQ((std::vector<std::string>{"0 T0 M0 x0", "1 T1 M1 x1", "2 T2 M2 x2", "3 T3 M3 x3"}),
            lines);
}

TEST(LogManager, HostLoggerThatThrowsIsContained) {
  struct ThrowingLogger : IOLog {
    void Log(int, const char*, const char*, const char*) override { throw 42; }
  } logger;
  LogManager manager;
  manager.SetLogger(&logger);
  EXPECT_NO_THROW(manager.Error("T", "m", "x"));
}

}  // namespace
}  // namespace Ostrel
