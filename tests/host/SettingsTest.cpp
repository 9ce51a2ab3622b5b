// The process-wide settings: immutable snapshots and the index identity sent
// with signed requests.
#include "host/Settings.h"

#include <gtest/gtest.h>

namespace Ostrel {
namespace {

TEST(EngineSettings, IndexIdentityFollowsSettingsAndIndexVersions) {
  EngineSettings::Reset();
  EXPECT_EQ("||0|0", EngineSettings::IndexIdentity());
  Settings settings;
  settings.appKey = "key";
  settings.appVersion = "1.2";
  EngineSettings::Replace(settings);
  EngineSettings::SetIndexVersions("7", "12");
  EXPECT_EQ("key|1.2|7|12", EngineSettings::IndexIdentity());
  // A snapshot taken before a replace stays as it was.
  const auto before = EngineSettings::Current();
  settings.appKey = "other";
  EngineSettings::Replace(settings);
  EXPECT_EQ("key", before->appKey);
  EXPECT_EQ("other|1.2|7|12", EngineSettings::IndexIdentity());
  EngineSettings::Reset();
  EXPECT_EQ("||0|0", EngineSettings::IndexIdentity());
}

}  // namespace
}  // namespace Ostrel
