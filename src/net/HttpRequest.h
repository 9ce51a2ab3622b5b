// The library's description of one HTTP exchange, read by the host's client.
#ifndef OSTREL_NET_HTTPREQUEST_H_
#define OSTREL_NET_HTTPREQUEST_H_

#include <cstdint>
#include <string>
#include <vector>

#include "ostrel/IOHttp.h"

namespace Ostrel {

// Lives for one exchange on the calling thread. The host sees it only through
// IOHttpRequest, so the field order below mirrors the slots and must not
// change: the option word is preceded by the reserved word GetOptionRef
// exposes.
class HttpRequest : public IOHttpRequest {
 public:
  // Number of header lines a request carries once SetHeaders has run.
  static constexpr size_t kHeaderCount = 8;
  // The type code a fresh request has; both request kinds replace it by 0.
  static constexpr int kInitialType = 4;

  HttpRequest();
  ~HttpRequest() override;

  HttpRequest(const HttpRequest&) = delete;
  HttpRequest& operator=(const HttpRequest&) = delete;

  int GetType() const override { return type_; }
  const char* GetUrl() const override { return url_.c_str(); }
  // The library's requests are GETs: no body.
  const char* GetBody() const override { return ""; }
  int64_t GetBodyLength() const override { return 0; }
  const char* GetExtra0() const override { return extra0_.c_str(); }
  int64_t GetOption() const override { return option_; }
  void* GetOptionRef() const override;
  const char** GetHeaders(unsigned* count) const override;
  const char* GetExtra1() const override { return extra1_.c_str(); }
  const char* GetExtra2() const override { return extra2_.c_str(); }

  void SetType(int type) { type_ = type; }
  void SetUrl(const std::string& url) { url_ = url; }

  // Copies exactly kHeaderCount lines ("name: value"); a null entry becomes
  // an empty line. Earlier lines are replaced.
  void SetHeaders(const char* const lines[kHeaderCount]);

 private:
  int type_ = kInitialType;
  std::string url_;
  std::string extra0_;
  // Points into headerLines_; rebuilt whenever the lines change.
  mutable std::vector<const char*> headerPointers_;
  std::vector<std::string> headerLines_;
  int64_t optionReserved_ = 0;
  int64_t option_ = 0;
  std::string extra1_;
  std::string extra2_;
};

}  // namespace Ostrel

#endif  // OSTREL_NET_HTTPREQUEST_H_
