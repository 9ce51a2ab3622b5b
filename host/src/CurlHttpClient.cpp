#include "ostrel_host/CurlHttpClient.h"

#include <curl/curl.h>

#include <memory>
#include <mutex>
#include <string>
#include <utility>

namespace OstrelHost {
namespace {

constexpr char kAllowedProtocols[] = "http,https";

// What one exchange gathers from libcurl's callbacks.
struct Exchange {
  size_t maxBodyBytes = 0;
  bool bodyTooLarge = false;
  std::string header;
  std::string body;
};

struct EasyDeleter {
  void operator()(CURL* easy) const { curl_easy_cleanup(easy); }
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
    // A status line opens a new response (after a redirect or a 100
    // Continue): only the final response's header is handed on.
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

int Fail(Ostrel::IOHttpResponse* response, int code, const std::string& message) {
  response->SetSuccess(false);
  response->SetMessage(message.c_str());
  return code;
}

}  // namespace

CurlHttpClient::CurlHttpClient(CurlHttpOptions options) : options_(std::move(options)) {
  InitCurlOnce();
}

int CurlHttpClient::Send(Ostrel::IOHttpRequest* request, Ostrel::IOHttpResponse* response) {
  if (request == nullptr || response == nullptr) return -1;
  try {
    if (request->GetType() != 0) {
      return Fail(response, -1, "unsupported request type " + std::to_string(request->GetType()));
    }
    const char* url = request->GetUrl();
    if (url == nullptr || *url == '\0') return Fail(response, -1, "empty URL");

    std::unique_ptr<CURL, EasyDeleter> easy(curl_easy_init());
    if (!easy) return Fail(response, -1, "curl_easy_init failed");
    std::unique_ptr<curl_slist, ListDeleter> headers;
    unsigned headerCount = 0;
    const char** lines = request->GetHeaders(&headerCount);
    for (unsigned i = 0; lines != nullptr && i < headerCount; ++i) {
      if (lines[i] == nullptr) continue;
      curl_slist* extended = curl_slist_append(headers.get(), lines[i]);
      if (extended == nullptr) return Fail(response, -1, "out of memory for the header lines");
      headers.release();
      headers.reset(extended);
    }

    Exchange exchange;
    exchange.maxBodyBytes = options_.maxBodyBytes;
    char errorText[CURL_ERROR_SIZE] = {0};
    CURL* handle = easy.get();
    curl_easy_setopt(handle, CURLOPT_URL, url);
    curl_easy_setopt(handle, CURLOPT_HTTPGET, 1L);
    curl_easy_setopt(handle, CURLOPT_HTTPHEADER, headers.get());
    curl_easy_setopt(handle, CURLOPT_ERRORBUFFER, errorText);
    // Signals cannot carry timeouts in a process with several threads.
    curl_easy_setopt(handle, CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(handle, CURLOPT_CONNECTTIMEOUT_MS, options_.connectTimeoutMs);
    curl_easy_setopt(handle, CURLOPT_TIMEOUT_MS, options_.totalTimeoutMs);
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
    curl_easy_setopt(handle, CURLOPT_REDIR_PROTOCOLS_STR, kAllowedProtocols);
#else
    curl_easy_setopt(handle, CURLOPT_PROTOCOLS, long{CURLPROTO_HTTP | CURLPROTO_HTTPS});
    curl_easy_setopt(handle, CURLOPT_REDIR_PROTOCOLS, long{CURLPROTO_HTTP | CURLPROTO_HTTPS});
#endif
    curl_easy_setopt(handle, CURLOPT_FOLLOWLOCATION, options_.maxRedirects > 0 ? 1L : 0L);
    curl_easy_setopt(handle, CURLOPT_MAXREDIRS, options_.maxRedirects);
    // Any encoding libcurl can decode; the body handed on is always decoded.
    curl_easy_setopt(handle, CURLOPT_ACCEPT_ENCODING, "");
    curl_easy_setopt(handle, CURLOPT_WRITEFUNCTION, OnBody);
    curl_easy_setopt(handle, CURLOPT_WRITEDATA, &exchange);
    curl_easy_setopt(handle, CURLOPT_HEADERFUNCTION, OnHeader);
    curl_easy_setopt(handle, CURLOPT_HEADERDATA, &exchange);

    const CURLcode result = curl_easy_perform(handle);
    if (result != CURLE_OK) {
      std::string message = errorText[0] != '\0' ? errorText : curl_easy_strerror(result);
      if (exchange.bodyTooLarge) {
        message = "response body exceeds " + std::to_string(options_.maxBodyBytes) + " bytes";
      }
      return Fail(response, static_cast<int>(result), message);
    }
    long status = 0;
    curl_easy_getinfo(handle, CURLINFO_RESPONSE_CODE, &status);
    const bool success = status >= 200 && status < 300;
    response->SetStatusCode(static_cast<int>(status));
    response->SetHeader(exchange.header.c_str());
    response->SetBody(exchange.body.c_str());
    response->SetSuccess(success);
    response->SetMessage(success ? "" : ("HTTP " + std::to_string(status)).c_str());
    return 0;
  } catch (...) {
    // Only allocation can throw here; the library reads it as a transport
    // failure and retries later.
    response->SetSuccess(false);
    return -1;
  }
}

}  // namespace OstrelHost
