// The comparators of client attributes, each through all eight operators.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "candidate/HashCompare.h"
#include "candidate/StringCompare.h"
#include "candidate/VersionCompare.h"

namespace Ostrel {
namespace {

// A client value, a condition value and the answers to "=", "!=", ">", ">=",
// "<", "<=", "~=", "!~" in that order, 1 for true.
struct PairCase {
  const char* client;
  const char* condition;
  const char* answers;
};

void ExpectAnswers(const IOCandidateCompare& compare, const std::vector<PairCase>& cases) {
  for (const PairCase& c : cases) {
    const bool answers[] = {
        compare.Equal(c.client, c.condition),     compare.NotEqual(c.client, c.condition),
        compare.Greater(c.client, c.condition),   compare.GreaterEqual(c.client, c.condition),
        compare.Less(c.client, c.condition),      compare.LessEqual(c.client, c.condition),
        compare.FuzzyMatch(c.client, c.condition), compare.NotFuzzyMatch(c.client, c.condition),
    };
    std::string out;
    for (bool answer : answers) out += answer ? '1' : '0';
    EXPECT_EQ(c.answers, out) << '"' << c.client << "\" vs \"" << c.condition << '"';
  }
}

// What a comparator leaves alone stays false, even for equal texts.
TEST(DefCandidateCompare, EveryOperatorAnswersFalse) {
  ExpectAnswers(DefCandidateCompare(), {{"1.0", "1.0", "00000000"}, {"2", "1", "00000000"}});
}

TEST(StringCompare, TextEqualityAndPrefixOnly) {
  ExpectAnswers(StringCompare(), {
      {"acme", "acme", "10000010"},
      {"acme", "ACME", "01000001"},
      {"10.2.3", "10.2", "01000010"},
      {"10.2.3", "2.3", "01000001"},
      {"acme", "", "01000010"},
      {"ac", "acme", "01000001"},
      {nullptr, "", "10000010"},
      {"a", nullptr, "01000010"},
  });
}

TEST(VersionCompare, OrdersNumericallyButEqualsTextually) {
  ExpectAnswers(VersionCompare(), {
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

// The hashes were worked out apart from this code, by the documented
// h = h * 31 + signed byte, modulo 2^64, top bit cleared.
TEST(HashCompare, HashOfKnownTexts) {
  EXPECT_EQ(0, HashCompare::Hash(""));
  EXPECT_EQ(3105, HashCompare::Hash("ab"));
  EXPECT_EQ(9223372036854775807, HashCompare::Hash("\xff"));
  EXPECT_EQ(9223372036854771839, HashCompare::Hash("\x80\xff"));
  EXPECT_EQ(2844377540218, HashCompare::Hash("device-1"));  // bucket 18 of 100
}

TEST(HashCompare, OnlyEqualHoldsAndOnlyForTheDevicesBucket) {
  ExpectAnswers(HashCompare(), {
      {"device-1", "100_18-18", "10000000"},
      {"device-1", " \t100_10-18\n", "10000000"},
      {"device-1", "100_18-30", "10000000"},
      {"device-1", "100_19-19", "00000000"},
      {"device-1", "100_17-17", "00000000"},
      {"device-1", "0_0-99", "00000000"},
      {"device-1", "100_0-99x", "00000000"},
      {"device-1", "x100_0-99", "00000000"},
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
