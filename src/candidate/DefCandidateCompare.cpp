#include "candidate/DefCandidateCompare.h"

#include <cstring>

namespace Ostrel {
namespace {

const char* OrEmpty(const char* text) { return text != nullptr ? text : ""; }

}  // namespace

bool DefCandidateCompare::Equal(const char*, const char*) const { return false; }
bool DefCandidateCompare::NotEqual(const char*, const char*) const { return false; }
bool DefCandidateCompare::Greater(const char*, const char*) const { return false; }
bool DefCandidateCompare::GreaterEqual(const char*, const char*) const { return false; }
bool DefCandidateCompare::Less(const char*, const char*) const { return false; }
bool DefCandidateCompare::LessEqual(const char*, const char*) const { return false; }
bool DefCandidateCompare::FuzzyMatch(const char*, const char*) const { return false; }
bool DefCandidateCompare::NotFuzzyMatch(const char*, const char*) const { return false; }

bool DefCandidateCompare::TextEqual(const char* clientVal, const char* conditionVal) {
  return std::strcmp(OrEmpty(clientVal), OrEmpty(conditionVal)) == 0;
}

bool DefCandidateCompare::TextStartsWith(const char* clientVal, const char* conditionVal) {
  const char* condition = OrEmpty(conditionVal);
  return std::strncmp(OrEmpty(clientVal), condition, std::strlen(condition)) == 0;
}

}  // namespace Ostrel
