// STANDARD config documents: what a parse refuses and logs, validation, the
// content and writing.
#include "model/ConfigDO.h"

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

Members Standard() {
  return With(OstrelTest::ConfigHeader("STANDARD"), "content", R"({"b":"2","a":"1"})");
}
std::string WithContent(const std::string& content) {
  return JsonObject(With(Standard(), "content", content));
}
std::shared_ptr<ConfigDO> Parse(const std::string& text) { return ConfigDO::ParseFromJson(text); }

TEST(ConfigDO, ParseRefusalsLogOneExactLine) {
  std::vector<OstrelTest::Refusal> cases = {
      {"", {"appKey data format error"}},
      {"[1]", {"appKey data format error"}},
      {JsonObject(Standard()) + "x", {"appKey data format error"}},
      {std::string("\0{}", 3), {"appKey data format error"}},
      {OstrelTest::DeepArrays(true), {"appKey data format error"}},
      {WithContent(R"({"a":)" + OstrelTest::DeepArrays(false) + "}"), {"appKey data format error"}},
      // A raw NUL ends the text inside a string; escaped, it is a byte like any.
      {WithContent(std::string("{\"a\":\"x\0y\"}", 11)), {"appKey data format error"}},
      {JsonObject(Without(Without(Standard(), "type"), "loadLevel")), {"type data format error"}},
      {JsonObject(With(Standard(), "type", Quoted("CUSTOM"))),
       {"type is not standard format error"}},
      {JsonObject(With(Standard(), "type", Quoted("standard"))),
       {"type is not standard format error"}},
      {JsonObject(Without(Standard(), "content")), {"content data format error"}},
      {WithContent("[]"), {"content data format error"}},
      {WithContent(Quoted("{}")), {"content data format error"}},
      {WithContent(R"({"a":1})"), {"data in content format error"}},
      {WithContent(R"({"a":"1","b":null})"), {"data in content format error"}},
      {WithContent(R"({"a":)" + OstrelTest::DeepArrays(true) + "}"),
       {"data in content format error"}},
  };
  for (const auto& member : OstrelTest::ConfigHeader("")) {
    const std::string message = member.first + " data format error";
    cases.push_back({JsonObject(Without(Standard(), member.first)), {message}});
    cases.push_back({JsonObject(With(Standard(), member.first, "3")), {message}});
  }
  OstrelTest::ExpectRefused(cases, "Ostrel.ConfigDO", "ParseFromJson", Parse);
}

TEST(ConfigDO, CheckValidNeedsEveryFieldAValueAndThisApplication) {
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
  OstrelTest::ExpectCheckValid(cases, "Ostrel.ConfigDO", "invaild", Parse);
}

TEST(ConfigDO, WritesCompactJsonThatReadsBack) {
  // NUL bytes, bytes that are not UTF-8, escapes and megabyte strings
  // survive; a member nobody reads may nest as deep as it likes. Keys are
  // written sorted, and of a repeated key the first value is kept.
  const std::string big(1 << 20, 'x');
  const std::string content = R"({"z":"\u0000end","k\u0000ey":"v","q\"":"\\\/","h":")" +
                              std::string("\xff\x80", 2) + R"(",")" + big + R"(":")" + big +
                              R"(","z":"second"})";
  const auto config = Parse("{\"extra\":" + OstrelTest::DeepArrays(true) + "," +
                            WithContent(content).substr(1));
  ASSERT_NE(nullptr, config);
  std::string value;
  ASSERT_TRUE(config->Find(std::string("k\0ey", 4), &value));
  EXPECT_EQ("v", value);
  ASSERT_TRUE(config->Find("z", &value));
  EXPECT_EQ(std::string("\0end", 4), value);
  ASSERT_TRUE(config->Find(big, &value));
  EXPECT_EQ(big, value);

  const std::string json = config->ToJson();
  EXPECT_EQ(R"({"appKey":"key1","appVersion":"2.0","id":"7","name":"ns","resourceId":"r-7",)"
            R"("type":"STANDARD","loadLevel":"HIGH","version":"3","createTime":"1700000000",)"
            R"("content":{"h":")" + std::string("\xff\x80", 2) +
                R"(","k\u0000ey":"v","q\"":"\\/",")" + big + R"(":")" + big +
                R"(","z":"\u0000end"}})",
            json);
  const auto again = Parse(json);
  ASSERT_NE(nullptr, again);
  EXPECT_EQ(json, again->ToJson());
  EXPECT_EQ(config->content, again->content);
}

}  // namespace
}  // namespace Ostrel
