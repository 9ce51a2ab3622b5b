#include "net/BaseCdnRequest.h"

#include "net/HttpRequest.h"
#include "net/NetworkManager.h"

namespace Ostrel {
namespace {

const char kTag[] = "Ostrel.BaseCdnRequest";

}  // namespace

bool BaseCdnRequest::SyncRequest(std::string& body) {
  NetworkManager* network = NetworkManager::GetInstance();
  HttpRequest request;
  request.SetUrl(url_);
  request.SetType(0);
  return ReadResponse(network->SendSyncHttpRequest(&request), expectedMd5_, kTag,
                      "cdn request failed,httpResponse is null!!!", body);
}

}  // namespace Ostrel
