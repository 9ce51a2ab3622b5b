// How one client attribute is compared with the literal of a condition.
#ifndef OSTREL_CANDIDATE_IOCANDIDATECOMPARE_H_
#define OSTREL_CANDIDATE_IOCANDIDATECOMPARE_H_

namespace Ostrel {

// One operation per condition operator, in this slot order: "=", "!=", ">",
// ">=", "<", "<=", "~=", "!~". Each takes the client's value first and the
// condition's literal second, both NUL-terminated. Implementations hold no
// state, never allocate and may be called from any thread at once.
class IOCandidateCompare {
 public:
  virtual bool Equal(const char* clientVal, const char* conditionVal) const = 0;
  virtual bool NotEqual(const char* clientVal, const char* conditionVal) const = 0;
  virtual bool Greater(const char* clientVal, const char* conditionVal) const = 0;
  virtual bool GreaterEqual(const char* clientVal, const char* conditionVal) const = 0;
  virtual bool Less(const char* clientVal, const char* conditionVal) const = 0;
  virtual bool LessEqual(const char* clientVal, const char* conditionVal) const = 0;
  virtual bool FuzzyMatch(const char* clientVal, const char* conditionVal) const = 0;
  virtual bool NotFuzzyMatch(const char* clientVal, const char* conditionVal) const = 0;

  // Declared last so that the eight operations keep slots 0 to 7.
  virtual ~IOCandidateCompare() = default;
};

}  // namespace Ostrel

#endif  // OSTREL_CANDIDATE_IOCANDIDATECOMPARE_H_
