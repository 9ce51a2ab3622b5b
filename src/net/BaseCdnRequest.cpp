#include "net/BaseCdnRequest.h"

#include "host/LogManager.h"
#include "net/HttpRequest.h"

namespace Ostrel {
namespace {

constexpr LogTag kTag("Ostrel.BaseCdnRequest");

}  // namespace

bool BaseCdnRequest::SyncRequest(std::string& body) {
  HttpRequest request;
  request.SetUrl(url_);
  request.SetType(0);
  return ReadResponse(network_->SendSyncHttpRequest(&request), expectedMd5_, kTag,
                      "cdn request failed,httpResponse is null!!!", body);
}

}  // namespace Ostrel
