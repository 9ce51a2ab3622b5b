// The index document: what a parse refuses and logs, validation, writing.
#include "model/IndexDO.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "ModelTestData.h"

namespace Ostrel {
namespace {

using OstrelTest::JsonObject;
using OstrelTest::Members;
using OstrelTest::Quoted;
using OstrelTest::With;
using OstrelTest::Without;

const char kNamespace[] =
    R"({"loadLevel":"HIGH","md5":"m5","name":"ns","resourceId":"r-1","version":"3",)"
    R"("type":"STANDARD","candidates":[{"resourceId":"c-1","md5":"","match":"m_fac=x",)"
    R"("version":"4"}]})";

Members Index() {
  return {{"appKey", Quoted("key1")},        {"appVersion", Quoted("2.0")},
          {"id", Quoted("i-9")},             {"cdn", Quoted("cdn.example")},
          {"version", Quoted("12")},         {"appIndexVersion", Quoted("5")},
          {"versionIndexVersion", Quoted("6")},
          {"mergedNamespaces", std::string("[") + kNamespace + "]"}};
}
std::shared_ptr<IndexDO> Parse(const std::string& text) { return IndexDO::ParseFormJson(text); }

TEST(IndexDO, ParseRefusalsLogTheirLines) {
  std::vector<OstrelTest::Refusal> cases = {
      {"", {"IndexDO::ParseFormJson parameter empty error!!!"}},
      {"[]", {"appKey format error!!!"}},
      {"{", {"appKey format error!!!"}},
      {OstrelTest::DeepArrays(true), {"appKey format error!!!"}},
      {JsonObject(With(Index(), "mergedNamespaces", "{}")), {"mergedNamespaces format error!!!"}},
      {JsonObject(With(Index(), "mergedNamespaces", R"(["ns"])")),
       {"ParseFromJson, value is not Object error", "data in mergedNamespaces format error!!!"}},
      {JsonObject(With(Index(), "mergedNamespaces",
                       R"([{"loadLevel":"HIGH","name":"ns","resourceId":"r","version":"1",)"
                       R"("type":"STANDARD"}])")),
       {"md5 data format error", "data in mergedNamespaces format error!!!"}},
  };
  for (const auto& member : Index()) {
    const std::string message = member.first + " format error!!!";
    cases.push_back({JsonObject(Without(Index(), member.first)), {message}});
    if (member.first != "mergedNamespaces") {
      cases.push_back({JsonObject(With(Index(), member.first, "5")), {message}});
    }
  }
  OstrelTest::ExpectRefused(cases, "Ostrel.IndexDO", "ParseFormJson", Parse);
}

TEST(IndexDO, CheckValidNeedsEveryFieldANamespaceAndThisApplication) {
  std::vector<OstrelTest::CheckCase> cases = {
      {Index(), true, false},
      {With(Index(), "appVersion", Quoted("*")), true, false},
      {With(Index(), "appVersion", Quoted("3.0")), false, true},
      {With(Index(), "appKey", Quoted("key2")), false, true},
      {With(Index(), "mergedNamespaces", "[]"), false, false},
  };
  for (const auto& member : Index()) {
    if (member.first != "mergedNamespaces") {
      cases.push_back({With(Index(), member.first, Quoted("")), false, false});
    }
  }
  OstrelTest::ExpectCheckValid(cases, "Ostrel.IndexDO", "index invaild", Parse);
}

TEST(IndexDO, WritesCompactJsonThatReadsBack) {
  const std::string second =
      R"({"loadLevel":"DEFAULT","md5":"","name":"b","resourceId":"r-2","version":"1",)"
      R"("type":"CUSTOM")";
  // An empty candidate list is not written.
  const auto index = Parse(JsonObject(With(Index(), "mergedNamespaces",
                                           std::string("[") + kNamespace + "," + second +
                                               R"(,"candidates":[]}])")));
  ASSERT_NE(nullptr, index);
  const std::string json = index->ToJson();
  EXPECT_EQ(R"({"appKey":"key1","appVersion":"2.0","id":"i-9","cdn":"cdn.example",)"
            R"("version":"12","appIndexVersion":"5","versionIndexVersion":"6",)"
            R"("mergedNamespaces":[)" + std::string(kNamespace) + "," + second + "}]}",
            json);
  const auto again = Parse(json);
  ASSERT_NE(nullptr, again);
  EXPECT_EQ(json, again->ToJson());

  const auto empty = Parse(JsonObject(With(Index(), "mergedNamespaces", "[]")));
  ASSERT_NE(nullptr, empty);
  EXPECT_NE(std::string::npos, empty->ToJson().find(R"("mergedNamespaces":[]})"));
}

}  // namespace
}  // namespace Ostrel
