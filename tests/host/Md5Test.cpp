#include "host/Md5.h"

#include <gtest/gtest.h>

#include <string>

namespace Ostrel {
namespace {

TEST(Md5Hex, MatchesTheReferenceTestSuite) {
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
  for (const auto& c : kCases) EXPECT_EQ(Md5Hex(std::string(c.input)), c.digest) << c.input;
}

// Lengths around the 56- and 64-byte padding boundaries are where padding
// mistakes hide: each is checked against a digest computed elsewhere, in one
// piece and fed in odd pieces.
TEST(Md5Hex, PaddingBoundariesMatchKnownDigestsInAnyPieces) {
  const struct {
    size_t length;  // of "aaa..."
    const char* digest;
  } kCases[] = {
      {55, "ef1772b6dff9a122358552954ad0df65"},  {56, "3b0c8ac703f828b04c6c197006d17218"},
      {57, "652b906d60af96844ebd21b674f35e93"},  {63, "b06521f39153d618550606be297466d5"},
      {64, "014842d480b571495a4a0363793f7367"},  {65, "c743a45e0d2e6a95cb859adae0248435"},
      {119, "8a7bd0732ed6a28ce75f6dabc90e1613"}, {120, "5f61c0ccad4cac44c75ff505e1f1e537"},
  };
  for (const auto& c : kCases) {
    const std::string input(c.length, 'a');
    EXPECT_EQ(Md5Hex(input), c.digest) << "length " << c.length;
    for (size_t piece : {1u, 3u, 17u, 64u}) {
      Md5 md5;
      for (size_t at = 0; at < c.length; at += piece) {
        md5.Update(input.data() + at, std::min(piece, c.length - at));
      }
      uint8_t digest[16];
      md5.Final(digest);
      std::string hex;
      for (uint8_t byte : digest) {
        hex += "0123456789abcdef"[byte >> 4];
        hex += "0123456789abcdef"[byte & 15];
      }
      EXPECT_EQ(hex, c.digest) << "length " << c.length << " piece " << piece;
    }
  }
}

TEST(Md5Hex, HashesEmbeddedNulAndHighBytes) {
  // Known digest of the three bytes 00 ff 0a.
  EXPECT_EQ(Md5Hex(std::string("\0\xff\n", 3)), "daabad9de4c13765beb6e0a4ea14f25f");
  EXPECT_EQ(Md5Hex(std::string(1000000, 'a')), "7707d6ae4e027c70eea2a935c2296f21");
}

}  // namespace
}  // namespace Ostrel
