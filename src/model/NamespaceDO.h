// One entry of the index: a namespace, the resource to download for it and
// its conditional variants.
#ifndef OSTREL_MODEL_NAMESPACEDO_H_
#define OSTREL_MODEL_NAMESPACEDO_H_

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "candidate/ClientAttributes.h"
#include "host/Mutex.h"
#include "model/CandidateDO.h"
#include "model/ConfigDO.h"
#include "model/JsonFields.h"

namespace Ostrel {

// "ostrel" and "ostrel.index" belong to the library (its own settings and the
// storage key of the index): never loaded, cached or stored as a namespace,
// whatever an index or a push says.
bool IsReservedNamespace(std::string_view name);

// Created by a parse and shared by reference counting. The descriptive fields
// and the candidate list do not change once the index holding the namespace
// is published; changed is written by the index cache before it publishes
// the index. The matched candidate is chosen later, from whichever thread
// loads the namespace, so it sits behind a lock.
class NamespaceDO {
 public:
  // An element of an index's "mergedNamespaces"; an empty pointer when it is
  // not a namespace object (logged, "Ostrel.NamespaceDO", "ParseFromJson").
  static std::shared_ptr<NamespaceDO> ParseFromJson(const rapidjson::Value& value);
  // A descriptor sent alone as JSON text; same result.
  static std::shared_ptr<NamespaceDO> ParseFromJson(const std::string& text);

  // Whether the namespace must be downloaded, given the config currently held
  // (may be null). The first valid candidate whose expression holds wins and
  // becomes the matched candidate, unless the held config came from a
  // candidate of the same version. Without a winner the namespace's own
  // version must exceed the held one (0 when the held config came from a
  // candidate), and the matched candidate is cleared so that the download
  // falls back to the namespace's own resource. Candidates are evaluated
  // against attributes.
  bool CheckValid(const std::shared_ptr<ConfigDO>& current, const ClientAttributes& attributes);

  // Chooses the matched candidate again without any version decision; keeps
  // the previous one when none holds.
  void UpdateCandidate(const ClientAttributes& attributes);

  // The candidate chosen last; null until one matched.
  std::shared_ptr<CandidateDO> MatchedCandidate() const;
  // The resource a download would fetch now: the matched candidate's, else
  // the namespace's own.
  std::string ChosenResourceId() const;
  // The candidate whose resource is resourceId, matching or not; null when
  // none is.
  std::shared_ptr<CandidateDO> CandidateWithResource(const std::string& resourceId) const;

  // Appends the descriptor as an object; "candidates" only when there are
  // any. The matched candidate and the changed flag are not written.
  void WriteJson(JsonWriter& writer) const;

  // Load level, md5, name, resourceId, version and the candidates field by
  // field. The type is left out on purpose: a change of type alone is no
  // reason to reload.
  bool Equals(const NamespaceDO& other) const;

  std::string loadLevel;
  std::string md5;
  std::string name;
  std::string resourceId;
  std::string type;
  std::string version;
  std::vector<std::shared_ptr<CandidateDO>> candidates;
  // New in the current index, or different from its namesake in the previous.
  bool changed = false;

 private:
  static std::shared_ptr<NamespaceDO> ParseMembers(const rapidjson::Value& value);
  // The first valid candidate whose expression holds; logs null entries
  // under method.
  std::shared_ptr<CandidateDO> FindMatchingCandidate(const char* method,
                                                     const ClientAttributes& attributes) const;
  void SetMatchedCandidate(std::shared_ptr<CandidateDO> candidate);

  mutable Mutex mutex_;
  std::shared_ptr<CandidateDO> matchedCandidate_ GUARDED_BY(mutex_);
};

}  // namespace Ostrel

#endif  // OSTREL_MODEL_NAMESPACEDO_H_
