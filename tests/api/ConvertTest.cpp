// The strict conversions behind the typed reads, each text through all four.
#include <cfloat>
#include <cstdint>
#include <limits>
#include <optional>
#include <string>

#include <gtest/gtest.h>

#include "GuardedPage.h"
#include "ostrel/ostrel.hpp"

namespace {

// Each text ends right before an inaccessible page: a parser that reads
// past its view faults, with or without a sanitizer.
std::string_view Guarded(const std::string& text) {
  static OstrelTest::GuardedPage page;
  return page.Place(text);
}

// A refused text leaves the output as it was.
template <typename T>
void ExpectParse(const std::string& text, const std::optional<T>& expected, T before) {
  T out = before;
  EXPECT_EQ(expected.has_value(), Ostrel::Convert::Parse(Guarded(text), &out)) << text;
  EXPECT_EQ(expected.value_or(before), out) << text;
}

void ExpectJson(const std::string& text, bool converts) {
  Ostrel::Json out{"before"};
  EXPECT_EQ(converts, Ostrel::Convert::Parse(Guarded(text), &out)) << text;
  EXPECT_EQ(converts ? text : "before", out.text) << text;
}

std::string Nested(int depth) {
  std::string text;
  for (int i = 0; i < depth; ++i) text += i % 2 == 0 ? R"({"a":)" : "[";
  text += "0";
  for (int i = depth - 1; i >= 0; --i) text += i % 2 == 0 ? "}" : "]";
  return text;
}

TEST(Convert, AcceptsOnlyWhatJsonWritesForEachType) {
  const struct {
    std::string text;
    std::optional<int64_t> integer;
    std::optional<double> real;
    std::optional<bool> flag;
    bool json;
  } kCases[] = {
      {"0", 0, 0.0, {}, true},
      {"-0", 0, 0.0, {}, true},
      {"42", 42, 42.0, {}, true},
      {"-7", -7, -7.0, {}, true},
      {"1", 1, 1.0, {}, true},
      {"9223372036854775807", INT64_MAX, 9223372036854775807.0, {}, true},
      {"-9223372036854775808", INT64_MIN, -9223372036854775808.0, {}, true},
      {"9223372036854775808", {}, 9223372036854775808.0, {}, true},
      {"-9223372036854775809", {}, -9223372036854775809.0, {}, true},
      {"12.0", {}, 12.0, {}, true},
      {"1e3", {}, 1000.0, {}, true},
      {"2.5", {}, 2.5, {}, true},
      {"-0.125", {}, -0.125, {}, true},
      {"6.02E+23", {}, 6.02e23, {}, true},
      {"2e-2", {}, 0.02, {}, true},
      {"1.7976931348623157e308", {}, DBL_MAX, {}, true},
      {"4.9e-324", {}, std::numeric_limits<double>::denorm_min(), {}, true},
      {"1e400", {}, {}, {}, true},  // beyond double
      {"1e-400", {}, {}, {}, true},  // would round to zero
      {"true", {}, {}, true, true},
      {"false", {}, {}, false, true},
      {" 7", {}, {}, {}, true},
      {"7 ", {}, {}, {}, true},
      {" true", {}, {}, {}, true},
      {"false ", {}, {}, {}, true},
      {R"({"a":[1,2.5,-3e2,true,false,null,"x\"\\\/\b\f\n\r\t\u00e9"]})", {}, {}, {}, true},
      {" \t\n[ ] \r", {}, {}, {}, true},
      {R"({ "a" : { "b" : [ ] } , "c" : 0 })", {}, {}, {}, true},
      {R"("text")", {}, {}, {}, true},
      {"null", {}, {}, {}, true},
      {Nested(256), {}, {}, {}, true},
      {Nested(257), {}, {}, {}, false},
  };
  for (const auto& c : kCases) {
    ExpectParse<int64_t>(c.text, c.integer, 99);
    ExpectParse<double>(c.text, c.real, 99.5);
    ExpectParse<bool>(c.text, c.flag, false);
    ExpectParse<bool>(c.text, c.flag, true);
    ExpectJson(c.text, c.json);
  }
  // Texts no conversion takes.
  for (const std::string text :
       {"", " ", "-", "+7", "007", "0x10", "12abc", ".5", "5.", "1e", "1.5.2", "--1", "1,5", "NaN",
        "nan", "inf", "-Infinity", "True", "TRUE", "yes", "tru", "nul", "{", R"({"a"})",
        R"({"a":1,})", "[1,]", "[01]", "{a:1}", "'x'", "\"\x01\"", R"("\x")", R"("\q)", "[1,",
        R"("\u12g4")", R"("\u12)", R"("open)", "\"\\", "[1] x"}) {
    ExpectParse<int64_t>(text, std::nullopt, 99);
    ExpectParse<double>(text, std::nullopt, 99.5);
    ExpectParse<bool>(text, std::nullopt, true);
    ExpectJson(text, false);
  }
  ExpectJson(std::string("\"\\\0\"", 4), false);
}

}  // namespace
