// Device-hash buckets. The hashes below were worked out apart from this code,
// by the documented h = h * 31 + signed byte, modulo 2^64, top bit cleared.
#include "candidate/HashCompare.h"

#include <string>

#include "CompareAnswers.h"

namespace Ostrel {
namespace {

TEST(HashCompare, HashOfKnownTexts) {
  EXPECT_EQ(0, HashCompare::Hash(""));
  EXPECT_EQ(3105, HashCompare::Hash("ab"));
  EXPECT_EQ(9223372036854775807, HashCompare::Hash("\xff"));
  EXPECT_EQ(9223372036854771839, HashCompare::Hash("\x80\xff"));
  EXPECT_EQ(2844377540218, HashCompare::Hash("device-1"));  // bucket 18 of 100
}

TEST(HashCompare, OnlyEqualHoldsAndOnlyForTheDevicesBucket) {
  OstrelTest::ExpectAnswers(HashCompare(), {
      {"device-1", "100_0-99", "10000000"},
      {"device-1", "100_18-18", "10000000"},
      {"device-1", " \t100_10-18\n", "10000000"},
      {"device-1", "100_18-30", "10000000"},
      {"device-1", "100_19-19", "00000000"},
      {"device-1", "100_17-17", "00000000"},
      {"device-1", "100_50-49", "00000000"},
      {"device-1", "0_0-99", "00000000"},
      {"device-1", "100_0-99x", "00000000"},
      {"device-1", "x100_0-99", "00000000"},
      {"device-1", "100-0_99", "00000000"},
      {"device-1", "", "00000000"},
      // The three numbers saturate like atoi.
      {"device-1", "99999999999999999999_0-2147483647", "10000000"},
      {"device-1", "1_99999999999999999999-0", "00000000"},
      {nullptr, "100_0-99", "00000000"},
      {"device-1", nullptr, "00000000"},
  });
}

}  // namespace
}  // namespace Ostrel
