#include "ostrel_host/CurlHttpClient.h"

#include <curl/curl.h>

#include <memory>
#include <mutex>
#include <string>
#include <utility>

#include "CurlHandlePool.h"
#include "RedirectRule.h"
#include "UrlParts.h"

namespace OstrelHost {
namespace {

constexpr char kAllowedProtocols[] = "http,https";
constexpr char kTag[] = "OstrelHost.CurlHttpClient";
constexpr int kWarning = 2;

// What one exchange gathers from libcurl's callbacks.
struct Exchange {
  size_t maxBodyBytes = 0;
  bool bodyTooLarge = false;
  std::string header;
  std::string body;
};

struct ListDeleter {
  void operator()(curl_slist* list) const { curl_slist_free_all(list); }
};

// Exceptions must not unwind through libcurl's C frames: a callback that
// fails returns a count libcurl reads as an error and aborts the exchange.
size_t OnBody(char* data, size_t size, size_t count, void* context) {
  auto* exchange = static_cast<Exchange*>(context);
  const size_t bytes = size * count;
  if (exchange->body.size() + bytes > exchange->maxBodyBytes) {
    exchange->bodyTooLarge = true;
    return 0;
  }
  try {
    exchange->body.append(data, bytes);
  } catch (...) {
    return 0;
  }
  return bytes;
}

size_t OnHeader(char* data, size_t size, size_t count, void* context) {
  auto* exchange = static_cast<Exchange*>(context);
  const size_t bytes = size * count;
  try {
    // A status line opens a new response (after a 100 Continue): only the
    // final response's header is handed on.
    if (bytes >= 5 && std::string(data, 5) == "HTTP/") exchange->header.clear();
    exchange->header.append(data, bytes);
  } catch (...) {
    return 0;
  }
  return bytes;
}

void InitCurlOnce() {
  static std::once_flag once;
  std::call_once(once, [] { curl_global_init(CURL_GLOBAL_DEFAULT); });
}

class Sender {
 public:
  Sender(const CurlHttpOptions& options, CurlHandlePool& pool, Ostrel::IOHttpResponse* response)
      : options_(options), pool_(pool), response_(response) {}

  int Send(Ostrel::IOHttpRequest* request);

 private:
  void Configure(CURL* handle, const std::string& url, curl_slist* headers, Exchange* exchange);
  int Fail(int code, const std::string& url, const std::string& reason);
  void Log(const std::string& text) const;

