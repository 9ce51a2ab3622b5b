#include "candidate/HashCompare.h"

#include "candidate/PatternMatch.h"
#include "candidate/TextScan.h"

namespace Ostrel {

int64_t HashCompare::Hash(const char* text) {
  uint64_t hash = 0;
  for (const char* p = text; *p != '\0'; ++p) {
    const int64_t byte = static_cast<signed char>(*p);
    hash = hash * 31 + static_cast<uint64_t>(byte);
  }
  return static_cast<int64_t>(hash & static_cast<uint64_t>(INT64_MAX));
}

bool HashCompare::Equal(const char* clientVal, const char* conditionVal) const {
  if (clientVal == nullptr || conditionVal == nullptr) return false;
  BucketParts parts;
  if (!MatchBucketPattern(conditionVal, &parts)) return false;
  // The pattern admits digits only, so the modulus is never negative; 0 would
  // be a division by zero.
  const int32_t modulus = ReadInt(parts.modulus);
  if (modulus <= 0) return false;
  const int64_t bucket = Hash(clientVal) % modulus;
  return ReadInt(parts.lower) <= bucket && bucket <= ReadInt(parts.upper);
}

}  // namespace Ostrel
