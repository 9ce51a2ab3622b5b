#include "CurlShare.h"

namespace OstrelHost {

CurlShare::CurlShare() : share_(curl_share_init()) {
  if (share_ == nullptr) return;
  curl_share_setopt(share_, CURLSHOPT_USERDATA, this);
  curl_share_setopt(share_, CURLSHOPT_LOCKFUNC, &CurlShare::Lock);
  curl_share_setopt(share_, CURLSHOPT_UNLOCKFUNC, &CurlShare::Unlock);
  curl_share_setopt(share_, CURLSHOPT_SHARE, CURL_LOCK_DATA_DNS);
  curl_share_setopt(share_, CURLSHOPT_SHARE, CURL_LOCK_DATA_SSL_SESSION);
}

CurlShare::~CurlShare() {
  if (share_ != nullptr) curl_share_cleanup(share_);
}

// libcurl names only kinds of data below CURL_LOCK_DATA_LAST.
void CurlShare::Lock(CURL*, curl_lock_data data, curl_lock_access, void* context) {
  static_cast<CurlShare*>(context)->locks_[data].lock();
}

void CurlShare::Unlock(CURL*, curl_lock_data data, void* context) {
  static_cast<CurlShare*>(context)->locks_[data].unlock();
}

}  // namespace OstrelHost
