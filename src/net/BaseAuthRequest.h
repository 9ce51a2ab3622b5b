// A request to the service's API host, identified by the "o-" header lines
// and signed by the platform's signing object.
#ifndef OSTREL_NET_BASEAUTHREQUEST_H_
#define OSTREL_NET_BASEAUTHREQUEST_H_

#include <cstdint>
#include <map>
#include <string>

#include "net/BaseRequest.h"
#include "net/RequestContext.h"

namespace Ostrel {

class BaseAuthRequest : public BaseRequest {
 public:
  using Params = std::map<std::string, std::string>;

  // context: the network, signer, settings and identity to send with.
  // expectedMd5: lowercase hexadecimal MD5 the response body must have, or
  // empty for no check. path: the resource path ("/checkUpdate"), which is
  // also the first element of the signed text.
  BaseAuthRequest(RequestContext context, std::string expectedMd5, std::string path);

  // Query parameters, sent in key order and not encoded. Not owned: they
  // must outlive the sends. Null (the default) sends no query.
  void SetParams(const Params* params) { params_ = params; }

  // Stamps, signs and sends the request. A missing app key, version or
  // device id, or an empty signature, refuses it before anything is sent.
  bool SyncRequest(std::string& body) override;

  // The stamp of the last send: seconds since the Unix epoch, and the
  // device id joined to it by "_".
  uint64_t timestamp() const { return timestamp_; }
  const std::string& requestUnique() const { return requestUnique_; }

 private:
  std::string BuildUrl(bool plainHttp) const;

  const RequestContext context_;
  const std::string expectedMd5_;
  const std::string path_;
  uint64_t timestamp_ = 0;
  std::string requestUnique_;
  const Params* params_ = nullptr;  // not owned
};

}  // namespace Ostrel

#endif  // OSTREL_NET_BASEAUTHREQUEST_H_
