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

TEST_F(IndexUpdateHandlerTest, KeyValueFormTrimsMatchesPrefixesAndNeverFails) {
  const struct {
    const char* text;
    const char* cdn;
    const char* md5;
    const char* protocol;
    const char* resourceId;
  } kCases[] = {
      {"cdn=a&md5=b&resourceId=c&protocol=https", "a", "b", "https", "c"},
      {" cdn = a &md5= b&resourceId=c ", "a", "b", "", "c"},
      {"cdnx=1", "1", "", "", ""},                    // prefix test
      {"cdn", "cdn", "", "", ""},                     // no "=": the whole item
      {"cdn=a=b", "a=b", "", "", ""},                 // value after the first "="
      {"cdn=1&cdn=2", "2", "", "", ""},               // a later item wins
      {"resourceIdX=r&other=1&&", "", "", "", "r"},
      {"md5=%41", "", "%41", "", ""},                 // no percent-decoding
      {"", "", "", "", ""},
      {"\tcdn=a", "", "", "", ""},                    // only blanks are trimmed
  };
  for (const auto& c : kCases) {
    Info info;
    ASSERT_TRUE(IndexUpdateHandler::ParseIndexUpdInfo(c.text, false, info)) << c.text;
    EXPECT_EQ(info.cdn, c.cdn) << c.text;
    EXPECT_EQ(info.md5, c.md5) << c.text;
    EXPECT_EQ(info.protocol, c.protocol) << c.text;
    EXPECT_EQ(info.resourceId, c.resourceId) << c.text;
  }
}

TEST_F(IndexUpdateHandlerTest, JsonFormNeedsFourStringsInOrder) {
  const struct {
    const char* text;
    const char* message;  // null: parses
  } kCases[] = {
      {R"({"cdn":"a","md5":"b","protocol":"https","resourceId":"c"})", nullptr},
      {R"({"md5":"b","protocol":"https","resourceId":"c"})", "cdn data format error"},
      {R"({"cdn":"a","md5":1,"protocol":"https","resourceId":"c"})", "md5 data format error"},
      {R"({"cdn":"a","md5":"b","resourceId":"c"})", "protocol data format error"},
      {R"({"cdn":"a","md5":"b","protocol":"http","resourceId":null})",
       "resourceId data format error"},
      {"[1,2]", "cdn data format error"},
      {"not json", "cdn data format error"},
      {"", "cdn data format error"},
  };
  for (const auto& c : kCases) {
    logger.Clear();
    Info info;
    const bool parsed = IndexUpdateHandler::ParseIndexUpdInfo(c.text, true, info);
    EXPECT_EQ(parsed, c.message == nullptr) << c.text;
    if (c.message != nullptr) {
      const auto lines = logger.Lines();
      ASSERT_EQ(lines.size(), 1u) << c.text;
      EXPECT_EQ(lines[0].text, c.message);
      EXPECT_EQ(lines[0].tag, "Ostrel.IndexUpdateHandler");
      EXPECT_EQ(lines[0].method, "ParseIndexUpdInfo");
    }
  }
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
