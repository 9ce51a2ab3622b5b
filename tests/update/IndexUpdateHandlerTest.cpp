#include "update/IndexUpdateHandler.h"

#include <gtest/gtest.h>

#include <atomic>
#include <vector>

#include "LoggerFixture.h"
#include "Recorders.h"
#include "center/OThreadPoolFactory.h"
#include "host/Clock.h"
#include "host/StatisticsManager.h"
#include "update/EngineHooks.h"

namespace Ostrel {
namespace {

using Info = IndexUpdateHandler::IndexUpdateInfo;

class IndexUpdateHandlerTest : public OstrelTest::LoggerFixture {
 protected:
  void SetUp() override {
    LoggerFixture::SetUp();
    IndexUpdateHandler::Reset();
    StatisticsManager::GetInstance()->SetStatistics(&statistics);
    EngineHooks::Install([] { return true; },
                         [this](const Info& info) { applied.push_back(info); });
  }
  void TearDown() override {
    EngineHooks::Clear();
    OThreadPoolFactory::DestroyInstance();
    StatisticsManager::GetInstance()->SetStatistics(nullptr);
    IndexUpdateHandler::Reset();
    LoggerFixture::TearDown();
  }

  std::vector<Info> applied;
  OstrelTest::StatisticsRecorder statistics;
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

TEST_F(IndexUpdateHandlerTest, ProtocolChoosesTheFetchScheme) {
  EXPECT_EQ(IndexUpdateHandler::FetchScheme(), "https");
  const struct {
    const char* protocol;
    const char* scheme;
  } kCases[] = {{"HTTPS", "https"}, {"ftp", "http"}, {"https", "https"}, {"", "http"},
                {"Https", "https"}, {"http", "http"}};
  int round = 0;
  for (const auto& c : kCases) {
    IndexUpdateHandler::UpdateIndex(
        "cdn=a&md5=m" + std::to_string(round++) + "&resourceId=c&protocol=" + c.protocol, false);
    EXPECT_EQ(IndexUpdateHandler::FetchScheme(), c.scheme) << c.protocol;
  }
  EXPECT_EQ(applied.size(), 6u);
}

TEST_F(IndexUpdateHandlerTest, TheSameIndexIsAppliedOnceInARow) {
  IndexUpdateHandler::UpdateIndex("cdn=a&md5=b&resourceId=c&protocol=https", false);
  IndexUpdateHandler::UpdateIndex(" cdn=a & md5=b & resourceId=c & protocol=http", false);
  EXPECT_EQ(applied.size(), 1u);
  EXPECT_TRUE(logger.Contains("it is a same index info,resourceid is c"));
  EXPECT_EQ(IndexUpdateHandler::FetchScheme(), "https") << "a repeat changes nothing";
  // A new md5 alone is a new index; the JSON form is compared the same way.
  IndexUpdateHandler::UpdateIndex(R"({"cdn":"a","md5":"b2","protocol":"https","resourceId":"c"})",
                                  true);
  ASSERT_EQ(applied.size(), 2u);
  EXPECT_EQ(applied[1].md5, "b2");
}

TEST_F(IndexUpdateHandlerTest, EmptyAndUnparsableNoticesAreRefused) {
  IndexUpdateHandler::UpdateIndex("", false);
  EXPECT_TRUE(logger.Contains("IndexUpdateHandler::UpdateIndex , parameter value is empty error"));
  IndexUpdateHandler::UpdateIndex("{}", true);
  EXPECT_TRUE(logger.Contains("parse index up info error!!!"));
  EXPECT_EQ(statistics.Count("index_rate", false), 1u);
  EXPECT_TRUE(applied.empty());
}

std::atomic<int64_t> gFakeNow{0};
int64_t FakeNow() { return gFakeNow.load(); }

TEST_F(IndexUpdateHandlerTest, UpdateCheckIsRateLimitedToOnePerTwelveHours) {
  Clock::SetSystemClockForTest(&FakeNow);
  IndexUpdateHandler::ResetCheckTimeForTest();
  const char* kTooSoon = "checkIndexUpdate too frequently, interval should more than 43200000";

  const int64_t first = 1700000000000;
  gFakeNow = first;  // the first check of a process always passes
  IndexUpdateHandler::CheckIndexUpdate(0, 0);
  EXPECT_EQ(logger.Count(kTooSoon), 0u);
  gFakeNow = first + 43200000;  // exactly twelve hours later: too early
  IndexUpdateHandler::CheckIndexUpdate(0, 0);
  EXPECT_EQ(logger.Count(kTooSoon), 1u);
  EXPECT_TRUE(logger.Contains(
      "checkIndexUpdate too frequently, interval should more than 43200000 lastIndexUpdTime is "
      "1700000000000 startUpdTime 1700043200000"));
  gFakeNow = first + 43200001;  // one millisecond later it passes
  IndexUpdateHandler::CheckIndexUpdate(0, 0);
  EXPECT_EQ(logger.Count(kTooSoon), 1u);
  // Both accepted checks ran (and, without a host client, failed).
  EXPECT_TRUE(logger.WaitFor("CheckIndexUpdate cost ", 2));
  EXPECT_EQ(logger.Count("auth request back null,download index failed,index may not updated!!!"),
            2u);
  Clock::SetSystemClockForTest(nullptr);
}

}  // namespace
}  // namespace Ostrel
