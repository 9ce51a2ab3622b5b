// Ownership of the buffers the library hands out.
#include <gtest/gtest.h>

#include <utility>

#include "ostrel/ostrel.hpp"

namespace {

// Before init a read hands back a copy of its default.
TEST(String, OwnsTheLibrarysBufferUntilReleased) {
  Ostrel::String first(getOstrelConfig("ns", "k", "first"));
  EXPECT_STREQ("first", first.Get());
  Ostrel::String moved(std::move(first));
  EXPECT_FALSE(first);
  EXPECT_EQ("first", moved.Text());
  moved = Ostrel::String(getOstrelConfig("ns", "k", "second"));  // frees "first"
  EXPECT_EQ("second", moved.Text());
  char* released = moved.Release();
  EXPECT_FALSE(moved);
  EXPECT_STREQ("second", released);
  freeOstrelConfigValue(released);
  EXPECT_FALSE(Ostrel::String(getOstrelConfig("ns", "k", nullptr)));
  const Ostrel::String empty(getOstrelConfig("ns", "k", ""));
  EXPECT_TRUE(empty) << "an empty default is a value, not null";
  EXPECT_EQ("", empty.Text());
  DestroyIOstrelConfig();
}

}  // namespace
