// The demo's flow in one process: the library, through the host adapters,
// against ostrel-server on a loopback port, with signed requests.
#include <gtest/gtest.h>
#include <httplib.h>

#include <chrono>
#include <cstdio>
#include <fstream>
#include <map>
#include <sstream>
#include <string>

#include "ConfigServer.h"
#include "Documents.h"
#include "LocalSession.h"
#include "ToolsFixture.h"
#include "api/EngineRoot.h"
#include "ostrel_host/SqliteStorage.h"

namespace {

using OstrelLocal::CheckOutcome;
using OstrelLocal::LocalSession;
using OstrelLocal::Notification;
using OstrelLocal::SessionOptions;
using OstrelToolsTest::Standard;
using OstrelToolsTest::TempFolder;

constexpr std::chrono::seconds kWait(10);

SessionOptions Options(const OstrelServer::ConfigServer& server, const TempFolder& folder) {
  SessionOptions options;
  options.server = "127.0.0.1:" + std::to_string(server.Port());
  options.appKey = "app";
  options.storePath = folder.File("store.db");
  options.signDir = OSTREL_DEV_SIGN_DIR;
  options.logLevel = 3;
  return options;
}

TEST(DemoFlow, DefaultsThenDownloadsThenAPublishedChangeThenTheStoreAlone) {
  TempFolder data;
  data.Write("app/ui.json", Standard("{\"theme\":\"dark\",\"size\":\"14\"}"));
  data.Write("app/features.json",
             Standard("{\"editor\":\"old\"}",
                      ",\"candidates\":[{\"match\":\"m_brand=acme&app_ver>=2.0\","
                      "\"content\":{\"editor\":\"new\"}}]"));
  OstrelServer::ConfigServer server(data.path());
  ASSERT_TRUE(server.Start("127.0.0.1", 0));
  SessionOptions options = Options(server, data);
  options.appVersion = "2.4.1";
  options.brand = "acme";
  // Each start is one process of the real demo; here they share one, whose
  // update check would otherwise be allowed once per twelve hours.
  Ostrel::EngineRoot::ForgetUpdateCheckForTest();

  std::string error;
  std::string uiVersion;
  // Statistics are logged from the info level on.
  options.logLevel = 1;
  options.log = std::fopen(data.File("sdk.log").c_str(), "w");
  {
    LocalSession session;
    ASSERT_TRUE(session.Start(options, error)) << error;
    EXPECT_EQ(session.Get("ui", "theme", "light"), "light");
    session.Listen("ui");
    session.Listen("features");
    session.CheckUpdate();
    EXPECT_EQ(session.WaitForCheck(kWait), CheckOutcome::kUpdated);
    Notification ui;
    ASSERT_TRUE(session.WaitForDownload("ui", "", kWait, &ui));
    ASSERT_TRUE(session.WaitForDownload("features", "", kWait));
    uiVersion = ui.version;
    EXPECT_EQ(session.Get("ui", "theme", "light"), "dark");
    // The candidate matched the brand and version, and its variant came down.
    EXPECT_EQ(session.GetAll("features"), (std::map<std::string, std::string>{{"editor", "new"}}));
  }
  std::fclose(options.log);
  options.log = stderr;
  options.logLevel = 3;
  std::stringstream log;
  log << std::ifstream(data.File("sdk.log")).rdbuf();
  EXPECT_NE(log.str().find("Z I Ostrel.Statistics CommitSuccess: OstrelConfig config_rate"),
            std::string::npos);
  {
    // The record is the document behind its digest and a line feed.
    auto store = OstrelHost::SqliteStorage::Open(options.storePath);
    ASSERT_TRUE(store);
    char* record = store->Load("ui");
    ASSERT_NE(record, nullptr);
    const std::string text = record;
    store->Free(record);
    EXPECT_EQ(text, OstrelTest::Frame(text.substr(33)));
    EXPECT_NE(text.find("dark"), std::string::npos);
  }

  // A publication through the admin endpoint, as the demo script makes it.
  data.Write("app/ui.json", Standard("{\"theme\":\"solarized\",\"size\":\"14\"}"));
  data.Write("app/bad.json", Standard("{\"n\":1}"));
  httplib::Client admin("127.0.0.1", server.Port());
  const httplib::Result published = admin.Post("/admin/publish", "", "application/json");
  ASSERT_TRUE(published);
  EXPECT_EQ(published->status, 200);
  const std::string changed = "{\"changed\":[\"app/ui v";
  EXPECT_EQ(published->body.rfind(changed, 0), 0u) << published->body;
  EXPECT_NE(
      published->body.find("\"errors\":[\"app/bad.json: line 1, column 35: value of \\\"n\\\" "
                           "is not a string\"]"),
      std::string::npos)
      << published->body;
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
    std::string notice = "left over";
    EXPECT_FALSE(session.FetchFromServer("app/none.json", notice)) << "a 404 is no answer";
    EXPECT_EQ(notice, "");
    ASSERT_TRUE(session.FetchFromServer("admin/notice?appKey=app", notice));
    const std::string index = OstrelLocal::NoticeField(notice, "resourceId");
    std::string indexBody;
    ASSERT_TRUE(session.FetchFromServer(index, indexBody));
    EXPECT_EQ(notice, "cdn=" + options.server + "&md5=" + OstrelTest::Md5Of(indexBody) +
                          "&resourceId=" + index + "&protocol=http");
    ASSERT_TRUE(session.RelayGatewayNotice());
    ASSERT_TRUE(session.WaitForDownload("ui", update.version, kWait));
    EXPECT_EQ(session.Get("ui", "theme", "light"), "green");
  }

