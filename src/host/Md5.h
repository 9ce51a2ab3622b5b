// MD5 message digest (RFC 1321), used to frame stored records and to verify
// downloaded resources.
#ifndef OSTREL_HOST_MD5_H_
#define OSTREL_HOST_MD5_H_

#include <cstddef>
#include <cstdint>
#include <string>

namespace Ostrel {

// Incremental digest: Update any number of times, then Final once.
class Md5 {
 public:
  Md5();
  void Update(const void* data, size_t length);
  // Writes the 16 digest bytes. The object must not be updated afterwards.
  void Final(uint8_t digest[16]);

 private:
  void Transform(const uint8_t* blocks, size_t count);

  uint32_t state_[4];
  uint64_t totalBytes_ = 0;
  uint8_t buffer_[64];
  size_t buffered_ = 0;
};

// The lowercase hexadecimal MD5 of a byte string: 32 characters, each digest
// byte high nibble first.
std::string Md5Hex(const void* data, size_t length);
std::string Md5Hex(const std::string& bytes);

}  // namespace Ostrel

#endif  // OSTREL_HOST_MD5_H_
