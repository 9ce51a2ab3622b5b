#include "host/StatisticsManager.h"

#include <gtest/gtest.h>

#include "Recorders.h"
#include "host/Settings.h"

namespace Ostrel {
namespace {

TEST(StatisticsManager, ForwardsBothSlotsInArgumentOrderAndDropsWithoutSink) {
  OstrelTest::StatisticsRecorder recorder;
  StatCommitSuccess(Stat::kModule, Stat::kConfigRate, "ns");  // no sink yet: dropped
  StatisticsManager::GetInstance()->SetStatistics(&recorder);
  StatCommitSuccess(Stat::kModule, Stat::kConfigRate, "ns");
  StatCommitFail(Stat::kModule, Stat::kIndexRate, "index-1", "download error", "detail");
  StatisticsManager::GetInstance()->SetStatistics(nullptr);
  StatCommitFail(Stat::kModule, Stat::kIndexRate, "dropped", "", "");

  const auto commits = recorder.Commits();
  ASSERT_EQ(commits.size(), 2u);
  EXPECT_TRUE(commits[0].success);
  EXPECT_EQ(commits[0].module, "OstrelConfig");
  EXPECT_EQ(commits[0].point, "config_rate");
  EXPECT_EQ(commits[0].arg, "ns");
  EXPECT_FALSE(commits[1].success);
  EXPECT_EQ(commits[1].point, "index_rate");
  EXPECT_EQ(commits[1].arg, "index-1");
  EXPECT_EQ(commits[1].code, "download error");
  EXPECT_EQ(commits[1].message, "detail");
}

}  // namespace
}  // namespace Ostrel
