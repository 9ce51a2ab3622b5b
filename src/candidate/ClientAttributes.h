// The client's side of candidate matching: for every attribute key that a
// condition may name, the client's value and the comparator for that key.
#ifndef OSTREL_CANDIDATE_CLIENTATTRIBUTES_H_
#define OSTREL_CANDIDATE_CLIENTATTRIBUTES_H_

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>

#include "candidate/OCandidate.h"
#include "host/Settings.h"

namespace Ostrel {

// An immutable table. The engine builds one from the settings at start-up and
// hands it to every candidate evaluation, so tests and benchmarks pass their
// own.
class ClientAttributes {
 public:
  // Ordered by key, bytewise; the transparent comparator lets a lookup by
  // string_view go without building a std::string.
  using Table = std::map<std::string, std::shared_ptr<OCandidate>, std::less<>>;

  ClientAttributes() = default;
  explicit ClientAttributes(Table table);

  // "app_ver", "os_ver" (versions), "m_fac", "m_brand", "m_model" (text) and
  // "did_hash" (the raw device id, hashed by its comparator). A parameter the
  // host left empty keeps its entry with an empty value, which makes every
  // condition on that key fail.
  static std::shared_ptr<const ClientAttributes> Build(const Settings& settings);

  // The attribute for key (exact bytes), or null. Never allocates.
  const OCandidate* Find(std::string_view key) const;

  const Table& Entries() const { return table_; }

 private:
  Table table_;
};

}  // namespace Ostrel

#endif  // OSTREL_CANDIDATE_CLIENTATTRIBUTES_H_
