// A request and a response as the library hands them to an HTTP client,
// for driving a client without the library.
#ifndef OSTREL_TESTS_ADAPTERS_HTTPEXCHANGE_H_
#define OSTREL_TESTS_ADAPTERS_HTTPEXCHANGE_H_

#include <string>
#include <utility>
#include <vector>

#include "ostrel/IOHttp.h"

namespace OstrelTest {

class TestRequest : public Ostrel::IOHttpRequest {
 public:
  explicit TestRequest(std::string url, std::vector<std::string> headers = {}, int type = 0)
      : url_(std::move(url)), headers_(std::move(headers)), type_(type) {
    for (const std::string& line : headers_) lines_.push_back(line.c_str());
  }

  int GetType() const override { return type_; }
  const char* GetUrl() const override { return url_.c_str(); }
  const char* GetBody() const override { return ""; }
  int64_t GetBodyLength() const override { return 0; }
  const char* GetExtra0() const override { return ""; }
  int64_t GetOption() const override { return 0; }
  void* GetOptionRef() const override { return nullptr; }
  const char** GetHeaders(unsigned* count) const override {
    *count = static_cast<unsigned>(lines_.size());
    return lines_.empty() ? nullptr : const_cast<const char**>(lines_.data());
  }
  const char* GetExtra1() const override { return ""; }
  const char* GetExtra2() const override { return ""; }

 private:
  std::string url_;
  std::vector<std::string> headers_;
  std::vector<const char*> lines_;
  int type_;
};

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
