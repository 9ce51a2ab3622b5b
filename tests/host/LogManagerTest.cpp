#include "host/LogManager.h"

#include <gtest/gtest.h>

#include "CapturingLogger.h"

namespace Ostrel {
namespace {

TEST(LogManager, ThresholdDecidesWhichLevelsReachTheHost) {
  const struct {
    int threshold;
    std::vector<int> delivered;
  } kCases[] = {
      {2, {2, 3}}, {0, {0, 1, 2, 3}}, {3, {3}}, {4, {}}, {-5, {0, 1, 2, 3}},
  };
  for (const auto& c : kCases) {
    OstrelTest::CapturingLogger logger;
    LogManager manager;
    manager.SetLogger(&logger);
    manager.SetLevel(c.threshold);
    for (int level : {kLogDebug, kLogInfo, kLogWarn, kLogError}) {
      manager.Write(level, LogTag("T"), "m", "text");
    }
    std::vector<int> levels;
    for (const auto& line : logger.Lines()) levels.push_back(line.level);
    EXPECT_EQ(levels, c.delivered) << "threshold " << c.threshold;
  }
}

TEST(LogManager, DefaultThresholdIsWarning) {
  LogManager manager;
  EXPECT_EQ(manager.Level(), 2);
  EXPECT_FALSE(manager.Enabled(kLogError)) << "no logger, nothing enabled";
}

TEST(LogManager, ConvenienceFunctionsPassTagBeforeMethod) {
  OstrelTest::CapturingLogger logger;
  LogManager::GetInstance()->SetLogger(&logger);
  LogError("LoadConfig", LogTag("Ostrel.ConfigCenter"), "text");
  LogManager::GetInstance()->SetLogger(nullptr);
  ASSERT_EQ(logger.Lines().size(), 1u);
  const auto line = logger.Lines()[0];
  EXPECT_EQ(line.tag, "Ostrel.ConfigCenter");
  EXPECT_EQ(line.method, "LoadConfig");
  EXPECT_EQ(line.text, "text");
  EXPECT_EQ(line.level, 3);
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
