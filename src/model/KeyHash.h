// Hashing and comparing the short names a read looks up: namespace names
// and configuration keys.
#ifndef OSTREL_MODEL_KEYHASH_H_
#define OSTREL_MODEL_KEYHASH_H_

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

#if defined(_MSC_VER) && !defined(__clang__)
#include <intrin.h>
#endif

namespace Ostrel {
namespace key_hash_internal {

inline uint64_t Load64(const char* at) {
  uint64_t word;
  std::memcpy(&word, at, sizeof(word));
  return word;
}

inline uint64_t Load32(const char* at) {
  uint32_t word;
  std::memcpy(&word, at, sizeof(word));
  return word;
}

// The full 128-bit product of a and b, its halves xor-ed together: every
// bit of either factor reaches the low bits that a table's mask keeps.
inline uint64_t Fold(uint64_t a, uint64_t b) {
#if defined(__SIZEOF_INT128__)
  __extension__ typedef unsigned __int128 Wide;
  const Wide product = static_cast<Wide>(a) * b;
  return static_cast<uint64_t>(product) ^ static_cast<uint64_t>(product >> 64);
#else
  const uint64_t aLow = a & 0xffffffffu, aHigh = a >> 32;
  const uint64_t bLow = b & 0xffffffffu, bHigh = b >> 32;
  const uint64_t lowLow = aLow * bLow, lowHigh = aLow * bHigh;
  const uint64_t highLow = aHigh * bLow, highHigh = aHigh * bHigh;
  const uint64_t middle = (lowLow >> 32) + (lowHigh & 0xffffffffu) + (highLow & 0xffffffffu);
  const uint64_t low = (lowLow & 0xffffffffu) | (middle << 32);
  const uint64_t high = highHigh + (lowHigh >> 32) + (highLow >> 32) + (middle >> 32);
  return low ^ high;
#endif
}

constexpr uint64_t kSeed = 0xa0761d6478bd642full;
constexpr uint64_t kMix = 0xe7037ed1a0b428dbull;
constexpr uint64_t kFinish = 0x8ebc6af09c88c6e3ull;

}  // namespace key_hash_internal

// A hash of the bytes of key, read eight (or four) at a time: names are
// hashed on every host call, and a byte-at-a-time hash costs a
// multiplication per character. Words are loaded in the machine's byte
// order, so a hash means something in this process only: tables built with
// it are never stored. Any thread.
inline uint64_t HashKey(std::string_view key) {
  using namespace key_hash_internal;
  const char* at = key.data();
  const size_t length = key.size();
  uint64_t state = kSeed ^ length;
  // The last one to sixteen bytes become a and b (overlapping when the key
  // is shorter); anything before them is folded into state first.
  uint64_t a = 0, b = 0;
  if (length > 16) {
    for (size_t i = 0; i + 16 < length; i += 8) state = Fold(Load64(at + i) ^ kMix, state);
    a = Load64(at + length - 16);
    b = Load64(at + length - 8);
  } else if (length > 8) {
    a = Load64(at);
    b = Load64(at + length - 8);
  } else if (length >= 4) {
    a = Load32(at);
    b = Load32(at + length - 4);
  } else if (length > 0) {
    const auto byte = [at](size_t i) { return uint64_t{static_cast<unsigned char>(at[i])}; };
    a = (byte(0) << 16) | (byte(length / 2) << 8) | byte(length - 1);
  }
  // Eight bytes or fewer sit in the low halves of a and b, and one fold
  // spreads them; longer keys carry their differences in the high bytes,
  // which a second fold brings down evenly.
  const uint64_t hash = Fold(a ^ kMix, b ^ state);
  return length > 8 ? Fold(hash, kFinish) : hash;
}

// The length of the NUL-terminated text, for the names a host hands in:
// libc's strlen is a call through the dynamic loader's table and costs an
// eighth of a read. This one reads a word at a time, every word aligned, so
// that no read crosses into a page the text does not reach; the bytes after
// the terminator that the last word holds are never used. Sanitizers would
// call that an overflow, so they are told to look away, and the words are
// read in place rather than through an instrumented helper.
#if defined(__GNUC__)
__attribute__((no_sanitize("address", "thread")))
#endif
inline size_t NameLength(const char* text) {
#if defined(__BYTE_ORDER__) && __BYTE_ORDER__ != __ORDER_LITTLE_ENDIAN__
  return std::strlen(text);
#else
#if defined(__GNUC__)
  typedef uint64_t __attribute__((may_alias)) Word;  // may alias the text's chars
#else
  typedef uint64_t Word;
#endif
  constexpr uint64_t kOnes = 0x0101010101010101ull, kHighs = 0x8080808080808080ull;
  const uintptr_t start = reinterpret_cast<uintptr_t>(text);
  const Word* word = reinterpret_cast<const Word*>(start & ~uintptr_t{7});
  // The bytes before text in its first word count as non-zero.
  uint64_t bytes = *word | ((uint64_t{1} << ((start & 7) * 8)) - 1);
  // A byte's high bit, set for the first zero byte and never below it.
  uint64_t zeros = (bytes - kOnes) & ~bytes & kHighs;
  while (zeros == 0) {
    bytes = *++word;
    zeros = (bytes - kOnes) & ~bytes & kHighs;
  }
#if defined(_MSC_VER) && !defined(__clang__)
  unsigned long bit;
  _BitScanForward64(&bit, zeros);
#else
  const int bit = __builtin_ctzll(zeros);
#endif
  return reinterpret_cast<uintptr_t>(word) - start + bit / 8;
#endif
}

// Whether a and b, of equal length, hold the same bytes. Inline and word by
// word for the short names reads compare; long ones go to memcmp.
inline bool SameKeyBytes(const char* a, const char* b, size_t length) {
  using namespace key_hash_internal;
  if (length >= 8) {
    if (length > 64) return std::memcmp(a, b, length) == 0;
    for (size_t i = 0; i + 8 < length; i += 8) {
      if (Load64(a + i) != Load64(b + i)) return false;
    }
    return Load64(a + length - 8) == Load64(b + length - 8);
  }
  if (length >= 4) {
    return Load32(a) == Load32(b) && Load32(a + length - 4) == Load32(b + length - 4);
  }
  for (size_t i = 0; i < length; ++i) {
    if (a[i] != b[i]) return false;
  }
  return true;
}

inline bool SameKey(std::string_view a, std::string_view b) {
  return a.size() == b.size() && SameKeyBytes(a.data(), b.data(), a.size());
}

}  // namespace Ostrel

#endif  // OSTREL_MODEL_KEYHASH_H_
