// Holds the host's HTTP client and performs synchronous exchanges with it.
#ifndef OSTREL_NET_NETWORKMANAGER_H_
#define OSTREL_NET_NETWORKMANAGER_H_

#include <atomic>
#include <memory>

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

  // Installs (or, with null, removes) the host client. Never waits: the
  // facade may be called from any host thread, and a host whose Send hands
  // work to that very thread would otherwise deadlock. An exchange that began
  // on the previous client finishes on it, which is why host services must
  // stay alive until DestroyIOstrelConfig returns.
  void SetHttpClient(IOHttpClient* client) {
    iHttpClient_.store(client, std::memory_order_release);
  }

  // One exchange through the host client, blocking the calling thread and
  // taking no lock. Null (with one error line) when the request is null, no
  // client is installed, or the client's Send fails or throws. Several
  // threads may send at once.
  std::unique_ptr<HttpResponse> SendSyncHttpRequest(IOHttpRequest* aRequest);

 private:
  std::atomic<IOHttpClient*> iHttpClient_{nullptr};  // not owned
};

}  // namespace Ostrel

#endif  // OSTREL_NET_NETWORKMANAGER_H_
