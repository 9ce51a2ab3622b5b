#include "model/CandidateDO.h"

#include "candidate/MultiAnalyze.h"
#include "host/LogManager.h"

namespace Ostrel {
namespace {

constexpr LogTag kTag("Ostrel.CandidateDO");

const StringField<CandidateDO> kMembers[] = {
    {"resourceId", "resourceId data format error", &CandidateDO::resourceId},
    {"md5", "md5 data format error", &CandidateDO::md5},
    {"match", "match data format error", &CandidateDO::match},
    {"version", "version data format error", &CandidateDO::version},
};

}  // namespace

std::shared_ptr<CandidateDO> CandidateDO::ParseFromJson(const rapidjson::Value& value) {
  if (!value.IsObject()) {
    LogError("ParseFromJson", kTag, "ParseFromJson, value is not Object error");
    return nullptr;
  }
  auto candidate = std::make_shared<CandidateDO>();
  if (const char* failure = ReadStringFields(value, kMembers, candidate.get())) {
    LogError("ParseFromJson", kTag, failure);
    return nullptr;
  }
  return candidate;
}

bool CandidateDO::CheckValid() const {
  return !resourceId.empty() && !match.empty() && !version.empty();
}

bool CandidateDO::Match(const ClientAttributes& attributes) const {
  // Parsed on demand: a namespace's candidates are walked once per download
  // decision, and most are never evaluated at all.
  return MultiAnalyze(match).Match(attributes);
}

void CandidateDO::WriteJson(JsonWriter& writer) const {
  writer.StartObject();
  WriteStringFields(writer, kMembers, *this);
  writer.EndObject();
}

bool CandidateDO::Equals(const CandidateDO& other) const {
  return resourceId == other.resourceId && md5 == other.md5 && match == other.match &&
         version == other.version;
}

}  // namespace Ostrel
