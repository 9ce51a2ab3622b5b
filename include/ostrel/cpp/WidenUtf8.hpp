// UTF-8 to the wide strings of IOConfig::setSignLibraryPath.
#ifndef OSTREL_CPP_WIDENUTF8_HPP_
#define OSTREL_CPP_WIDENUTF8_HPP_

#include <cstdint>
#include <string>
#include <string_view>

namespace Ostrel {
namespace detail {

// The sign-library path travels as a wide string that the library reads back
// as UTF-8 (UTF-16 on Windows, UTF-32 elsewhere). A byte that does not start
// a valid sequence is taken as the code point of the same value. May throw
// std::bad_alloc.
inline std::wstring WidenUtf8(std::string_view text) {
  std::wstring out;
  for (size_t i = 0; i < text.size();) {
    const unsigned char lead = static_cast<unsigned char>(text[i]);
    const size_t length = lead < 0x80 ? 1 : (lead >> 5) == 0x6 ? 2 : (lead >> 4) == 0xE ? 3
                                        : (lead >> 3) == 0x1E ? 4 : 0;
    bool valid = length > 0 && i + length <= text.size();
    uint32_t code = length == 1 ? lead : lead & (0xFFu >> (length + 1));
    for (size_t k = 1; valid && k < length; ++k) {
      const unsigned char next = static_cast<unsigned char>(text[i + k]);
      valid = (next & 0xC0) == 0x80;
      code = (code << 6) | (next & 0x3F);
    }
    if (!valid) {
      code = lead;
      i += 1;
    } else {
      i += length;
    }
    if constexpr (sizeof(wchar_t) == 2) {
      if (code > 0xFFFF) {
        code -= 0x10000;
        out.push_back(static_cast<wchar_t>(0xD800 + (code >> 10)));
        code = 0xDC00 + (code & 0x3FF);
      }
    }
    out.push_back(static_cast<wchar_t>(code));
  }
  return out;
}

}  // namespace detail
}  // namespace Ostrel

#endif  // OSTREL_CPP_WIDENUTF8_HPP_
