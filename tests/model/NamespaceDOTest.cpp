// Namespace descriptors and their candidates: parsing, the download decision,
// equality and writing.
#include "model/NamespaceDO.h"

#include <gtest/gtest.h>

#include <functional>
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

Members Descriptor() {
  return {{"loadLevel", Quoted("HIGH")}, {"md5", Quoted("m5")},    {"name", Quoted("ns")},
          {"resourceId", Quoted("r-1")}, {"version", Quoted("3")}, {"type", Quoted("STANDARD")}};
}
Members Candidate() {
  return {{"resourceId", Quoted("c-1")}, {"md5", Quoted("cm")},
          {"match", Quoted("m_brand=acme")}, {"version", Quoted("4")}};
}
std::string WithCandidates(Members descriptor, const std::vector<Members>& candidates) {
  std::string list;
  for (const Members& candidate : candidates) {
    list += (list.empty() ? "" : ",") + JsonObject(candidate);
  }
  return JsonObject(With(std::move(descriptor), "candidates", "[" + list + "]"));
}

TEST(NamespaceDO, ParseRefusalsLogTheirLines) {
  // Texts starting with '#' go to the text overload, the others are parsed
  // here and handed over as a value.
  std::vector<OstrelTest::Refusal> cases = {
      {"#", {"IndexDO::ParseFormJson parameter empty error!!!"}},
      {"#[1]", {"loadLevel data format error"}},
      {"#" + OstrelTest::DeepArrays(true), {"loadLevel data format error"}},
      {"[1]", {"ParseFromJson, value is not Object error"}},
      {JsonObject(With(Descriptor(), "candidates", "{}")), {"candidates is not array error!!!"}},
      {JsonObject(With(Descriptor(), "candidates", "[1]")),
       {"ParseFromJson, value is not Object error", "data in candidates format error!!!"}},
      {WithCandidates(Descriptor(), {With(Candidate(), "version", "2")}),
       {"version data format error", "data in candidates format error!!!"}},
  };
  for (const auto& member : Descriptor()) {
    cases.push_back({JsonObject(Without(Descriptor(), member.first)),
                     {member.first + " data format error"}});
  }
  for (const auto& member : Candidate()) {
    const Members faulty = Without(Candidate(), member.first);
    cases.push_back({WithCandidates(Descriptor(), {Candidate(), faulty}),
                     {member.first + " data format error", "data in candidates format error!!!"}});
  }
  OstrelTest::ExpectRefused(
      cases, "Ostrel.NamespaceDO", "ParseFromJson", [](const std::string& text) {
        if (!text.empty() && text[0] == '#') return NamespaceDO::ParseFromJson(text.substr(1));
        rapidjson::Document document;
        document.Parse<rapidjson::kParseIterativeFlag>(text.c_str());
        return NamespaceDO::ParseFromJson(document);
      });
}

std::shared_ptr<const ClientAttributes> Acme() {
  Settings settings;
  settings.brand = "acme";
  settings.appVersion = "5.0";
  return ClientAttributes::Build(settings);
}

// A candidate row: match expression and version; a match of "null" stands
// for a null entry.
struct Cand {
  std::string match;
  std::string version;
};

std::shared_ptr<NamespaceDO> Namespace(const std::string& version, const std::vector<Cand>& cands) {
  auto ns = std::make_shared<NamespaceDO>();
  ns->resourceId = "own";
  ns->version = version;
  for (const Cand& c : cands) {
    auto candidate = c.match == "null" ? nullptr : std::make_shared<CandidateDO>();
    if (candidate != nullptr) {
      candidate->resourceId = "res-" + c.match;
      candidate->match = c.match;
      candidate->version = c.version;
    }
    ns->candidates.push_back(candidate);
  }
  return ns;
}

