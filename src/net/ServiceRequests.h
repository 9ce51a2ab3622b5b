// The requests the engine makes of the service, and what they share.
#ifndef OSTREL_NET_SERVICEREQUESTS_H_
#define OSTREL_NET_SERVICEREQUESTS_H_

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>

#include "host/Clock.h"
#include "host/Mutex.h"
#include "host/Settings.h"
#include "net/IOstrelSign.h"
#include "net/NetworkManager.h"
#include "net/RequestContext.h"

namespace Ostrel {

// The signed fallback's path for indexes and namespace documents alike.
inline constexpr char kDownloadResourcePath[] = "/downloadResource";
// The signed update check's path.
inline constexpr char kCheckUpdatePath[] = "/checkUpdate";

// Downloads from the CDN with the signed API as fallback, and the signed
// update check. Keeps what every request reads: the init settings, the
// scheme of CDN fetches (chosen by the last accepted update notice) and the
// index identity. Any thread may call any operation; each request is made on
// the calling thread.
class ServiceRequests {
 public:
  // network and signer are not owned and outlive this object.
  ServiceRequests(NetworkManager* network, IOstrelSign* signer, SystemClock now);

  ServiceRequests(const ServiceRequests&) = delete;
  ServiceRequests& operator=(const ServiceRequests&) = delete;

  // The settings of the latest init; requests made from now on use them.
  void SetSettings(std::shared_ptr<const Settings> settings);
  // The two versions of the current index, for the identity.
  void SetIndexVersions(const std::string& appIndexVersion, const std::string& versionIndexVersion);
  // CDN fetches use "https" when protocol says so in any case, else "http".
  void SetFetchScheme(const std::string& protocol);

  // "<scheme>://<cdn>/<resourceId>"; empty when cdn or resourceId is.
  std::string CdnUrl(const std::string& cdn, const std::string& resourceId) const;

  // Fetches url from the CDN; when that yields no body, asks the signed API
  // for resourceId. Both check the body against expectedMd5 (empty: no
  // check). True with the body when either succeeded; an empty CDN answer
  // that the API could not better is still an answer (true, empty body).
  // Once stopping is set, the signed request is not made after a CDN
  // failure: teardown waits for one request.
  bool FetchResource(const std::string& url, const std::string& resourceId,
                     const std::string& expectedMd5, const std::atomic<bool>& stopping,
                     std::string& body) const;

  // The signed "/checkUpdate" with the two versions of the cached index.
  // True with the answer's body.
  bool CheckUpdate(int64_t appIndexVersion, int64_t versionIndexVersion, std::string& body) const;

  // What a signed request is sent with now.
  RequestContext Context() const;

 private:
  // Constant after construction.
  NetworkManager* const network_;  // not owned
  IOstrelSign* const signer_;      // not owned
  const SystemClock now_;

  mutable Mutex mutex_;
  std::shared_ptr<const Settings> settings_ GUARDED_BY(mutex_);  // never null
  std::string scheme_ GUARDED_BY(mutex_);
  std::string appIndexVersion_ GUARDED_BY(mutex_);
  std::string versionIndexVersion_ GUARDED_BY(mutex_);
};

}  // namespace Ostrel

#endif  // OSTREL_NET_SERVICEREQUESTS_H_
