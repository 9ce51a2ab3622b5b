// The content container against std::map with insert semantics.
#include "model/ConfigContent.h"

#include <gtest/gtest.h>

#include <map>
#include <random>
#include <string>
#include <vector>

namespace Ostrel {
namespace {

using Pairs = std::vector<std::pair<std::string, std::string>>;

TEST(ConfigContent, SortsAndKeepsTheFirstDuplicateLikeAMap) {
  std::mt19937 random(99);
  // Long shared prefixes push the differences past the 8 bytes the sort looks
  // at first; NUL and 0xff bytes and prefixes of other keys test the
  // tie-breaks.
  const std::string alphabet("ab\0\xff", 4);
  const std::vector<std::string> prefixes = {"", "p", "prefix.of.sixteen.", std::string(30, 'x')};
  EXPECT_TRUE(ConfigContent().empty());
  for (int round = 0; round < 300; ++round) {
    const std::string prefix = prefixes[random() % prefixes.size()];
    Pairs pairs(random() % 60 + 1);
    for (size_t i = 0; i < pairs.size(); ++i) {
      std::string key = random() % 5 == 0 ? "" : prefix;
      const size_t length = random() % 12;
      for (size_t j = 0; j < length; ++j) key += alphabet[random() % alphabet.size()];
      pairs[i] = {key, std::to_string(i)};
    }
    std::map<std::string, std::string> expected;
    ConfigContent::Builder copying, inPlace;
    std::string buffer;
    for (const auto& pair : pairs) {
      expected.emplace(pair.first, pair.second);
      copying.Add(pair.first, pair.second);
      inPlace.AddAt(buffer.size(), pair.first.size(), buffer.size() + pair.first.size(),
                    pair.second.size());
      buffer += pair.first + pair.second;
    }
    const ConfigContent a = copying.Finish();
    const ConfigContent b = inPlace.Finish(buffer);
    for (const ConfigContent* content : {&a, &b}) {
      Pairs seen;
      for (const ConfigContent::Pair& pair : *content) seen.emplace_back(pair.first, pair.second);
      ASSERT_EQ(Pairs(expected.begin(), expected.end()), seen) << "round " << round;
      for (const auto& pair : expected) {
        std::string value;
        ASSERT_TRUE(content->Find(pair.first, &value));
        EXPECT_EQ(pair.second, value);
      }
      std::string value;
      EXPECT_FALSE(content->Find(prefix + "zz", &value));
    }
    EXPECT_EQ(a, b);
  }
}

}  // namespace
}  // namespace Ostrel
