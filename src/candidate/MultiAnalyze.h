// A candidate's whole "match" expression: units joined by '&', all of which
// must hold.
#ifndef OSTREL_CANDIDATE_MULTIANALYZE_H_
#define OSTREL_CANDIDATE_MULTIANALYZE_H_

#include <set>
#include <string>
#include <vector>

#include "candidate/ClientAttributes.h"
#include "candidate/UnitAnalyze.h"

namespace Ostrel {

// Parsed once, then immutable: Match may run on any thread at once.
class MultiAnalyze {
 public:
  // Splits on every '&' (no "or", no grouping, no escaping): n separators
  // give n + 1 units, empty ones included, in text order. Linear in the
  // length of the expression.
  explicit MultiAnalyze(const std::string& expression);

  // True when every unit holds for the client. A unit whose key the table
  // lacks, or that fails, ends the walk with one log line. Allocates nothing
  // unless a failure is logged.
  bool Match(const ClientAttributes& attributes) const;

  // The keys of all units, ordered bytewise, each once.
  std::set<std::string> KeySet() const;

  const std::vector<UnitAnalyze>& Units() const { return units_; }

 private:
  std::vector<UnitAnalyze> units_;
};

}  // namespace Ostrel

#endif  // OSTREL_CANDIDATE_MULTIANALYZE_H_
