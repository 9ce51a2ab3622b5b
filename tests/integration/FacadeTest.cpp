// Drives the shipped library through include/ alone.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "SdkHost.h"
#include "ostrel/OstrelSdk.h"

namespace {

using OstrelTest::SdkHost;

TEST(Facade, InitRefusesMissingAppKeyOrVersion) {
  SdkHost host;
  const struct {
    const char* key;
    const char* version;
  } kCases[] = {{"", "1.0"}, {"key", ""}, {nullptr, "1.0"}, {"key", nullptr}};
  for (const auto& c : kCases) {
    host.logger.Clear();
    EXPECT_FALSE(host.Init([&](Ostrel::IOConfig* config) {
      config->setAppKey(c.key)->setAppVersion(c.version);
    }));
    const auto line = host.logger.Find("init start , input param error");
    EXPECT_EQ(line.tag, "Ostrel.ConfigCenter");
    EXPECT_EQ(line.method, "Init");
    EXPECT_EQ(line.level, 3);
  }
  EXPECT_FALSE(host.sdk->init(nullptr));
  EXPECT_EQ(host.initListener.Calls(), 0);
}

TEST(Facade, StartUpCallsInitListenerOnceAndLogsItsCost) {
  SdkHost host;
  ASSERT_TRUE(host.InitAndWait());
  ASSERT_TRUE(host.logger.WaitFor("init cost "));
  const auto line = host.logger.Find("init cost ");
  EXPECT_EQ(line.method, "operator ()");
  EXPECT_EQ(line.tag, "Ostrel.ConfigCenter");
  EXPECT_EQ(line.level, 1);
  // The elapsed milliseconds follow as decimal digits.
  const std::string elapsed = line.text.substr(std::strlen("init cost "));
  EXPECT_FALSE(elapsed.empty());
  EXPECT_EQ(elapsed.find_first_not_of("0123456789"), std::string::npos) << line.text;

  // A second init after ready copies the settings again and starts nothing.
  EXPECT_TRUE(host.Init());
  EXPECT_TRUE(host.sdk->forceCheckUpdate());
  EXPECT_EQ(host.logger.Count("init cost "), 1u);
  EXPECT_EQ(host.initListener.Calls(), 1);
}

TEST(Facade, LookupsAnswerTheDefaultAndNeverBlock) {
  SdkHost host;
  ASSERT_TRUE(host.InitAndWait());
  EXPECT_EQ(host.Get("ui", "color", "blue"), "blue");
  EXPECT_EQ(host.Get("ui", "color", ""), "");

  char* nullDefault = getOstrelConfig("ui", "color", nullptr);
  EXPECT_EQ(nullDefault, nullptr);
  EXPECT_EQ(getOstrelConfig(nullptr, "color", "d"), nullptr);
  EXPECT_EQ(getOstrelConfig("ui", nullptr, "d"), nullptr);

  int count = 99;
  EXPECT_EQ(host.sdk->getConfigs("ui", &count), nullptr);
  EXPECT_EQ(count, 0);
  char* custom = host.sdk->getCustomConfig("ui", "fallback");
  ASSERT_NE(custom, nullptr);
  EXPECT_STREQ(custom, "fallback");
  host.sdk->freeConfigValue(custom);
  EXPECT_EQ(host.sdk->getCustomConfig("ui", nullptr), nullptr);
  const std::string longText(1 << 20, 'x');
  EXPECT_EQ(host.Get(longText, longText, longText), longText);
}

TEST(Facade, ReservedAndEmptyNamespacesAreRefused) {
  SdkHost host;
  const struct {
    const char* nameSpace;
    const char* message;
  } kCases[] = {
      {"ostrel", "getConfigObj error, namespace is occupied by sdk"},
      {"ostrel.index", "getConfigObj error, namespace is occupied by sdk"},
      {"", "getConfigObj error, namespace is empty"},
  };
  for (const auto& c : kCases) {
    host.logger.Clear();
    EXPECT_EQ(host.Get(c.nameSpace, "k", "d"), "d");
    int count = 5;
    EXPECT_EQ(host.sdk->getConfigs(c.nameSpace, &count), nullptr);
    EXPECT_EQ(count, 0);
    EXPECT_EQ(host.logger.Count(c.message), 2u) << c.nameSpace;
    EXPECT_EQ(host.logger.Find(c.message).method, "GetConfigObj");
    // Refused, not remembered for a later load.
    EXPECT_FALSE(host.logger.Contains("getConfigObj , namespace ")) << c.nameSpace;
  }
  // "Ostrel" differs in case and is an ordinary namespace.
  host.logger.Clear();
  EXPECT_EQ(host.Get("Ostrel", "k", "d"), "d");
  EXPECT_FALSE(host.logger.Contains("occupied by sdk"));
}

TEST(Facade, NullArgumentsInEverySlotAreHarmless) {
  SdkHost host;
  Ostrel::IOstrelConfig* sdk = host.sdk;
  EXPECT_EQ(sdk->getConfig(nullptr, nullptr, nullptr), nullptr);
  EXPECT_EQ(sdk->getConfigs(nullptr, nullptr), nullptr);
  EXPECT_EQ(sdk->getCustomConfig(nullptr, nullptr), nullptr);
  sdk->registerListener(nullptr, nullptr);
  sdk->registerListener("ns", nullptr);
  sdk->unregisterListener(nullptr, nullptr);
  sdk->unregisterListeners(nullptr);
  sdk->freeConfigValue(nullptr);
  sdk->releaseIntercept(nullptr);
  sdk->PeskUpdateNamespace(nullptr, nullptr, nullptr, -1);
  sdk->setHttpClient(nullptr);
  sdk->setStatistics(nullptr);
  sdk->setStorage(nullptr);
  freeOstrelConfigValue(nullptr);
  DestroyIOConfig(nullptr);
  Ostrel::IOConfig* config = CreateIOConfig();
  config->setAppKey(nullptr)->setHost(nullptr)->setSignLibraryPath(nullptr)->build();
  DestroyIOConfig(config);
  sdk->installLogger(nullptr);

  Ostrel::IOIntercept* first = sdk->getIntercept();
  Ostrel::IOIntercept* second = sdk->getIntercept();
  ASSERT_NE(first, nullptr);
  ASSERT_NE(second, nullptr);
  EXPECT_NE(first, second);
  first->FreeValue(nullptr);
  sdk->releaseIntercept(first);
  sdk->releaseIntercept(second);
}

TEST(Facade, LogLevelAndLoggerCanBeChanged) {
  SdkHost host;
  host.sdk->changeLogLevel(3);
  host.logger.Clear();
  EXPECT_EQ(host.Get("ui", "k", "d"), "d");  // logs a miss at info level only
  EXPECT_TRUE(host.logger.Lines().empty());
  host.sdk->installLogger(nullptr);
  host.sdk->forceCheckUpdate();
  EXPECT_TRUE(host.logger.Lines().empty());
}

// Teardown and init repeat cleanly, and between them every slot works: a
// pointer kept across teardown still reaches a working facade.
TEST(Facade, InitAndTeardownRepeatAndEverySlotWorksBetween) {
  for (int round = 0; round < 30; ++round) {
    SdkHost host;
    ASSERT_TRUE(host.InitAndWait()) << round;
    EXPECT_EQ(host.Get("ns", "k", "d"), "d");
    Ostrel::IOIntercept* intercept = host.sdk->getIntercept();
    host.sdk->releaseIntercept(intercept);
  }
  DestroyIOstrelConfig();
  Ostrel::IOstrelConfig* sdk = GetIOstrelConfig();
  EXPECT_EQ(GetIOstrelConfig(), sdk);
  char* value = getOstrelConfig("ns", "k", "d");
  ASSERT_NE(value, nullptr);
  EXPECT_STREQ(value, "d");
  freeOstrelConfigValue(value);
  EXPECT_TRUE(sdk->forceCheckUpdate());
  DestroyIOstrelConfig();
  value = sdk->getConfig("ns", "k", "again");
  ASSERT_NE(value, nullptr);
  EXPECT_STREQ(value, "again");
  sdk->freeConfigValue(value);
  DestroyIOstrelConfig();
}

}  // namespace
