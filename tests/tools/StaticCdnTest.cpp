// ostrel-server exporting its publications to a real nginx that serves them
// as the CDN, while the server answers the signed API only: the library
// downloads from nginx, falls back to the signed API when nginx serves a
// damaged file, and follows a re-export through a notice.
#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "ConfigServer.h"
#include "LocalSession.h"
#include "NginxProcess.h"
#include "ToolsFixture.h"
#include "api/EngineRoot.h"

namespace {

using OstrelLocal::Notification;
using OstrelToolsTest::NginxProcess;
using OstrelToolsTest::Standard;
using OstrelToolsTest::TempFolder;

constexpr std::chrono::seconds kWait(10);

// The requests nginx served since the last call. nginx logs a request after
// its answer has left, so the lines of answers the client has seen may still
// be on their way: wait for count of them, at most five seconds.
std::vector<std::string> NewRequests(const NginxProcess& nginx, size_t& seen, size_t count) {
  std::vector<std::string> all = nginx.Requests();
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(5);
  while (all.size() < seen + count && std::chrono::steady_clock::now() < deadline) {
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
    all = nginx.Requests();
  }
  std::vector<std::string> fresh(all.begin() + static_cast<long>(std::min(seen, all.size())),
                                 all.end());
  seen = all.size();
  return fresh;
}

TEST(StaticCdn, ServesDownloadsFallsBackOnDamageAndFollowsReExports) {
  if (NginxProcess::Binary().empty()) GTEST_SKIP() << "nginx is not installed";
  TempFolder data;
  TempFolder tree;
  TempFolder store;
  data.Write("app/ui.json", Standard("{\"theme\":\"dark\"}"));
  NginxProcess nginx;
  std::string error;
  ASSERT_TRUE(nginx.Start(tree.path(), error)) << error;
  OstrelServer::ServerOptions options;
  options.publish.dataDir = data.path();
  options.publish.exportDir = tree.path();
  options.publish.cdn = "127.0.0.1:" + std::to_string(nginx.Port());
  OstrelToolsTest::CapturedLog log;
  OstrelServer::ConfigServer server(options, log.Sink());
  ASSERT_TRUE(server.Start("127.0.0.1", 0));
  // Publishes a new theme; the resource id of its namespace.
  auto publish = [&](const std::string& theme) {
    data.Write("app/ui.json", Standard("{\"theme\":\"" + theme + "\"}"));
    const OstrelServer::PublishReport report = server.Publish();
    EXPECT_TRUE(report.errors.empty());
    EXPECT_EQ(report.changed.size(), 1u);
    return report.changed.empty() ? "" : "app/ns/ui/" + report.changed[0].substr(8) + ".json";
  };

  OstrelLocal::SessionOptions session;
  session.server = "127.0.0.1:" + std::to_string(server.Port());
  session.appKey = "app";
  session.storePath = store.File("store.db");
  session.signDir = OSTREL_DEV_SIGN_DIR;
  session.logLevel = 3;
  Ostrel::EngineRoot::ForgetUpdateCheckForTest();
  OstrelLocal::LocalSession client;
  ASSERT_TRUE(client.Start(session, error)) << error;
  client.Listen("ui");

  // The first index and namespace come from nginx, not from the server.
  size_t seen = 0;
  client.CheckUpdate();
  ASSERT_EQ(client.WaitForCheck(kWait), OstrelLocal::CheckOutcome::kUpdated);
  Notification first;
  ASSERT_TRUE(client.WaitForDownload("ui", "", kWait, &first));
  EXPECT_EQ(client.Get("ui", "theme", "none"), "dark");
  const std::vector<std::string> downloads = NewRequests(nginx, seen, 2);
  ASSERT_EQ(downloads.size(), 2u);
  EXPECT_EQ(downloads[0].rfind("GET /app/index-", 0), 0u) << downloads[0];
  EXPECT_EQ(downloads[1], "GET /app/ns/ui/" + first.version + ".json HTTP/1.1 200");

  // A re-export reaches the listener through the notice, again from nginx.
  const std::string second = publish("light");
  ASSERT_TRUE(client.RelayGatewayNotice());
  ASSERT_TRUE(client.WaitForDownload("ui", first.version, kWait));
  EXPECT_EQ(client.Get("ui", "theme", "none"), "light");
  const std::vector<std::string> reexport = NewRequests(nginx, seen, 2);
  ASSERT_EQ(reexport.size(), 2u);
  EXPECT_EQ(reexport[1], "GET /" + second + " HTTP/1.1 200");

  // A damaged file on the CDN fails its digest: the signed API serves it.
  const std::string third = publish("green");
  tree.Write(third, Standard("{\"theme\":\"tampered\"}"));
  ASSERT_TRUE(client.RelayGatewayNotice());
  ASSERT_TRUE(client.WaitForCount(3, kWait));
  EXPECT_EQ(client.Notifications().back().version, third.substr(10, third.size() - 15));
  EXPECT_EQ(client.Get("ui", "theme", "none"), "green");
  const std::vector<std::string> damaged = NewRequests(nginx, seen, 2);
  ASSERT_EQ(damaged.size(), 2u);
  EXPECT_EQ(damaged[1], "GET /" + third + " HTTP/1.1 200");
  EXPECT_TRUE(log.WaitFor(" GET /downloadResource?resourceId=" + third + " -> 200"));
  for (const std::string& line : log.Lines()) {
    EXPECT_EQ(line.find(" GET /app/"), std::string::npos) << "the server served the CDN: " << line;
  }
}

}  // namespace
