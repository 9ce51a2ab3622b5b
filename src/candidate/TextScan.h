// Character classes and integer reads with the C library's meaning, written
// out so that they neither depend on the host's locale nor overflow.
#ifndef OSTREL_CANDIDATE_TEXTSCAN_H_
#define OSTREL_CANDIDATE_TEXTSCAN_H_

#include <cstdint>
#include <string_view>

namespace Ostrel {

// isspace in the "C" locale: blank, \t, \n, \v, \f, \r. Bytes from 0x80 up are
// never blanks.
inline bool IsCSpace(unsigned char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }

inline bool IsCDigit(unsigned char c) { return c >= '0' && c <= '9'; }

// A word character of regular expressions: [A-Za-z0-9_].
inline bool IsWordChar(unsigned char c) {
  return IsCDigit(c) || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_';
}

// atoi: leading blanks, an optional sign, then decimal digits up to the first
// other byte; no digits reads 0. Where atoi would overflow (undefined in C)
// the result saturates at INT32_MAX / INT32_MIN, the answer the Windows C
// runtime gives.
int32_t ReadInt(std::string_view text);

// atoll with the same rules, saturating at INT64_MAX / INT64_MIN.
int64_t ReadInt64(std::string_view text);

}  // namespace Ostrel

#endif  // OSTREL_CANDIDATE_TEXTSCAN_H_
