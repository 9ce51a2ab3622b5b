// ostrel-server over loopback HTTP: signed requests, update notices,
// resources and publishing; and the development signing library's ABI.
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <httplib.h>
#include <rapidjson/document.h>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstring>
#include <ctime>
#include <future>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "ConfigServer.h"
#include "DevSignature.h"
#include "Documents.h"
#include "ToolsFixture.h"

namespace {

using OstrelToolsTest::CapturedLog;
using OstrelToolsTest::Standard;
using OstrelToolsTest::TempFolder;

std::string Now() {
  return std::to_string(std::chrono::duration_cast<std::chrono::seconds>(
                            std::chrono::system_clock::now().time_since_epoch())
                            .count());
}

// The headers a client of the library sends, signed for path.
httplib::Headers SignedHeaders(const std::string& path, const std::string& appKey,
                               const std::string& timestamp = Now(),
                               const std::string& deviceId = "device 7",
                               const std::string& sentDeviceId = "device+7") {
  // The device id is sent URL-encoded and signed raw.
  return {{"o-app-key", appKey},
          {"o-app-version", "1.0.0"},
          {"o-device-id", sentDeviceId},
          {"o-timestamp", timestamp},
          {"o-sign-version", "1.0"},
          {"o-sign", OstrelDev::DevSign(appKey, OstrelDev::SignedText(path, appKey, "1.0.0",
                                                                      deviceId, timestamp))}};
}

class ServerTest : public ::testing::Test {
 protected:
  void SetUp() override {
    data_.Write("app/ui.json", Standard("{\"theme\":\"dark\"}"));
    data_.Write("other/ui.json", Standard("{\"theme\":\"blue\"}"));
    server_.reset(new OstrelServer::ConfigServer(data_.path(), log_.Sink()));
    ASSERT_TRUE(server_->Start("127.0.0.1", 0));
    client_.reset(new httplib::Client("127.0.0.1", server_->Port()));
    client_->set_read_timeout(5, 0);
  }

  int Status(const httplib::Result& result) { return result ? result->status : -1; }

  // The notice body for a client at the given index versions.
  std::string Check(const std::string& appIndexVersion, const std::string& versionIndexVersion,
                    const std::string& appKey = "app") {
    auto result = client_->Get("/checkUpdate?appIndexVersion=" + appIndexVersion +
                                   "&versionIndexVersion=" + versionIndexVersion,
                               SignedHeaders("/checkUpdate", appKey));
    EXPECT_EQ(Status(result), 200);
    return result ? result->body : std::string();
  }

  // The notice a client without index gets, checked field by field: it
  // names this server, plain HTTP, and an index that the CDN path serves with
  // the digest given. Stores the index's version.
  std::string CurrentNotice(const std::string& appKey, std::string* version = nullptr) {
    const std::string body = Check("0", "0", appKey);
    rapidjson::Document notice;
    notice.Parse(body.c_str());
    if (notice.HasParseError() || !notice.IsObject() || notice.MemberCount() != 4) {
      ADD_FAILURE() << body;
      return body;
    }
    EXPECT_EQ(std::string(notice["cdn"].GetString()),
              "127.0.0.1:" + std::to_string(server_->Port()));
    EXPECT_EQ(std::string(notice["protocol"].GetString()), "http");
    auto index = client_->Get(std::string("/") + notice["resourceId"].GetString());
    EXPECT_EQ(Status(index), 200);
    if (!index) return body;
    EXPECT_EQ(OstrelTest::Md5Of(index->body), notice["md5"].GetString());
    rapidjson::Document parsed;
    parsed.Parse(index->body.c_str());
    if (version != nullptr && parsed.IsObject()) *version = parsed["appIndexVersion"].GetString();
    return body;
  }

