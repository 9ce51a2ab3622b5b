#include "net/ServiceRequests.h"

#include <algorithm>
#include <cctype>
#include <map>

#include "net/BaseAuthRequest.h"
#include "net/BaseCdnRequest.h"

namespace Ostrel {
namespace {

const char kHttps[] = "https";
const char kHttp[] = "http";

std::string Lowercase(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return text;
}

}  // namespace

ServiceRequests::ServiceRequests(NetworkManager* network, IOstrelSign* signer, SystemClock now)
    : network_(network),
      signer_(signer),
      now_(now),
      settings_(std::make_shared<const Settings>()),
      scheme_(kHttps),
      appIndexVersion_("0"),
      versionIndexVersion_("0") {}

void ServiceRequests::SetSettings(std::shared_ptr<const Settings> settings) {
  if (!settings) return;
  MutexLock lock(&mutex_);
  settings_ = std::move(settings);
}

void ServiceRequests::SetIndexVersions(const std::string& appIndexVersion,
                                       const std::string& versionIndexVersion) {
  MutexLock lock(&mutex_);
  appIndexVersion_ = appIndexVersion;
  versionIndexVersion_ = versionIndexVersion;
}

void ServiceRequests::SetFetchScheme(const std::string& protocol) {
  const char* scheme = Lowercase(protocol) == kHttps ? kHttps : kHttp;
  MutexLock lock(&mutex_);
  scheme_ = scheme;
}

std::string ServiceRequests::CdnUrl(const std::string& cdn, const std::string& resourceId) const {
  if (cdn.empty() || resourceId.empty()) return std::string();
  MutexLock lock(&mutex_);
  return scheme_ + "://" + cdn + "/" + resourceId;
}

RequestContext ServiceRequests::Context() const {
  RequestContext context;
  context.network = network_;
  context.signer = signer_;
  context.now = now_;
  MutexLock lock(&mutex_);
  context.settings = settings_;
  context.userInfo = settings_->appKey + "|" + settings_->appVersion + "|" + appIndexVersion_ +
                     "|" + versionIndexVersion_;
  return context;
}

bool ServiceRequests::FetchResource(const std::string& url, const std::string& resourceId,
                                    const std::string& expectedMd5,
                                    const std::atomic<bool>& stopping, std::string& body) const {
  body.clear();
  const bool cdnAnswered =
      !url.empty() && BaseCdnRequest(network_, url, expectedMd5).SyncRequest(body);
  if (cdnAnswered && !body.empty()) return true;
  body.clear();
  if (stopping.load(std::memory_order_acquire)) return cdnAnswered;
  const std::map<std::string, std::string> params = {{"resourceId", resourceId}};
  BaseAuthRequest request(Context(), expectedMd5, kDownloadResourcePath);
  request.SetParams(&params);
  if (request.SyncRequest(body)) return true;
  body.clear();
  // An empty CDN answer is still an answer: the caller reports it as empty
  // rather than as a failed download.
  return cdnAnswered;
}

bool ServiceRequests::CheckUpdate(int64_t appIndexVersion, int64_t versionIndexVersion,
                                  std::string& body) const {
  const std::map<std::string, std::string> params = {
      {"appIndexVersion", std::to_string(appIndexVersion)},
      {"versionIndexVersion", std::to_string(versionIndexVersion)},
  };
  BaseAuthRequest request(Context(), "", kCheckUpdatePath);
  request.SetParams(&params);
  return request.SyncRequest(body);
}

}  // namespace Ostrel
