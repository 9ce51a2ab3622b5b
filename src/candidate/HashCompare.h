// Device-hash buckets: "did_hash=100_0-9" holds for devices whose identifier
// hashes into buckets 0 to 9 of 100.
#ifndef OSTREL_CANDIDATE_HASHCOMPARE_H_
#define OSTREL_CANDIDATE_HASHCOMPARE_H_

#include <cstdint>

#include "candidate/DefCandidateCompare.h"

namespace Ostrel {

// Only "=" has a meaning; the seven other operators keep the default false.
class HashCompare : public DefCandidateCompare {
 public:
  // True when the whole condition value reads M_L-U (blanks around allowed)
  // and L <= Hash(client) mod M <= U. A value of another shape, a modulus of
  // 0 or a null argument is false. The three numbers are read like atoi.
  bool Equal(const char* clientVal, const char* conditionVal) const override;

  // h = h * 31 + c over the bytes, each taken as a signed char, modulo 2^64;
  // the top bit is then cleared, so the result is never negative.
  static int64_t Hash(const char* text);
};

}  // namespace Ostrel

#endif  // OSTREL_CANDIDATE_HASHCOMPARE_H_
