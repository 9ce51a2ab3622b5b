// The grammar checks behind the strict conversions: JSON numbers and values.
#ifndef OSTREL_CPP_JSONSCANNER_HPP_
#define OSTREL_CPP_JSONSCANNER_HPP_

#include <cstddef>
#include <cstring>
#include <string_view>

namespace Ostrel {
namespace Convert {
namespace detail {

// Scans JSON's number grammar -?(0|[1-9][0-9]*)(.[0-9]+)?([eE][+-]?[0-9]+)?
// from at; returns where it ends, or npos when no number starts there.
// integral is set when neither a fraction nor an exponent was seen.
inline size_t ScanNumber(std::string_view text, size_t at, bool* integral) noexcept {
  auto isDigit = [&text](size_t i) { return i < text.size() && text[i] >= '0' && text[i] <= '9'; };
  auto digits = [&](size_t i) {
    while (isDigit(i)) ++i;
    return i;
  };
  if (at < text.size() && text[at] == '-') ++at;
  if (!isDigit(at)) return std::string_view::npos;
  at = text[at] == '0' ? at + 1 : digits(at);
  *integral = true;
  if (at < text.size() && text[at] == '.') {
    if (!isDigit(at + 1)) return std::string_view::npos;
    at = digits(at + 1);
    *integral = false;
  }
  if (at < text.size() && (text[at] == 'e' || text[at] == 'E')) {
    ++at;
    if (at < text.size() && (text[at] == '+' || text[at] == '-')) ++at;
    if (!isDigit(at)) return std::string_view::npos;
    at = digits(at);
    *integral = false;
  }
  return at;
}

// Recursive descent over RFC 8259 JSON. Nesting deeper than kMaxDepth is
// refused, so that a hostile value cannot exhaust the stack.
class JsonScanner {
 public:
  static constexpr int kMaxDepth = 256;

  static bool Valid(std::string_view text) noexcept {
    JsonScanner scanner(text);
    return scanner.Value(0) && scanner.SpaceThenEnd();
  }

 private:
  explicit JsonScanner(std::string_view text) noexcept : text_(text) {}

  void SkipSpace() noexcept {
    while (at_ < text_.size() && (text_[at_] == ' ' || text_[at_] == '\t' ||
                                  text_[at_] == '\n' || text_[at_] == '\r')) {
      ++at_;
    }
  }
  bool SpaceThenEnd() noexcept {
    SkipSpace();
    return at_ == text_.size();
  }
  bool Take(char c) noexcept {
    SkipSpace();
    if (at_ >= text_.size() || text_[at_] != c) return false;
    ++at_;
    return true;
  }
  bool Value(int depth) noexcept {
    SkipSpace();
    if (at_ >= text_.size()) return false;
    switch (text_[at_]) {
      case '{':
        return depth < kMaxDepth && Members(depth + 1);
      case '[':
        return depth < kMaxDepth && Elements(depth + 1);
      case '"':
        return Text();
      case 't':
        return Word("true");
      case 'f':
        return Word("false");
      case 'n':
        return Word("null");
      default: {
        bool integral = false;
        const size_t end = ScanNumber(text_, at_, &integral);
        if (end == std::string_view::npos) return false;
        at_ = end;
        return true;
      }
    }
  }
  bool Members(int depth) noexcept {
    ++at_;
    if (Take('}')) return true;
    do {
      SkipSpace();
      if (at_ >= text_.size() || text_[at_] != '"' || !Text() || !Take(':') || !Value(depth)) {
        return false;
      }
    } while (Take(','));
    return Take('}');
  }
  bool Elements(int depth) noexcept {
    ++at_;
    if (Take(']')) return true;
    do {
      if (!Value(depth)) return false;
    } while (Take(','));
    return Take(']');
  }
  // A string from its opening quote: no raw control characters, only the
  // escapes JSON defines.
  bool Text() noexcept {
    for (++at_; at_ < text_.size();) {
      const unsigned char c = static_cast<unsigned char>(text_[at_++]);
      if (c == '"') return true;
      if (c < 0x20) return false;
      if (c != '\\') continue;
      if (at_ >= text_.size()) return false;
      const char escape = text_[at_++];
      if (escape == 'u') {
        for (int i = 0; i < 4; ++i, ++at_) {
          if (at_ >= text_.size() || !IsHexDigit(text_[at_])) return false;
        }
      } else if (escape == '\0' || std::strchr("\"\\/bfnrt", escape) == nullptr) {
        return false;
      }
    }
    return false;
  }
  static bool IsHexDigit(char c) noexcept {
    return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
  }
  bool Word(std::string_view word) noexcept {
    if (text_.substr(at_, word.size()) != word) return false;
    at_ += word.size();
    return true;
  }

  const std::string_view text_;
  size_t at_ = 0;
};

}  // namespace detail
}  // namespace Convert
}  // namespace Ostrel

#endif  // OSTREL_CPP_JSONSCANNER_HPP_
