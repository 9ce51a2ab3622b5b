// The length of the names a host hands to a read, measured a word at a time.
#include <gtest/gtest.h>

#include <cstring>

#include "model/KeyHash.h"

namespace Ostrel {
namespace {

// Every length up to three words, at every offset in a word. Zeros stand
// before the text in its first word and text follows the terminator, so a
// scan that starts or stops at the wrong byte miscounts; a byte with its
// high bit set looks like a zero to a careless test.
TEST(NameLength, CountsUpToTheTerminatorAtEveryAlignment) {
  const struct {
    const char* name;
    char fill;
  } kCases[] = {{"ascii", 'k'}, {"high bit set", '\xe9'}};
  for (const auto& c : kCases) {
    for (size_t offset = 0; offset < 8; ++offset) {
      for (size_t length = 0; length <= 24; ++length) {
        alignas(8) char buffer[40] = {};
        std::memset(buffer + offset, c.fill, length);
        std::memset(buffer + offset + length + 1, 'x', sizeof(buffer) - offset - length - 1);
        EXPECT_EQ(NameLength(buffer + offset), length) << c.name << " at " << offset;
      }
    }
  }
}

}  // namespace
}  // namespace Ostrel
