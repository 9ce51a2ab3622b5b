// Dotted versions: ordered part by part, equal only as text.
#include "candidate/VersionCompare.h"

#include "CompareAnswers.h"

namespace Ostrel {
namespace {

TEST(VersionCompare, OrdersNumericallyButEqualsTextually) {
  OstrelTest::ExpectAnswers(VersionCompare(), {
      {"10.0", "9.9", "01110001"},
      {"1.2", "1.2.0", "01010101"},
      {"1.2.0.1", "1.2", "01110010"},
      {"1.2", "1.2.0.0.3", "01001101"},
      {"1.02", "1.2", "01010101"},
      {"1.2", "1.2", "10010110"},
      {"1.beta", "1.0", "01010101"},
      {"1..2", "1.0.2", "01010101"},
      {"", "1", "01001101"},
      {nullptr, "0", "01010101"},
      {"2.0", "10", "01001101"},
      {" 3.-1", "3.0", "01001101"},
      // Parts saturate at the int range; their difference wraps at 32 bits,
      // so 2147483647 - (-1) reads as less.
      {"2147483647", "0", "01110001"},
      {"-2147483648", "0", "01001101"},
      {"2147483647", "-1", "01001101"},
      {"99999999999", "2147483647", "01010101"},
  });
}

}  // namespace
}  // namespace Ostrel
