// The hand-written matchers against the regular expressions they replace.
#include "candidate/PatternMatch.h"

#include <gtest/gtest.h>

#include <functional>
#include <random>
#include <string>

// GCC 12 at -O1 with sanitizers warns that std::function members inside
// libstdc++'s regex automaton "may be used uninitialized"; a known false
// positive in the library's own code.
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#endif
#include <regex>

namespace Ostrel {
namespace {

const char kUnitRegex[] = R"(^\s*(\w+)\s*(=|>=|<=|>|<|!=|~=|!~)\s*(.+)\s*$)";
const char kBucketRegex[] = R"(\s*(\d+)_(\d+)-(\d+)\s*)";

const std::string kUnitAlphabet("aZ0_=><!~ \t\n\r\v\x80\xff\0", 18);
const std::string kBucketAlphabet("019_- \t\nx\x80", 10);

std::string Printable(const std::string& text) {
  std::string out;
  for (unsigned char c : text) {
    if (c >= 0x20 && c < 0x7f) {
      out += static_cast<char>(c);
    } else {
      char escaped[8];
      std::snprintf(escaped, sizeof(escaped), "\\x%02x", c);
      out += escaped;
    }
  }
  return out;
}

// Calls check with every text of up to maxLength characters of alphabet.
void ForEachText(const std::string& alphabet, size_t maxLength,
                 const std::function<void(const std::string&)>& check) {
  std::string text;
  std::function<void()> extend = [&] {
    check(text);
    if (text.size() == maxLength) return;
    for (char c : alphabet) {
      text.push_back(c);
      extend();
      text.pop_back();
    }
  };
  extend();
}

std::string RandomText(std::mt19937& random, const std::string& alphabet, size_t maxLength) {
  std::uniform_int_distribution<size_t> length(0, maxLength);
  std::uniform_int_distribution<size_t> pick(0, alphabet.size() - 1);
  std::string text(length(random), ' ');
  for (char& c : text) c = alphabet[pick(random)];
  return text;
}

void ExpectSameUnit(const std::regex& pattern, const std::string& text) {
  std::smatch groups;
  const bool expected = std::regex_search(text, groups, pattern);
  UnitParts parts;
  const bool actual = MatchUnitPattern(text, &parts);
  ASSERT_EQ(expected, actual) << Printable(text);
  if (!expected) return;
  ASSERT_EQ(groups.str(1), parts.key) << Printable(text);
  ASSERT_EQ(groups.str(2), parts.op) << Printable(text);
  ASSERT_EQ(groups.str(3), parts.value) << Printable(text);
}

void ExpectSameBucket(const std::regex& pattern, const std::string& text) {
  std::smatch groups;
  const bool expected = std::regex_match(text, groups, pattern);
  BucketParts parts;
  const bool actual = MatchBucketPattern(text, &parts);
  ASSERT_EQ(expected, actual) << Printable(text);
  if (!expected) return;
  ASSERT_EQ(groups.str(1), parts.modulus) << Printable(text);
  ASSERT_EQ(groups.str(2), parts.lower) << Printable(text);
  ASSERT_EQ(groups.str(3), parts.upper) << Printable(text);
}

TEST(PatternMatch, UnitAgreesWithRegexOnEveryShortText) {
  const std::regex pattern(kUnitRegex);
  size_t count = 0;
  ForEachText(kUnitAlphabet, 4, [&](const std::string& text) {
    ExpectSameUnit(pattern, text);
    ++count;
  });
  EXPECT_EQ(1u + 18 + 18 * 18 + 18 * 18 * 18 + 18 * 18 * 18 * 18, count);
}

TEST(PatternMatch, UnitAgreesWithRegexOnRandomTexts) {
  const std::regex pattern(kUnitRegex);
  std::mt19937 random(20240611);
  const char* operators[] = {"=", ">=", "<=", ">", "<", "!=", "~=", "!~", "==", ">==", "!"};
  for (int i = 0; i < 100000; ++i) {
    // Half unstructured, half shaped like a unit so that most of them match
    // and the groups get compared.
    std::string text = RandomText(random, kUnitAlphabet, 14);
    if (i % 2 == 0) {
      text = RandomText(random, " \t", 2) + RandomText(random, "ab_9", 3) +
             RandomText(random, " \t\n", 2) + operators[random() % 11] + text;
    }
    ExpectSameUnit(pattern, text);
    if (HasFatalFailure()) return;
  }
}

TEST(PatternMatch, BucketAgreesWithRegexOnEveryShortText) {
  const std::regex pattern(kBucketRegex);
  size_t count = 0;
  ForEachText(kBucketAlphabet, 5, [&](const std::string& text) {
    ExpectSameBucket(pattern, text);
    ++count;
  });
  EXPECT_EQ(111111u, count);
}

TEST(PatternMatch, BucketAgreesWithRegexOnRandomTexts) {
  const std::regex pattern(kBucketRegex);
  std::mt19937 random(7);
  for (int i = 0; i < 20000; ++i) {
    std::string text = RandomText(random, kBucketAlphabet, 12);
    if (i % 2 == 0) {
      text = RandomText(random, " \t\n", 2) + RandomText(random, "0123456789", 4) + "_" +
             RandomText(random, "0123456789x", 3) + "-" + RandomText(random, "0129", 3) +
             RandomText(random, " \t\n\r1x", 2);
    }
    ExpectSameBucket(pattern, text);
    if (HasFatalFailure()) return;
  }
}

TEST(PatternMatch, UnitGroupsOfNotableTexts) {
  struct Case {
    std::string text;
    bool matches;
    std::string key, op, value;
  };
  const Case cases[] = {
      {"app_ver>=10.2", true, "app_ver", ">=", "10.2"},
      {"a = 1", true, "a", "=", "1"},
      {"a==1", true, "a", "=", "=1"},
      {"a>=", true, "a", ">", "="},
      {"a=1 ", true, "a", "=", "1 "},
      {"a=1 \n", true, "a", "=", "1 "},
      {"a=1\n ", true, "a", "=", "1"},
      {"a=1\nb", false, "", "", ""},
      {"a= \n", true, "a", "=", " "},
      {"a=\n", false, "", "", ""},
      {"a!~x", true, "a", "!~", "x"},
      {"a!x", false, "", "", ""},
      {" =1", false, "", "", ""},
      {"m-brand=x", false, "", "", ""},
  };
  for (const Case& c : cases) {
    UnitParts parts;
    EXPECT_EQ(c.matches, MatchUnitPattern(c.text, &parts)) << Printable(c.text);
    if (!c.matches) continue;
    EXPECT_EQ(c.key, parts.key) << Printable(c.text);
    EXPECT_EQ(c.op, parts.op) << Printable(c.text);
    EXPECT_EQ(c.value, parts.value) << Printable(c.text);
  }
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
