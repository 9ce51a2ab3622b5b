// Strict conversions of a value's text to the types of the typed reads.
#ifndef OSTREL_CPP_CONVERT_HPP_
#define OSTREL_CPP_CONVERT_HPP_

#include <charconv>
#include <cstdint>
#include <string>
#include <string_view>
#include <system_error>

#include "ostrel/cpp/JsonScanner.hpp"

namespace Ostrel {

// A value whose text is JSON: what GetDetail<Json> converts to.
struct Json {
  std::string text;
};

// Strict conversions of a value's text, shared by the typed reads. Pure
// functions: any thread. Each Parse leaves *out untouched when the text does
// not convert. Numbers are
// written as JSON writes them: no blanks, no '+', no leading zeros ("007"),
// no hexadecimal, no "NaN" or "inf".
namespace Convert {

// Any text converts.
inline bool Parse(std::string_view text, std::string* out) {
  out->assign(text.data(), text.size());
  return true;
}

// "-12", "0", "9223372036854775807". Not "12abc", "12.0", "1e3", " 7",
// "+7", "007", or anything beyond the range of int64_t.
inline bool Parse(std::string_view text, int64_t* out) noexcept {
  bool integral = false;
  if (detail::ScanNumber(text, 0, &integral) != text.size() || !integral) return false;
  int64_t value = 0;
  const std::from_chars_result result =
      std::from_chars(text.data(), text.data() + text.size(), value);
  if (result.ec != std::errc()) return false;
  *out = value;
  return true;
}

// "2.5", "-0.125", "1e3", "6.02E+23", "42". Not ".5", "5.", " 1", "1,5",
// "0x10", "NaN", "inf", nor a magnitude that double cannot hold ("1e400",
// and "1e-400", which would round to zero).
inline bool Parse(std::string_view text, double* out) noexcept {
  bool integral = false;
  if (detail::ScanNumber(text, 0, &integral) != text.size()) return false;
  double value = 0;
  const std::from_chars_result result =
      std::from_chars(text.data(), text.data() + text.size(), value);
  if (result.ec != std::errc()) return false;
  *out = value;
  return true;
}

// Exactly "true" or "false". No other spelling is accepted: not "True",
// "TRUE", "1", "0", "yes", "on", nor blanks around the word.
inline bool Parse(std::string_view text, bool* out) noexcept {
  if (text == "true" || text == "false") {
    *out = text == "true";
    return true;
  }
  return false;
}

// Any JSON value (RFC 8259: object, array, string, number, true, false,
// null), blanks around it allowed, nested at most 256 deep. The text is kept
// as it stands. May throw std::bad_alloc.
inline bool Parse(std::string_view text, Json* out) {
  if (!detail::JsonScanner::Valid(text)) return false;
  out->text.assign(text.data(), text.size());
  return true;
}

}  // namespace Convert

}  // namespace Ostrel

#endif  // OSTREL_CPP_CONVERT_HPP_
