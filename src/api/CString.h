// C strings handed across the binary boundary.
#ifndef OSTREL_API_CSTRING_H_
#define OSTREL_API_CSTRING_H_

#include <cstddef>
#include <string>

namespace Ostrel {

// A malloc'd copy of length bytes of data plus a terminating NUL, released
// with FreeCString. Null when memory runs out.
char* CopyToCString(const char* data, size_t length);
inline char* CopyToCString(const std::string& text) {
  return CopyToCString(text.data(), text.size());
}
// A copy of a NUL-terminated text; null stays null.
char* DuplicateCString(const char* text);
void FreeCString(char* value);

}  // namespace Ostrel

#endif  // OSTREL_API_CSTRING_H_
