// An unsigned download of a published resource from the content-delivery
// network, checked against the MD5 its index announced.
#ifndef OSTREL_NET_BASECDNREQUEST_H_
#define OSTREL_NET_BASECDNREQUEST_H_

#include <string>

#include "net/BaseRequest.h"
#include "net/NetworkManager.h"

namespace Ostrel {

class BaseCdnRequest : public BaseRequest {
 public:
  // network: sends the request; not owned. url: the complete download URL.
  // expectedMd5: lowercase hexadecimal MD5 of the resource, or empty for no
  // check.
  BaseCdnRequest(NetworkManager* network, std::string url, std::string expectedMd5)
      : network_(network), url_(std::move(url)), expectedMd5_(std::move(expectedMd5)) {}

  // One GET without headers or body; no retry (the caller decides whether
  // to fall back to the signed API).
  bool SyncRequest(std::string& body) override;

  const std::string& url() const { return url_; }

 private:
  NetworkManager* const network_;
  const std::string url_;
  const std::string expectedMd5_;
};

}  // namespace Ostrel

#endif  // OSTREL_NET_BASECDNREQUEST_H_
