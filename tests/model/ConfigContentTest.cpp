// The content container against std::map with insert semantics.
#include "model/ConfigContent.h"

#include <gtest/gtest.h>

#include <map>
#include <random>
#include <string>
#include <vector>

namespace Ostrel {
namespace {

TEST(ConfigContent, SortsAndKeepsFirstDuplicateLikeAMap) {
  std::mt19937 random(99);
  // Long shared prefixes push the differences past the 8 bytes the sort looks
  // at first; NUL and 0xff bytes and prefixes of other keys test the
  // tie-breaks.
  const std::string alphabet("ab\0\xff", 4);
  const std::vector<std::string> prefixes = {"", "p", "prefix.of.sixteen.", std::string(30, 'x')};
  for (int round = 0; round < 300; ++round) {
    const std::string prefix = prefixes[random() % prefixes.size()];
    std::vector<std::pair<std::string, std::string>> pairs(random() % 60 + 1);
    for (size_t i = 0; i < pairs.size(); ++i) {
      std::string key = random() % 5 == 0 ? "" : prefix;
      const size_t length = random() % 12;
      for (size_t j = 0; j < length; ++j) key += alphabet[random() % alphabet.size()];
      pairs[i] = {key, std::to_string(i)};
    }
    std::map<std::string, std::string> expected;
    ConfigContent::Builder copying;
    std::string buffer;
    std::vector<size_t> offsets;
    for (const auto& pair : pairs) {
      expected.emplace(pair.first, pair.second);
      copying.Add(pair.first, pair.second);
      offsets.push_back(buffer.size());
      buffer += pair.first + pair.second;
    }
    ConfigContent::Builder inPlace;
    for (size_t i = 0; i < pairs.size(); ++i) {
      inPlace.AddAt(offsets[i], pairs[i].first.size(), offsets[i] + pairs[i].first.size(),
                    pairs[i].second.size());
    }
    const ConfigContent a = copying.Finish();
    const ConfigContent b = inPlace.Finish(buffer);
    ASSERT_EQ(expected, a.ToMap()) << "round " << round;
    ASSERT_EQ(a, b) << "round " << round;
    for (const auto& pair : expected) {
      std::string value;
      ASSERT_TRUE(b.Find(pair.first, &value));
      EXPECT_EQ(pair.second, value);
    }
    std::string value;
    EXPECT_FALSE(b.Find(prefix + "zz", &value));
  }
}

TEST(ConfigContent, IteratesInKeyOrder) {
  const ConfigContent content = ConfigContent::FromMap({{"b", "2"}, {"a", "1"}, {"", "0"}});
  std::vector<std::string> seen;
  for (const ConfigContent::Pair& pair : content) {
    seen.push_back(std::string(pair.first) + "=" + std::string(pair.second));
  }
  EXPECT_EQ((std::vector<std::string>{"=0", "a=1", "b=2"}), seen);
  EXPECT_TRUE(ConfigContent().empty());
}

}  // namespace
}  // namespace Ostrel