  const CurlHttpOptions& options_;
  CurlHandlePool& pool_;
  Ostrel::IOHttpResponse* const response_;
  char errorText_[CURL_ERROR_SIZE] = {0};
};

int Sender::Send(Ostrel::IOHttpRequest* request) {
  if (request->GetType() != 0) {
    return Fail(-1, "", "unsupported request type " + std::to_string(request->GetType()));
  }
  const char* requested = request->GetUrl();
  if (requested == nullptr || *requested == '\0') return Fail(-1, "", "empty URL");
  std::string url = requested;

  std::unique_ptr<curl_slist, ListDeleter> headers;
  unsigned headerCount = 0;
  const char** lines = request->GetHeaders(&headerCount);
  for (unsigned i = 0; lines != nullptr && i < headerCount; ++i) {
    if (lines[i] == nullptr) continue;
    curl_slist* extended = curl_slist_append(headers.get(), lines[i]);
    if (extended == nullptr) return Fail(-1, url, "out of memory for the header lines");
    headers.release();
    headers.reset(extended);
  }

  std::string why;
  CurlHandlePool::Lease handle = pool_.Acquire(&why);
  if (!handle) {
    return Fail(pool_.IsShutDown() ? CURLE_ABORTED_BY_CALLBACK : CURLE_FAILED_INIT, url, why);
  }
  for (long redirects = 0;; ++redirects) {
    Exchange exchange;
    exchange.maxBodyBytes = options_.maxBodyBytes;
    // Nothing of the handle's last exchange may carry over but its
    // connections and caches.
    curl_easy_reset(handle->easy);
    Configure(handle->easy, url, headers.get(), &exchange);
    const CURLcode result = pool_.Perform(*handle, &why);
    if (result != CURLE_OK) {
      if (exchange.bodyTooLarge) {
        why = "response body exceeds " + std::to_string(options_.maxBodyBytes) + " bytes";
      } else if (why.empty()) {
        why = errorText_[0] != '\0' ? errorText_ : curl_easy_strerror(result);
      }
      return Fail(static_cast<int>(result), url, why);
    }
    long status = 0;
    curl_easy_getinfo(handle->easy, CURLINFO_RESPONSE_CODE, &status);
    const char* location = nullptr;
    curl_easy_getinfo(handle->easy, CURLINFO_REDIRECT_URL, &location);
    std::string refused;
    if (location != nullptr && options_.maxRedirects > 0) {
      if (redirects >= options_.maxRedirects) {
        return Fail(CURLE_TOO_MANY_REDIRECTS, url,
                    "more than " + std::to_string(options_.maxRedirects) + " redirects");
      }
      const RedirectRule::Decision next = RedirectRule::Decide(url, location, headers != nullptr);
      if (next.follow) {
        url = next.url;
        continue;
      }
      refused = next.refusal;
      Log("GET " + WithoutQuery(url) + ": " + refused);
    }
    const bool success = status >= 200 && status < 300;
    const std::string message =
        success ? std::string() : refused.empty() ? "HTTP " + std::to_string(status) : refused;
    if (!success && refused.empty()) Log("GET " + WithoutQuery(url) + ": " + message);
    response_->SetStatusCode(static_cast<int>(status));
    response_->SetHeader(exchange.header.c_str());
    response_->SetBody(exchange.body.c_str());
    response_->SetSuccess(success);
    response_->SetMessage(message.c_str());
    return 0;
  }
}

void Sender::Configure(CURL* handle, const std::string& url, curl_slist* headers,
                       Exchange* exchange) {
  errorText_[0] = '\0';
  curl_easy_setopt(handle, CURLOPT_URL, url.c_str());
  curl_easy_setopt(handle, CURLOPT_HTTPGET, 1L);
  curl_easy_setopt(handle, CURLOPT_HTTPHEADER, headers);
  curl_easy_setopt(handle, CURLOPT_ERRORBUFFER, errorText_);
  curl_easy_setopt(handle, CURLOPT_SHARE, pool_.share());
  // Signals cannot carry timeouts in a process with several threads.
  curl_easy_setopt(handle, CURLOPT_NOSIGNAL, 1L);
  curl_easy_setopt(handle, CURLOPT_CONNECTTIMEOUT_MS, options_.connectTimeoutMs);
  curl_easy_setopt(handle, CURLOPT_TIMEOUT_MS, options_.totalTimeoutMs);
  curl_easy_setopt(handle, CURLOPT_LOW_SPEED_LIMIT, options_.lowSpeedBytesPerSecond);
  curl_easy_setopt(handle, CURLOPT_LOW_SPEED_TIME, options_.lowSpeedSeconds);
  curl_easy_setopt(handle, CURLOPT_SSL_VERIFYPEER, options_.verifyTls ? 1L : 0L);
  curl_easy_setopt(handle, CURLOPT_SSL_VERIFYHOST, options_.verifyTls ? 2L : 0L);
  if (!options_.caBundlePath.empty()) {
    curl_easy_setopt(handle, CURLOPT_CAINFO, options_.caBundlePath.c_str());
  }
  if (options_.proxy) curl_easy_setopt(handle, CURLOPT_PROXY, options_.proxy->c_str());
  if (!options_.userAgent.empty()) {
    curl_easy_setopt(handle, CURLOPT_USERAGENT, options_.userAgent.c_str());
  }
#if LIBCURL_VERSION_NUM >= 0x075500
  curl_easy_setopt(handle, CURLOPT_PROTOCOLS_STR, kAllowedProtocols);
#else
  curl_easy_setopt(handle, CURLOPT_PROTOCOLS, long{CURLPROTO_HTTP | CURLPROTO_HTTPS});
#endif
  // Redirects are followed here, one exchange at a time, so that each
  // target can be checked before any header goes there.
  curl_easy_setopt(handle, CURLOPT_FOLLOWLOCATION, 0L);
  // Any encoding libcurl can decode; the body handed on is always decoded.
  curl_easy_setopt(handle, CURLOPT_ACCEPT_ENCODING, "");
  curl_easy_setopt(handle, CURLOPT_WRITEFUNCTION, OnBody);
  curl_easy_setopt(handle, CURLOPT_WRITEDATA, exchange);
  curl_easy_setopt(handle, CURLOPT_HEADERFUNCTION, OnHeader);
  curl_easy_setopt(handle, CURLOPT_HEADERDATA, exchange);
}

int Sender::Fail(int code, const std::string& url, const std::string& reason) {
  Log("GET " + (url.empty() ? std::string("<no URL>") : WithoutQuery(url)) + " failed: " +
      reason);
  response_->SetSuccess(false);
  response_->SetMessage(reason.c_str());
  return code;
}

void Sender::Log(const std::string& text) const {
  if (options_.log != nullptr) options_.log->Log(kWarning, kTag, "Send", text.c_str());
}

}  // namespace

CurlHttpClient::CurlHttpClient(CurlHttpOptions options)
    : options_(std::move(options)),
      pool_((InitCurlOnce(), std::make_unique<CurlHandlePool>(options_.maxIdleHandles))) {}

CurlHttpClient::~CurlHttpClient() = default;

int CurlHttpClient::Send(Ostrel::IOHttpRequest* request, Ostrel::IOHttpResponse* response) {
  if (request == nullptr || response == nullptr) return -1;
  try {
    return Sender(options_, *pool_, response).Send(request);
  } catch (...) {
    // Only allocation can throw here; the library reads it as a transport
    // failure and retries later.
    response->SetSuccess(false);
    return -1;
  }
}

void CurlHttpClient::Shutdown() { pool_->Shutdown(); }

}  // namespace OstrelHost
