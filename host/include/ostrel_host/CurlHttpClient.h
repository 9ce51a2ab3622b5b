// An HTTP client for the library, built on libcurl.
#ifndef OSTREL_HOST_CURLHTTPCLIENT_H_
#define OSTREL_HOST_CURLHTTPCLIENT_H_

#include <cstddef>
#include <optional>
#include <string>

#include "ostrel/IOHttp.h"

namespace OstrelHost {

struct CurlHttpOptions {
  // Time allowed to establish the connection, TLS handshake included.
  long connectTimeoutMs = 5000;
  // Time allowed for the whole exchange, connection included.
  long totalTimeoutMs = 30000;
  // Peer certificate and host name checks. Turn off only for a test server.
  bool verifyTls = true;
  // A PEM bundle of trusted certificates; empty: libcurl's system default.
  std::string caBundlePath;
  // nullopt: libcurl's default (the http_proxy/https_proxy/no_proxy
  // variables); an empty string: never a proxy; otherwise the proxy URL.
  std::optional<std::string> proxy;
  // Redirects followed (http and https only); 0 turns following off.
  long maxRedirects = 5;
  // A larger body aborts the exchange as a transport failure.
  size_t maxBodyBytes = 64u << 20;
  std::string userAgent = "OstrelSdk-host/1";
};

// IOHttpClient over libcurl. Send may be called from several threads at
// once: each call uses an easy handle of its own, so calls share nothing but
// the options, which are constant after construction. The first construction
// initialises libcurl for the process (curl_global_init); the library is
// never de-initialised, since other parts of the process may use it.
//
// Send performs a GET of request->GetUrl() with the request's header lines.
// It returns 0 whenever an HTTP response arrived, whatever its status, and
// fills the response: status code, the final response's header text, the
// body, success (true for a 2xx status) and, for other statuses, a message
// "HTTP <status>". A transport failure (DNS, connection, TLS, timeout, body
// too large) returns the non-zero CURLcode and sets the message to libcurl's
// error text. A request of another type than 0 is refused with -1. Nothing
// ever throws out of Send.
//
// IOHttpResponse::SetBody takes a NUL-terminated text, so a body containing
// NUL bytes reaches the library cut at the first one. The service's
// documents are JSON text, which never contains NUL.
class CurlHttpClient final : public Ostrel::IOHttpClient {
 public:
  explicit CurlHttpClient(CurlHttpOptions options = CurlHttpOptions());
  CurlHttpClient(const CurlHttpClient&) = delete;
  CurlHttpClient& operator=(const CurlHttpClient&) = delete;
  ~CurlHttpClient() = default;

  int Send(Ostrel::IOHttpRequest* request, Ostrel::IOHttpResponse* response) override;

  const CurlHttpOptions& options() const { return options_; }

 private:
  const CurlHttpOptions options_;
};

}  // namespace OstrelHost

#endif  // OSTREL_HOST_CURLHTTPCLIENT_H_
