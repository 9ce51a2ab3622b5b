// Comparison of dotted version attributes (application and OS versions).
#ifndef OSTREL_CANDIDATE_VERSIONCOMPARE_H_
#define OSTREL_CANDIDATE_VERSIONCOMPARE_H_

#include "candidate/StringCompare.h"

namespace Ostrel {

// "=", "!=", "~=" and "!~" are the textual tests of StringCompare (so 1.02 and
// 1.2 are not "=" although they are equal in order); the four ordering
// operators compare part by part numerically.
class VersionCompare : public StringCompare {
 public:
  bool Greater(const char* clientVal, const char* conditionVal) const override;
  bool GreaterEqual(const char* clientVal, const char* conditionVal) const override;
  bool Less(const char* clientVal, const char* conditionVal) const override;
  bool LessEqual(const char* clientVal, const char* conditionVal) const override;

  // -1, 0 or 1 for the client value against the condition value. Byte-equal
  // texts are 0. Otherwise both are split on '.', and the parts, read like
  // atoi, are compared pairwise; the first pair that differs decides by the
  // sign of its 32-bit difference, which wraps around (like the two's
  // complement subtraction it stands for) instead of overflowing. When the
  // common parts are equal, a longer list with a part above 0 is the greater.
  // Null reads as the empty text.
  static int Compare(const char* clientVal, const char* conditionVal);
};

}  // namespace Ostrel

#endif  // OSTREL_CANDIDATE_VERSIONCOMPARE_H_
