// Downloads a published resource: the CDN first, the signed API after.
#ifndef OSTREL_CENTER_RESOURCEFETCHER_H_
#define OSTREL_CENTER_RESOURCEFETCHER_H_

#include <atomic>
#include <string>

namespace Ostrel {

// The signed fallback's path for indexes and namespace documents alike.
inline constexpr char kDownloadResourcePath[] = "/downloadResource";

// "<scheme>://<cdn>/<resourceId>" with the scheme of the last accepted update
// notice; empty when cdn or resourceId is.
std::string BuildCdnUrl(const std::string& cdn, const std::string& resourceId);

// Fetches url from the CDN; when that yields no body, asks the signed API for
// resourceId. Both check the body against expectedMd5 (empty: no check).
// True with the body when either succeeded. Once stopping is set, the signed
// request is not made after a CDN failure: teardown waits for one request.
bool FetchResource(const std::string& url, const std::string& resourceId,
                   const std::string& expectedMd5, const std::atomic<bool>& stopping,
                   std::string& body);

}  // namespace Ostrel

#endif  // OSTREL_CENTER_RESOURCEFETCHER_H_
