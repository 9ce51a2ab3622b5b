#include "candidate/PatternMatch.h"

#include "candidate/TextScan.h"

namespace Ostrel {
namespace {

bool IsLineTerminator(char c) { return c == '\n' || c == '\r'; }

bool IsSpaceAt(std::string_view text, size_t i) {
  return IsCSpace(static_cast<unsigned char>(text[i]));
}

// The tail \s*(.+)\s*$ from position start. trailingBlanks is where the
// blanks that end the text begin.
//
// The first \s* is greedy, so the value starts at the first non-blank q when
// there is one. '.' stops at the first line terminator l, and the value takes
// everything up to l provided only blanks follow l; a shorter value cannot
// help, and neither can giving the value back some of the leading blanks
// (it would stop at a line terminator no later than l).
//
// When only blanks follow start, the value must be carved out of them: the
// first \s* gives back blanks one at a time from the right, so the value is
// the last blank that '.' accepts, and the line terminators after it go to
// the second \s*.
bool MatchTail(std::string_view text, size_t start, size_t trailingBlanks,
               std::string_view* value) {
  const size_t size = text.size();
  size_t first = start;
  while (first < size && IsSpaceAt(text, first)) ++first;
  if (first < size) {
    size_t end = first;
    while (end < size && !IsLineTerminator(text[end])) ++end;
    if (end < trailingBlanks) return false;
    *value = text.substr(first, end - first);
    return true;
  }
  for (size_t i = size; i > start; --i) {
    if (!IsLineTerminator(text[i - 1])) {
      *value = text.substr(i - 1, 1);
      return true;
    }
  }
  return false;
}

size_t SkipDigits(std::string_view text, size_t i) {
  while (i < text.size() && IsCDigit(static_cast<unsigned char>(text[i]))) ++i;
  return i;
}

}  // namespace

bool MatchUnitPattern(std::string_view text, UnitParts* parts) {
  const size_t size = text.size();
  size_t i = 0;
  while (i < size && IsSpaceAt(text, i)) ++i;
  // \w+ cannot give characters back: the operator never starts with a word
  // character, so the key is the whole run.
  const size_t keyBegin = i;
  while (i < size && IsWordChar(static_cast<unsigned char>(text[i]))) ++i;
  if (i == keyBegin) return false;
  const size_t keyEnd = i;
  while (i < size && IsSpaceAt(text, i)) ++i;
  if (i >= size) return false;
  const size_t opBegin = i;

  size_t trailingBlanks = size;
  while (trailingBlanks > opBegin && IsSpaceAt(text, trailingBlanks - 1)) --trailingBlanks;

  // Operator lengths in the order the alternation tries them. Only '>' and
  // '<' followed by '=' have a second choice: the one-character operator,
  // which leaves the '=' to the value.
  const char next = opBegin + 1 < size ? text[opBegin + 1] : '\0';
  size_t lengths[2] = {0, 0};
  switch (text[opBegin]) {
    case '=':
      lengths[0] = 1;
      break;
    case '>':
    case '<':
      if (next == '=') {
        lengths[0] = 2;
        lengths[1] = 1;
      } else {
        lengths[0] = 1;
      }
      break;
    case '!':
      if (next == '=' || next == '~') lengths[0] = 2;
      break;
    case '~':
      if (next == '=') lengths[0] = 2;
      break;
    default:
      break;
  }
  for (size_t length : lengths) {
    if (length == 0) break;
    std::string_view value;
    if (MatchTail(text, opBegin + length, trailingBlanks, &value)) {
      parts->key = text.substr(keyBegin, keyEnd - keyBegin);
      parts->op = text.substr(opBegin, length);
      parts->value = value;
      return true;
    }
  }
  return false;
}

bool MatchBucketPattern(std::string_view text, BucketParts* parts) {
  // Every quantifier is followed by a character it cannot match, so no
  // backtracking ever changes the groups: a single left-to-right pass decides.
  const size_t size = text.size();
  size_t i = 0;
  while (i < size && IsSpaceAt(text, i)) ++i;
  const size_t modulusBegin = i;
  i = SkipDigits(text, i);
  if (i == modulusBegin || i >= size || text[i] != '_') return false;
  const size_t modulusEnd = i++;
  const size_t lowerBegin = i;
  i = SkipDigits(text, i);
  if (i == lowerBegin || i >= size || text[i] != '-') return false;
  const size_t lowerEnd = i++;
  const size_t upperBegin = i;
  i = SkipDigits(text, i);
  if (i == upperBegin) return false;
  const size_t upperEnd = i;
  while (i < size && IsSpaceAt(text, i)) ++i;
  if (i != size) return false;
  parts->modulus = text.substr(modulusBegin, modulusEnd - modulusBegin);
  parts->lower = text.substr(lowerBegin, lowerEnd - lowerBegin);
  parts->upper = text.substr(upperBegin, upperEnd - upperBegin);
  return true;
}

}  // namespace Ostrel