  TempFolder data_;
  CapturedLog log_;
  std::unique_ptr<OstrelServer::ConfigServer> server_;
  std::unique_ptr<httplib::Client> client_;
};

TEST_F(ServerTest, RefusesRequestsWithoutAValidSignature) {
  EXPECT_EQ(Status(client_->Get("/checkUpdate", SignedHeaders("/checkUpdate", "app"))), 200);
  // Each value is decoded once: a "%41" the client meant stays "%41".
  EXPECT_EQ(
      Status(client_->Get("/checkUpdate", SignedHeaders("/checkUpdate", "app", Now(),
                                                        "\xC3\xA9/ \t%41", "%c3%A9%2F+%09%2541"))),
      200);
  const char* const kRequired[] = {"o-app-key", "o-app-version", "o-device-id", "o-timestamp",
                                   "o-sign"};
  for (const char* name : kRequired) {
    httplib::Headers headers = SignedHeaders("/checkUpdate", "app");
    headers.erase(name);
    auto result = client_->Get("/checkUpdate", headers);
    ASSERT_EQ(Status(result), 401) << name;
    EXPECT_EQ(result->body, std::string("{\"error\":\"missing header ") + name + "\"}");
  }
  const std::map<std::string, httplib::Headers> kForged = {
      // signed for another path
      {"path", SignedHeaders("/downloadResource", "app")},
      // another app's key in the header than in the signature
      {"app",
       [] {
         httplib::Headers headers = SignedHeaders("/checkUpdate", "app");
         headers.erase("o-app-key");
         headers.emplace("o-app-key", "other");
         return headers;
       }()},
      // the device id signed as sent (encoded) instead of raw
      {"device",
       [] {
         httplib::Headers headers = SignedHeaders("/checkUpdate", "app");
         const std::string timestamp = headers.find("o-timestamp")->second;
         headers.erase("o-sign");
         headers.emplace("o-sign", OstrelDev::DevSign(
                                       "app", OstrelDev::SignedText("/checkUpdate", "app", "1.0.0",
                                                                    "device+7", timestamp)));
         return headers;
       }()},
  };
  for (const auto& forged : kForged) {
    auto result = client_->Get("/checkUpdate", forged.second);
    ASSERT_EQ(Status(result), 403) << forged.first;
    EXPECT_EQ(result->body, "{\"error\":\"bad signature\"}");
  }
  const long long now = std::stoll(Now());
  const long long skew = OstrelServer::ConfigServer::kMaxClockSkewSeconds;
  for (long long timestamp : {now - skew - 5, now + skew + 5}) {
    EXPECT_EQ(Status(client_->Get("/checkUpdate",
                                  SignedHeaders("/checkUpdate", "app", std::to_string(timestamp)))),
              401);
  }
  EXPECT_EQ(
      Status(client_->Get("/downloadResource?resourceId=x", SignedHeaders("/checkUpdate", "app"))),
      403);
}

TEST_F(ServerTest, AnswersTheUpdateCheckOnlyToClientsBehind) {
  std::string version;
  const std::string current = CurrentNotice("app", &version);
  ASSERT_FALSE(version.empty());
  EXPECT_EQ(Check(version, "0"), current);
  EXPECT_EQ(Check("0", version), current);
  EXPECT_EQ(Check(version, version), "{}");
  EXPECT_EQ(Check("", ""), current);  // unreadable versions: a client without index
  EXPECT_EQ(Check("0", "0", "nobody"), "{}");
  const std::string otherApp = CurrentNotice("other");

  // A change counts once it is published; then the old version is behind.
  data_.Write("app/ui.json", Standard("{\"theme\":\"light\"}"));
  data_.Write("app/bad.json", Standard("{\"n\":1}"));
  EXPECT_EQ(Check(version, version), "{}");
  auto published = client_->Post("/admin/publish", "", "application/json");
  ASSERT_EQ(Status(published), 200);
  rapidjson::Document answer;
  answer.Parse(published->body.c_str());
  ASSERT_TRUE(answer.IsObject()) << published->body;
  EXPECT_EQ(std::string(answer["changed"][0].GetString()).rfind("app/ui v", 0), 0u);
  EXPECT_EQ(std::string(answer["errors"][0].GetString()),
            "app/bad.json: line 1, column 35: value of \"n\" is not a string");
  std::string newVersion;
  const std::string updated = CurrentNotice("app", &newVersion);
  EXPECT_NE(updated, current);
  EXPECT_GT(std::stoll(newVersion), std::stoll(version));
  EXPECT_EQ(Check(version, version), updated);
  EXPECT_EQ(Check(newVersion, newVersion), "{}");
  EXPECT_EQ(CurrentNotice("other"), otherApp);
}

TEST_F(ServerTest, ServesResourcesOnTheCdnPathSignedToTheirOwnAppAndTheGatewayNotice) {
  rapidjson::Document notice;
  notice.Parse(CurrentNotice("app").c_str());
  ASSERT_TRUE(notice.IsObject());
  const std::string resourceId = notice["resourceId"].GetString();
  auto cdn = client_->Get("/" + resourceId);
  ASSERT_EQ(Status(cdn), 200);
  const std::string path = "/downloadResource?resourceId=" + resourceId;
  auto signedBody = client_->Get(path, SignedHeaders("/downloadResource", "app"));
  ASSERT_EQ(Status(signedBody), 200);
  EXPECT_EQ(signedBody->body, cdn->body);
  EXPECT_EQ(Status(client_->Get(path, SignedHeaders("/downloadResource", "other"))), 404);
  EXPECT_EQ(Status(client_->Get("/downloadResource?resourceId=app/none",
                                SignedHeaders("/downloadResource", "app"))),
            404);
  EXPECT_EQ(Status(client_->Get("/app/none")), 404);

  // The same notice in the key=value form of gateway responses.
  auto gateway = client_->Get("/admin/notice?appKey=app");
  ASSERT_EQ(Status(gateway), 200);
  EXPECT_EQ(gateway->body, "cdn=127.0.0.1:" + std::to_string(server_->Port()) +
                               "&md5=" + notice["md5"].GetString() + "&resourceId=" + resourceId +
                               "&protocol=http");
  auto nothing = client_->Get("/admin/notice?appKey=nobody");
  ASSERT_EQ(Status(nothing), 200);
  EXPECT_EQ(nothing->body, "");
}

// A long-poll answers once a publication gives its app a new index, or when
// its wait is over; the default pool serves other requests meanwhile.
TEST_F(ServerTest, NoticeLongPollAnswersOnPublicationWhileOtherRequestsAreServed) {
  auto notice = [this](const std::string& query) {
    httplib::Client client("127.0.0.1", server_->Port());
    client.set_read_timeout(20, 0);
    auto result = client.Get("/admin/notice?appKey=app" + query);
    return result && result->status == 200 ? result->body
                                           : "status " + std::to_string(Status(result));
  };
  // The index a gateway notice names.
  auto indexOf = [](const std::string& body) {
    const size_t start = body.find("resourceId=") + 11;
    return body.substr(start, body.find("&protocol") - start);
  };
  const std::string before = notice("");
  const std::string known = indexOf(before);
  ASSERT_EQ(known.rfind("app/index-", 0), 0u) << before;
  EXPECT_EQ(notice("&known=other&wait=30"), before);  // already behind: at once
  EXPECT_EQ(notice("&wait=2x"), "status 400");

  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(notice("&known=" + known + "&wait=1"), before);
  EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(950));

