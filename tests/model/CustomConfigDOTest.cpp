// CUSTOM config documents: one free text after the header of ConfigDO.
#include "model/CustomConfigDO.h"

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

Members Custom() { return With(OstrelTest::ConfigHeader("CUSTOM"), "content", Quoted("free")); }
std::shared_ptr<CustomConfigDO> Parse(const std::string& text) {
  return CustomConfigDO::ParseFromJson(text);
}

TEST(CustomConfigDO, ParseRefusalsLogOneExactLine) {
  OstrelTest::ExpectRefused(
      {
          {OstrelTest::DeepArrays(true), {"appKey data format error"}},
          {JsonObject(Without(Custom(), "createTime")), {"createTime data format error"}},
          {JsonObject(With(Custom(), "type", Quoted("STANDARD"))),
           {"type is not custom format error"}},
          {JsonObject(Without(Custom(), "content")), {"content data format error"}},
          {JsonObject(With(Custom(), "content", R"({"a":"1"})")), {"content data format error"}},
      },
      "Ostrel.CustomConfigDO", "ParseFromJson", Parse);
}

TEST(CustomConfigDO, CheckValidNeedsText) {
  OstrelTest::ExpectCheckValid({{Custom(), true, false},
                                {With(Custom(), "content", Quoted("")), false, false},
                                {With(Custom(), "appKey", Quoted("other")), false, true}},
                               "Ostrel.CustomConfigDO", "invaild", Parse);
}

TEST(CustomConfigDO, WritesCompactJsonThatReadsBack) {
  const auto config = Parse(JsonObject(With(Custom(), "content", Quoted(R"(line\nnext\u0000)"))));
  ASSERT_NE(nullptr, config);
  EXPECT_EQ(std::string("line\nnext\0", 10), config->ContentText());
  EXPECT_TRUE(config->ConfigDO::content.empty());
  const std::string json =
      R"({"appKey":"key1","appVersion":"2.0","id":"7","name":"ns","resourceId":"r-7",)"
      R"("type":"CUSTOM","loadLevel":"HIGH","version":"3","createTime":"1700000000",)"
      R"("content":"line\nnext\u0000"})";
  // Written through the base class, a CUSTOM document keeps its text.
  const std::shared_ptr<ConfigDO> base = config;
  EXPECT_EQ(json, base->ToJson());
  const auto again = Parse(json);
  ASSERT_NE(nullptr, again);
  EXPECT_EQ(config->content, again->content);
}

}  // namespace
}  // namespace Ostrel
