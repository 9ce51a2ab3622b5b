#include "net/BaseRequest.h"

#include "host/LogManager.h"
#include "host/Md5.h"

namespace Ostrel {
namespace {

const char kMethod[] = "SyncRequest";

}  // namespace

bool BaseRequest::ReadResponse(std::unique_ptr<HttpResponse> response,
                               const std::string& expectedMd5, LogTag tag,
                               const char* nullResponseMessage, std::string& body) {
  if (response == nullptr) {
    LogError(kMethod, tag, nullResponseMessage);
    return false;
  }
  if (!response->success()) {
    // Both request kinds report this with the same words.
    LogError(kMethod, tag, "auth request faile: responed header: " + response->header());
    return false;
  }
  body = std::move(response->mutable_body());
  response.reset();
  if (expectedMd5.empty()) return true;
  // Exact comparison: the digest is lowercase, so an upper-case expectation
  // never matches.
  if (Md5Hex(body) == expectedMd5) return true;
  LogError(kMethod, tag, "content is broken!!!");
  return false;
}

}  // namespace Ostrel
