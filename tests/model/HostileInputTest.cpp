// Documents from the network or a corrupted store: deep nesting, huge
// strings, stray bytes. Each parse must answer, not crash.
#include <gtest/gtest.h>

#include <string>

#include "ModelTestData.h"
#include "ScopedLogCapture.h"
#include "model/CustomConfigDO.h"
#include "model/IndexDO.h"

namespace Ostrel {
namespace {

using OstrelTest::JsonObject;
using OstrelTest::NestedArrays;
using OstrelTest::Quoted;

const size_t kDepth = 100000;

std::string StandardWithContent(const std::string& content) {
  return JsonObject({{"appKey", Quoted("k")}, {"appVersion", Quoted("*")}, {"id", Quoted("1")},
                     {"name", Quoted("ns")}, {"resourceId", Quoted("r")},
                     {"type", Quoted("STANDARD")}, {"loadLevel", Quoted("HIGH")},
                     {"version", Quoted("1")}, {"createTime", Quoted("")},
                     {"content", content}});
}

TEST(HostileInput, DeepNestingIsRefusedWithoutRecursion) {
  for (bool closed : {true, false}) {
    const std::string nested = NestedArrays(kDepth, closed);
    OstrelTest::ScopedLogCapture capture;
    EXPECT_EQ(nullptr, ConfigDO::ParseFromJson(nested));
    EXPECT_EQ(nullptr, CustomConfigDO::ParseFromJson(nested));
    EXPECT_EQ(nullptr, IndexDO::ParseFormJson(nested));
    EXPECT_EQ(nullptr, NamespaceDO::ParseFromJson(nested));
    EXPECT_EQ(nullptr, ConfigDO::ParseFromJson(StandardWithContent(R"({"a":)" + nested + "}")));
    EXPECT_EQ((std::vector<std::string>{"appKey data format error", "appKey data format error",
                                        "appKey format error!!!", "loadLevel data format error",
                                        closed ? "data in content format error"
                                               : "appKey data format error"}),
              capture.Texts());
  }
  // Nesting in a member nobody reads is accepted, as any parser would.
  const auto config = ConfigDO::ParseFromJson(
      "{\"extra\":" + NestedArrays(kDepth, true) + "," + StandardWithContent(R"({"a":"1"})").substr(1));
  ASSERT_NE(nullptr, config);
  EXPECT_EQ(1u, config->content.size());
}

TEST(HostileInput, MegabyteStringsAreKept) {
  const std::string big(1 << 20, 'x');
  const auto config = ConfigDO::ParseFromJson(StandardWithContent("{\"" + big + "\":\"" + big + "\"}"));
  ASSERT_NE(nullptr, config);
  std::string value;
  ASSERT_TRUE(config->Find(big, &value));
  EXPECT_EQ(big, value);
  const auto again = ConfigDO::ParseFromJson(config->ToJson());
  ASSERT_NE(nullptr, again);
  EXPECT_EQ(config->content, again->content);
}

TEST(HostileInput, StrayBytesGetDefinedAnswers) {
  OstrelTest::ScopedLogCapture capture;
  // A raw NUL inside a string is not JSON; escaped, it is an ordinary byte.
  EXPECT_EQ(nullptr, ConfigDO::ParseFromJson(StandardWithContent(std::string("{\"a\":\"x\0y\"}", 11))));
  EXPECT_EQ(nullptr, ConfigDO::ParseFromJson(std::string("\0{}", 3)));
  const auto escaped = ConfigDO::ParseFromJson(StandardWithContent(R"({"a":"x\u0000y"})"));
  ASSERT_NE(nullptr, escaped);
  std::string value;
  ASSERT_TRUE(escaped->Find("a", &value));
  EXPECT_EQ(std::string("x\0y", 3), value);
  // Versions that overflow a 64-bit integer read as its largest value.
  const auto ns = NamespaceDO::ParseFromJson(std::string(
      R"({"loadLevel":"","md5":"","name":"n","resourceId":"","version":"99999999999999999999999",)"
      R"("type":""})"));
  ASSERT_NE(nullptr, ns);
  auto current = std::make_shared<ConfigDO>();
  current->version = "9223372036854775807";
  EXPECT_FALSE(ns->CheckValid(current, ClientAttributes()));
  current->version = "9223372036854775806";
  EXPECT_TRUE(ns->CheckValid(current, ClientAttributes()));
}

}  // namespace
}  // namespace Ostrel
