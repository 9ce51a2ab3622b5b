#include "center/ResourceFetcher.h"

#include <map>

#include "net/BaseAuthRequest.h"
#include "net/BaseCdnRequest.h"
#include "update/IndexUpdateHandler.h"

namespace Ostrel {

std::string BuildCdnUrl(const std::string& cdn, const std::string& resourceId) {
  if (cdn.empty() || resourceId.empty()) return std::string();
  return IndexUpdateHandler::FetchScheme() + "://" + cdn + "/" + resourceId;
}

bool FetchResource(const std::string& url, const std::string& resourceId,
                   const std::string& expectedMd5, const std::atomic<bool>& stopping,
                   std::string& body) {
  body.clear();
  const bool cdnAnswered = !url.empty() && BaseCdnRequest(url, expectedMd5).SyncRequest(body);
  if (cdnAnswered && !body.empty()) return true;
  body.clear();
  if (stopping.load(std::memory_order_acquire)) return cdnAnswered;
  const std::map<std::string, std::string> params = {{"resourceId", resourceId}};
  BaseAuthRequest request(expectedMd5, kDownloadResourcePath);
  request.SetParams(&params);
  if (request.SyncRequest(body)) return true;
  body.clear();
  // An empty CDN answer is still an answer: the caller reports it as empty
  // rather than as a failed download.
  return cdnAnswered;
}

}  // namespace Ostrel
