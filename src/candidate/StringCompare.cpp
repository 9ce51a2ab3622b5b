#include "candidate/StringCompare.h"

namespace Ostrel {

bool StringCompare::Equal(const char* clientVal, const char* conditionVal) const {
  return TextEqual(clientVal, conditionVal);
}

bool StringCompare::NotEqual(const char* clientVal, const char* conditionVal) const {
  return !TextEqual(clientVal, conditionVal);
}

bool StringCompare::FuzzyMatch(const char* clientVal, const char* conditionVal) const {
  return TextStartsWith(clientVal, conditionVal);
}

bool StringCompare::NotFuzzyMatch(const char* clientVal, const char* conditionVal) const {
  return !TextStartsWith(clientVal, conditionVal);
}

}  // namespace Ostrel
