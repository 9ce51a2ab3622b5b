// The gate's passes on one thread: nesting and a closed gate.
#include "host/ApiGate.h"

#include <gtest/gtest.h>

namespace Ostrel {
namespace {

TEST(ApiGate, NestedPassesHoldTheThreadInsideAndAClosedGateTurnsCallsAway) {
  EXPECT_FALSE(ApiGate::InsideOnThisThread());
  {
    ApiGate::Pass outer;
    ASSERT_TRUE(outer.open());
    {
      ApiGate::Pass inner;
      EXPECT_TRUE(inner.open());
    }
    EXPECT_TRUE(ApiGate::InsideOnThisThread());
    EXPECT_TRUE(ReadSection::AnyReaderInside());
  }
  EXPECT_FALSE(ApiGate::InsideOnThisThread());
  EXPECT_FALSE(ReadSection::AnyReaderInside());

  ApiGate::CloseAndDrain();
  {
    ApiGate::Pass pass;
    EXPECT_FALSE(pass.open());
    EXPECT_FALSE(ApiGate::InsideOnThisThread());
    EXPECT_FALSE(ReadSection::AnyReaderInside()) << "a refused pass leaves no reader behind";
  }
  ApiGate::Reopen();
  ApiGate::Pass pass;
  EXPECT_TRUE(pass.open());
}

}  // namespace
}  // namespace Ostrel
