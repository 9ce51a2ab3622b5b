// Holds the host's HTTP client and performs synchronous exchanges with it.
#ifndef OSTREL_NET_NETWORKMANAGER_H_
#define OSTREL_NET_NETWORKMANAGER_H_

#include <atomic>

#include "ostrel/IOHttp.h"

namespace Ostrel {

class NetworkManager {
 public:
  static NetworkManager* GetInstance();
  static void DestroyInstance();

  NetworkManager() = default;
  virtual ~NetworkManager() = default;

  void SetHttpClient(IOHttpClient* client) {
    iHttpClient_.store(client, std::memory_order_release);
  }

 private:
  std::atomic<IOHttpClient*> iHttpClient_{nullptr};  // not owned
};

}  // namespace Ostrel

#endif  // OSTREL_NET_NETWORKMANAGER_H_
