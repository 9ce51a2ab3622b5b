// ostrel-server's gate: what a request must carry to be answered, and the
// long-poll of the gateway notice. The flow a client walks through it is
// DemoFlowTest's.
#include "ConfigServer.h"

#include <gtest/gtest.h>
#include <httplib.h>

#include <algorithm>
#include <chrono>
#include <future>
#include <string>
#include <vector>

#include "DevSignature.h"
#include "LocalSession.h"
#include "ToolsFixture.h"

namespace {

using OstrelToolsTest::Standard;
using OstrelToolsTest::TempFolder;

long long Now() {
  return std::chrono::duration_cast<std::chrono::seconds>(
             std::chrono::system_clock::now().time_since_epoch())
      .count();
}

// The headers a client of the library sends, signed for path. The device id
// is sent URL-encoded and signed raw.
httplib::Headers Signed(const std::string& path, const std::string& appKey = "app",
                        long long timestamp = Now(), const std::string& deviceId = "device 7",
                        const std::string& sentDeviceId = "device+7") {
  const std::string time = std::to_string(timestamp);
  return {{"o-app-key", appKey},
          {"o-app-version", "1.0.0"},
          {"o-device-id", sentDeviceId},
          {"o-timestamp", time},
          {"o-sign-version", "1.0"},
          {"o-sign", OstrelDev::DevSign(
                         appKey, OstrelDev::SignedText(path, appKey, "1.0.0", deviceId, time))}};
}

httplib::Headers With(httplib::Headers headers, const std::string& name, const std::string& value) {
  headers.erase(name);
  if (!value.empty()) headers.emplace(name, value);
  return headers;
}

TEST(ConfigServer, AnswersOnlyRequestsSignedForThemselves) {
  TempFolder data;
  data.Write("app/ui.json", Standard("{\"theme\":\"dark\"}"));
  data.Write("other/ui.json", Standard("{\"theme\":\"blue\"}"));
  OstrelServer::ConfigServer server(data.path());
  ASSERT_TRUE(server.Start("127.0.0.1", 0));
  httplib::Client client("127.0.0.1", server.Port());
  const httplib::Result notice = client.Get("/admin/notice?appKey=app");
  ASSERT_TRUE(notice);
  const std::string index = OstrelLocal::NoticeField(notice->body, "resourceId");
  const std::string resource = "/downloadResource?resourceId=" + index;
  const long long skew = OstrelServer::ConfigServer::kMaxClockSkewSeconds;
  const httplib::Headers check = Signed("/checkUpdate");
  const std::string signature = check.find("o-sign")->second;
  const std::string badSignature = "{\"error\":\"bad signature\"}";
  struct Case {
    std::string name, target;
    httplib::Headers headers;
    int status;
    std::string body;  // checked unless empty
  };
  std::vector<Case> cases = {
      {"signed", "/checkUpdate", check, 200, ""},
      // Each value is decoded once: a "%41" the client meant stays "%41".
      {"device id decoded once", "/checkUpdate",
       Signed("/checkUpdate", "app", Now(), "\xC3\xA9/ \t%41", "%c3%A9%2F+%09%2541"), 200, ""},
      {"signed for another path", "/checkUpdate", Signed("/downloadResource"), 403, badSignature},
      {"another app's key", "/checkUpdate", With(check, "o-app-key", "other"), 403, badSignature},
      {"device id signed as sent", "/checkUpdate",
       Signed("/checkUpdate", "app", Now(), "device+7", "device+7"), 403, badSignature},
      {"signature cut short", "/checkUpdate", With(check, "o-sign", signature.substr(0, 63)), 403,
       badSignature},
      {"too old", "/checkUpdate", Signed("/checkUpdate", "app", Now() - skew - 5), 401, ""},
      {"too new", "/checkUpdate", Signed("/checkUpdate", "app", Now() + skew + 5), 401, ""},
      {"resource signed", resource, Signed("/downloadResource"), 200, ""},
      {"resource signed for the check", resource, check, 403, badSignature},
      {"another app's resource", resource, Signed("/downloadResource", "other"), 404, ""},
      {"unknown resource", "/downloadResource?resourceId=app/none", Signed("/downloadResource"),
       404, ""},
      {"resource on the CDN path", "/" + index, {}, 200, ""},
      {"unknown CDN path", "/app/none", {}, 404, ""},
  };
  for (const char* name : {"o-app-key", "o-app-version", "o-device-id", "o-timestamp", "o-sign"}) {
    cases.push_back({name, "/checkUpdate", With(check, name, ""), 401,
                     std::string("{\"error\":\"missing header ") + name + "\"}"});
  }
  for (const Case& c : cases) {
    const httplib::Result result = client.Get(c.target, c.headers);
    ASSERT_TRUE(result) << c.name;
    EXPECT_EQ(result->status, c.status) << c.name << ": " << result->body;
    if (!c.body.empty()) {
      EXPECT_EQ(result->body, c.body) << c.name;
    }
  }
}

// A long-poll answers once a publication gives its app a new index, or when
// its wait is over; other requests are served meanwhile, and stopping ends
// every wait at once.
TEST(ConfigServer, NoticeLongPollAnswersOnPublicationAndOnStop) {
  TempFolder data;
  data.Write("app/ui.json", Standard("{\"theme\":\"dark\"}"));
  OstrelToolsTest::CapturedLog log;
  OstrelServer::ConfigServer server(data.path(), log.Sink());
  ASSERT_TRUE(server.Start("127.0.0.1", 0));
  auto notice = [&server](const std::string& query) {
    httplib::Client client("127.0.0.1", server.Port());
    client.set_read_timeout(20, 0);
    const httplib::Result result = client.Get("/admin/notice?appKey=app" + query);
    return result && result->status == 200
               ? result->body
               : "status " + std::to_string(result ? result->status : -1);
  };
  const std::string before = notice("");
  const std::string known = OstrelLocal::NoticeField(before, "resourceId");
  ASSERT_EQ(known.rfind("app/index-", 0), 0u) << before;
  // Six digits are a wait like any other, cut to the longest one.
  EXPECT_EQ(notice("&known=other&wait=999999"), before) << "already behind: at once";
  EXPECT_EQ(notice("&known=" + known), before) << "no wait asked: at once";
  EXPECT_EQ(notice("&wait=2x"), "status 400");
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(notice("&known=" + known + "&wait=1"), before);
  EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(950));