// Every case first lets the acme client choose (UpdateCandidate), then asks
// whether to download for the held config and the case's client.
TEST(NamespaceDO, DecidesWhetherToDownload) {
  const auto acme = Acme();
  const ClientAttributes nobody;
  const std::string held7 = "cand:7";  // a held config downloaded for a candidate
  struct Case {
    const char* name;
    std::string held;  // the held config's version; "" for none
    bool acmeAsks;
    std::string ownVersion;
    std::vector<Cand> cands;
    bool download;
    int matched;  // the matched candidate afterwards, -1 for none
    std::vector<std::string> lines;  // "method: text" of this class's lines
  };
  const std::string noUpdate = "CheckValid: checkValid,no version update";
  const Case cases[] = {
      {"nothing held, own 3", "", true, "3", {}, true, -1, {}},
      {"nothing held, own 0", "", true, "0", {}, false, -1, {noUpdate}},
      {"nothing held, own empty", "", true, "", {}, false, -1, {noUpdate}},
      {"held 5, own 5", "5", true, "5", {}, false, -1, {noUpdate}},
      {"held 5, own 6", "5", true, "6", {}, true, -1, {}},
      {"held 12a reads 12", "12a", true, "12", {}, false, -1, {noUpdate}},
      {"versions saturate", "9223372036854775807", true, "99999999999999999999999", {}, false,
       -1, {noUpdate}},
      {"below the saturated version", "9223372036854775806", true, "99999999999999999999999", {},
       true, -1, {}},
      {"candidate held at 7, same at 7", held7, true, "1", {{"m_brand=acme", "7"}}, false, 0,
       {"CheckValid: checkCandidate match but no version update"}},
      {"candidate held at 7, now 8", held7, true, "1", {{"m_brand=acme", "8"}}, true, 0, {}},
      {"candidate held, none matches, own 1", held7, true, "1", {{"m_brand=other", "8"}}, true,
       -1, {}},
      {"candidate held, none matches, own 0", held7, true, "0", {{"m_brand=other", "8"}}, false,
       -1, {noUpdate}},
      {"own config held, candidate at any version", "9", true, "9", {{"m_brand=acme", "1"}},
       true, 0, {}},
      {"the client no longer matches: own resource", "", false, "2", {{"m_brand=acme", "3"}},
       true, -1, {}},
      {"first of two matches wins", "", true, "0",
       {{"m_brand=other", "1"}, {"app_ver>=5", "2"}, {"m_brand=acme", "3"}}, true, 1, {}},
      {"empty match and version are skipped", "", true, "0",
       {{"", "1"}, {"m_brand=acme", ""}, {"m_brand~=ac", "2"}}, true, 2, {}},
      {"null entries are logged and skipped", "", true, "0",
       {{"null", ""}, {"m_brand=acme", "2"}}, true, 1,
       {"UpdateCandidate: candidates[0] is nullptr", "CheckValid: candidates[0] is nullptr"}},
  };
  for (const Case& c : cases) {
    std::shared_ptr<ConfigDO> held;
    if (!c.held.empty()) {
      held = std::make_shared<ConfigDO>();
      held->version = c.held == held7 ? "7" : c.held;
      if (c.held == held7) held->candidate = std::make_shared<CandidateDO>();
    }
    const auto ns = Namespace(c.ownVersion, c.cands);
    OstrelTest::ScopedLogCapture capture;
    ns->UpdateCandidate(*acme);
    EXPECT_EQ(c.download, ns->CheckValid(held, c.acmeAsks ? *acme : nobody)) << c.name;
    std::vector<std::string> lines;
    for (const auto& line : capture.logger().Lines()) {
      if (line.tag == "Ostrel.NamespaceDO") lines.push_back(line.method + ": " + line.text);
    }
    EXPECT_EQ(c.lines, lines) << c.name;
    const auto expected = c.matched < 0 ? nullptr : ns->candidates[c.matched];
    EXPECT_EQ(expected, ns->MatchedCandidate()) << c.name;
    EXPECT_EQ(c.matched < 0 ? "own" : expected->resourceId, ns->ChosenResourceId()) << c.name;
  }
}

