// Integer reads with atoi's rules that saturate instead of overflowing.
#include "candidate/TextScan.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstdint>
#include <string>

#include "GuardedPage.h"

namespace Ostrel {
namespace {

TEST(TextScan, ReadsLikeAtoiAndSaturates) {
  const struct {
    const char* text;
    int64_t asInt;
    int64_t asInt64;
  } kCases[] = {
      {"", 0, 0},
      {"abc", 0, 0},
      {"12a", 12, 12},
      {" \t\n\v\f\r+7", 7, 7},
      {"\x85" "7", 0, 0},
      {"-0042", -42, -42},
      {"- 5", 0, 0},
      {"+-5", 0, 0},
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
  // Each text also ends right before an inaccessible page: nothing past it
  // is read.
  OstrelTest::GuardedPage page;
  for (const auto& c : kCases) {
    EXPECT_EQ(c.asInt, ReadInt(page.Place(c.text))) << c.text;
    EXPECT_EQ(c.asInt64, ReadInt64(page.Place(c.text))) << c.text;
  }
  // Only the bytes of the view count.
  EXPECT_EQ(12, ReadInt(std::string_view("123", 2)));
  EXPECT_EQ(0, ReadInt64(std::string_view(" 5", 1)));
}

}  // namespace
}  // namespace Ostrel