  // More long-polls than the four threads a small pool would have.
  constexpr int kPolls = 6;
  const std::string waiting = " waiting up to 30 s for a new index of app";
  std::vector<std::future<std::string>> polls;
  for (int i = 0; i < kPolls; ++i) {
    polls.push_back(std::async(std::launch::async, notice, "&known=" + known + "&wait=30"));
  }
  ASSERT_TRUE(log.WaitFor(waiting, kPolls));
  const httplib::Result other =
      httplib::Client("127.0.0.1", server.Port()).Get("/admin/notice?appKey=nobody");
  EXPECT_TRUE(other && other->body.empty()) << "served meanwhile";
  data.Write("app/ui.json", Standard("{\"theme\":\"light\"}"));
  server.Publish();
  const std::string after = notice("");
  EXPECT_NE(after, before);
  for (auto& poll : polls) {
    ASSERT_EQ(poll.wait_for(std::chrono::seconds(10)), std::future_status::ready);
    EXPECT_EQ(poll.get(), after);
  }
  auto pending = std::async(std::launch::async, notice,
                            "&known=" + OstrelLocal::NoticeField(after, "resourceId") + "&wait=30");
  ASSERT_TRUE(log.WaitFor(waiting, kPolls + 1));
  server.Stop();
  EXPECT_EQ(pending.wait_for(std::chrono::seconds(10)), std::future_status::ready);
  // Only the requests that had to wait said so.
  const std::vector<std::string> lines = log.Lines();
  EXPECT_EQ(std::count_if(lines.begin(), lines.end(),
                          [](const std::string& line) {
                            return line.find(" waiting up to ") != std::string::npos;
                          }),
            kPolls + 2);
}

}  // namespace
