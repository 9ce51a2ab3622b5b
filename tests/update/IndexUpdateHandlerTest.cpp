#include "update/IndexUpdateHandler.h"

#include <gtest/gtest.h>

#include <atomic>
#include <vector>

#include "FixedSigner.h"
#include "ScopedLogCapture.h"
#include "Recorders.h"
#include "ScriptedHttpClient.h"
#include "TestExecutors.h"
#include "host/StatisticsManager.h"

namespace Ostrel {
namespace {

using Info = IndexUpdateHandler::IndexUpdateInfo;
using OstrelTest::ScriptedResponse;

std::atomic<int64_t> gNow{0};
int64_t FakeNow() { return gNow.load(); }

// The handler built alone: notices it accepts are recorded instead of
// applied, update checks run inline against a scripted client.
class IndexUpdateHandlerTest : public OstrelTest::LoggerFixture,
                               private IndexUpdateHandler::Target {
 protected:
  void SetUp() override {
    LoggerFixture::SetUp();
    StatisticsManager::GetInstance()->SetStatistics(&statistics);
    network.SetHttpClient(&http);
    auto settings = std::make_shared<Settings>();
    settings->appKey = "app";
    settings->appVersion = "1.0";
    settings->deviceId = "device";
    settings->host = "api.test";
    requests.SetSettings(settings);
  }
  void TearDown() override {
    StatisticsManager::GetInstance()->SetStatistics(nullptr);
    LoggerFixture::TearDown();
  }

  void UpdateIndex(const Info& info) override { applied.push_back(info); }

  std::vector<Info> applied;
  OstrelTest::StatisticsRecorder statistics;
  OstrelTest::ScriptedHttpClient http;
  NetworkManager network;
  OstrelTest::FixedSigner signer;
  ServiceRequests requests{&network, &signer, &FakeNow};
  OstrelTest::InlineExecutor checks;
  UpdateCheckGate gate{&FakeNow};
  IndexUpdateHandler handler{this, &requests, &checks, &gate};
};

// The key-value form trims blanks, matches keys by prefix and never fails;
// the JSON form needs four strings, and says which one it missed.
TEST_F(IndexUpdateHandlerTest, BothFormsOfANotice) {
  const struct {
    bool json;
    const char* text;
    const char* cdn;
    const char* md5;
    const char* protocol;
    const char* resourceId;
    const char* error;  // null: parses
  } kCases[] = {
      {false, "cdn=a&md5=b&resourceId=c&protocol=https", "a", "b", "https", "c", nullptr},
      {false, " cdn = a &md5= b&resourceId=c ", "a", "b", "", "c", nullptr},
      {false, "cdnx=1", "1", "", "", "", nullptr},             // prefix test
      {false, "cdn", "cdn", "", "", "", nullptr},              // no "=": the whole item
      {false, "cdn=a=b", "a=b", "", "", "", nullptr},          // value after the first "="
      {false, "cdn=1&cdn=2", "2", "", "", "", nullptr},        // a later item wins
      {false, "resourceIdX=r&other=1&&", "", "", "", "r", nullptr},
      {false, "md5=%41", "", "%41", "", "", nullptr},          // no percent-decoding
      {false, "", "", "", "", "", nullptr},
      {false, "\tcdn=a", "", "", "", "", nullptr},             // only blanks are trimmed
      {true, R"({"cdn":"a","md5":"b","protocol":"https","resourceId":"c"})", "a", "b", "https",
       "c", nullptr},
      {true, R"({"md5":"b","protocol":"https","resourceId":"c"})", "", "", "", "",
       "cdn data format error"},
      {true, R"({"cdn":"a","md5":1,"protocol":"https","resourceId":"c"})", "", "", "", "",
       "md5 data format error"},
      {true, R"({"cdn":"a","md5":"b","resourceId":"c"})", "", "", "", "",
       "protocol data format error"},
      {true, R"({"cdn":"a","md5":"b","protocol":"http","resourceId":null})", "", "", "", "",
       "resourceId data format error"},
      {true, "[1,2]", "", "", "", "", "cdn data format error"},
      {true, "not json", "", "", "", "", "cdn data format error"},
      {true, "", "", "", "", "", "cdn data format error"},
  };
  for (const auto& c : kCases) {
    SCOPED_TRACE(c.text);
    logger.Clear();
    Info info;
    ASSERT_EQ(IndexUpdateHandler::ParseIndexUpdInfo(c.text, c.json, info), c.error == nullptr);
    if (c.error == nullptr) {
      EXPECT_EQ(info.cdn, c.cdn);
      EXPECT_EQ(info.md5, c.md5);
      EXPECT_EQ(info.protocol, c.protocol);
      EXPECT_EQ(info.resourceId, c.resourceId);
      continue;
    }
    const auto lines = logger.Lines();
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0].text, c.error);
    EXPECT_EQ(lines[0].tag, "Ostrel.IndexUpdateHandler");
    EXPECT_EQ(lines[0].method, "ParseIndexUpdInfo");
  }
  // Only a notice with both a CDN and a resource id names something to fetch.
  Info info;
  info.cdn = "a";
  EXPECT_FALSE(info.CheckValid());
  info.resourceId = "c";
  EXPECT_TRUE(info.CheckValid());
  info.cdn.clear();
  EXPECT_FALSE(info.CheckValid());
}

