// Namespace descriptors and their candidates: parsing, the download decision,
// equality and writing.
#include "model/NamespaceDO.h"

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

Members Descriptor() {
  return {{"loadLevel", Quoted("HIGH")}, {"md5", Quoted("m5")},    {"name", Quoted("ns")},
          {"resourceId", Quoted("r-1")}, {"version", Quoted("3")}, {"type", Quoted("STANDARD")}};
}

Members Candidate() {
  return {{"resourceId", Quoted("c-1")}, {"md5", Quoted("cm")},
          {"match", Quoted("m_brand=acme")}, {"version", Quoted("4")}};
}

std::shared_ptr<NamespaceDO> ParseValue(const std::string& text) {
  rapidjson::Document document;
  document.Parse(text.c_str());
  return NamespaceDO::ParseFromJson(document);
}

TEST(NamespaceDO, ParseFailuresLogTheirLines) {
  struct Case {
    std::string text;
    std::vector<std::string> lines;
  };
  std::vector<Case> cases = {
      {"[1]", {"ParseFromJson, value is not Object error"}},
      {JsonObject(With(Descriptor(), "candidates", "{}")), {"candidates is not array error!!!"}},
      {JsonObject(With(Descriptor(), "candidates", "[1]")),
       {"ParseFromJson, value is not Object error", "data in candidates format error!!!"}},
      {JsonObject(With(Descriptor(), "candidates",
                       "[" + JsonObject(With(Candidate(), "version", "2")) + "]")),
       {"version data format error", "data in candidates format error!!!"}},
  };
  for (const auto& member : Descriptor()) {
    cases.push_back({JsonObject(Without(Descriptor(), member.first)),
                     {member.first + " data format error"}});
  }
  for (const auto& member : Candidate()) {
    cases.push_back({JsonObject(With(Descriptor(), "candidates",
                                     "[" + JsonObject(Without(Candidate(), member.first)) + "]")),
                     {member.first + " data format error", "data in candidates format error!!!"}});
  }
  for (const Case& c : cases) {
    OstrelTest::ScopedLogCapture capture;
    EXPECT_EQ(nullptr, ParseValue(c.text)) << c.text;
    EXPECT_EQ(c.lines, capture.Texts()) << c.text;
    for (const OstrelTest::LogLine& line : capture.logger().Lines()) {
      EXPECT_EQ("ParseFromJson", line.method);
    }
    if (c.lines.size() == 2) {
      EXPECT_EQ("Ostrel.CandidateDO", capture.logger().Lines()[0].tag) << c.text;
      EXPECT_EQ("Ostrel.NamespaceDO", capture.logger().Lines()[1].tag) << c.text;
    }
  }
}

TEST(NamespaceDO, ParsesTextAndValue) {
  const auto bare = ParseValue(JsonObject(Descriptor()));
  ASSERT_NE(nullptr, bare);
  EXPECT_TRUE(bare->candidates.empty());
  EXPECT_EQ("r-1", bare->resourceId);

  const std::string text = JsonObject(With(
      With(Descriptor(), "type", Quoted("ODD")), "candidates",
      "[" + JsonObject(Candidate()) + "," + JsonObject(With(Candidate(), "match", Quoted(""))) +
          "]"));
  const auto ns = NamespaceDO::ParseFromJson(text);
  ASSERT_NE(nullptr, ns);
  EXPECT_EQ("ODD", ns->type);
  ASSERT_EQ(2u, ns->candidates.size());
  EXPECT_EQ("m_brand=acme", ns->candidates[0]->match);
  EXPECT_FALSE(ns->candidates[1]->CheckValid());

  OstrelTest::ScopedLogCapture capture;
  EXPECT_EQ(nullptr, NamespaceDO::ParseFromJson(std::string()));
  EXPECT_EQ(nullptr, NamespaceDO::ParseFromJson(std::string("[1]")));
  EXPECT_EQ((std::vector<std::string>{"IndexDO::ParseFormJson parameter empty error!!!",
                                      "loadLevel data format error"}),
            capture.Texts());
}

// A candidate row of the decision table: match expression and version.
struct Cand {
  std::string match;
  std::string version;
};

