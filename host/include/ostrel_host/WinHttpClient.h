// An HTTP client for the library, built on WinHTTP (Windows only).
#ifndef OSTREL_HOST_WINHTTPCLIENT_H_
#define OSTREL_HOST_WINHTTPCLIENT_H_

#include <condition_variable>
#include <cstddef>
#include <mutex>
#include <string>

#include "ostrel/IOHttp.h"

namespace OstrelHost {

struct WinHttpOptions {
  enum class Proxy {
    // The system's setting: automatic proxy discovery (WPAD and the user's
    // settings) where Windows offers it (8.1 and later), else the proxy
    // configured for WinHTTP (netsh winhttp).
    kSystem,
    // Always a direct connection.
    kNone,
    // proxyServer, for example "proxy.example:8080", bypassing proxyBypass.
    kExplicit,
  };
  Proxy proxy = Proxy::kSystem;
  std::string proxyServer;
  // Hosts reached directly with an explicit proxy, separated by ';';
  // "<local>" stands for names without a dot.
  std::string proxyBypass = "<local>";
  // Credentials for the explicit proxy (Basic, or what the proxy offers
  // among the schemes WinHTTP knows). Empty: none.
  std::string proxyUser;
  std::string proxyPassword;

  // Time allowed to resolve the name and to establish the connection.
  int connectTimeoutMs = 5000;
  // Time allowed for sending the request, and for each wait on the answer.
  int sendTimeoutMs = 30000;
  int receiveTimeoutMs = 30000;
  // Time allowed for the whole exchange, redirects included.
  int totalTimeoutMs = 60000;
  // Redirects followed; 0 hands a 3xx answer back as it is.
  int maxRedirects = 5;
  // A larger body aborts the exchange as a transport failure.
  size_t maxBodyBytes = 64u << 20;
  // UTF-8.
  std::string userAgent = "OstrelSdk-host/1";
};

// IOHttpClient over WinHTTP, which comes with Windows: one WinHTTP session
// per client and a connection per request, TLS checked against the Windows
// certificate store, gzip and deflate accepted where the system decodes
// them (Windows 8.1 and later).
//
// Send performs a GET of request->GetUrl() (http or https) with the
// request's header lines, and may be called from several threads at once.
// It returns 0 whenever an HTTP answer arrived, whatever its status, and
// fills the response: status code, the final answer's header text, the
// body, success (true for a 2xx status) and, for other statuses, a message
// "HTTP <status>". A transport failure (name, connection, TLS, timeout, body
// too large, too many redirects) returns non-zero with a message such as
// "cannot connect to 127.0.0.1:8080: WinHTTP error 12029 (cannot connect)".
// Nothing ever throws out of Send.
//
// Redirects are followed by the client itself, so that it decides what goes
// where: a request that carries header lines (the library's signed API
// requests) follows a redirect only within its origin (scheme, host and
// port), so its signature and identity never reach another server; a
// request without headers (a CDN download) follows to any origin. No
// request follows from https to http. A refused redirect is handed on as
// the 3xx answer it is, with success false and a message saying why, such
// as "redirect of a request with headers to http://other.example/x refused".
//
// IOHttpResponse::SetBody takes a NUL-terminated text, so a body containing
// NUL bytes reaches the library cut at the first one. The service's
// documents are JSON text, which never contains NUL.
class WinHttpClient final : public Ostrel::IOHttpClient {
 public:
  // Opens the WinHTTP session. When that fails, every Send fails with the
  // reason, which error() returns as well.
  explicit WinHttpClient(WinHttpOptions options = WinHttpOptions());
  WinHttpClient(const WinHttpClient&) = delete;
  WinHttpClient& operator=(const WinHttpClient&) = delete;
  // Shuts down, waits until every Send has returned, and closes the session.
  ~WinHttpClient();

  int Send(Ostrel::IOHttpRequest* request, Ostrel::IOHttpResponse* response) override;

  // Makes every Send in progress return promptly with a failure ("client
  // shut down") and every later one fail at once. Call it from any thread,
  // for example before DestroyIOstrelConfig, so that the library's threads
  // never wait out a timeout at exit. It does not wait for the Sends.
  void Shutdown();

  // Empty when the session opened.
  const std::string& error() const { return error_; }
  const WinHttpOptions& options() const { return options_; }

 private:
  int Perform(Ostrel::IOHttpRequest* request, Ostrel::IOHttpResponse* response);

  // Constant after construction.
  const WinHttpOptions options_;
  void* session_ = nullptr;      // HINTERNET; closed by the destructor
  void* shutdownEvent_ = nullptr;  // HANDLE, manual reset; set by Shutdown
  std::string error_;

  std::mutex mutex_;
  std::condition_variable idle_;
  int sending_ = 0;  // guarded by mutex_: Sends in progress
};

}  // namespace OstrelHost

#endif  // OSTREL_HOST_WINHTTPCLIENT_H_