TEST(NamespaceDO, UpdateCandidateKeepsThePreviousChoice) {
  const auto ns = Namespace("0", {{"null", ""}, {"m_brand=acme", "1"}});
  ns->UpdateCandidate(*Acme());
  EXPECT_EQ(ns->candidates[1], ns->MatchedCandidate());
  ns->UpdateCandidate(ClientAttributes());
  EXPECT_FALSE(ns->CheckValid(nullptr, ClientAttributes()));
  EXPECT_EQ(ns->candidates[1], ns->MatchedCandidate());
  EXPECT_EQ(ns->candidates[1], ns->CandidateWithResource("res-m_brand=acme"));
  EXPECT_EQ(nullptr, ns->CandidateWithResource("own"));
}

TEST(NamespaceDO, EqualityIgnoresTypeAndRuntimeState) {
  const auto reference = NamespaceDO::ParseFromJson(WithCandidates(Descriptor(), {Candidate()}));
  ASSERT_NE(nullptr, reference);
  struct Case {
    std::string text;
    bool equal;
  };
  std::vector<Case> cases = {
      {WithCandidates(With(Descriptor(), "type", Quoted("CUSTOM")), {Candidate()}), true},
      {JsonObject(Descriptor()), false},
      {WithCandidates(Descriptor(), {Candidate(), Candidate()}), false},
  };
  for (const auto& member : Descriptor()) {
    if (member.first == "type") continue;
    cases.push_back(
        {WithCandidates(With(Descriptor(), member.first, Quoted("x")), {Candidate()}), false});
  }
  for (const auto& member : Candidate()) {
    cases.push_back(
        {WithCandidates(Descriptor(), {With(Candidate(), member.first, Quoted("x"))}), false});
  }
  for (const Case& c : cases) {
    const auto other = NamespaceDO::ParseFromJson(c.text);
    ASSERT_NE(nullptr, other) << c.text;
    other->changed = true;
    other->UpdateCandidate(*Acme());
    EXPECT_EQ(c.equal, reference->Equals(*other)) << c.text;
    EXPECT_EQ(c.equal, other->Equals(*reference)) << c.text;
  }
  // A null entry, which only a caller can put there, equals only another.
  const auto withNull = Namespace("1", {{"null", ""}});
  EXPECT_TRUE(withNull->Equals(*Namespace("1", {{"null", ""}})));
  EXPECT_FALSE(withNull->Equals(*Namespace("1", {{"m_brand=acme", "1"}})));
  EXPECT_FALSE(Namespace("1", {{"m_brand=acme", "1"}})->Equals(*withNull));
}

TEST(NamespaceDO, WritesMembersInOrderAndCandidatesOnlyWhenThereAreAny) {
  const auto ns = NamespaceDO::ParseFromJson(WithCandidates(Descriptor(), {Candidate()}));
  ASSERT_NE(nullptr, ns);
  ns->UpdateCandidate(*Acme());
  const auto written = [&ns] {
    rapidjson::StringBuffer buffer;
    JsonWriter writer(buffer);
    ns->WriteJson(writer);
    return std::string(buffer.GetString(), buffer.GetSize());
  };
  const std::string own = R"({"loadLevel":"HIGH","md5":"m5","name":"ns","resourceId":"r-1",)"
                          R"("version":"3","type":"STANDARD")";
  EXPECT_EQ(own + R"(,"candidates":[{"resourceId":"c-1","md5":"cm","match":"m_brand=acme",)"
                  R"("version":"4"}]})",
            written());
  ns->candidates.clear();
  EXPECT_EQ(own + "}", written());
}

TEST(NamespaceDO, OnlyTheLibrarysOwnNamesAreReserved) {
  EXPECT_TRUE(IsReservedNamespace("ostrel") && IsReservedNamespace("ostrel.index"));
  for (const char* name : {"", "Ostrel", "ostrel.", "ostrel.indexx"}) {
    EXPECT_FALSE(IsReservedNamespace(name)) << name;
  }
}

}  // namespace
}  // namespace Ostrel
