// The sign library's path, decoded from UTF-8 for the wide-character setter.
#include "ostrel/cpp/WidenUtf8.hpp"

#include <gtest/gtest.h>

#include <string>

namespace {

TEST(WidenUtf8, DecodesAndTakesStrayBytesAsTheyStand) {
  const struct {
    const char* utf8;
    std::wstring wide;
  } kCases[] = {
      {"/opt/app", L"/opt/app"},
      {"\xC3\xA9", L"\u00E9"},
      {"\xE2\x82\xAC", L"\u20AC"},
      {"\xEF\xBF\xBF", L"\uFFFF"},          // the last code point of one UTF-16 unit
      {"\xF0\x9F\x98\x80", L"\U0001F600"},  // a surrogate pair where wchar_t is 16 bits
      {"\xFF", L"\u00FF"},                   // not a lead byte
      {"\xC3", L"\u00C3"},                   // cut short
      {"\xC3\x41", L"\u00C3A"},              // not followed by a continuation byte
  };
  for (const auto& c : kCases) EXPECT_EQ(c.wide, Ostrel::detail::WidenUtf8(c.utf8)) << c.utf8;
}

}  // namespace
