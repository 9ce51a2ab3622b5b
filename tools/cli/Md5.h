// MD5 for the cache command's digest check, over the platform's own crypto:
// OpenSSL on POSIX systems, CNG (bcrypt.dll) on Windows, which has no
// OpenSSL for the cross build. The command computes it here rather than
// with the library's digest code, so that a fault there shows up as records
// that do not verify.
#ifndef OSTREL_TOOLS_CLI_MD5_H_
#define OSTREL_TOOLS_CLI_MD5_H_

#include <cstddef>
#include <string>

namespace OstrelCli {

constexpr size_t kMd5Bytes = 16;

// Writes MD5(text) into digest; false when the platform could not compute
// it. Any thread.
bool Md5(const std::string& text, unsigned char (&digest)[kMd5Bytes]);

}  // namespace OstrelCli

#endif  // OSTREL_TOOLS_CLI_MD5_H_
