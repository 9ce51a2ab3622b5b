#include "NamespaceFile.h"

#include <memory>

#include "candidate/ClientAttributes.h"
#include "candidate/HashCompare.h"
#include "candidate/MultiAnalyze.h"
#include "candidate/PatternMatch.h"
#include "candidate/StringCompare.h"
#include "candidate/TextScan.h"
#include "candidate/VersionCompare.h"

namespace OstrelServer {
namespace {

const rapidjson::Value* Member(const rapidjson::Value& object, const char* name) {
  auto member = object.FindMember(name);
  return member != object.MemberEnd() ? &member->value : nullptr;
}

// The attributes a client sets, with the comparators the library binds to
// them; only the keys and comparators are read, never the values.
const Ostrel::ClientAttributes& LibraryAttributes() {
  static const std::shared_ptr<const Ostrel::ClientAttributes> attributes =
      Ostrel::ClientAttributes::Build(Ostrel::Settings());
  return *attributes;
}

std::string KnownKeys() {
  std::string keys;
  for (const auto& entry : LibraryAttributes().Entries()) {
    keys += (keys.empty() ? "" : ", ") + entry.first;
  }
  return keys;
}

bool IsOrdering(const std::string& op) {
  return op == ">" || op == ">=" || op == "<" || op == "<=";
}

// Why unit can never hold for any client; empty when it can.
std::string CheckUnit(const Ostrel::UnitAnalyze& unit) {
  if (unit.Key().empty()) {
    return "condition \"" + unit.Text() + "\" is not <attribute><operator><value>";
  }
  const Ostrel::OCandidate* attribute = LibraryAttributes().Find(unit.Key());
  if (attribute == nullptr) {
    return "condition \"" + unit.Text() + "\": no client attribute \"" + unit.Key() + "\" (" +
           KnownKeys() + ")";
  }
  const Ostrel::IOCandidateCompare* compare = attribute->Compare().get();
  if (dynamic_cast<const Ostrel::HashCompare*>(compare) != nullptr) {
    Ostrel::BucketParts bucket;
    if (unit.Operator() != "=" || !Ostrel::MatchBucketPattern(unit.Value(), &bucket) ||
        Ostrel::ReadInt(bucket.modulus) <= 0) {
      return "condition \"" + unit.Text() + "\": " + unit.Key() +
             " takes only \"=\" and a bucket M_L-U with M above 0";
    }
  } else if (dynamic_cast<const Ostrel::VersionCompare*>(compare) == nullptr &&
             IsOrdering(unit.Operator())) {
    return "condition \"" + unit.Text() + "\": \"" + unit.Operator() +
           "\" never holds for the text attribute " + unit.Key();
  }
  return std::string();
}

}  // namespace

std::string NamespaceFile::CheckCondition(const std::string& match) {
  const Ostrel::MultiAnalyze analyze(match);
  for (const Ostrel::UnitAnalyze& unit : analyze.Units()) {
    std::string problem = CheckUnit(unit);
    if (!problem.empty()) return problem;
  }
  return std::string();
}

const rapidjson::Value& NamespaceFile::Candidates() const {
  static const rapidjson::Value kNone(rapidjson::kArrayType);
  const rapidjson::Value* candidates = Member(json_.Root(), "candidates");
  return candidates != nullptr ? *candidates : kNone;
}

std::string NamespaceFile::At(const std::string& pointer, const std::string& reason) const {
  return json_.Where(pointer) + ": " + reason;
}

std::string NamespaceFile::CheckContent(const rapidjson::Value* content,
                                        const std::string& pointer) const {
  if (content == nullptr)
    return At(pointer.substr(0, pointer.rfind('/')), "\"content\" is missing");
  if (type_ == "CUSTOM") {
    if (!content->IsString() || content->GetStringLength() == 0) {
      return At(pointer, "a CUSTOM \"content\" must be a non-empty string");
    }
    return std::string();
  }
  if (!content->IsObject() || content->MemberCount() == 0) {
    return At(pointer, "a STANDARD \"content\" must be a non-empty object");
  }
  for (const auto& member : content->GetObject()) {
    const std::string key = member.name.GetString();
    if (!member.value.IsString()) {
      return At(pointer + "/" + key, "value of \"" + key + "\" is not a string");
    }
  }
  return std::string();
}

std::string NamespaceFile::Read(const std::string& text) {
  std::string error;
  if (!json_.Parse(text, error)) return error;
  const rapidjson::Value& root = json_.Root();
  if (!root.IsObject()) return At("", "not a JSON object");
  const rapidjson::Value* type = Member(root, "type");
  if (type == nullptr || !type->IsString()) return At("", "\"type\" is missing");
  type_ = type->GetString();
  if (type_ != "STANDARD" && type_ != "CUSTOM") {
    return At("/type", "\"type\" must be STANDARD or CUSTOM");
  }
  const rapidjson::Value* loadLevel = Member(root, "loadLevel");
  if (loadLevel != nullptr) {
    if (!loadLevel->IsString() || loadLevel->GetStringLength() == 0) {
      return At("/loadLevel", "\"loadLevel\" must be a non-empty string");
    }
    loadLevel_ = loadLevel->GetString();
  }
  std::string problem = CheckContent(Member(root, "content"), "/content");
  if (!problem.empty()) return problem;
  const rapidjson::Value* candidates = Member(root, "candidates");
  if (candidates == nullptr) return std::string();
  if (!candidates->IsArray()) return At("/candidates", "\"candidates\" must be an array");
  for (rapidjson::SizeType i = 0; i < candidates->Size(); ++i) {
    const rapidjson::Value& candidate = (*candidates)[i];
    const std::string pointer = "/candidates/" + std::to_string(i);
    if (!candidate.IsObject()) return At(pointer, "a candidate must be an object");
    const rapidjson::Value* match = Member(candidate, "match");
    if (match == nullptr || !match->IsString() || match->GetStringLength() == 0) {
      return At(pointer, "a candidate needs a non-empty \"match\"");
    }
    problem = CheckCondition(match->GetString());
    if (!problem.empty()) return At(pointer + "/match", problem);
    problem = CheckContent(Member(candidate, "content"), pointer + "/content");
    if (!problem.empty()) return problem;
  }
  return std::string();
}

}  // namespace OstrelServer
