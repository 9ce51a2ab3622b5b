#include "net/NetworkManager.h"

#include "host/LogManager.h"
#include "host/Singleton.h"

namespace Ostrel {
namespace {

const char kTag[] = "NetworkManager";
const char kMethod[] = "SendSyncHttpRequest";

// Depth of Send calls on this thread, so that a client which replaces itself
// from inside Send does not wait for its own exchange.
thread_local int tSendDepth = 0;

// The host's Send must not let an exception into library threads; one that
// escapes anyway counts as a failed exchange.
int CallSend(IOHttpClient* client, IOHttpRequest* request, IOHttpResponse* response) {
  ++tSendDepth;
  int result;
  try {
    result = client->Send(request, response);
  } catch (...) {
    result = -1;
  }
  --tSendDepth;
  return result;
}

}  // namespace

NetworkManager* NetworkManager::GetInstance() { return Singleton<NetworkManager>::Get(); }

void NetworkManager::DestroyInstance() { Singleton<NetworkManager>::Destroy(); }

void NetworkManager::SetHttpClient(IOHttpClient* client) {
  MutexLock lock(&mutex_);
  IOHttpClient* previous = iHttpClient_;
  iHttpClient_ = client;
  if (previous == nullptr || previous == client || tSendDepth > 0) return;
  // Only exchanges on the previous client are waited for; sends that start on
  // the new one meanwhile cannot hold this call up.
  std::unique_lock<std::mutex> native(mutex_.native(), std::adopt_lock);
  while (IsInUse(previous)) idle_.wait(native);
  native.release();
}

std::unique_ptr<HttpResponse> NetworkManager::SendSyncHttpRequest(IOHttpRequest* aRequest) {
  if (aRequest == nullptr) {
    LogError(kMethod, kTag, "SendSyncHttpRequest: aRequest is null error");
    return nullptr;
  }
  IOHttpClient* client;
  {
    MutexLock lock(&mutex_);
    client = iHttpClient_;
    if (client != nullptr) ++activeSends_[client];
  }
  if (client == nullptr) {
    LogError(kMethod, kTag, "SendSyncHttpRequest: iHttpClient is null error");
    return nullptr;
  }
  auto response = std::make_unique<HttpResponse>(aRequest);
  const int result = CallSend(client, aRequest, response.get());
  {
    MutexLock lock(&mutex_);
    auto active = activeSends_.find(client);
    if (--active->second == 0) {
      activeSends_.erase(active);
      idle_.notify_all();
    }
  }
  if (result != 0) {
    LogError(kMethod, kTag, "SendSyncHttpRequest: iHttpClient Send error");
    return nullptr;
  }
  return response;
}

}  // namespace Ostrel
