// The comparators and the integer reads under them.
#include <gtest/gtest.h>

#include <climits>
#include <cstdint>
#include <string>

#include "candidate/HashCompare.h"
#include "candidate/StringCompare.h"
#include "candidate/TextScan.h"
#include "candidate/VersionCompare.h"

namespace Ostrel {
namespace {

TEST(TextScan, ReadsLikeAtoiAndSaturates) {
  struct Case {
    const char* text;
    int64_t asInt;
    int64_t asInt64;
  };
  const Case cases[] = {
      {"", 0, 0},
      {"abc", 0, 0},
      {"12a", 12, 12},
      {" \t\n+7", 7, 7},
      {"-0042", -42, -42},
      {"- 5", 0, 0},
      {"2147483647", INT32_MAX, 2147483647},
      {"2147483648", INT32_MAX, 2147483648LL},
      {"-2147483648", INT32_MIN, -2147483648LL},
      {"-2147483649", INT32_MIN, -2147483649LL},
      {"9223372036854775807", INT32_MAX, INT64_MAX},
      {"9223372036854775808", INT32_MAX, INT64_MAX},
      {"-9223372036854775808", INT32_MIN, INT64_MIN},
      {"-99999999999999999999999", INT32_MIN, INT64_MIN},
      {"00000000000000000000000000012", 12, 12},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(c.asInt, ReadInt(c.text)) << c.text;
    EXPECT_EQ(c.asInt64, ReadInt64(c.text)) << c.text;
  }
}

// The eight operations of one comparator for one pair, in slot order.
std::string Answers(const IOCandidateCompare& compare, const char* client,
                    const char* condition) {
  const bool answers[] = {
      compare.Equal(client, condition),     compare.NotEqual(client, condition),
      compare.Greater(client, condition),   compare.GreaterEqual(client, condition),
      compare.Less(client, condition),      compare.LessEqual(client, condition),
      compare.FuzzyMatch(client, condition), compare.NotFuzzyMatch(client, condition),
  };
  std::string out;
  for (bool answer : answers) out += answer ? '1' : '0';
  return out;
}

struct PairCase {
  const char* client;
  const char* condition;
  // "=", "!=", ">", ">=", "<", "<=", "~=", "!~"
  const char* answers;
};

TEST(StringCompare, TextEqualityAndPrefixOnly) {
  const PairCase cases[] = {
      {"acme", "acme", "10000010"},
      {"acme", "ACME", "01000001"},
      {"10.2.3", "10.2", "01000010"},
      {"10.2.3", "2.3", "01000001"},
      {"acme", "", "01000010"},
      {"ac", "acme", "01000001"},
  };
  const StringCompare compare;
  for (const PairCase& c : cases) {
    EXPECT_EQ(c.answers, Answers(compare, c.client, c.condition))
        << c.client << " vs " << c.condition;
  }
}

TEST(VersionCompare, OrdersNumericallyButEqualsTextually) {
  const PairCase cases[] = {
      {"10.0", "9.9", "01110001"},
      {"1.2", "1.2.0", "01010101"},
      {"1.2.0.1", "1.2", "01110010"},
      {"1.02", "1.2", "01010101"},
      {"1.2", "1.2", "10010110"},
      {"1.beta", "1.0", "01010101"},
      {"1..2", "1.0.2", "01010101"},
      {"", "1", "01001101"},
      {"2.0", "10", "01001101"},
      {" 3.-1", "3.0", "01001101"},
  };
  const VersionCompare compare;
  for (const PairCase& c : cases) {
    EXPECT_EQ(c.answers, Answers(compare, c.client, c.condition))
        << c.client << " vs " << c.condition;
  }
}

TEST(VersionCompare, PartDifferencesWrapAtThirtyTwoBits) {
  EXPECT_EQ(1, VersionCompare::Compare("2147483647", "0"));
  EXPECT_EQ(-1, VersionCompare::Compare("-2147483648", "0"));
  // 2147483647 - (-1) wraps to INT32_MIN: defined, and read as "less".
  EXPECT_EQ(-1, VersionCompare::Compare("2147483647", "-1"));
  // Parts beyond the int range saturate before subtracting.
  EXPECT_EQ(0, VersionCompare::Compare("99999999999", "2147483647"));
}

TEST(HashCompare, BucketsOfTheDeviceHash) {
  const HashCompare compare;
  EXPECT_EQ(0, HashCompare::Hash(""));
  EXPECT_EQ(97 * 31 + 98, HashCompare::Hash("ab"));
  // A byte of 0x80 and up counts as negative; the sign bit is cleared at the
  // end, after the arithmetic wrapped modulo 2^64.
  EXPECT_EQ(INT64_MAX & static_cast<int64_t>(static_cast<uint64_t>(-1)),
            HashCompare::Hash("\xff"));
  EXPECT_EQ(static_cast<int64_t>(
                (static_cast<uint64_t>(-128) * 31 + static_cast<uint64_t>(-1)) &
                static_cast<uint64_t>(INT64_MAX)),
            HashCompare::Hash("\x80\xff"));

  const int64_t bucket = HashCompare::Hash("device-1") % 100;
  const std::string exact = "100_" + std::to_string(bucket) + "-" + std::to_string(bucket);
  const std::string other = "100_" + std::to_string((bucket + 1) % 100) + "-" +
                            std::to_string((bucket + 1) % 100);
  struct Case {
    std::string condition;
    bool equal;
  };
  const Case cases[] = {
      {"100_0-99", true},
      {"100_50-49", false},
      {exact, true},
      {" \t" + exact + "\n", true},
      {other, false},
      {"0_0-99", false},
      {"100_0-99x", false},
      {"x100_0-99", false},
      {"100-0_99", false},
      {"", false},
      {"99999999999999999999_0-2147483647", true},
      {"1_99999999999999999999-0", false},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(c.equal, compare.Equal("device-1", c.condition.c_str())) << c.condition;
  }
  EXPECT_EQ("10000000", Answers(compare, "device-1", "100_0-99"));
  EXPECT_FALSE(compare.Equal(nullptr, "100_0-99"));
  EXPECT_FALSE(compare.Equal("device-1", nullptr));
}

}  // namespace
}  // namespace Ostrel
