#include "model/NamespaceDO.h"

#include <utility>

#include "candidate/TextScan.h"
#include "host/LogManager.h"

namespace Ostrel {
namespace {

constexpr LogTag kTag("Ostrel.NamespaceDO");
const char kParseMethod[] = "ParseFromJson";

const StringField<NamespaceDO> kMembers[] = {
    {"loadLevel", "loadLevel data format error", &NamespaceDO::loadLevel},
    {"md5", "md5 data format error", &NamespaceDO::md5},
    {"name", "name data format error", &NamespaceDO::name},
    {"resourceId", "resourceId data format error", &NamespaceDO::resourceId},
    {"version", "version data format error", &NamespaceDO::version},
    {"type", "type data format error", &NamespaceDO::type},
};

std::shared_ptr<NamespaceDO> Fail(const char* message) {
  LogError(kParseMethod, kTag, message);
  return nullptr;
}

bool SameCandidate(const std::shared_ptr<CandidateDO>& a, const std::shared_ptr<CandidateDO>& b) {
  if (a == nullptr || b == nullptr) return a == b;
  return a->Equals(*b);
}

}  // namespace

bool IsReservedNamespace(std::string_view name) {
  return name == "ostrel" || name == "ostrel.index";
}

std::shared_ptr<NamespaceDO> NamespaceDO::ParseFromJson(const rapidjson::Value& value) {
  if (!value.IsObject()) return Fail("ParseFromJson, value is not Object error");
  return ParseMembers(value);
}

std::shared_ptr<NamespaceDO> NamespaceDO::ParseFromJson(const std::string& text) {
  // The index parser's wording, kept so that both empty inputs read alike.
  if (text.empty()) return Fail("IndexDO::ParseFormJson parameter empty error!!!");
  rapidjson::Document document;
  ParseJsonText(text, &document);
  // No object test here: anything else fails at the first member.
  return ParseMembers(document);
}

std::shared_ptr<NamespaceDO> NamespaceDO::ParseMembers(const rapidjson::Value& value) {
  auto ns = std::make_shared<NamespaceDO>();
  if (const char* failure = ReadStringFields(value, kMembers, ns.get())) return Fail(failure);
  const auto member = value.FindMember("candidates");
  if (member == value.MemberEnd()) return ns;
  if (!member->value.IsArray()) return Fail("candidates is not array error!!!");
  ns->candidates.reserve(member->value.Size());
  for (const rapidjson::Value& element : member->value.GetArray()) {
    std::shared_ptr<CandidateDO> candidate = CandidateDO::ParseFromJson(element);
    if (candidate == nullptr) return Fail("data in candidates format error!!!");
    ns->candidates.push_back(std::move(candidate));
  }
  return ns;
}

bool NamespaceDO::CheckValid(const std::shared_ptr<ConfigDO>& current,
                             const ClientAttributes& attributes) {
  const bool fromCandidate = current != nullptr && current->candidate != nullptr;
  const int64_t currentVersion = current != nullptr ? ReadInt64(current->version) : 0;
  // A config built from a candidate says nothing about the namespace's own
  // resource, so the own version is then compared with 0.
  const int64_t base = fromCandidate ? 0 : currentVersion;

  std::shared_ptr<CandidateDO> winner = FindMatchingCandidate("CheckValid", attributes);
  if (winner != nullptr) {
    if (fromCandidate && ReadInt64(winner->version) == currentVersion) {
      LogInfo("CheckValid", kTag, "checkCandidate match but no version update");
      return false;
    }
    SetMatchedCandidate(std::move(winner));
    return true;
  }
  if (ReadInt64(version) > base) {
    SetMatchedCandidate(nullptr);
    return true;
  }
  LogInfo("CheckValid", kTag, "checkValid,no version update");
  return false;
}

void NamespaceDO::UpdateCandidate(const ClientAttributes& attributes) {
  std::shared_ptr<CandidateDO> winner = FindMatchingCandidate("UpdateCandidate", attributes);
  if (winner != nullptr) SetMatchedCandidate(std::move(winner));
}

std::shared_ptr<CandidateDO> NamespaceDO::FindMatchingCandidate(
    const char* method, const ClientAttributes& attributes) const {
  for (size_t i = 0; i < candidates.size(); ++i) {
    const std::shared_ptr<CandidateDO>& candidate = candidates[i];
    if (candidate == nullptr) {
      if (LogEnabled(kLogWarn)) {
        LogWarn(method, kTag, "candidates[" + std::to_string(i) + "] is nullptr");
      }
      continue;
    }
    if (candidate->CheckValid() && candidate->Match(attributes)) return candidate;
  }
  return nullptr;
}

std::shared_ptr<CandidateDO> NamespaceDO::MatchedCandidate() const {
  MutexLock lock(&mutex_);
  return matchedCandidate_;
}

std::string NamespaceDO::ChosenResourceId() const {
  MutexLock lock(&mutex_);
  return matchedCandidate_ ? matchedCandidate_->resourceId : resourceId;
}

std::shared_ptr<CandidateDO> NamespaceDO::CandidateWithResource(
    const std::string& resource) const {
  for (const std::shared_ptr<CandidateDO>& candidate : candidates) {
    if (candidate != nullptr && candidate->resourceId == resource) return candidate;
  }
  return nullptr;
}

void NamespaceDO::SetMatchedCandidate(std::shared_ptr<CandidateDO> candidate) {
  MutexLock lock(&mutex_);
  matchedCandidate_.swap(candidate);
}

void NamespaceDO::WriteJson(JsonWriter& writer) const {
  writer.StartObject();
  WriteStringFields(writer, kMembers, *this);
  if (!candidates.empty()) {
    writer.Key("candidates");
    writer.StartArray();
    for (const std::shared_ptr<CandidateDO>& candidate : candidates) {
      // A null entry cannot come from a parse and could not be read back.
      if (candidate != nullptr) candidate->WriteJson(writer);
    }
    writer.EndArray();
  }
  writer.EndObject();
}

bool NamespaceDO::Equals(const NamespaceDO& other) const {
  if (loadLevel != other.loadLevel || md5 != other.md5 || name != other.name ||
      resourceId != other.resourceId || version != other.version ||
      candidates.size() != other.candidates.size()) {
    return false;
  }
  for (size_t i = 0; i < candidates.size(); ++i) {
    if (!SameCandidate(candidates[i], other.candidates[i])) return false;
  }
  return true;
}

}  // namespace Ostrel
