#include "candidate/TextScan.h"

namespace Ostrel {
namespace {

// Reads the decimal number at the front of text and clamps its magnitude to
// the limit of the sign it carries. Returns the clamped magnitude and whether
// the sign was negative.
uint64_t ReadMagnitude(std::string_view text, uint64_t positiveLimit, bool* negative) {
  size_t i = 0;
  while (i < text.size() && IsCSpace(static_cast<unsigned char>(text[i]))) ++i;
  *negative = false;
  if (i < text.size() && (text[i] == '+' || text[i] == '-')) {
    *negative = text[i] == '-';
    ++i;
  }
  // The negative range holds one more value than the positive one.
  const uint64_t limit = *negative ? positiveLimit + 1 : positiveLimit;
  uint64_t magnitude = 0;
  for (; i < text.size() && IsCDigit(static_cast<unsigned char>(text[i])); ++i) {
    const uint64_t digit = static_cast<uint64_t>(text[i] - '0');
    if (magnitude > (limit - digit) / 10) return limit;
    magnitude = magnitude * 10 + digit;
  }
  return magnitude;
}

}  // namespace

int32_t ReadInt(std::string_view text) {
  bool negative = false;
  const uint64_t magnitude = ReadMagnitude(text, INT32_MAX, &negative);
  const int64_t value = static_cast<int64_t>(magnitude);
  return static_cast<int32_t>(negative ? -value : value);
}

int64_t ReadInt64(std::string_view text) {
  bool negative = false;
  const uint64_t magnitude = ReadMagnitude(text, INT64_MAX, &negative);
  if (!negative) return static_cast<int64_t>(magnitude);
  // -(INT64_MIN) is not representable; build the negative value from the
  // largest positive one.
  if (magnitude == static_cast<uint64_t>(INT64_MAX) + 1) return INT64_MIN;
  return -static_cast<int64_t>(magnitude);
}

}  // namespace Ostrel
