#include "api/OConfig.h"

#include <gtest/gtest.h>

#include <set>
#include <string>

#include "api/HostTable.h"

namespace Ostrel {
namespace {

TEST(OConfig, BuildNormalisesEnvAndHostGroupAndFillsTheHost) {
  const struct {
    int env, group;
    const char* host;
    int expectedEnv, expectedGroup;
    std::string expectedHost;
  } kCases[] = {
      {2, 0, "", 2, 0, DefaultApiHost(0, 2)},   // defaults: daily, group 0
      {5, 0, "", 0, 0, DefaultApiHost(0, 0)},   // out of range falls to online
      {-1, 1, "", 0, 1, DefaultApiHost(1, 0)},
      {1, 7, "", 1, 0, DefaultApiHost(0, 1)},
      {1, -3, "", 1, 0, DefaultApiHost(0, 1)},
      {0, 1, "", 0, 1, DefaultApiHost(1, 0)},
      {9, 9, "my.host", 0, 0, "my.host"},       // a host set by the app survives
  };
  for (const auto& c : kCases) {
    OConfig config;
    config.setEnv(c.env)->setHostGroup(c.group)->setHost(c.host)->build();
    EXPECT_EQ(config.env(), c.expectedEnv) << c.env << "/" << c.group;
    EXPECT_EQ(config.hostGroup(), c.expectedGroup) << c.env << "/" << c.group;
    EXPECT_EQ(config.host(), c.expectedHost) << c.env << "/" << c.group;
  }
}

TEST(OConfig, DefaultHostsDifferPerGroupAndEnvironment) {
  std::set<std::string> hosts;
  for (int group = 0; group < kHostGroupCount; ++group) {
    for (int env = 0; env < kEnvCount; ++env) hosts.insert(DefaultApiHost(group, env));
  }
  EXPECT_EQ(hosts.size(), 6u);
  EXPECT_STREQ(DefaultApiHost(2, 0), "");
}

TEST(OConfig, SettersCopyEveryFieldAndNullCountsAsEmpty) {
  OConfig config;
  IOInitListener* listener = reinterpret_cast<IOInitListener*>(0x1234);
  config.setAppKey("k")->setAppVersion("1.2")->setDeviceId("d")->setExtraId1("e1")
      ->setExtraId2("e2")->setHost("h")->setOsVersion("10.0")->setManufacturer("m")
      ->setBrand("b")->setModel("x")->setSignLibraryPath(L"/opt/sign")
      ->setInitListener(listener)->setEnv(1);
  Settings settings = config.ToSettings();
  EXPECT_EQ(settings.appKey, "k");
  EXPECT_EQ(settings.appVersion, "1.2");
  EXPECT_EQ(settings.deviceId, "d");
  EXPECT_EQ(settings.extraId1, "e1");
  EXPECT_EQ(settings.extraId2, "e2");
  EXPECT_EQ(settings.host, "h");
  EXPECT_EQ(settings.osVersion, "10.0");
  EXPECT_EQ(settings.manufacturer, "m");
  EXPECT_EQ(settings.brand, "b");
  EXPECT_EQ(settings.model, "x");
  EXPECT_EQ(settings.signLibraryPath, L"/opt/sign");
  EXPECT_EQ(settings.initListener, listener);
  EXPECT_EQ(settings.env, 1);

  config.setAppKey(nullptr)->setSignLibraryPath(nullptr)->setModel(nullptr);
  settings = config.ToSettings();
  EXPECT_EQ(settings.appKey, "");
  EXPECT_EQ(settings.model, "");
  EXPECT_EQ(settings.signLibraryPath, L"");
}

}  // namespace
}  // namespace Ostrel
