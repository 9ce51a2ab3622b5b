// Holds the host's HTTP client and performs synchronous exchanges with it.
#ifndef OSTREL_NET_NETWORKMANAGER_H_
#define OSTREL_NET_NETWORKMANAGER_H_

#include <condition_variable>
#include <map>
#include <memory>

#include "host/Mutex.h"
#include "net/HttpResponse.h"
#include "ostrel/IOHttp.h"

namespace Ostrel {

class NetworkManager {
 public:
  static NetworkManager* GetInstance();
  static void DestroyInstance();

  NetworkManager() = default;
  virtual ~NetworkManager() = default;

  NetworkManager(const NetworkManager&) = delete;
  NetworkManager& operator=(const NetworkManager&) = delete;

  // Installs (or, with null, removes) the host client. Returns only once no
  // exchange still runs on the previous client, so the host may delete it
  // right afterwards. Called from inside a Send (the client replacing itself)
  // it cannot wait for that Send and returns at once.
  void SetHttpClient(IOHttpClient* client);

  // One exchange through the host client, blocking the calling thread. Null
  // (with one error line) when the request is null, no client is installed,
  // or the client's Send fails or throws. Several threads may send at once;
  // no lock is held while the client runs.
  std::unique_ptr<HttpResponse> SendSyncHttpRequest(IOHttpRequest* aRequest);

 private:
  bool IsInUse(IOHttpClient* client) const REQUIRES(mutex_) {
    return activeSends_.count(client) != 0;
  }

  Mutex mutex_;
  // Signalled whenever a client's last running exchange ends.
  std::condition_variable idle_;
  IOHttpClient* iHttpClient_ GUARDED_BY(mutex_) = nullptr;  // not owned
  // Running exchanges per client; a client without any has no entry.
  std::map<IOHttpClient*, int> activeSends_ GUARDED_BY(mutex_);
};

}  // namespace Ostrel

#endif  // OSTREL_NET_NETWORKMANAGER_H_