  // The server still runs: an offline session must not ask it anything.
  options.offline = true;
  LocalSession session;
  ASSERT_TRUE(session.Start(options, error)) << error;
  EXPECT_EQ(session.Get("ui", "theme", "light"), "green");
  EXPECT_FALSE(session.RelayGatewayNotice());
  EXPECT_EQ(session.GetAll("features"), (std::map<std::string, std::string>{{"editor", "new"}}));
  EXPECT_EQ(session.RefusedRequests(), 0u) << "served from the store alone";
}

// How an update check ends, for each way it can.
TEST(DemoFlow, CheckOutcomeFollowsTheServersAnswer) {
  TempFolder data;
  data.Write("app/ui.json", Standard("{\"theme\":\"dark\"}"));
  OstrelServer::ConfigServer server(data.path());
  ASSERT_TRUE(server.Start("127.0.0.1", 0));
  TempFolder noSigner;
  SessionOptions options = Options(server, data);
  const struct {
    const char* what;
    std::string signDir;
    bool resetCheckTime;
    CheckOutcome outcome;
  } kSteps[] = {
      {"unsigned", noSigner.path(), true, CheckOutcome::kFailed},
      {"new index", OSTREL_DEV_SIGN_DIR, true, CheckOutcome::kUpdated},
      {"nothing new", OSTREL_DEV_SIGN_DIR, true, CheckOutcome::kUpToDate},
      {"second check", OSTREL_DEV_SIGN_DIR, false, CheckOutcome::kRateLimited},
      {"no server", OSTREL_DEV_SIGN_DIR, true, CheckOutcome::kUnreachable},
  };
  for (const auto& step : kSteps) {
    SCOPED_TRACE(step.what);
    if (step.outcome == CheckOutcome::kUnreachable) server.Stop();
    options.signDir = step.signDir;
    LocalSession session;
    std::string error;
    ASSERT_TRUE(session.Start(options, error)) << error;
    if (step.resetCheckTime) Ostrel::EngineRoot::ForgetUpdateCheckForTest();
    session.CheckUpdate();
    EXPECT_EQ(session.WaitForCheck(kWait), step.outcome);
  }
}

}  // namespace
