// VersionCompare on two arbitrary versions (split at the first NUL). The
// eight operators must agree with the three-way comparison and with each
// other.
#include <cstddef>
#include <cstdint>
#include <string>

#include "FuzzSupport.h"
#include "candidate/VersionCompare.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const auto [client, condition] = OstrelFuzz::SplitAtNul(data, size);
  const char* a = client.c_str();
  const char* b = condition.c_str();
  const Ostrel::VersionCompare compare;
  const int order = Ostrel::VersionCompare::Compare(a, b);
  OstrelFuzz::Require(order >= -1 && order <= 1);
  OstrelFuzz::Require(compare.Greater(a, b) == (order == 1));
  OstrelFuzz::Require(compare.GreaterEqual(a, b) == !compare.Less(a, b));
  OstrelFuzz::Require(compare.LessEqual(a, b) == !compare.Greater(a, b));
  OstrelFuzz::Require(compare.Equal(a, b) == (client == condition));
  OstrelFuzz::Require(compare.Equal(a, b) != compare.NotEqual(a, b));
  OstrelFuzz::Require(compare.FuzzyMatch(a, b) == (client.compare(0, condition.size(), condition) == 0));
  OstrelFuzz::Require(compare.FuzzyMatch(a, b) != compare.NotFuzzyMatch(a, b));
  OstrelFuzz::Require(Ostrel::VersionCompare::Compare(a, a) == 0);
  return 0;
}
