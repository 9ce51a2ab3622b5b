// build(): environment and host group normalised, the default host filled in.
#include "api/OConfig.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

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
      {0, 0, "", 0, 0, "config.ostrel.example.com"},
      {1, 0, "", 1, 0, "config-pre.ostrel.example.com"},
      {2, 0, "", 2, 0, "config-daily.ostrel.example.com"},
      {0, 1, "", 0, 1, "config.eu.ostrel.example.com"},
      {1, 1, "", 1, 1, "config-pre.eu.ostrel.example.com"},
      {2, 1, "", 2, 1, "config-daily.eu.ostrel.example.com"},
      // Out of range falls back to online, never to a test service.
      {3, 0, "", 0, 0, "config.ostrel.example.com"},
      {-1, 1, "", 0, 1, "config.eu.ostrel.example.com"},
      {1, 2, "", 1, 0, "config-pre.ostrel.example.com"},
      {1, -3, "", 1, 0, "config-pre.ostrel.example.com"},
      {9, 9, "my.host", 0, 0, "my.host"},  // a host set by the app survives
  };
  for (const auto& c : kCases) {
    OConfig config;
    config.setEnv(c.env)->setHostGroup(c.group)->setHost(c.host)->build();
    EXPECT_EQ(c.expectedEnv, config.env()) << c.env << "/" << c.group;
    EXPECT_EQ(c.expectedGroup, config.hostGroup()) << c.env << "/" << c.group;
    EXPECT_EQ(c.expectedHost, config.host()) << c.env << "/" << c.group;
    EXPECT_EQ(c.expectedHost, config.ToSettings().host) << c.env << "/" << c.group;
  }
  OConfig unset;  // daily until set
  unset.build();
  EXPECT_EQ("config-daily.ostrel.example.com", unset.host());
  for (const auto& out : {DefaultApiHost(2, 0), DefaultApiHost(0, 3), DefaultApiHost(-1, 0)}) {
    EXPECT_STREQ("", out);
  }
}

// Setters take host strings; null clears a field instead of crashing.
TEST(OConfig, EverySetterReachesTheSettingsAndNullClearsIt) {
  OConfig config;
  config.setAppKey("key")->setAppVersion("1.0")->setDeviceId("device")->setExtraId1("one")
      ->setExtraId2("two")->setHost("host")->setOsVersion("os")->setManufacturer("maker")
      ->setBrand("brand")->setModel("model");
  config.setSignLibraryPath(L"/lib/sign");
  const auto fields = [&config] {
    const Settings s = config.ToSettings();
    return std::vector<std::string>{s.appKey,  s.appVersion,   s.deviceId, s.extraId1,
                                    s.extraId2, s.host,        s.osVersion, s.manufacturer,
                                    s.brand,   s.model};
  };
  EXPECT_EQ((std::vector<std::string>{"key", "1.0", "device", "one", "two", "host", "os",
                                      "maker", "brand", "model"}),
            fields());
  EXPECT_EQ(L"/lib/sign", config.ToSettings().signLibraryPath);
  config.setAppKey(nullptr)->setAppVersion(nullptr)->setDeviceId(nullptr)->setExtraId1(nullptr)
      ->setExtraId2(nullptr)->setHost(nullptr)->setOsVersion(nullptr)->setManufacturer(nullptr)
      ->setBrand(nullptr)->setModel(nullptr);
  config.setSignLibraryPath(nullptr);
  EXPECT_EQ(std::vector<std::string>(10), fields());
  EXPECT_EQ(L"", config.ToSettings().signLibraryPath);
}

}  // namespace
}  // namespace Ostrel
