// The name hash and comparison of host reads.
#include "model/KeyHash.h"

#include <gtest/gtest.h>

#include <set>
#include <string>
#include <vector>

namespace Ostrel {
namespace {

// Every length the word-wise paths distinguish (0, 1-3, 4-7, 8, 9-16, 17-64,
// beyond), placed at an odd address so that no load happens to be aligned.
constexpr size_t kLongestKey = 80;

std::string KeyOfLength(size_t length) {
  std::string key;
  for (size_t i = 0; i < length; ++i) key += static_cast<char>('a' + i % 26);
  return key;
}

TEST(KeyHash, SameKeyBytesSeesADifferenceAtEveryPosition) {
  for (size_t length = 0; length <= kLongestKey; ++length) {
    const std::string key = KeyOfLength(length);
    const std::string a = "#" + key;
    EXPECT_TRUE(SameKeyBytes(a.data() + 1, key.data(), length)) << "length " << length;
    for (size_t at = 0; at < length; ++at) {
      std::string b = "#" + key;
      b[at + 1] = static_cast<char>(b[at + 1] ^ 0x40);
      EXPECT_FALSE(SameKeyBytes(a.data() + 1, b.data() + 1, length))
          << "length " << length << ", difference at " << at;
    }
  }
}

TEST(KeyHash, SameKeyComparesLengthsFirst) {
  const std::string text = "abcdefgh";
  EXPECT_TRUE(SameKey(std::string_view(text.data(), 5), "abcde"));
  EXPECT_FALSE(SameKey(std::string_view(text.data(), 5), "abcdef"));
  EXPECT_FALSE(SameKey("", "a"));
  EXPECT_TRUE(SameKey("", ""));
}

TEST(KeyHash, EveryByteOfTheKeyAndNothingBesideItCounts) {
  for (size_t length = 0; length <= kLongestKey; ++length) {
    const std::string key = KeyOfLength(length);
    // The same bytes between different neighbours hash alike: nothing past
    // either end is read into the hash.
    const std::string left = "xx" + key + "yyyyyyyyyyyyyyyy";
    const std::string right = "\x01" + key + std::string(16, '\0');
    const uint64_t hash = HashKey(std::string_view(left.data() + 2, length));
    EXPECT_EQ(hash, HashKey(std::string_view(right.data() + 1, length))) << "length " << length;
    for (size_t at = 0; at < length; ++at) {
      std::string changed = key;
      changed[at] = static_cast<char>(changed[at] ^ 0x01);
      EXPECT_NE(hash, HashKey(changed)) << "length " << length << ", byte " << at;
    }
  }
}

TEST(KeyHash, LengthCountsForKeysOfZeroBytes) {
  std::set<uint64_t> hashes;
  for (size_t length = 0; length <= kLongestKey; ++length) {
    hashes.insert(HashKey(std::string(length, '\0')));
  }
  EXPECT_EQ(hashes.size(), kLongestKey + 1);
}

// Names of one namespace often differ only in their last bytes; a table keeps
// the hash's low bits. 1000 such names over 1024 buckets fill about 630 of
// them when the hash spreads like a random one.
TEST(KeyHash, NamesDifferingAtTheEndSpreadOverLowBits) {
  const std::vector<std::string> prefixes = {"key.", "feature.flags.module.", "",
                                             std::string(40, 'p')};
  for (const std::string& prefix : prefixes) {
    std::set<uint64_t> buckets;
    for (int i = 0; i < 1000; ++i) buckets.insert(HashKey(prefix + std::to_string(i)) & 1023);
    EXPECT_GT(buckets.size(), 580u) << "prefix \"" << prefix << "\"";
  }
}

}  // namespace
}  // namespace Ostrel
