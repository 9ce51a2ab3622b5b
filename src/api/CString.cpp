#include "api/CString.h"

#include <cstdlib>
#include <cstring>

namespace Ostrel {

// malloc and free both live inside the library, so the host may be built with
// another C runtime than ours.
char* CopyToCString(const char* data, size_t length) {
  char* copy = static_cast<char*>(std::malloc(length + 1));
  if (copy == nullptr) return nullptr;
  if (length > 0) std::memcpy(copy, data, length);
  copy[length] = '\0';
  return copy;
}

char* DuplicateCString(const char* text) {
  if (text == nullptr) return nullptr;
  return CopyToCString(text, std::strlen(text));
}

void FreeCString(char* value) { std::free(value); }

}  // namespace Ostrel
