// One condition of a candidate's "match" expression, such as app_ver>=10.2.
#ifndef OSTREL_CANDIDATE_UNITANALYZE_H_
#define OSTREL_CANDIDATE_UNITANALYZE_H_

#include <memory>
#include <string>

#include "candidate/IOCandidateCompare.h"

namespace Ostrel {

// Parsed once, then immutable: Match may run on any thread at once.
class UnitAnalyze {
 public:
  // Splits text into key, operator and value (see PatternMatch.h for the
  // grammar). A text that does not parse is logged and leaves all three
  // empty; such a unit never holds.
  explicit UnitAnalyze(std::string text);

  // Evaluates the unit for the client's value of its key, with the comparator
  // bound to that key (may be null). On failure, and only when reason is not
  // null, reason receives why. Allocates nothing unless it fills reason.
  bool Match(const std::string& clientVal, const std::shared_ptr<IOCandidateCompare>& compare,
             std::string* reason) const;

  const std::string& Text() const { return text_; }
  const std::string& Key() const { return key_; }
  const std::string& Operator() const { return operator_; }
  const std::string& Value() const { return value_; }

 private:
  std::string text_;
  std::string key_;
  std::string operator_;
  std::string value_;
  // Index of the comparator operation for operator_; -1 when it has none.
  int slot_ = -1;
};

}  // namespace Ostrel

#endif  // OSTREL_CANDIDATE_UNITANALYZE_H_
