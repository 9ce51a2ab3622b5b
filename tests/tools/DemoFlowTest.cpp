// The demo's flow in one process: the library, through the host adapters,
// against ostrel-server on a loopback port, with signed requests.
#include <gtest/gtest.h>

#include <chrono>
#include <map>
#include <string>

#include "ConfigServer.h"
#include "LocalSession.h"
#include "ToolsFixture.h"
#include "api/EngineRoot.h"

namespace {

using OstrelLocal::LocalSession;
using OstrelLocal::Notification;
using OstrelLocal::SessionOptions;
using OstrelToolsTest::Standard;
using OstrelToolsTest::TempFolder;

constexpr std::chrono::seconds kWait(10);

TEST(DemoFlow, DefaultsThenDownloadsThenAPublishedChangeThenTheStoreAlone) {
  TempFolder data;
  data.Write("app/ui.json", Standard("{\"theme\":\"dark\",\"size\":\"14\"}"));
  data.Write("app/features.json",
             Standard("{\"editor\":\"old\"}",
                      ",\"candidates\":[{\"match\":\"m_brand=acme&app_ver>=2.0\","
                      "\"content\":{\"editor\":\"new\"}}]"));
  OstrelServer::ConfigServer server(data.path());
  ASSERT_TRUE(server.Start("127.0.0.1", 0));

  SessionOptions options;
  options.server = "127.0.0.1:" + std::to_string(server.Port());
  options.appKey = "app";
  options.appVersion = "2.4.1";
  options.brand = "acme";
  options.storePath = data.path() + "/store.db";
  options.signDir = OSTREL_DEV_SIGN_DIR;
  options.logLevel = 3;
  // Each start is one process of the real demo; here they share one, whose
  // update check would otherwise be allowed once per twelve hours.
  Ostrel::EngineRoot::ForgetUpdateCheckForTest();

  std::string error;
  std::string uiVersion;
  {
    LocalSession session;
    ASSERT_TRUE(session.Start(options, error)) << error;
    EXPECT_EQ(session.Get("ui", "theme", "light"), "light");
    session.Listen("ui");
    session.Listen("features");
    session.CheckUpdate();
    EXPECT_EQ(session.WaitForCheck(kWait), OstrelLocal::CheckOutcome::kUpdated);
    Notification ui;
    ASSERT_TRUE(session.WaitForDownload("ui", "", kWait, &ui));
    ASSERT_TRUE(session.WaitForDownload("features", "", kWait));
    uiVersion = ui.version;
    EXPECT_EQ(session.Get("ui", "theme", "light"), "dark");
    // The candidate matched the brand and version, and its variant came down.
    EXPECT_EQ(session.GetAll("features"), (std::map<std::string, std::string>{{"editor", "new"}}));
  }

  data.Write("app/ui.json", Standard("{\"theme\":\"solarized\",\"size\":\"14\"}"));
  EXPECT_EQ(server.Publish().changed.size(), 1u);

  {
    LocalSession session;
    ASSERT_TRUE(session.Start(options, error)) << error;
    // Restored during start-up, before any request.
    EXPECT_EQ(session.Get("ui", "theme", "light"), "dark");
    session.Listen("ui");
    const std::vector<Notification> restored = session.Notifications();
    ASSERT_EQ(restored.size(), 1u);
    EXPECT_TRUE(restored[0].fromCache);
    EXPECT_EQ(restored[0].version, uiVersion);

    Ostrel::EngineRoot::ForgetUpdateCheckForTest();
    session.CheckUpdate();
    Notification update;
    ASSERT_TRUE(session.WaitForDownload("ui", uiVersion, kWait, &update));
    EXPECT_GT(std::stoll(update.version), std::stoll(uiVersion));
    EXPECT_EQ(session.Get("ui", "theme", "light"), "solarized");

    // Later changes arrive as relayed gateway notices, with no rate limit.
    data.Write("app/ui.json", Standard("{\"theme\":\"green\",\"size\":\"14\"}"));
    server.Publish();
    ASSERT_TRUE(session.RelayGatewayNotice());
    ASSERT_TRUE(session.WaitForDownload("ui", update.version, kWait));
    EXPECT_EQ(session.Get("ui", "theme", "light"), "green");
  }

  server.Stop();
  options.offline = true;
  LocalSession session;
  ASSERT_TRUE(session.Start(options, error)) << error;
  EXPECT_EQ(session.Get("ui", "theme", "light"), "green");
  EXPECT_FALSE(session.RelayGatewayNotice());
  EXPECT_EQ(session.GetAll("features"), (std::map<std::string, std::string>{{"editor", "new"}}));
  EXPECT_EQ(session.RefusedRequests(), 0u);
}

// What the CLI reports after an update check, for each way it can end.
TEST(DemoFlow, CheckOutcomeFollowsTheServersAnswer) {
  TempFolder data;
  data.Write("app/ui.json", Standard("{\"theme\":\"dark\"}"));
  OstrelServer::ConfigServer server(data.path());
  ASSERT_TRUE(server.Start("127.0.0.1", 0));
  TempFolder noSigner;

  SessionOptions options;
  options.server = "127.0.0.1:" + std::to_string(server.Port());
  options.appKey = "app";
  options.storePath = data.path() + "/store.db";
  options.logLevel = 3;
  const struct {
    const char* what;
    std::string signDir;
    bool resetCheckTime;
    OstrelLocal::CheckOutcome outcome;
  } kSteps[] = {
      {"unsigned", noSigner.path(), true, OstrelLocal::CheckOutcome::kFailed},
      {"new index", OSTREL_DEV_SIGN_DIR, true, OstrelLocal::CheckOutcome::kUpdated},
      {"nothing new", OSTREL_DEV_SIGN_DIR, true, OstrelLocal::CheckOutcome::kUpToDate},
      {"second check", OSTREL_DEV_SIGN_DIR, false, OstrelLocal::CheckOutcome::kRateLimited},
  };
  for (const auto& step : kSteps) {
    SCOPED_TRACE(step.what);
    options.signDir = step.signDir;
    LocalSession session;
    std::string error;
    ASSERT_TRUE(session.Start(options, error)) << error;
    if (step.resetCheckTime) Ostrel::EngineRoot::ForgetUpdateCheckForTest();
    session.CheckUpdate();
    EXPECT_EQ(session.WaitForCheck(kWait), step.outcome);
  }
  server.Stop();
  options.signDir = OSTREL_DEV_SIGN_DIR;
  LocalSession session;
  std::string error;
  ASSERT_TRUE(session.Start(options, error)) << error;
  Ostrel::EngineRoot::ForgetUpdateCheckForTest();
  session.CheckUpdate();
  EXPECT_EQ(session.WaitForCheck(kWait), OstrelLocal::CheckOutcome::kUnreachable);  // no server
}

}  // namespace
