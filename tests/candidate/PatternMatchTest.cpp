// The hand-written matchers against the regular expressions they replace.
#include "candidate/PatternMatch.h"

#include <gtest/gtest.h>

#include <array>
#include <functional>
#include <random>
#include <string>

#include "GuardedPage.h"

// GCC 12 at -O1 with sanitizers warns that std::function members inside
// libstdc++'s regex automaton "may be used uninitialized"; a known false
// positive in the library's own code.
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#endif
#include <regex>

namespace Ostrel {
namespace {

using Groups = std::array<std::string, 3>;
using Matcher = bool (*)(std::string_view, Groups*);

bool Unit(std::string_view text, Groups* groups) {
  UnitParts parts;
  if (!MatchUnitPattern(text, &parts)) return false;
  *groups = {std::string(parts.key), std::string(parts.op), std::string(parts.value)};
  return true;
}

bool Bucket(std::string_view text, Groups* groups) {
  BucketParts parts;
  if (!MatchBucketPattern(text, &parts)) return false;
  *groups = {std::string(parts.modulus), std::string(parts.lower), std::string(parts.upper)};
  return true;
}

struct Pattern {
  std::regex regex;
  bool whole;  // the regex must match the whole text, not just a part
  Matcher matcher;
};

// The matcher must agree with the regex on text, handed over twice: right
// before an inaccessible page, and followed by a foreign byte (a matcher
// that looks past its text gives another answer).
void ExpectAgrees(const Pattern& pattern, const std::string& text, char after) {
  static OstrelTest::GuardedPage guarded;
  std::smatch m;
  const bool expected = pattern.whole ? std::regex_match(text, m, pattern.regex)
                                      : std::regex_search(text, m, pattern.regex);
  const Groups groups = {m.str(1), m.str(2), m.str(3)};
  const std::string followed = text + after;
  for (std::string_view view :
       {guarded.Place(text), std::string_view(followed.data(), text.size())}) {
    Groups actual;
    ASSERT_EQ(expected, pattern.matcher(view, &actual)) << ::testing::PrintToString(followed);
    if (expected) {
      ASSERT_EQ(groups, actual) << ::testing::PrintToString(followed);
    }
  }
}

// Every text of up to maxLength bytes of alphabet, then random ones: half
// unstructured, half shaped by shape so that most match and groups compare.
void ExpectAgreesEverywhere(const Pattern& pattern, const std::string& alphabet, size_t maxLength,
                            const std::function<std::string(std::mt19937&)>& shape) {
  size_t count = 0;
  std::string text;
  std::function<void()> extend = [&] {
    ExpectAgrees(pattern, text, alphabet[count++ % alphabet.size()]);
    if (text.size() == maxLength || ::testing::Test::HasFatalFailure()) return;
    for (size_t i = 0; i < alphabet.size(); ++i) {
      text.push_back(alphabet[i]);
      extend();
      text.pop_back();
    }
  };
  extend();
  std::mt19937 random(20240611);
  for (int i = 0; i < 50000 && !::testing::Test::HasFatalFailure(); ++i) {
    std::string any(random() % 15, ' ');
    for (char& c : any) c = alphabet[random() % alphabet.size()];
    ExpectAgrees(pattern, i % 2 == 0 ? shape(random) + any : any, alphabet[random() % 4]);
  }
}

std::string Pick(std::mt19937& random, const std::string& from, size_t maxLength) {
  std::string out(random() % (maxLength + 1), ' ');
  for (char& c : out) c = from[random() % from.size()];
  return out;
}

TEST(PatternMatch, UnitAgreesWithItsRegex) {
  const Pattern unit = {std::regex(R"(^\s*(\w+)\s*(=|>=|<=|>|<|!=|~=|!~)\s*(.+)\s*$)"), false,
                        Unit};
  const char* operators[] = {"=", ">=", "<=", ">", "<", "!=", "~=", "!~", "==", ">==", "!"};
  ExpectAgreesEverywhere(unit, std::string(" \naZ0_=><!~\t\r\v\x80\xff\0", 17), 4,
                         [&](std::mt19937& random) {
                           // The edges of \s and \w, and their neighbours.
                           return Pick(random, " \t\f\x0e", 2) +
                                  Pick(random, "az_09AZ@[`{/:", 3) +
                                  Pick(random, " \r\n\x08", 2) + operators[random() % 11];
                         });
}

TEST(PatternMatch, BucketAgreesWithItsRegex) {
  const Pattern bucket = {std::regex(R"(\s*(\d+)_(\d+)-(\d+)\s*)"), true, Bucket};
  ExpectAgreesEverywhere(bucket, std::string(" 9\nx_-01\t\x80", 10), 5, [](std::mt19937& random) {
    return Pick(random, " \t\n", 2) + Pick(random, "0123456789", 4) + "_" +
           Pick(random, "0123456789x", 3) + "-" + Pick(random, "0129", 3);
  });
}

TEST(PatternMatch, MegabyteTextsNeedNoStack) {
  // The parts view into the text, so every text outlives its parts.
  const std::string value(1 << 20, 'v');
  const std::string unitText = "key=" + value + " ";
  UnitParts unit;
  ASSERT_TRUE(MatchUnitPattern(unitText, &unit));
  EXPECT_EQ(value + " ", unit.value);
  EXPECT_FALSE(MatchUnitPattern("key=" + value + "\nx", &unit));
  EXPECT_FALSE(MatchUnitPattern(std::string(1 << 20, ' '), &unit));

  BucketParts bucket;
  const std::string digits(1 << 20, '7');
  const std::string bucketText = digits + "_0-" + digits;
  ASSERT_TRUE(MatchBucketPattern(bucketText, &bucket));
  EXPECT_EQ(digits.size(), bucket.modulus.size());
  EXPECT_FALSE(MatchBucketPattern(digits + digits, &bucket));
}

}  // namespace
}  // namespace Ostrel
