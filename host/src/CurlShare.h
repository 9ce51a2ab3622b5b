// The caches that every transfer of one HTTP client shares: resolved host
// names and TLS sessions.
#ifndef OSTREL_HOST_SRC_CURLSHARE_H_
#define OSTREL_HOST_SRC_CURLSHARE_H_

#include <curl/curl.h>

#include <mutex>

namespace OstrelHost {

// A CURLSH holding the DNS cache and the TLS session cache, locked through
// one mutex per kind of data, so that easy handles on several threads may
// use it at once. A new connection to a host some other handle already
// reached then skips the name lookup and resumes the TLS session instead of
// a full handshake.
//
// Connections themselves are not shared here: libcurl 7.88 documents its
// shared connection cache as unsafe between concurrent threads. Each pooled
// handle keeps its own connections instead (see CurlHandlePool).
class CurlShare {
 public:
  CurlShare();
  // Every easy handle using the share must have been cleaned up before.
  ~CurlShare();
  CurlShare(const CurlShare&) = delete;
  CurlShare& operator=(const CurlShare&) = delete;

  // Null when libcurl could not make the share; handles then run without.
  CURLSH* get() const { return share_; }

 private:
  static void Lock(CURL* handle, curl_lock_data data, curl_lock_access access, void* context);
  static void Unlock(CURL* handle, curl_lock_data data, void* context);

  // One lock per kind of data, as libcurl asks: the DNS cache and the
  // session cache may then be used at the same time.
  std::mutex locks_[CURL_LOCK_DATA_LAST];
  CURLSH* const share_;
};

}  // namespace OstrelHost

#endif  // OSTREL_HOST_SRC_CURLSHARE_H_
