#include "host/Md5.h"

#include <cstring>

namespace Ostrel {
namespace {

// The four auxiliary functions of RFC 1321 section 3.4, in forms that need
// one operation fewer than the textbook ones.
inline uint32_t F(uint32_t x, uint32_t y, uint32_t z) { return z ^ (x & (y ^ z)); }
inline uint32_t G(uint32_t x, uint32_t y, uint32_t z) { return y ^ (z & (x ^ y)); }
inline uint32_t H(uint32_t x, uint32_t y, uint32_t z) { return x ^ y ^ z; }
inline uint32_t I(uint32_t x, uint32_t y, uint32_t z) { return y ^ (x | ~z); }

inline uint32_t RotateLeft(uint32_t value, int bits) {
  return (value << bits) | (value >> (32 - bits));
}

inline uint32_t LoadLittleEndian(const uint8_t* p) {
  return static_cast<uint32_t>(p[0]) | (static_cast<uint32_t>(p[1]) << 8) |
         (static_cast<uint32_t>(p[2]) << 16) | (static_cast<uint32_t>(p[3]) << 24);
}

#define OSTREL_MD5_STEP(f, a, b, c, d, x, t, s) \
  a += f(b, c, d) + (x) + (t);                  \
  a = RotateLeft(a, s) + b

}  // namespace

Md5::Md5() : state_{0x67452301u, 0xefcdab89u, 0x98badcfeu, 0x10325476u} {}

void Md5::Transform(const uint8_t* blocks, size_t count) {
  uint32_t a = state_[0], b = state_[1], c = state_[2], d = state_[3];
  for (size_t block = 0; block < count; ++block, blocks += 64) {
    uint32_t x[16];
    for (int i = 0; i < 16; ++i) x[i] = LoadLittleEndian(blocks + 4 * i);
    const uint32_t aa = a, bb = b, cc = c, dd = d;

    OSTREL_MD5_STEP(F, a, b, c, d, x[0], 0xd76aa478u, 7);
    OSTREL_MD5_STEP(F, d, a, b, c, x[1], 0xe8c7b756u, 12);
    OSTREL_MD5_STEP(F, c, d, a, b, x[2], 0x242070dbu, 17);
    OSTREL_MD5_STEP(F, b, c, d, a, x[3], 0xc1bdceeeu, 22);
    OSTREL_MD5_STEP(F, a, b, c, d, x[4], 0xf57c0fafu, 7);
    OSTREL_MD5_STEP(F, d, a, b, c, x[5], 0x4787c62au, 12);
    OSTREL_MD5_STEP(F, c, d, a, b, x[6], 0xa8304613u, 17);
    OSTREL_MD5_STEP(F, b, c, d, a, x[7], 0xfd469501u, 22);
    OSTREL_MD5_STEP(F, a, b, c, d, x[8], 0x698098d8u, 7);
    OSTREL_MD5_STEP(F, d, a, b, c, x[9], 0x8b44f7afu, 12);
    OSTREL_MD5_STEP(F, c, d, a, b, x[10], 0xffff5bb1u, 17);
    OSTREL_MD5_STEP(F, b, c, d, a, x[11], 0x895cd7beu, 22);
    OSTREL_MD5_STEP(F, a, b, c, d, x[12], 0x6b901122u, 7);
    OSTREL_MD5_STEP(F, d, a, b, c, x[13], 0xfd987193u, 12);
    OSTREL_MD5_STEP(F, c, d, a, b, x[14], 0xa679438eu, 17);
    OSTREL_MD5_STEP(F, b, c, d, a, x[15], 0x49b40821u, 22);

    OSTREL_MD5_STEP(G, a, b, c, d, x[1], 0xf61e2562u, 5);
    OSTREL_MD5_STEP(G, d, a, b, c, x[6], 0xc040b340u, 9);
    OSTREL_MD5_STEP(G, c, d, a, b, x[11], 0x265e5a51u, 14);
    OSTREL_MD5_STEP(G, b, c, d, a, x[0], 0xe9b6c7aau, 20);
    OSTREL_MD5_STEP(G, a, b, c, d, x[5], 0xd62f105du, 5);
    OSTREL_MD5_STEP(G, d, a, b, c, x[10], 0x02441453u, 9);
    OSTREL_MD5_STEP(G, c, d, a, b, x[15], 0xd8a1e681u, 14);
    OSTREL_MD5_STEP(G, b, c, d, a, x[4], 0xe7d3fbc8u, 20);
    OSTREL_MD5_STEP(G, a, b, c, d, x[9], 0x21e1cde6u, 5);
    OSTREL_MD5_STEP(G, d, a, b, c, x[14], 0xc33707d6u, 9);
    OSTREL_MD5_STEP(G, c, d, a, b, x[3], 0xf4d50d87u, 14);
    OSTREL_MD5_STEP(G, b, c, d, a, x[8], 0x455a14edu, 20);
    OSTREL_MD5_STEP(G, a, b, c, d, x[13], 0xa9e3e905u, 5);
    OSTREL_MD5_STEP(G, d, a, b, c, x[2], 0xfcefa3f8u, 9);
    OSTREL_MD5_STEP(G, c, d, a, b, x[7], 0x676f02d9u, 14);
    OSTREL_MD5_STEP(G, b, c, d, a, x[12], 0x8d2a4c8au, 20);

    OSTREL_MD5_STEP(H, a, b, c, d, x[5], 0xfffa3942u, 4);
    OSTREL_MD5_STEP(H, d, a, b, c, x[8], 0x8771f681u, 11);
    OSTREL_MD5_STEP(H, c, d, a, b, x[11], 0x6d9d6122u, 16);
    OSTREL_MD5_STEP(H, b, c, d, a, x[14], 0xfde5380cu, 23);
    OSTREL_MD5_STEP(H, a, b, c, d, x[1], 0xa4beea44u, 4);
    OSTREL_MD5_STEP(H, d, a, b, c, x[4], 0x4bdecfa9u, 11);
    OSTREL_MD5_STEP(H, c, d, a, b, x[7], 0xf6bb4b60u, 16);
    OSTREL_MD5_STEP(H, b, c, d, a, x[10], 0xbebfbc70u, 23);
    OSTREL_MD5_STEP(H, a, b, c, d, x[13], 0x289b7ec6u, 4);
    OSTREL_MD5_STEP(H, d, a, b, c, x[0], 0xeaa127fau, 11);
    OSTREL_MD5_STEP(H, c, d, a, b, x[3], 0xd4ef3085u, 16);
    OSTREL_MD5_STEP(H, b, c, d, a, x[6], 0x04881d05u, 23);
    OSTREL_MD5_STEP(H, a, b, c, d, x[9], 0xd9d4d039u, 4);
    OSTREL_MD5_STEP(H, d, a, b, c, x[12], 0xe6db99e5u, 11);
    OSTREL_MD5_STEP(H, c, d, a, b, x[15], 0x1fa27cf8u, 16);
    OSTREL_MD5_STEP(H, b, c, d, a, x[2], 0xc4ac5665u, 23);

    OSTREL_MD5_STEP(I, a, b, c, d, x[0], 0xf4292244u, 6);
    OSTREL_MD5_STEP(I, d, a, b, c, x[7], 0x432aff97u, 10);
    OSTREL_MD5_STEP(I, c, d, a, b, x[14], 0xab9423a7u, 15);
    OSTREL_MD5_STEP(I, b, c, d, a, x[5], 0xfc93a039u, 21);
    OSTREL_MD5_STEP(I, a, b, c, d, x[12], 0x655b59c3u, 6);
    OSTREL_MD5_STEP(I, d, a, b, c, x[3], 0x8f0ccc92u, 10);
    OSTREL_MD5_STEP(I, c, d, a, b, x[10], 0xffeff47du, 15);
    OSTREL_MD5_STEP(I, b, c, d, a, x[1], 0x85845dd1u, 21);
    OSTREL_MD5_STEP(I, a, b, c, d, x[8], 0x6fa87e4fu, 6);
    OSTREL_MD5_STEP(I, d, a, b, c, x[15], 0xfe2ce6e0u, 10);
    OSTREL_MD5_STEP(I, c, d, a, b, x[6], 0xa3014314u, 15);
    OSTREL_MD5_STEP(I, b, c, d, a, x[13], 0x4e0811a1u, 21);
    OSTREL_MD5_STEP(I, a, b, c, d, x[4], 0xf7537e82u, 6);
    OSTREL_MD5_STEP(I, d, a, b, c, x[11], 0xbd3af235u, 10);
    OSTREL_MD5_STEP(I, c, d, a, b, x[2], 0x2ad7d2bbu, 15);
    OSTREL_MD5_STEP(I, b, c, d, a, x[9], 0xeb86d391u, 21);

    a += aa;
    b += bb;
    c += cc;
    d += dd;
  }
  state_[0] = a;
  state_[1] = b;
  state_[2] = c;
  state_[3] = d;
}

#undef OSTREL_MD5_STEP

void Md5::Update(const void* data, size_t length) {
  const uint8_t* input = static_cast<const uint8_t*>(data);
  totalBytes_ += length;
  if (buffered_ > 0) {
    const size_t take = length < 64 - buffered_ ? length : 64 - buffered_;
    std::memcpy(buffer_ + buffered_, input, take);
    buffered_ += take;
    input += take;
    length -= take;
    if (buffered_ < 64) return;
    Transform(buffer_, 1);
    buffered_ = 0;
  }
  const size_t wholeBlocks = length / 64;
  Transform(input, wholeBlocks);
  input += wholeBlocks * 64;
  length -= wholeBlocks * 64;
  if (length > 0) {
    std::memcpy(buffer_, input, length);
    buffered_ = length;
  }
}

void Md5::Final(uint8_t digest[16]) {
  const uint64_t bitLength = totalBytes_ * 8;
  // Padding: one 0x80 byte, zeros up to 56 mod 64, then the bit length.
  uint8_t padding[72] = {0x80};
  const size_t padLength = buffered_ < 56 ? 56 - buffered_ : 120 - buffered_;
  uint8_t lengthBytes[8];
  for (int i = 0; i < 8; ++i) lengthBytes[i] = static_cast<uint8_t>(bitLength >> (8 * i));
  Update(padding, padLength);
  Update(lengthBytes, 8);
  for (int i = 0; i < 4; ++i) {
    for (int j = 0; j < 4; ++j) digest[4 * i + j] = static_cast<uint8_t>(state_[i] >> (8 * j));
  }
}

std::string Md5Hex(const void* data, size_t length) {
  static const char kHexDigits[] = "0123456789abcdef";
  Md5 md5;
  md5.Update(data, length);
  uint8_t digest[16];
  md5.Final(digest);
  std::string hex(32, '0');
  for (int i = 0; i < 16; ++i) {
    hex[2 * i] = kHexDigits[digest[i] >> 4];
    hex[2 * i + 1] = kHexDigits[digest[i] & 0x0f];
  }
  return hex;
}

std::string Md5Hex(const std::string& bytes) { return Md5Hex(bytes.data(), bytes.size()); }

}  // namespace Ostrel
