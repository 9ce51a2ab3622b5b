// Linear-time matchers for the two patterns of condition texts.
//
// A condition unit is defined by the ECMAScript regular expression
//   ^\s*(\w+)\s*(=|>=|<=|>|<|!=|~=|!~)\s*(.+)\s*$
// and a device-hash bucket by \s*(\d+)_(\d+)-(\d+)\s* matched against the whole
// value. Both texts come from the server, and a backtracking regex engine
// recurses per character, so a long value would exhaust the stack. These
// functions give exactly the groups the expressions give (including the
// backtracking choices) in one or two passes, without recursion or
// allocation. The classes are the "C" locale's: \s is isspace, \w is
// [A-Za-z0-9_], \d is [0-9], and '.' is any byte but '\n' and '\r'.
#ifndef OSTREL_CANDIDATE_PATTERNMATCH_H_
#define OSTREL_CANDIDATE_PATTERNMATCH_H_

#include <string_view>

namespace Ostrel {

struct UnitParts {
  std::string_view key;
  std::string_view op;
  std::string_view value;
};

// True when text matches the unit pattern; parts then view into text.
bool MatchUnitPattern(std::string_view text, UnitParts* parts);

struct BucketParts {
  std::string_view modulus;
  std::string_view lower;
  std::string_view upper;
};

// True when the whole text matches the bucket pattern; parts view into text.
bool MatchBucketPattern(std::string_view text, BucketParts* parts);

}  // namespace Ostrel

#endif  // OSTREL_CANDIDATE_PATTERNMATCH_H_
