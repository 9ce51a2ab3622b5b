#include "candidate/VersionCompare.h"

#include <cstdint>
#include <cstring>
#include <string_view>

#include "candidate/TextScan.h"

namespace Ostrel {
namespace {

// Walks the '.'-separated parts of a text in place, so that comparing two
// versions allocates nothing. Empty parts count: "1..2" has three.
class VersionParts {
 public:
  explicit VersionParts(const char* text)
      : rest_(text != nullptr ? text : "") {}

  bool HasNext() const { return !done_; }

  int32_t Next() {
    const size_t dot = rest_.find('.');
    const int32_t value = ReadInt(rest_.substr(0, dot));
    if (dot == std::string_view::npos) {
      done_ = true;
    } else {
      rest_.remove_prefix(dot + 1);
    }
    return value;
  }

  bool AnyRemainingAboveZero() {
    while (HasNext()) {
      if (Next() > 0) return true;
    }
    return false;
  }

 private:
  std::string_view rest_;
  bool done_ = false;
};

int32_t WrappingDifference(int32_t a, int32_t b) {
  // Unsigned subtraction is defined modulo 2^32; the conversion back keeps the
  // low 32 bits as two's complement.
  return static_cast<int32_t>(static_cast<uint32_t>(a) - static_cast<uint32_t>(b));
}

}  // namespace

int VersionCompare::Compare(const char* clientVal, const char* conditionVal) {
  if (TextEqual(clientVal, conditionVal)) return 0;
  VersionParts client(clientVal);
  VersionParts condition(conditionVal);
  while (client.HasNext() && condition.HasNext()) {
    const int32_t a = client.Next();
    const int32_t b = condition.Next();
    if (a != b) return WrappingDifference(a, b) >= 1 ? 1 : -1;
  }
  if (client.AnyRemainingAboveZero()) return 1;
  if (condition.AnyRemainingAboveZero()) return -1;
  return 0;
}

bool VersionCompare::Greater(const char* clientVal, const char* conditionVal) const {
  return Compare(clientVal, conditionVal) == 1;
}

bool VersionCompare::GreaterEqual(const char* clientVal, const char* conditionVal) const {
  return Compare(clientVal, conditionVal) != -1;
}

bool VersionCompare::Less(const char* clientVal, const char* conditionVal) const {
  return Compare(clientVal, conditionVal) == -1;
}

bool VersionCompare::LessEqual(const char* clientVal, const char* conditionVal) const {
  return Compare(clientVal, conditionVal) != 1;
}

}  // namespace Ostrel
