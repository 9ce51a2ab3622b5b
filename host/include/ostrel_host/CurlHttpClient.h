// An HTTP client for the library, built on libcurl.
#ifndef OSTREL_HOST_CURLHTTPCLIENT_H_
#define OSTREL_HOST_CURLHTTPCLIENT_H_

#include <cstddef>
#include <memory>
#include <optional>
#include <string>

#include "ostrel/IOHttp.h"
#include "ostrel/IOLog.h"

namespace OstrelHost {

class CurlHandlePool;

struct CurlHttpOptions {
  // Time allowed to establish the connection, TLS handshake included.
  long connectTimeoutMs = 5000;
  // Time allowed for the whole exchange, connection and redirects included
  // (each redirect's exchange gets this time anew).
  long totalTimeoutMs = 20000;
  // An exchange that moves fewer than lowSpeedBytesPerSecond bytes a second
  // for lowSpeedSeconds in a row is abandoned, so that a stalled server
  // frees the caller before the total time is up. 0 in either turns it off.
  long lowSpeedBytesPerSecond = 100;
  long lowSpeedSeconds = 10;
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
  // Easy handles kept between exchanges, each with its open connections,
  // so that later requests to a host skip the TCP and TLS set-up. 0: every
  // exchange opens fresh connections and nothing is shared.
  size_t maxIdleHandles = 4;
  // Where failures are told, with the method, the URL without its query and
  // libcurl's reason. Not owned; must outlive the client. Null: silent.
  Ostrel::IOLog* log = nullptr;
};

// IOHttpClient over libcurl. Send may be called from several threads at
// once. Exchanges borrow easy handles from a small pool: a handle keeps its
// connections between exchanges, and all handles share the DNS cache and
// the TLS sessions. The first construction initialises libcurl for the
// process (curl_global_init); the library is never de-initialised, since
// other parts of the process may use it.
//
// Send performs a GET of request->GetUrl() with the request's header lines.
// It returns 0 whenever an HTTP response arrived, whatever its status, and
// fills the response: status code, the final response's header text, the
// body, success (true for a 2xx status) and, for other statuses, a message
// "HTTP <status>". A transport failure (DNS, connection, TLS, timeout, body
// too large, too many redirects, Shutdown) returns the non-zero CURLcode and
// sets the message to libcurl's error text. A request of another type than
// 0 is refused with -1. Nothing ever throws out of Send.
//
// Redirects: a request that carries header lines (the library's signed API
// requests) follows a redirect only within its origin (scheme, host and
// port), so its headers never reach another server; a request without
// headers (a CDN download) follows to any origin. No request follows from
// https to http. A refused redirect is handed on as the 3xx response it is,
// with success false and a message saying why.
//
// IOHttpResponse::SetBody takes a NUL-terminated text, so a body containing
// NUL bytes reaches the library cut at the first one. The service's
// documents are JSON text, which never contains NUL.
//
// Shutting down: a host that ends calls Shutdown() first, then
// DestroyIOstrelConfig(), then destroys the client. Shutdown makes every
// exchange in flight return at once, so the library's teardown, which waits
// for its requests, does not wait out a timeout.
class CurlHttpClient final : public Ostrel::IOHttpClient {
 public:
  explicit CurlHttpClient(CurlHttpOptions options = CurlHttpOptions());
  CurlHttpClient(const CurlHttpClient&) = delete;
  CurlHttpClient& operator=(const CurlHttpClient&) = delete;
  // No Send may be running: the library must no longer hold the client.
  ~CurlHttpClient();

  int Send(Ostrel::IOHttpRequest* request, Ostrel::IOHttpResponse* response) override;

  // Stops every exchange in flight: each returns CURLE_ABORTED_BY_CALLBACK
  // with the message "the client is shut down". Every
  // later Send fails at once the same way, without a connection.
  // Irreversible; any thread; may be called more than once.
  void Shutdown();

  const CurlHttpOptions& options() const { return options_; }

 private:
  const CurlHttpOptions options_;
  // Owned; constant after construction, thread-safe itself.
  const std::unique_ptr<CurlHandlePool> pool_;
};

}  // namespace OstrelHost

#endif  // OSTREL_HOST_CURLHTTPCLIENT_H_