  // More long-polls than the four threads a small pool would have.
  constexpr int kPolls = 6;
  std::vector<std::future<std::string>> polls;
  for (int i = 0; i < kPolls; ++i) {
    polls.push_back(std::async(std::launch::async, notice, "&known=" + known + "&wait=30"));
  }
  ASSERT_TRUE(log_.WaitFor(" waiting up to 30 s for a new index of app", kPolls));
  client_->set_read_timeout(2, 0);
  EXPECT_EQ(Check("0", "0", "nobody"), "{}");

  data_.Write("app/ui.json", Standard("{\"theme\":\"light\"}"));
  server_->Publish();
  const std::string after = notice("");
  EXPECT_NE(after, before);
  for (auto& poll : polls) {
    ASSERT_EQ(poll.wait_for(std::chrono::seconds(10)), std::future_status::ready);
    EXPECT_EQ(poll.get(), after);
  }

  // Stopping ends a wait at once.
  auto pending = std::async(std::launch::async, notice, "&known=" + indexOf(after) + "&wait=30");
  ASSERT_TRUE(log_.WaitFor(" waiting up to 30 s for a new index of app", kPolls + 1));
  server_->Stop();
  EXPECT_EQ(pending.wait_for(std::chrono::seconds(10)), std::future_status::ready);
  // Only the requests that had to wait said so.
  const std::vector<std::string> lines = log_.Lines();
  EXPECT_EQ(std::count_if(lines.begin(), lines.end(),
                          [](const std::string& line) {
                            return line.find(" waiting up to ") != std::string::npos;
                          }),
            kPolls + 2);
}

