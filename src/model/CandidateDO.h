// A conditional variant of a namespace: the resource to use instead of the
// namespace's own when its "match" expression holds for this client.
#ifndef OSTREL_MODEL_CANDIDATEDO_H_
#define OSTREL_MODEL_CANDIDATEDO_H_

#include <memory>
#include <string>

#include "candidate/ClientAttributes.h"
#include "model/JsonFields.h"

namespace Ostrel {

// Created by ParseFromJson, shared and never changed afterwards. It names no
// application, so it is checked on its own terms rather than as a CheckDO.
class CandidateDO {
 public:
  // An empty pointer when value is not a candidate object; the reason has
  // been logged ("Ostrel.CandidateDO", "ParseFromJson").
  static std::shared_ptr<CandidateDO> ParseFromJson(const rapidjson::Value& value);

  // resourceId, match and version are set; md5 may be empty. Never logs.
  bool CheckValid() const;

  // True when the "match" expression holds for the client's attributes.
  bool Match(const ClientAttributes& attributes) const;

  // Appends the candidate as an object: "resourceId", "md5", "match",
  // "version".
  void WriteJson(JsonWriter& writer) const;

  // Field by field, bytewise.
  bool Equals(const CandidateDO& other) const;

  std::string resourceId;
  std::string md5;
  std::string match;
  std::string version;
};

}  // namespace Ostrel

#endif  // OSTREL_MODEL_CANDIDATEDO_H_
