// What reaches the host logger. (The argument order of LogInfo, LogWarn and
// LogError shows in the tag and method of the document tests' lines.)
#include "host/LogManager.h"

#include <gtest/gtest.h>

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
    for (int level : {kLogDebug, kLogInfo, kLogWarn, kLogError}) {
      manager.Write(level, LogTag("T"), "m", "text");
    }
    std::vector<int> levels;
    for (const auto& line : logger.Lines()) levels.push_back(line.level);
    EXPECT_EQ(c.delivered, levels) << "threshold " << c.threshold;
    EXPECT_EQ(c.delivered, enabled) << "threshold " << c.threshold;
  }
}

TEST(LogManager, HostLoggerThatThrowsIsContained) {
  struct ThrowingLogger : IOLog {
    void Log(int, const char*, const char*, const char*) override { throw 42; }
  } logger;
  LogManager manager;
  manager.SetLogger(&logger);
  EXPECT_NO_THROW(manager.Write(kLogError, LogTag("T"), "m", "x"));
}

}  // namespace
}  // namespace Ostrel
