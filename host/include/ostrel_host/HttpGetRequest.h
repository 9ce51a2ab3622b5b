// A plain GET in the library's request shape, for hosts that call their HTTP
// client directly as well (a tool polling its own server, say), so that one
// client serves both.
#ifndef OSTREL_HOST_HTTPGETREQUEST_H_
#define OSTREL_HOST_HTTPGETREQUEST_H_

#include <string>
#include <utility>
#include <vector>

#include "ostrel/IOHttp.h"

namespace OstrelHost {

class HttpGetRequest final : public Ostrel::IOHttpRequest {
 public:
  // headers: complete lines "name: value". type: the request-type code the
  // client sees (0, a GET, is the only one the library sends).
  explicit HttpGetRequest(std::string url, std::vector<std::string> headers = {}, int type = 0)
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
    if (count != nullptr) *count = static_cast<unsigned>(lines_.size());
    return lines_.empty() ? nullptr : const_cast<const char**>(lines_.data());
  }
  const char* GetExtra1() const override { return ""; }
  const char* GetExtra2() const override { return ""; }

 private:
  const std::string url_;
  const std::vector<std::string> headers_;
  std::vector<const char*> lines_;  // into headers_
  const int type_;
};

}  // namespace OstrelHost

#endif  // OSTREL_HOST_HTTPGETREQUEST_H_
