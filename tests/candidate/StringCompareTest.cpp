// Text attributes: equality and prefix tests only, no order.
#include "candidate/StringCompare.h"

#include "CompareAnswers.h"

namespace Ostrel {
namespace {

TEST(StringCompare, TextEqualityAndPrefixOnly) {
  OstrelTest::ExpectAnswers(StringCompare(), {
      {"acme", "acme", "10000010"},
      {"acme", "ACME", "01000001"},
      {"10.2.3", "10.2", "01000010"},
      {"10.2.3", "2.3", "01000001"},
      {"acme", "", "01000010"},
      {"ac", "acme", "01000001"},
      {nullptr, "", "10000010"},
      {"a", nullptr, "01000010"},
  });
}

}  // namespace
}  // namespace Ostrel
