// HMAC-SHA256 for the development signature, over the platform's own crypto:
// OpenSSL on POSIX systems, CNG (bcrypt.dll) on Windows, which has no
// OpenSSL for the cross build.
#ifndef OSTREL_TOOLS_DEVSIGN_HMACSHA256_H_
#define OSTREL_TOOLS_DEVSIGN_HMACSHA256_H_

#include <cstddef>
#include <string>

namespace OstrelDev {

constexpr size_t kSha256Bytes = 32;

// Writes HMAC-SHA256(key, message) into digest; false when the platform
// could not compute it. Any thread.
bool HmacSha256(const std::string& key, const std::string& message,
                unsigned char (&digest)[kSha256Bytes]);

}  // namespace OstrelDev

#endif  // OSTREL_TOOLS_DEVSIGN_HMACSHA256_H_
