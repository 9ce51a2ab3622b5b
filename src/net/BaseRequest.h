// The common shape of the library's two request kinds.
#ifndef OSTREL_NET_BASEREQUEST_H_
#define OSTREL_NET_BASEREQUEST_H_

#include <memory>
#include <string>

#include "host/LogManager.h"
#include "net/HttpResponse.h"

namespace Ostrel {

// A request object is used by one thread for one or more sends.
class BaseRequest {
 public:
  virtual ~BaseRequest() = default;

  // True when a response arrived with success set and, where an MD5 was
  // expected, a matching body; body then holds the response body. False on
  // every failure, after one error line.
  virtual bool SyncRequest(std::string& body) = 0;

 protected:
  // The part both kinds share once the exchange is over: the null and
  // unsuccessful responses, the copy of the body and the MD5 check. A body
  // that fails the check is still left in body.
  static bool ReadResponse(std::unique_ptr<HttpResponse> response, const std::string& expectedMd5,
                           LogTag tag, const char* nullResponseMessage, std::string& body);
};

}  // namespace Ostrel

#endif  // OSTREL_NET_BASEREQUEST_H_