std::shared_ptr<NamespaceDO> Namespace(const std::string& version, const std::vector<Cand>& cands) {
  auto ns = std::make_shared<NamespaceDO>();
  ns->name = "ns";
  ns->version = version;
  for (const Cand& c : cands) {
    auto candidate = std::make_shared<CandidateDO>();
    candidate->resourceId = "res-" + c.match;
    candidate->match = c.match;
    candidate->version = c.version;
    ns->candidates.push_back(candidate);
  }
  return ns;
}

std::shared_ptr<const ClientAttributes> Acme() {
  Settings settings;
  settings.brand = "acme";
  settings.appVersion = "5.0";
  return ClientAttributes::Build(settings);
}

TEST(NamespaceDO, DecidesWhetherToDownload) {
  const auto attributes = Acme();
  const auto anyCandidate = std::make_shared<CandidateDO>();
  struct Case {
    const char* name;
    bool hasCurrent;
    std::string currentVersion;
    bool currentFromCandidate;
    std::string ownVersion;
    std::vector<Cand> cands;
    bool download;
    int matched;  // index of the matched candidate afterwards, -1 for none
    std::vector<std::string> lines;
  };
  const Case cases[] = {
      {"nothing held, own 3", false, "", false, "3", {}, true, -1, {}},
      {"nothing held, own 0", false, "", false, "0", {}, false, -1,
       {"checkValid,no version update"}},
      {"nothing held, own empty", false, "", false, "", {}, false, -1,
       {"checkValid,no version update"}},
      {"held 5, own 5", true, "5", false, "5", {}, false, -1, {"checkValid,no version update"}},
      {"held 5, own 6", true, "5", false, "6", {}, true, -1, {}},
      {"held 12a reads 12", true, "12a", false, "12", {}, false, -1,
       {"checkValid,no version update"}},
      {"candidate held at 7, same at 7", true, "7", true, "1", {{"m_brand=acme", "7"}}, false, -1,
       {"checkCandidate match but no version update"}},
      {"candidate held at 7, now 8", true, "7", true, "1", {{"m_brand=acme", "8"}}, true, 0, {}},
      {"candidate held, none matches, own 1", true, "7", true, "1", {{"m_brand=other", "8"}},
       true, -1, {}},
      {"candidate held, none matches, own 0", true, "7", true, "0", {{"m_brand=other", "8"}},
       false, -1, {"checkValid,no version update"}},
      {"own config held, candidate at any version", true, "9", false, "9",
       {{"m_brand=acme", "1"}}, true, 0, {}},
      {"first of two matches wins", false, "", false, "0",
       {{"m_brand=other", "1"}, {"app_ver>=5", "2"}, {"m_brand=acme", "3"}}, true, 1, {}},
      {"empty match and version are skipped", false, "", false, "0",
       {{"", "1"}, {"m_brand=acme", ""}, {"m_brand~=ac", "2"}}, true, 2, {}},
  };
  for (const Case& c : cases) {
    std::shared_ptr<ConfigDO> current;
    if (c.hasCurrent) {
      current = std::make_shared<ConfigDO>();
      current->version = c.currentVersion;
      if (c.currentFromCandidate) current->candidate = anyCandidate;
    }
    const auto ns = Namespace(c.ownVersion, c.cands);
    OstrelTest::ScopedLogCapture capture;
    EXPECT_EQ(c.download, ns->CheckValid(current, *attributes)) << c.name;
    // Only the decision's own lines; candidate mismatches log under another tag.
    std::vector<std::string> lines;
    for (const auto& line : capture.logger().Lines()) {
      if (line.tag == "Ostrel.NamespaceDO") lines.push_back(line.text);
    }
    EXPECT_EQ(c.lines, lines) << c.name;
    const auto expected = c.matched < 0 ? nullptr : ns->candidates[c.matched];
    EXPECT_EQ(expected, ns->MatchedCandidate()) << c.name;
  }
}

