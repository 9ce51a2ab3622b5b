// Condition expressions evaluated against the client table that
// ClientAttributes::Build makes of the settings.
#include "candidate/MultiAnalyze.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "ScopedLogCapture.h"

namespace Ostrel {
namespace {

TEST(MultiAnalyze, SplitsOnEveryAmpersand) {
  const MultiAnalyze expression("app_ver>=10.2&m_brand=acme& a = 1 &");
  std::vector<std::string> units;
  for (const UnitAnalyze& unit : expression.Units()) {
    units.push_back(unit.Text() + "|" + unit.Key() + "|" + unit.Operator() + "|" + unit.Value());
  }
  EXPECT_EQ((std::vector<std::string>{"app_ver>=10.2|app_ver|>=|10.2",
                                      "m_brand=acme|m_brand|=|acme", " a = 1 |a|=|1 ", "|||"}),
            units);
  EXPECT_EQ((std::set<std::string>{"", "a", "app_ver", "m_brand"}), expression.KeySet());
}

// Each case: the expression, whether it holds, and the lines logged as
// "method: text".
TEST(MultiAnalyze, EvaluatesAgainstTheBuiltTable) {
  Settings settings;
  settings.appVersion = "10.3";
  settings.osVersion = "9.1";
  settings.manufacturer = "maker";
  settings.brand = "acme";
  settings.deviceId = "device-1";  // hashes into bucket 18 of 100
  const auto attributes = ClientAttributes::Build(settings);
  const std::string fail = "match: match fail, key:";
  const std::string unparsed = "UnitAnalyze: candidatesExp regex match error,candidatesExp is";
  const struct {
    std::string expression;
    bool holds;
    std::vector<std::string> lines;
  } kCases[] = {
      {"app_ver>=10.2&m_brand=acme", true, {}},
      {"app_ver>=10.4", false, {fail + "app_ver reason: "}},
      {"app_ver=10.3.0", false, {fail + "app_ver reason: "}},
      // Versions order numerically; text has no order.
      {"os_ver>=9.01&os_ver<9.10&app_ver<=10.3", true, {}},
      {"m_brand<=acme", false, {fail + "m_brand reason: "}},
      {"m_fac~=mak&m_fac!~ker&m_fac!=Maker", true, {}},
      {"m_fac~=ker", false, {fail + "m_fac reason: "}},
      {"did_hash=100_18-18&did_hash=100_0-18", true, {}},
      {"did_hash=100_19-99", false, {fail + "did_hash reason: "}},
      {"did_hash>100_0-99", false, {fail + "did_hash reason: "}},
      {"m_model=X1", false, {fail + "m_model reason: match no clientVal,key: m_model"}},
      {"brand=acme", false, {fail + "brand reason: no found local Candidate"}},
      {"APP_VER>1", false, {fail + "APP_VER reason: no found local Candidate"}},
      {"app_ver>1&nokey=1&other=2", false, {fail + "nokey reason: no found local Candidate"}},
      {"m_brand=acme&", false, {unparsed, fail + " reason: no found local Candidate"}},
      {"m-brand=acme", false,
       {unparsed + "m-brand=acme", fail + " reason: no found local Candidate"}},
  };
  for (const auto& c : kCases) {
    OstrelTest::ScopedLogCapture capture;
    EXPECT_EQ(c.holds, MultiAnalyze(c.expression).Match(*attributes)) << c.expression;
    std::vector<std::string> lines;
    for (const OstrelTest::LogLine& line : capture.logger().Lines()) {
      lines.push_back(line.method + ": " + line.text);
      EXPECT_EQ(line.method == "match" ? "Ostrel.MultiAnalyze" : "Ostrel.UnitAnalyze", line.tag);
    }
    EXPECT_EQ(c.lines, lines) << c.expression;
  }
}

TEST(MultiAnalyze, KeyWithoutComparatorFails) {
  ClientAttributes::Table table;
  table.emplace("k", std::make_shared<OCandidate>("k", "v", nullptr));
  OstrelTest::ScopedLogCapture capture;
  EXPECT_FALSE(MultiAnalyze("k=v").Match(ClientAttributes(std::move(table))));
  EXPECT_EQ(std::vector<std::string>{"match fail, key:k reason: match no compare,key: k"},
            capture.Texts());
}

TEST(MultiAnalyze, MegabyteExpressionsAreHandled) {
  Settings settings;
  settings.manufacturer = "maker";
  settings.brand = "acme";
  settings.model = "X1";
  settings.deviceId = "device-1";
  const auto attributes = ClientAttributes::Build(settings);
  std::string manyUnits;
  for (int i = 0; i < (1 << 18); ++i) manyUnits += "m_fac=maker&";
  const MultiAnalyze many(manyUnits + "m_brand=acme");
  EXPECT_EQ(size_t{(1 << 18) + 1}, many.Units().size());
  EXPECT_TRUE(many.Match(*attributes));
  EXPECT_FALSE(MultiAnalyze("m_model~=X" + std::string(1 << 20, '1')).Match(*attributes));
  EXPECT_FALSE(
      MultiAnalyze("did_hash=" + std::string(1 << 20, '9') + "_0-99").Match(*attributes));
}

}  // namespace
}  // namespace Ostrel
