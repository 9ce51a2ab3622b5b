// A request and a response as the library hands them to an HTTP client,
// for driving a client without the library. The response records which
// setters the client called.
#ifndef OSTREL_TESTS_ADAPTERS_HTTPEXCHANGE_H_
#define OSTREL_TESTS_ADAPTERS_HTTPEXCHANGE_H_

#include <string>

#include "ostrel/IOHttp.h"
#include "ostrel_host/HttpGetRequest.h"

namespace OstrelTest {

using TestRequest = OstrelHost::HttpGetRequest;

// Records every setter; "unset" marks a field the client never filled.
class TestResponse : public Ostrel::IOHttpResponse {
 public:
  void SetSuccess(bool value) override { success = value ? "true" : "false"; }
  void SetBody(const char* value) override { body = value != nullptr ? value : ""; }
  void SetHeader(const char* value) override { header = value != nullptr ? value : ""; }
  void SetStatusCode(int value) override { statusCode = value; }
  void SetMessage(const char* value) override { message = value != nullptr ? value : ""; }

  std::string success = "unset";
  std::string body = "unset";
  std::string header = "unset";
  int statusCode = -1;
  std::string message = "unset";
};

}  // namespace OstrelTest

#endif  // OSTREL_TESTS_ADAPTERS_HTTPEXCHANGE_H_
