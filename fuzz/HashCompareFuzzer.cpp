// HashCompare on an arbitrary client value and condition (split at the first
// NUL). Short conditions are also matched with the bucket regex.
#include <cstddef>
#include <cstdint>
#include <regex>
#include <string>

#include "FuzzSupport.h"
#include "candidate/HashCompare.h"
#include "candidate/PatternMatch.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const std::regex bucket(R"(\s*(\d+)_(\d+)-(\d+)\s*)");
  const auto [client, condition] = OstrelFuzz::SplitAtNul(data, size);
  const Ostrel::HashCompare compare;
  const bool equal = compare.Equal(client.c_str(), condition.c_str());
  OstrelFuzz::Require(!compare.Greater(client.c_str(), condition.c_str()));
  Ostrel::BucketParts parts;
  const bool shaped = Ostrel::MatchBucketPattern(condition, &parts);
  OstrelFuzz::Require(shaped || !equal);
  if (condition.size() <= 48) {
    std::smatch groups;
    const bool expected = std::regex_match(condition, groups, bucket);
    OstrelFuzz::Require(shaped == expected);
    if (expected) {
      OstrelFuzz::Require(groups.str(1) == parts.modulus && groups.str(2) == parts.lower &&
                          groups.str(3) == parts.upper);
    }
  }
  return 0;
}