// Each line starts with the UTC time it was written.
TEST_F(ServerTest, LogLinesCarryTheirTime) {
  const auto before = std::chrono::system_clock::now();
  ASSERT_EQ(Status(client_->Get("/app/none")), 404);
  ASSERT_TRUE(log_.WaitFor(" GET /app/none -> 404", 1));
  const std::vector<std::string> lines = log_.Lines();
  const std::string line = lines.back();
  ASSERT_EQ(line.size(), 24 + std::strlen(" GET /app/none -> 404")) << line;
  std::tm utc{};
  ASSERT_NE(strptime(line.c_str(), "%Y-%m-%dT%H:%M:%S", &utc), nullptr) << line;
  EXPECT_EQ(line.substr(19, 1), ".");
  EXPECT_EQ(line.substr(23, 1), "Z");
  const auto written = std::chrono::system_clock::from_time_t(timegm(&utc)) +
                       std::chrono::milliseconds(std::stoi(line.substr(20, 3)));
  EXPECT_LE(before - std::chrono::milliseconds(1), written) << line;
  EXPECT_LE(written, std::chrono::system_clock::now()) << line;
}

TEST_F(ServerTest, RefusesToStartWithoutItsDataFolderOrAddress) {
  std::vector<std::string> lines;
  OstrelServer::ConfigServer missing(data_.path() + "/missing",
                                     [&lines](const std::string& line) { lines.push_back(line); });
  EXPECT_FALSE(missing.Start("127.0.0.1", 0));
  ASSERT_EQ(lines.size(), 1u);
  EXPECT_EQ(lines[0].substr(24), " no data folder " + data_.path() + "/missing");

  // An address of no interface here, with a port picked and a port given.
  for (int port : {0, 8686}) {
    OstrelServer::ConfigServer server(data_.path());
    EXPECT_FALSE(server.Start("203.0.113.7", port)) << port;
  }
}

TEST(DevSignLibrary, SignsLikeTheServerChecksThroughTheSdksAbi) {
  void* library = dlopen(OSTREL_DEV_SIGN_DIR "/libKelsafeProxy.so", RTLD_NOW | RTLD_LOCAL);
  ASSERT_NE(library, nullptr) << dlerror();
  using Sign = int (*)(const char*, const char*, char*, unsigned);
  auto sign = reinterpret_cast<Sign>(dlsym(library, "KelsafeUrlSign"));
  ASSERT_NE(sign, nullptr);

  const std::string text = OstrelDev::SignedText("/checkUpdate", "app", "1.0", "d 1", "17");
  char out[1024];
  ASSERT_EQ(sign("app", text.c_str(), out, sizeof(out)), 0);
  EXPECT_EQ(std::strlen(out), 64u);
  EXPECT_TRUE(OstrelDev::DevVerify("app", text, out));
  EXPECT_FALSE(OstrelDev::DevVerify("other", text, out));
  EXPECT_FALSE(OstrelDev::DevVerify("app", text + "x", out));
  EXPECT_FALSE(OstrelDev::DevVerify("app", text, std::string(out).substr(0, 63)));
  // HMAC-SHA256 of "a&b" under the development key, computed with openssl dgst.
  EXPECT_EQ(OstrelDev::DevSign("a", "b"),
            "e52a4c56247d4fee4a93e7fc2fd76f251d765db33c5171fcc3483b5a9dca7536");

  char small[64];  // one byte short of the signature and its NUL
  EXPECT_NE(sign("app", text.c_str(), small, sizeof(small)), 0);
  EXPECT_NE(sign(nullptr, text.c_str(), out, sizeof(out)), 0);
  EXPECT_NE(sign("app", nullptr, out, sizeof(out)), 0);
  dlclose(library);
}

}  // namespace
