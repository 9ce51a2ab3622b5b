// The comparator that answers false to everything, and the text tests that
// the concrete comparators share.
#ifndef OSTREL_CANDIDATE_DEFCANDIDATECOMPARE_H_
#define OSTREL_CANDIDATE_DEFCANDIDATECOMPARE_H_

#include "candidate/IOCandidateCompare.h"

namespace Ostrel {

// Comparators derive from this one and override only the operators that make
// sense for their kind of value; the rest stay false.
class DefCandidateCompare : public IOCandidateCompare {
 public:
  bool Equal(const char* clientVal, const char* conditionVal) const override;
  bool NotEqual(const char* clientVal, const char* conditionVal) const override;
  bool Greater(const char* clientVal, const char* conditionVal) const override;
  bool GreaterEqual(const char* clientVal, const char* conditionVal) const override;
  bool Less(const char* clientVal, const char* conditionVal) const override;
  bool LessEqual(const char* clientVal, const char* conditionVal) const override;
  bool FuzzyMatch(const char* clientVal, const char* conditionVal) const override;
  bool NotFuzzyMatch(const char* clientVal, const char* conditionVal) const override;

 protected:
  // Byte equality; a null pointer reads as the empty text.
  static bool TextEqual(const char* clientVal, const char* conditionVal);
  // True when the client value begins with the condition value: the first
  // occurrence of the condition must be at position 0, so an empty condition
  // always holds. A prefix test on purpose, not a substring search.
  static bool TextStartsWith(const char* clientVal, const char* conditionVal);
};

}  // namespace Ostrel

#endif  // OSTREL_CANDIDATE_DEFCANDIDATECOMPARE_H_