TEST(NamespaceDO, CheckValidFallsBackFromAStaleCandidate) {
  const auto ns = Namespace("2", {{"m_brand=acme", "3"}});
  EXPECT_TRUE(ns->CheckValid(nullptr, *Acme()));
  EXPECT_EQ(ns->candidates[0], ns->MatchedCandidate());
  // The client no longer matches: the own resource is due, not the candidate.
  EXPECT_TRUE(ns->CheckValid(nullptr, ClientAttributes()));
  EXPECT_EQ(nullptr, ns->MatchedCandidate());
}

TEST(NamespaceDO, UpdateCandidateKeepsThePreviousChoice) {
  auto ns = Namespace("1", {{"m_brand=other", "1"}, {"m_brand=acme", "2"}});
  ns->candidates.insert(ns->candidates.begin(), nullptr);
  OstrelTest::ScopedLogCapture capture;
  ns->UpdateCandidate(*Acme());
  EXPECT_EQ(ns->candidates[2], ns->MatchedCandidate());
  ns->UpdateCandidate(ClientAttributes());
  EXPECT_EQ(ns->candidates[2], ns->MatchedCandidate());
  const OstrelTest::LogLine line = capture.logger().Find("candidates[0] is nullptr");
  EXPECT_EQ("UpdateCandidate", line.method);
  EXPECT_EQ(2u, capture.logger().Count("candidates[0] is nullptr"));

  capture.logger().Clear();
  ns->CheckValid(nullptr, *Acme());
  EXPECT_EQ("CheckValid", capture.logger().Find("candidates[0] is nullptr").method);
}

TEST(NamespaceDO, EqualityIgnoresTypeAndRuntimeState) {
  const std::string base = JsonObject(
      With(Descriptor(), "candidates", "[" + JsonObject(Candidate()) + "]"));
  const auto reference = NamespaceDO::ParseFromJson(base);
  ASSERT_NE(nullptr, reference);
  struct Case {
    Members members;
    bool equal;
  };
  const std::string candidates = "[" + JsonObject(Candidate()) + "]";
  std::vector<Case> cases = {
      {With(With(Descriptor(), "type", Quoted("CUSTOM")), "candidates", candidates), true},
      {Descriptor(), false},
      {With(Descriptor(), "candidates", "[" + JsonObject(Candidate()) + "," +
                                            JsonObject(Candidate()) + "]"),
       false},
  };
  for (const auto& member : Descriptor()) {
    if (member.first == "type") continue;
    cases.push_back({With(With(Descriptor(), member.first, Quoted("x")), "candidates", candidates),
                     false});
  }
  for (const auto& member : Candidate()) {
    cases.push_back({With(Descriptor(), "candidates",
                          "[" + JsonObject(With(Candidate(), member.first, Quoted("x"))) + "]"),
                     false});
  }
  for (const Case& c : cases) {
    const auto other = NamespaceDO::ParseFromJson(JsonObject(c.members));
    ASSERT_NE(nullptr, other);
    other->changed = true;
    other->UpdateCandidate(*Acme());
    EXPECT_EQ(c.equal, reference->Equals(*other)) << JsonObject(c.members);
    EXPECT_EQ(c.equal, other->Equals(*reference)) << JsonObject(c.members);
  }
}

TEST(NamespaceDO, WritesMembersInOrder) {
  const auto ns = NamespaceDO::ParseFromJson(JsonObject(With(
      Descriptor(), "candidates", "[" + JsonObject(Candidate()) + "]")));
  ASSERT_NE(nullptr, ns);
  ns->UpdateCandidate(*Acme());
  rapidjson::StringBuffer buffer;
  JsonWriter writer(buffer);
  ns->WriteJson(writer);
  EXPECT_EQ(R"({"loadLevel":"HIGH","md5":"m5","name":"ns","resourceId":"r-1","version":"3",)"
            R"("type":"STANDARD","candidates":[{"resourceId":"c-1","md5":"cm",)"
            R"("match":"m_brand=acme","version":"4"}]})",
            std::string(buffer.GetString(), buffer.GetSize()));

  ns->candidates.clear();
  rapidjson::StringBuffer bare;
  JsonWriter bareWriter(bare);
  ns->WriteJson(bareWriter);
  EXPECT_EQ(std::string::npos, std::string(bare.GetString()).find("candidates"));
}

}  // namespace
}  // namespace Ostrel
