// The answer to one HttpRequest, filled by the host's client.
#ifndef OSTREL_NET_HTTPRESPONSE_H_
#define OSTREL_NET_HTTPRESPONSE_H_

#include <string>

#include "ostrel/IOHttp.h"

namespace Ostrel {

class HttpRequest;

// The host writes through the IOHttpResponse slots; the library reads the
// accessors afterwards on the same thread. The setters are called across the
// host boundary, so none of them throws: a text that cannot be stored leaves
// the field empty.
class HttpResponse : public IOHttpResponse {
 public:
  explicit HttpResponse(const IOHttpRequest* request) : request_(request) {}
  ~HttpResponse() override;

  HttpResponse(const HttpResponse&) = delete;
  HttpResponse& operator=(const HttpResponse&) = delete;

  void SetSuccess(bool success) override { success_ = success; }
  void SetBody(const char* body) override;
  void SetHeader(const char* header) override;
  void SetStatusCode(int statusCode) override { statusCode_ = statusCode; }
  void SetMessage(const char* message) override;

  const IOHttpRequest* request() const { return request_; }
  bool success() const { return success_; }
  const std::string& body() const { return body_; }
  std::string& mutable_body() { return body_; }
  const std::string& header() const { return header_; }
  int statusCode() const { return statusCode_; }
  const std::string& message() const { return message_; }

 private:
  const IOHttpRequest* request_;  // not owned; outlives the response
  bool success_ = false;
  std::string body_;
  std::string header_;
  int statusCode_ = 0;
  std::string message_;
};

}  // namespace Ostrel

#endif  // OSTREL_NET_HTTPRESPONSE_H_
