// MD5 against RFC 1321's test suite and against the platform's own digest.
#include "host/Md5.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "Documents.h"

namespace Ostrel {
namespace {

TEST(Md5, MatchesTheReferenceTestSuite) {
  const struct {
    const char* input;
    const char* digest;
  } kCases[] = {
      {"", "d41d8cd98f00b204e9800998ecf8427e"},
      {"a", "0cc175b9c0f1b6a831c399e269772661"},
      {"abc", "900150983cd24fb0d6963f7d28e17f72"},
      {"message digest", "f96b697d7cb7938d525a2f31aaf161d0"},
      {"abcdefghijklmnopqrstuvwxyz", "c3fcd3d76192e4007dfb496cca67e13b"},
      {"ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789",
       "d174ab98d277d9f5a5611c2c9f419d9f"},
      {"12345678901234567890123456789012345678901234567890123456789012345678901234567890",
       "57edf4a22be3c955ac49da2e2107b67a"},
  };
  for (const auto& c : kCases) EXPECT_EQ(c.digest, Md5Hex(std::string(c.input))) << c.input;
}

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
  const std::string million(1000000, 'a');
  EXPECT_EQ("7707d6ae4e027c70eea2a935c2296f21", Md5Hex(million));
}

}  // namespace
}  // namespace Ostrel
