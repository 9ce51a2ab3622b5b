// The name length, hash and comparison of host reads.
#include "model/KeyHash.h"

#include <gtest/gtest.h>

#include <cstring>
#include <set>
#include <string>
#include <vector>

namespace Ostrel {
namespace {

// Every length the word-wise paths distinguish (0, 1-3, 4-7, 8, 9-16, 17-64,
// beyond).
constexpr size_t kLongestKey = 80;

std::string KeyOfLength(size_t length) {
  std::string key;
  for (size_t i = 0; i < length; ++i) key += static_cast<char>('a' + i % 26);
  return key;
}

// Every length up to three words, at every offset in a word. Zeros stand
// before the text in its first word and text follows the terminator, so a
// scan that starts or stops at the wrong byte miscounts; a byte with its
// high bit set looks like a zero to a careless test.
TEST(KeyHash, NameLengthCountsUpToTheTerminatorAtEveryAlignment) {
  for (char fill : {'k', '\xe9'}) {
    for (size_t offset = 0; offset < 8; ++offset) {
      for (size_t length = 0; length <= 24; ++length) {
        alignas(8) char buffer[40] = {};
        std::memset(buffer + offset, fill, length);
        std::memset(buffer + offset + length + 1, 'x', sizeof(buffer) - offset - length - 1);
        EXPECT_EQ(NameLength(buffer + offset), length) << int{fill} << " at " << offset;
      }
    }
  }
}

// Keys sit at odd addresses between foreign bytes, so that no load happens to
// be aligned and any byte read beyond either end would show.
TEST(KeyHash, EveryByteOfTheKeyAndNothingBesideItCounts) {
  std::set<uint64_t> zeroKeys;
  for (size_t length = 0; length <= kLongestKey; ++length) {
    const std::string key = KeyOfLength(length);
    const std::string left = "xx" + key + std::string(16, 'y');
    const std::string right = "\x01" + key + std::string(16, '\0');
    const char* a = left.data() + 2;
    const char* b = right.data() + 1;
    const uint64_t hash = HashKey(std::string_view(a, length));
    EXPECT_EQ(hash, HashKey(std::string_view(b, length))) << "length " << length;
    EXPECT_TRUE(SameKeyBytes(a, b, length)) << "length " << length;
    EXPECT_TRUE(SameKey(std::string_view(a, length), std::string_view(b, length)));
    EXPECT_FALSE(SameKey(std::string_view(a, length), std::string_view(b, length + 1)));
    for (size_t at = 0; at < length; ++at) {
      std::string changed = right;
      changed[at + 1] = static_cast<char>(changed[at + 1] ^ 0x41);
      EXPECT_NE(hash, HashKey(std::string_view(changed.data() + 1, length)))
          << "length " << length << ", byte " << at;
      EXPECT_FALSE(SameKeyBytes(a, changed.data() + 1, length))
          << "length " << length << ", byte " << at;
    }
    zeroKeys.insert(HashKey(std::string(length, '\0')));
  }
  EXPECT_EQ(kLongestKey + 1, zeroKeys.size()) << "the length counts for keys of zero bytes";
}

// Names of one namespace often differ only in their last bytes; a table keeps
// the hash's low bits. 1000 such names over 1024 buckets fill about 630 of
// them when the hash spreads like a random one.
TEST(KeyHash, NamesDifferingAtTheEndSpreadOverLowBits) {
  for (const std::string& prefix :
       {std::string("key."), std::string("feature.flags.module."), std::string(),
        std::string(40, 'p')}) {
    std::set<uint64_t> buckets;
    for (int i = 0; i < 1000; ++i) buckets.insert(HashKey(prefix + std::to_string(i)) & 1023);
    EXPECT_GT(buckets.size(), 580u) << "prefix \"" << prefix << "\"";
  }
}

}  // namespace
}  // namespace Ostrel
