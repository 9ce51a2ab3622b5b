// Condition expressions evaluated against client attribute tables.
#include "candidate/MultiAnalyze.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "ScopedLogCapture.h"
#include "candidate/HashCompare.h"
#include "candidate/StringCompare.h"
#include "candidate/VersionCompare.h"

namespace Ostrel {
namespace {

Settings ClientSettings() {
  Settings settings;
  settings.appVersion = "10.3";
  settings.osVersion = "";
  settings.manufacturer = "maker";
  settings.brand = "acme";
  settings.model = "X1";
  settings.deviceId = "device-1";
  return settings;
}

TEST(ClientAttributes, BuildsTheSixKeysWithTheirComparators) {
  const auto attributes = ClientAttributes::Build(ClientSettings());
  std::vector<std::string> keys;
  for (const auto& entry : attributes->Entries()) keys.push_back(entry.first);
  EXPECT_EQ((std::vector<std::string>{"app_ver", "did_hash", "m_brand", "m_fac", "m_model",
                                      "os_ver"}),
            keys);
  ASSERT_NE(nullptr, attributes->Find("app_ver"));
  EXPECT_EQ("10.3", attributes->Find("app_ver")->ClientVal());
  EXPECT_EQ("device-1", attributes->Find("did_hash")->ClientVal());
  EXPECT_EQ("", attributes->Find("os_ver")->ClientVal());
  EXPECT_NE(nullptr, dynamic_cast<VersionCompare*>(attributes->Find("os_ver")->Compare().get()));
  EXPECT_NE(nullptr, dynamic_cast<HashCompare*>(attributes->Find("did_hash")->Compare().get()));
  EXPECT_EQ(nullptr, dynamic_cast<VersionCompare*>(attributes->Find("m_fac")->Compare().get()));
  EXPECT_NE(nullptr, dynamic_cast<StringCompare*>(attributes->Find("m_fac")->Compare().get()));
  EXPECT_EQ(nullptr, attributes->Find("APP_VER"));
}

TEST(MultiAnalyze, SplitsOnEveryAmpersand) {
  const MultiAnalyze expression("app_ver>=10.2&m_brand=acme& a = 1 &");
  const auto& units = expression.Units();
  ASSERT_EQ(4u, units.size());
  EXPECT_EQ("app_ver", units[0].Key());
  EXPECT_EQ(">=", units[0].Operator());
  EXPECT_EQ("10.2", units[0].Value());
  EXPECT_EQ("m_brand", units[1].Key());
  EXPECT_EQ("=", units[1].Operator());
  EXPECT_EQ("acme", units[1].Value());
  EXPECT_EQ(" a = 1 ", units[2].Text());
  EXPECT_EQ("1 ", units[2].Value());
  EXPECT_EQ("", units[3].Key());
  EXPECT_EQ((std::set<std::string>{"", "a", "app_ver", "m_brand"}), expression.KeySet());
}

TEST(MultiAnalyze, LogsUnitsThatDoNotParse) {
  OstrelTest::ScopedLogCapture capture;
  const MultiAnalyze expression("m-brand=acme");
  EXPECT_EQ("", expression.Units()[0].Key());
  const OstrelTest::LogLine line =
      capture.logger().Find("candidatesExp regex match error,candidatesExp is");
  EXPECT_EQ("candidatesExp regex match error,candidatesExp ism-brand=acme", line.text);
  EXPECT_EQ("Ostrel.UnitAnalyze", line.tag);
}

TEST(MultiAnalyze, EvaluatesAgainstTheTable) {
  const auto attributes = ClientAttributes::Build(ClientSettings());
  struct Case {
    const char* expression;
    bool holds;
    // The one log line expected, or "" for none.
    const char* log;
  };
  const Case cases[] = {
      {"app_ver>=10.2&m_brand=acme", true, ""},
      {"app_ver>=10.4", false, "match fail, key:app_ver reason: "},
      {"app_ver=10.3.0", false, "match fail, key:app_ver reason: "},
      {"m_model~=X&m_fac!~mak", false, "match fail, key:m_fac reason: "},
      {"m_model>A", false, "match fail, key:m_model reason: "},
      {"did_hash=100_0-99", true, ""},
      {"did_hash>100_0-99", false, "match fail, key:did_hash reason: "},
      {"brand=acme", false, "match fail, key:brand reason: no found local Candidate"},
      {"os_ver>1", false, "match fail, key:os_ver reason: match no clientVal,key: os_ver"},
      {"app_ver>1&nokey=1&other=2", false, "match fail, key:nokey reason: no found local Candidate"},
  };
  for (const Case& c : cases) {
    OstrelTest::ScopedLogCapture capture;
    EXPECT_EQ(c.holds, MultiAnalyze(c.expression).Match(*attributes)) << c.expression;
    const std::vector<std::string> expected =
        *c.log != '\0' ? std::vector<std::string>{c.log} : std::vector<std::string>{};
    EXPECT_EQ(expected, capture.Texts()) << c.expression;
    for (const OstrelTest::LogLine& line : capture.logger().Lines()) {
      EXPECT_EQ("Ostrel.MultiAnalyze", line.tag);
      EXPECT_EQ("match", line.method);
    }
  }
}

TEST(MultiAnalyze, KeyWithoutComparatorFails) {
  ClientAttributes::Table table;
  table.emplace("k", std::make_shared<OCandidate>("k", "v", nullptr));
  const ClientAttributes attributes(std::move(table));
  OstrelTest::ScopedLogCapture capture;
  EXPECT_FALSE(MultiAnalyze("k=v").Match(attributes));
  EXPECT_EQ(std::vector<std::string>{"match fail, key:k reason: match no compare,key: k"},
            capture.Texts());
}

TEST(MultiAnalyze, MegabyteExpressionsAreHandled) {
  const auto attributes = ClientAttributes::Build(ClientSettings());
  std::string manyUnits;
  for (int i = 0; i < (1 << 18); ++i) manyUnits += "m_fac=maker&";
  manyUnits += "m_brand=acme";
  const MultiAnalyze many(manyUnits);
  EXPECT_EQ(size_t{(1 << 18) + 1}, many.Units().size());
  EXPECT_TRUE(many.Match(*attributes));

  const MultiAnalyze longValue("m_model~=X" + std::string(1 << 20, '1'));
  EXPECT_FALSE(longValue.Match(*attributes));
  const MultiAnalyze longHash("did_hash=" + std::string(1 << 20, '9') + "_0-99");
  EXPECT_FALSE(longHash.Match(*attributes));
}

}  // namespace
}  // namespace Ostrel