TEST_F(IndexUpdateHandlerTest, TheSameIndexIsAppliedOnceInARow) {
  handler.UpdateIndex("cdn=a&md5=b&resourceId=c&protocol=https", false);
  handler.UpdateIndex(" cdn=a & md5=b & resourceId=c & protocol=http", false);
  EXPECT_EQ(applied.size(), 1u);
  EXPECT_TRUE(logger.Contains("it is a same index info,resourceid is c"));
  EXPECT_EQ(requests.CdnUrl("a", "c"), "https://a/c") << "a repeat changes nothing";
  // A new md5 alone is a new index, and its protocol chooses the scheme; the
  // JSON form is compared the same way.
  handler.UpdateIndex(R"({"cdn":"a","md5":"b2","protocol":"http","resourceId":"c"})", true);
  ASSERT_EQ(applied.size(), 2u);
  EXPECT_EQ(applied[1].md5, "b2");
  EXPECT_EQ(requests.CdnUrl("a", "c"), "http://a/c");
}

TEST_F(IndexUpdateHandlerTest, EmptyAndUnparsableNoticesAreRefused) {
  handler.UpdateIndex("", false);
  EXPECT_TRUE(logger.Contains("IndexUpdateHandler::UpdateIndex , parameter value is empty error"));
  handler.UpdateIndex("{}", true);
  EXPECT_TRUE(logger.Contains("parse index up info error!!!"));
  EXPECT_EQ(statistics.Count("index_rate", false), 1u);
  EXPECT_TRUE(applied.empty());
}

TEST_F(IndexUpdateHandlerTest, UpdateCheckIsRateLimitedToOnePerTwelveHours) {
  const char* kTooSoon = "checkIndexUpdate too frequently, interval should more than 43200000";
  ScriptedResponse notice;
  notice.body = R"({"cdn":"cdn.test","md5":"m","protocol":"http","resourceId":"index-2"})";
  http.RoutePrefix("http://api.test/checkUpdate", notice);

  const int64_t first = 1700000000000;
  gNow = first;  // the first check of a gate always passes
  handler.CheckIndexUpdate(3, 4);
  ASSERT_EQ(http.RequestCount(), 1u);
  EXPECT_EQ(http.Requests()[0].url,
            "http://api.test/checkUpdate?appIndexVersion=3&versionIndexVersion=4");
  ASSERT_EQ(applied.size(), 1u);
  EXPECT_EQ(applied[0].resourceId, "index-2");
  EXPECT_EQ(checks.names.front(), "IndexUpdateHandler::CheckIndexUpdate");

  gNow = first + 43200000;  // exactly twelve hours later: too early
  handler.CheckIndexUpdate(3, 4);
  EXPECT_EQ(http.RequestCount(), 1u);
  EXPECT_TRUE(logger.Contains(
      "checkIndexUpdate too frequently, interval should more than 43200000 lastIndexUpdTime is "
      "1700000000000 startUpdTime 1700043200000"));

  gNow = first + 43200001;  // one millisecond later it passes
  handler.CheckIndexUpdate(3, 4);
  EXPECT_EQ(http.RequestCount(), 2u);
  EXPECT_EQ(logger.Count(kTooSoon), 1u);
}

TEST_F(IndexUpdateHandlerTest, AnswersOfTheCheckThatNameNoIndex) {
  const struct {
    const char* body;
    bool answered;
    const char* line;
  } kCases[] = {
      {"", true, "auth request sucessfully, but index is not updated"},
      {R"({"code":0})", true, "auth request sucessfully, but index is not updated"},
      {R"({"resourceId":1})", true, "parse index up info error!!!"},
      {"[]", true, "parse index up info error!!!"},
      {"", false, "auth request back null,download index failed,index may not updated!!!"},
  };
  int64_t now = 1;
  for (const auto& c : kCases) {
    SCOPED_TRACE(c.body);
    logger.Clear();
    ScriptedResponse response;
    response.body = c.body;
    response.success = c.answered;
    http.RoutePrefix("http://api.test/checkUpdate", response);
    gNow = now += UpdateCheckGate::kIntervalMs + 1;
    handler.CheckIndexUpdate(0, 0);
    EXPECT_TRUE(logger.Contains(c.line));
  }
  EXPECT_TRUE(applied.empty());
  EXPECT_EQ(statistics.Count("index_rate", false), 5u);
}

}  // namespace
}  // namespace Ostrel
