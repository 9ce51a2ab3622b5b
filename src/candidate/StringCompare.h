// Comparison of plain text attributes (manufacturer, brand, model).
#ifndef OSTREL_CANDIDATE_STRINGCOMPARE_H_
#define OSTREL_CANDIDATE_STRINGCOMPARE_H_

#include "candidate/DefCandidateCompare.h"

namespace Ostrel {

// Text has no order here: ">", ">=", "<" and "<=" keep the default false.
class StringCompare : public DefCandidateCompare {
 public:
  bool Equal(const char* clientVal, const char* conditionVal) const override;
  bool NotEqual(const char* clientVal, const char* conditionVal) const override;
  bool FuzzyMatch(const char* clientVal, const char* conditionVal) const override;
  bool NotFuzzyMatch(const char* clientVal, const char* conditionVal) const override;
};

}  // namespace Ostrel

#endif  // OSTREL_CANDIDATE_STRINGCOMPARE_H_
