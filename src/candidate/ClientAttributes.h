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
// installs it; evaluation reads a snapshot and takes the table explicitly, so
// tests and benchmarks can pass their own.
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

  // The process-wide table. Install publishes a new snapshot (null installs
  // an empty table); Current never returns null, and a reader keeps its
  // snapshot however often the table is replaced. Both take a mutex: they are
  // called once per candidate walk, never per value read.
  static void Install(std::shared_ptr<const ClientAttributes> attributes);
  static std::shared_ptr<const ClientAttributes> Current();

  // The attribute for key (exact bytes), or null. Never allocates.
  const OCandidate* Find(std::string_view key) const;

  const Table& Entries() const { return table_; }

 private:
  Table table_;
};

}  // namespace Ostrel

#endif  // OSTREL_CANDIDATE_CLIENTATTRIBUTES_H_
