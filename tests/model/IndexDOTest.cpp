// The index document: parse messages, validation and writing.
#include "model/IndexDO.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "ModelTestData.h"
#include "ScopedLogCapture.h"

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

TEST(IndexDO, ParseFailuresLogTheirLines) {
  struct Case {
    std::string text;
    std::vector<std::string> lines;
  };
  std::vector<Case> cases = {
      {"", {"IndexDO::ParseFormJson parameter empty error!!!"}},
      {"{}", {"appKey format error!!!"}},
      {"[]", {"appKey format error!!!"}},
      {"{", {"appKey format error!!!"}},
      {JsonObject(With(Index(), "mergedNamespaces", "{}")), {"mergedNamespaces format error!!!"}},
      {JsonObject(With(Index(), "mergedNamespaces", R"(["ns"])")),
       {"ParseFromJson, value is not Object error", "data in mergedNamespaces format error!!!"}},
      {JsonObject(With(Index(), "mergedNamespaces",
                       R"([{"loadLevel":"HIGH","name":"ns","resourceId":"r","version":"1",)"
                       R"("type":"STANDARD"}])")),
       {"md5 data format error", "data in mergedNamespaces format error!!!"}},
  };
  for (const auto& member : Index()) {
    cases.push_back({JsonObject(Without(Index(), member.first)), {member.first + " format error!!!"}});
    if (member.first != "mergedNamespaces") {
      cases.push_back({JsonObject(With(Index(), member.first, "5")),
                       {member.first + " format error!!!"}});
    }
  }
  for (const Case& c : cases) {
    OstrelTest::ScopedLogCapture capture;
    EXPECT_EQ(nullptr, IndexDO::ParseFormJson(c.text)) << c.text;
    EXPECT_EQ(c.lines, capture.Texts()) << c.text;
    const OstrelTest::LogLine last = capture.logger().Lines().back();
    EXPECT_EQ("Ostrel.IndexDO", last.tag);
    EXPECT_EQ("ParseFormJson", last.method);
  }
}

TEST(IndexDO, CheckValidAgainstTheEngine) {
  std::vector<OstrelTest::CheckCase> cases = {
      {Index(), true, false},
      {With(Index(), "appVersion", Quoted("*")), true, false},
      {With(Index(), "appVersion", Quoted("3.0")), false, true},
      {With(Index(), "appKey", Quoted("key2")), false, true},
      {With(Index(), "mergedNamespaces", "[]"), false, false},
  };
  for (const auto& member : Index()) {
    if (member.first == "mergedNamespaces") continue;
    cases.push_back({With(Index(), member.first, Quoted("")), false, false});
  }
  OstrelTest::ExpectCheckValid(cases, "index invaild", [](const std::string& text) {
    return IndexDO::ParseFormJson(text);
  });
}

TEST(IndexDO, WritesCompactJsonThatReadsBack) {
  const auto index = IndexDO::ParseFormJson(JsonObject(With(
      Index(), "mergedNamespaces",
      std::string("[") + kNamespace + R"(,{"loadLevel":"DEFAULT","md5":"","name":"b",)"
          R"("resourceId":"r-2","version":"1","type":"CUSTOM","candidates":[]}])")));
  ASSERT_NE(nullptr, index);
  ASSERT_EQ(2u, index->mergedNamespaces.size());
  const std::string json = index->ToJson();
  EXPECT_EQ(R"({"appKey":"key1","appVersion":"2.0","id":"i-9","cdn":"cdn.example",)"
            R"("version":"12","appIndexVersion":"5","versionIndexVersion":"6",)"
            R"("mergedNamespaces":[)" + std::string(kNamespace) +
                R"(,{"loadLevel":"DEFAULT","md5":"","name":"b","resourceId":"r-2",)"
                R"("version":"1","type":"CUSTOM"}]})",
            json);
  const auto again = IndexDO::ParseFormJson(json);
  ASSERT_NE(nullptr, again);
  EXPECT_EQ(json, again->ToJson());
  auto a = index->mergedNamespaces.begin();
  for (const auto& ns : again->mergedNamespaces) {
    EXPECT_TRUE((*a)->Equals(*ns));
    EXPECT_EQ((*a)->type, ns->type);
    ++a;
  }

  const auto empty = IndexDO::ParseFormJson(JsonObject(With(Index(), "mergedNamespaces", "[]")));
  ASSERT_NE(nullptr, empty);
  EXPECT_NE(std::string::npos, empty->ToJson().find(R"("mergedNamespaces":[]})"));
}

}  // namespace
}  // namespace Ostrel
