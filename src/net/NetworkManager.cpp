#include "net/NetworkManager.h"

#include "host/LogManager.h"
#include "host/Singleton.h"

namespace Ostrel {
namespace {

constexpr LogTag kTag("NetworkManager");
const char kMethod[] = "SendSyncHttpRequest";

// The host's Send must not let an exception into library threads; one that
// escapes anyway counts as a failed exchange.
int CallSend(IOHttpClient* client, IOHttpRequest* request, IOHttpResponse* response) {
  int result;
  try {
    result = client->Send(request, response);
  } catch (...) {
    result = -1;
  }
  return result;
}

}  // namespace

NetworkManager* NetworkManager::GetInstance() { return Singleton<NetworkManager>::Get(); }

void NetworkManager::DestroyInstance() { Singleton<NetworkManager>::Destroy(); }

std::unique_ptr<HttpResponse> NetworkManager::SendSyncHttpRequest(IOHttpRequest* aRequest) {
  if (aRequest == nullptr) {
    LogError(kMethod, kTag, "SendSyncHttpRequest: aRequest is null error");
    return nullptr;
  }
  IOHttpClient* client = iHttpClient_.load(std::memory_order_acquire);
  if (client == nullptr) {
    LogError(kMethod, kTag, "SendSyncHttpRequest: iHttpClient is null error");
    return nullptr;
  }
  auto response = std::make_unique<HttpResponse>(aRequest);
  const int result = CallSend(client, aRequest, response.get());
  if (result != 0) {
    LogError(kMethod, kTag, "SendSyncHttpRequest: iHttpClient Send error");
    return nullptr;
  }
  return response;
}

}  // namespace Ostrel
