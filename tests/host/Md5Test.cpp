// MD5 against the platform's own digest, which the library never uses.
#include "host/Md5.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "Documents.h"

namespace Ostrel {
namespace {

// Every length across the 56- and 64-byte padding boundaries, every byte
// value, fed at once and in odd pieces.
TEST(Md5, AgreesWithThePlatformAtEveryLengthInAnyPieces) {
  std::string input;
  for (size_t length = 0; length <= 200; ++length) {
    const std::string expected = OstrelTest::Md5Of(input);
    EXPECT_EQ(expected, Md5Hex(input.data(), input.size())) << "length " << length;
    for (size_t piece : {1u, 3u, 17u, 64u, 65u}) {
      Md5 md5;
      for (size_t at = 0; at < length; at += piece) {
        md5.Update(input.data() + at, std::min(piece, length - at));
      }
      uint8_t digest[16];
      md5.Final(digest);
      const char* digits = "0123456789abcdef";
      std::string hex;
      for (uint8_t byte : digest) hex += {digits[byte >> 4], digits[byte & 15]};
      EXPECT_EQ(expected, hex) << "length " << length << ", pieces of " << piece;
    }
    input += static_cast<char>(length * 37 + 11);
  }
  EXPECT_EQ("900150983cd24fb0d6963f7d28e17f72", Md5Hex(std::string("abc")));
  EXPECT_EQ("7707d6ae4e027c70eea2a935c2296f21", Md5Hex(std::string(1000000, 'a')));
}

}  // namespace
}  // namespace Ostrel
