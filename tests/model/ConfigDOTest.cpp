// STANDARD and CUSTOM config documents: parse messages, validation, writing.
#include "model/ConfigDO.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "ModelTestData.h"
#include "ScopedLogCapture.h"
#include "model/CustomConfigDO.h"

namespace Ostrel {
namespace {

using OstrelTest::JsonObject;
using OstrelTest::Members;
using OstrelTest::Quoted;
using OstrelTest::With;
using OstrelTest::Without;

Members Header(const std::string& type) {
  return {{"appKey", Quoted("key1")},    {"appVersion", Quoted("2.0")},
          {"id", Quoted("7")},           {"name", Quoted("ns")},
          {"resourceId", Quoted("r-7")}, {"type", Quoted(type)},
          {"loadLevel", Quoted("HIGH")}, {"version", Quoted("3")},
          {"createTime", Quoted("1700000000")}};
}

Members Standard() { return With(Header("STANDARD"), "content", R"({"b":"2","a":"1"})"); }
Members Custom() { return With(Header("CUSTOM"), "content", Quoted("free text")); }

struct ParseCase {
  std::string text;
  const char* message;
};

// Each case must fail with exactly one line: message, under tag.
template <typename Parse>
void ExpectParseFailures(const std::vector<ParseCase>& cases, const char* tag, Parse parse) {
  for (const ParseCase& c : cases) {
    OstrelTest::ScopedLogCapture capture;
    EXPECT_EQ(nullptr, parse(c.text)) << c.text;
    const std::vector<OstrelTest::LogLine> lines = capture.logger().Lines();
    ASSERT_EQ(1u, lines.size()) << c.text;
    EXPECT_EQ(c.message, lines[0].text) << c.text;
    EXPECT_EQ(tag, lines[0].tag);
    EXPECT_EQ("ParseFromJson", lines[0].method);
  }
}

TEST(ConfigDO, ParseFailuresLogOneExactLine) {
  std::vector<std::string> keep;  // owns the messages built below
  std::vector<ParseCase> cases;
  for (const auto& member : Header("")) keep.push_back(member.first + " data format error");
  size_t i = 0;
  for (const auto& member : Header("")) {
    cases.push_back({JsonObject(Without(Standard(), member.first)), keep[i].c_str()});
    cases.push_back({JsonObject(With(Standard(), member.first, "3")), keep[i].c_str()});
    ++i;
  }
  const std::vector<ParseCase> more = {
      {"", "appKey data format error"},
      {"null", "appKey data format error"},
      {"[1]", "appKey data format error"},
      {"{\"appKey\":\"key1\"", "appKey data format error"},
      {JsonObject(Standard()) + "x", "appKey data format error"},
      {JsonObject(Without(Without(Standard(), "type"), "loadLevel")), "type data format error"},
      {JsonObject(With(Standard(), "type", Quoted("CUSTOM"))), "type is not standard format error"},
      {JsonObject(With(Standard(), "type", Quoted("standard"))),
       "type is not standard format error"},
      {JsonObject(Without(Standard(), "content")), "content data format error"},
      {JsonObject(With(Standard(), "content", "[]")), "content data format error"},
      {JsonObject(With(Standard(), "content", Quoted("{}"))), "content data format error"},
      {JsonObject(With(Standard(), "content", R"({"a":1})")), "data in content format error"},
      {JsonObject(With(Standard(), "content", R"({"a":"1","b":null})")),
       "data in content format error"},
  };
  cases.insert(cases.end(), more.begin(), more.end());
  ExpectParseFailures(cases, "Ostrel.ConfigDO",
                      [](const std::string& text) { return ConfigDO::ParseFromJson(text); });
}

TEST(CustomConfigDO, ParseFailuresLogOneExactLine) {
  const std::vector<ParseCase> cases = {
      {"", "appKey data format error"},
      {JsonObject(Without(Custom(), "createTime")), "createTime data format error"},
      {JsonObject(With(Custom(), "type", Quoted("STANDARD"))), "type is not custom format error"},
      {JsonObject(Without(Custom(), "content")), "content data format error"},
      {JsonObject(With(Custom(), "content", R"({"a":"1"})")), "content data format error"},
  };
  ExpectParseFailures(cases, "Ostrel.CustomConfigDO",
                      [](const std::string& text) { return CustomConfigDO::ParseFromJson(text); });
}

TEST(ConfigDO, CheckValidAgainstTheEngine) {
  std::vector<OstrelTest::CheckCase> cases = {
      {Standard(), true, false},
      {With(Standard(), "appVersion", Quoted("*")), true, false},
      {With(Standard(), "createTime", Quoted("")), true, false},
      {With(Standard(), "appVersion", Quoted("2.*")), false, true},
      {With(Standard(), "appVersion", Quoted("2.0 ")), false, true},
      {With(Standard(), "appKey", Quoted("key2")), false, true},
      {With(Standard(), "content", "{}"), false, false},
  };
  for (const char* field :
       {"appKey", "appVersion", "id", "name", "resourceId", "loadLevel", "version"}) {
    cases.push_back({With(Standard(), field, Quoted("")), false, false});
  }
  OstrelTest::ExpectCheckValid(cases, "invaild",
                               [](const std::string& text) { return ConfigDO::ParseFromJson(text); });
}

TEST(CustomConfigDO, CheckValidNeedsText) {
  EXPECT_TRUE(CustomConfigDO::ParseFromJson(JsonObject(Custom()))->CheckValid(OstrelTest::kTestApp));
  EXPECT_FALSE(
      CustomConfigDO::ParseFromJson(JsonObject(With(Custom(), "content", Quoted(""))))
          ->CheckValid(OstrelTest::kTestApp));
  OstrelTest::ScopedLogCapture capture;
  EXPECT_FALSE(
      CustomConfigDO::ParseFromJson(JsonObject(With(Custom(), "appKey", Quoted("other"))))
          ->CheckValid(OstrelTest::kTestApp));
  EXPECT_EQ("Ostrel.CustomConfigDO", capture.logger().Find("invaild").tag);
}

TEST(ConfigDO, ContentIsOrderedAndFirstDuplicateWins) {
  const auto config = ConfigDO::ParseFromJson(JsonObject(
      With(Standard(), "content", R"({"b":"1","a":"x","b":"2","B":"3","":"e"})")));
  ASSERT_NE(nullptr, config);
  EXPECT_EQ((std::map<std::string, std::string>{{"", "e"}, {"B", "3"}, {"a", "x"}, {"b", "1"}}),
            config->content.ToMap());
  std::string value;
  EXPECT_TRUE(config->Find("b", &value));
  EXPECT_EQ("1", value);
  EXPECT_FALSE(config->Find("A", &value));
  EXPECT_EQ(R"({"":"e","B":"3","a":"x","b":"1"})", config->ContentText());
}

TEST(ConfigDO, WritesCompactJsonThatReadsBack) {
  // NUL bytes, bytes that are not UTF-8, quotes and escapes survive.
  const std::string content = R"({"z":"\u0000end","k\u0000ey":"v","q\"":"\\\/","h":")" +
                              std::string("\xff\x80", 2) + "\"}";
  const auto config = ConfigDO::ParseFromJson(JsonObject(With(Standard(), "content", content)));
  ASSERT_NE(nullptr, config);
  std::string value;
  ASSERT_TRUE(config->Find(std::string("k\0ey", 4), &value));
  EXPECT_EQ("v", value);
  ASSERT_TRUE(config->Find("z", &value));
  EXPECT_EQ(std::string("\0end", 4), value);

  const std::string json = config->ToJson();
  EXPECT_EQ(R"({"appKey":"key1","appVersion":"2.0","id":"7","name":"ns","resourceId":"r-7",)"
            R"("type":"STANDARD","loadLevel":"HIGH","version":"3","createTime":"1700000000",)"
            R"("content":{"h":")" + std::string("\xff\x80", 2) +
                R"(","k\u0000ey":"v","q\"":"\\/","z":"\u0000end"}})",
            json);
  const auto again = ConfigDO::ParseFromJson(json);
  ASSERT_NE(nullptr, again);
  EXPECT_EQ(json, again->ToJson());
  EXPECT_EQ(config->content, again->content);
  EXPECT_EQ(config->createTime, again->createTime);
}

TEST(CustomConfigDO, WritesCompactJsonThatReadsBack) {
  const auto config = CustomConfigDO::ParseFromJson(
      JsonObject(With(Custom(), "content", Quoted(R"(line\nnext\u0000)"))));
  ASSERT_NE(nullptr, config);
  EXPECT_EQ(std::string("line\nnext\0", 10), config->ContentText());
  EXPECT_TRUE(config->ConfigDO::content.empty());
  const std::string json = config->ToJson();
  EXPECT_EQ(R"({"appKey":"key1","appVersion":"2.0","id":"7","name":"ns","resourceId":"r-7",)"
            R"("type":"CUSTOM","loadLevel":"HIGH","version":"3","createTime":"1700000000",)"
            R"("content":"line\nnext\u0000"})",
            json);
  const auto again = CustomConfigDO::ParseFromJson(json);
  ASSERT_NE(nullptr, again);
  EXPECT_EQ(config->content, again->content);
  // Written through the base class, a CUSTOM document keeps its text.
  const std::shared_ptr<ConfigDO> base = config;
  EXPECT_EQ(json, base->ToJson());
}

}  // namespace
}  // namespace Ostrel
