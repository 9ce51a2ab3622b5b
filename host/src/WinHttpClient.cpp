#include "ostrel_host/WinHttpClient.h"

#include "RedirectRule.h"
#include "UrlParts.h"

#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>
#include <winhttp.h>

#include <chrono>
#include <string>
#include <utility>
#include <vector>

namespace OstrelHost {
namespace {

constexpr int kFailed = -1;
constexpr DWORD kNotifications = WINHTTP_CALLBACK_FLAG_ALL_COMPLETIONS | WINHTTP_CALLBACK_FLAG_HANDLES;
constexpr char kShutDown[] = "client shut down";

std::wstring Widen(const std::string& text) {
  if (text.empty()) return std::wstring();
  const int size =
      MultiByteToWideChar(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), nullptr, 0);
  if (size <= 0) return std::wstring();
  std::wstring wide(static_cast<size_t>(size), L'\0');
  MultiByteToWideChar(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), wide.data(), size);
  return wide;
}

std::string Narrow(const wchar_t* text, size_t length) {
  if (length == 0) return std::string();
  const int size = WideCharToMultiByte(CP_UTF8, 0, text, static_cast<int>(length), nullptr, 0,
                                       nullptr, nullptr);
  if (size <= 0) return std::string();
  std::string narrow(static_cast<size_t>(size), '\0');
  WideCharToMultiByte(CP_UTF8, 0, text, static_cast<int>(length), narrow.data(), size, nullptr,
                      nullptr);
  return narrow;
}

// The same words on every Windows version and under any display language,
// so that logs can be searched for them.
const char* ErrorName(DWORD code) {
  switch (code) {
    case ERROR_WINHTTP_TIMEOUT:
    case WSAETIMEDOUT:  // what wine reports for a receive that timed out
      return "timed out";
    case ERROR_WINHTTP_CANNOT_CONNECT: return "cannot connect";
    case ERROR_WINHTTP_CONNECTION_ERROR: return "connection reset";
    case ERROR_WINHTTP_NAME_NOT_RESOLVED: return "name not resolved";
    case ERROR_WINHTTP_OPERATION_CANCELLED: return "cancelled";
    case ERROR_WINHTTP_INVALID_SERVER_RESPONSE: return "invalid answer";
    case ERROR_WINHTTP_INVALID_URL: return "invalid URL";
    case ERROR_WINHTTP_UNRECOGNIZED_SCHEME: return "unrecognized scheme";
    case ERROR_WINHTTP_SECURE_FAILURE: return "TLS failure";
    case ERROR_WINHTTP_SECURE_CERT_CN_INVALID: return "certificate name mismatch";
    case ERROR_WINHTTP_SECURE_CERT_DATE_INVALID: return "certificate outside its validity";
    case ERROR_WINHTTP_SECURE_INVALID_CA: return "certificate authority not trusted";
    case ERROR_WINHTTP_SECURE_CERT_REVOKED: return "certificate revoked";
    case ERROR_WINHTTP_SECURE_CERT_REV_FAILED: return "revocation check failed";
    case ERROR_WINHTTP_AUTODETECTION_FAILED: return "proxy detection failed";
    case ERROR_WINHTTP_LOGIN_FAILURE: return "login failure";
    case ERROR_NOT_ENOUGH_MEMORY: return "out of memory";
    default: return "unexpected";
  }
}

std::string WinHttpError(DWORD code) {
  return "WinHTTP error " + std::to_string(code) + " (" + ErrorName(code) + ")";
}

bool IsRedirect(DWORD status) {
  return status == 301 || status == 302 || status == 303 || status == 307 || status == 308;
}

// An http or https URL taken apart.
struct Target {
  bool secure = false;
  std::wstring host;
  INTERNET_PORT port = 0;
  std::wstring pathAndQuery;
  std::string authority;  // host:port, UTF-8, for messages

};

// False with *error set when url is not an absolute http or https URL. The
// message shows the URL without its query, which may carry a signature.
bool Parse(const std::string& url, Target* target, std::string* error) {
  const std::wstring wide = Widen(url);
  SetLastError(0);
  URL_COMPONENTS parts{};
  parts.dwStructSize = sizeof parts;
  parts.dwSchemeLength = static_cast<DWORD>(-1);
  parts.dwHostNameLength = static_cast<DWORD>(-1);
  parts.dwUrlPathLength = static_cast<DWORD>(-1);
  parts.dwExtraInfoLength = static_cast<DWORD>(-1);
  if (wide.empty() || !WinHttpCrackUrl(wide.c_str(), 0, 0, &parts) ||
      parts.dwHostNameLength == 0) {
    const bool scheme = GetLastError() == ERROR_WINHTTP_UNRECOGNIZED_SCHEME;
    *error = (scheme ? "unsupported scheme in " : "invalid URL ") + WithoutQuery(url);
    return false;
  }
  if (parts.nScheme != INTERNET_SCHEME_HTTP && parts.nScheme != INTERNET_SCHEME_HTTPS) {
    *error = "unsupported scheme in " + WithoutQuery(url);
    return false;
  }
  target->secure = parts.nScheme == INTERNET_SCHEME_HTTPS;
  target->host.assign(parts.lpszHostName, parts.dwHostNameLength);
  target->port = parts.nPort;
  target->pathAndQuery.assign(parts.lpszUrlPath, parts.dwUrlPathLength);
  target->pathAndQuery.append(parts.lpszExtraInfo, parts.dwExtraInfoLength);
  // The fragment stays with the client.
  const size_t fragment = target->pathAndQuery.find(L'#');
  if (fragment != std::wstring::npos) target->pathAndQuery.resize(fragment);
  if (target->pathAndQuery.empty()) target->pathAndQuery = L"/";
  target->authority =
      Narrow(target->host.data(), target->host.size()) + ":" + std::to_string(target->port);
  return true;
}

// What one request gathered.
struct Answer {
  DWORD status = 0;
  std::string header;
  std::string location;
  std::string body;
};

// The state WinHTTP's callback shares with the sending thread. It lives on
// the heap until WinHTTP reports the request handle closing, because a
// callback (and a read into buffer) may still run after a cancellation, and
// a cancelled step may take that long to end (wine ends a pending receive
// only at its timeout), which the sending thread does not wait for.
struct Exchange {
  Exchange() : done(CreateEventW(nullptr, FALSE, FALSE, nullptr)) {}
  ~Exchange() {
    if (done != nullptr) CloseHandle(done);
  }
  Exchange(const Exchange&) = delete;
  Exchange& operator=(const Exchange&) = delete;

  const HANDLE done;  // auto reset: one completion of the step awaited
  // Written by the callback before it sets done; read after the wait.
  DWORD error = 0;
  DWORD bytes = 0;
  std::vector<char> buffer;
};

void CALLBACK OnStatus(HINTERNET, DWORD_PTR context, DWORD status, LPVOID info, DWORD length) {
  auto* exchange = reinterpret_cast<Exchange*>(context);
  if (exchange == nullptr) return;
  switch (status) {
    case WINHTTP_CALLBACK_STATUS_SENDREQUEST_COMPLETE:
    case WINHTTP_CALLBACK_STATUS_HEADERS_AVAILABLE:
      SetEvent(exchange->done);
      break;
    case WINHTTP_CALLBACK_STATUS_DATA_AVAILABLE:
      exchange->bytes = *static_cast<DWORD*>(info);
      SetEvent(exchange->done);
      break;
    case WINHTTP_CALLBACK_STATUS_READ_COMPLETE:
      exchange->bytes = length;
      SetEvent(exchange->done);
      break;
    case WINHTTP_CALLBACK_STATUS_REQUEST_ERROR:
      exchange->error = static_cast<WINHTTP_ASYNC_RESULT*>(info)->dwError;
      SetEvent(exchange->done);
      break;
    case WINHTTP_CALLBACK_STATUS_HANDLE_CLOSING:
      // The last notice for the handle.
      delete exchange;
      break;
    default:
      // Progress notices (resolving, connecting, sending) need no answer.
      break;
  }
}

using Clock = std::chrono::steady_clock;

DWORD PickProxyScheme(DWORD supported) {
  for (const DWORD scheme : {WINHTTP_AUTH_SCHEME_NEGOTIATE, WINHTTP_AUTH_SCHEME_NTLM,
                             WINHTTP_AUTH_SCHEME_DIGEST, WINHTTP_AUTH_SCHEME_BASIC}) {
    if ((supported & scheme) != 0) return scheme;
  }
  return 0;
}

// One request on a connection of its own. Owns its handles and closes them
// however it ends.
class Attempt {
 public:
  Attempt(HINTERNET session, HANDLE shutdown, Clock::time_point deadline,
          const WinHttpOptions& options)
      : session_(session), shutdown_(shutdown), deadline_(deadline), options_(options) {}
  Attempt(const Attempt&) = delete;
  Attempt& operator=(const Attempt&) = delete;
  ~Attempt() {
    if (request_ != nullptr) WinHttpCloseHandle(request_);
    // Once the callback is set, the exchange belongs to it: WinHTTP may
    // still run a callback (or finish a read into its buffer) after the
    // close, until it reports the handle closing, which frees the exchange.
    if (!callbackSet_) delete exchange_;
    if (connect_ != nullptr) WinHttpCloseHandle(connect_);
  }

  // headers: CRLF-separated lines, or empty. False with *error on failure.
  bool Run(const Target& target, const std::wstring& headers, Answer* answer, std::string* error) {
    target_ = &target;
    if (exchange_->done == nullptr) return Failed(GetLastError(), error);
    connect_ = WinHttpConnect(session_, target.host.c_str(), target.port, 0);
    if (connect_ == nullptr) return Failed(GetLastError(), error);
    request_ = WinHttpOpenRequest(connect_, L"GET", target.pathAndQuery.c_str(), nullptr,
                                  WINHTTP_NO_REFERER, WINHTTP_DEFAULT_ACCEPT_TYPES,
                                  target.secure ? WINHTTP_FLAG_SECURE : 0);
    if (request_ == nullptr || !Configure()) return Failed(GetLastError(), error);

    bool triedProxyCredentials = false;
    for (;;) {
      const BOOL sent =
          headers.empty()
              ? WinHttpSendRequest(request_, WINHTTP_NO_ADDITIONAL_HEADERS, 0,
                                   WINHTTP_NO_REQUEST_DATA, 0, 0, Context())
              : WinHttpSendRequest(request_, headers.c_str(), static_cast<DWORD>(-1),
                                   WINHTTP_NO_REQUEST_DATA, 0, 0, Context());
      if (!sent) return Failed(GetLastError(), error);
      if (!Await(error)) return false;
      if (!WinHttpReceiveResponse(request_, nullptr)) return Failed(GetLastError(), error);
      if (!Await(error)) return false;
      DWORD size = sizeof answer->status;
      if (!WinHttpQueryHeaders(request_, WINHTTP_QUERY_STATUS_CODE | WINHTTP_QUERY_FLAG_NUMBER,
                               WINHTTP_HEADER_NAME_BY_INDEX, &answer->status, &size,
                               WINHTTP_NO_HEADER_INDEX)) {
        return Failed(GetLastError(), error);
      }
      if (answer->status != 407 || triedProxyCredentials || options_.proxyUser.empty()) break;
      triedProxyCredentials = true;
      DWORD supported = 0, first = 0, authTarget = 0;
      const DWORD scheme = WinHttpQueryAuthSchemes(request_, &supported, &first, &authTarget)
                               ? PickProxyScheme(supported)
                               : 0;
      const std::wstring user = Widen(options_.proxyUser);
      const std::wstring password = Widen(options_.proxyPassword);
      if (scheme == 0 || !WinHttpSetCredentials(request_, WINHTTP_AUTH_TARGET_PROXY, scheme,
                                                user.c_str(), password.c_str(), nullptr)) {
        break;
      }
    }
    answer->header = QueryText(WINHTTP_QUERY_RAW_HEADERS_CRLF);
    if (options_.maxRedirects > 0 && IsRedirect(answer->status)) {
      answer->location = QueryText(WINHTTP_QUERY_LOCATION);
      if (!answer->location.empty()) return true;
    }
    return ReadBody(&answer->body, error);
  }

 private:
  DWORD_PTR Context() const { return reinterpret_cast<DWORD_PTR>(exchange_); }

  // Asynchronous mode, the client's own redirect handling, timeouts and
  // decompression for the request.
  bool Configure() {
    DWORD_PTR context = Context();
    if (!WinHttpSetOption(request_, WINHTTP_OPTION_CONTEXT_VALUE, &context, sizeof context)) {
      return false;
    }
    if (WinHttpSetStatusCallback(request_, OnStatus, kNotifications, 0) ==
        WINHTTP_INVALID_STATUS_CALLBACK) {
      return false;
    }
    callbackSet_ = true;
    DWORD disabled = WINHTTP_DISABLE_REDIRECTS;
    if (!WinHttpSetOption(request_, WINHTTP_OPTION_DISABLE_FEATURE, &disabled, sizeof disabled) ||
        !WinHttpSetTimeouts(request_, options_.connectTimeoutMs, options_.connectTimeoutMs,
                            options_.sendTimeoutMs, options_.receiveTimeoutMs)) {
      return false;
    }
    // The wait for the answer's head has a timeout of its own, which
    // WinHttpSetTimeouts leaves at 90 s.
    DWORD headTimeout = static_cast<DWORD>(options_.receiveTimeoutMs);
    if (!WinHttpSetOption(request_, WINHTTP_OPTION_RECEIVE_RESPONSE_TIMEOUT, &headTimeout,
                          sizeof headTimeout)) {
      return false;
    }
    // Older systems cannot decode; they then ask for plain bodies, which
    // is just as correct.
    DWORD decompression = WINHTTP_DECOMPRESSION_FLAG_ALL;
    WinHttpSetOption(request_, WINHTTP_OPTION_DECOMPRESSION, &decompression, sizeof decompression);
    return true;
  }

  bool Await(std::string* error) {
    const auto left =
        std::chrono::duration_cast<std::chrono::milliseconds>(deadline_ - Clock::now()).count();
    const HANDLE events[2] = {exchange_->done, shutdown_};
    const DWORD woke =
        WaitForMultipleObjects(2, events, FALSE, left > 0 ? static_cast<DWORD>(left) : 0);
    if (woke == WAIT_OBJECT_0) {
      if (exchange_->error == 0) return true;
      return Failed(exchange_->error, error);
    }
    if (woke == WAIT_OBJECT_0 + 1) {
      *error = kShutDown;
    } else {
      *error = "request to " + target_->authority + " timed out after " +
               std::to_string(options_.totalTimeoutMs) + " ms";
    }
    return false;
  }

  bool Failed(DWORD code, std::string* error) const {
    *error = "request to " + target_->authority + " failed: " + WinHttpError(code);
    return false;
  }

  std::string QueryText(DWORD query) const {
    DWORD bytes = 0;
    WinHttpQueryHeaders(request_, query, WINHTTP_HEADER_NAME_BY_INDEX, WINHTTP_NO_OUTPUT_BUFFER,
                        &bytes, WINHTTP_NO_HEADER_INDEX);
    if (GetLastError() != ERROR_INSUFFICIENT_BUFFER || bytes == 0) return std::string();
    std::wstring text(bytes / sizeof(wchar_t) + 1, L'\0');
    if (!WinHttpQueryHeaders(request_, query, WINHTTP_HEADER_NAME_BY_INDEX, text.data(), &bytes,
                             WINHTTP_NO_HEADER_INDEX)) {
      return std::string();
    }
    return Narrow(text.data(), bytes / sizeof(wchar_t));
  }

  bool ReadBody(std::string* body, std::string* error) {
    for (;;) {
      if (!WinHttpQueryDataAvailable(request_, nullptr)) return Failed(GetLastError(), error);
      if (!Await(error)) return false;
      const DWORD available = exchange_->bytes;
      if (available == 0) return true;
      if (body->size() + available > options_.maxBodyBytes) {
        *error = "response body exceeds " + std::to_string(options_.maxBodyBytes) + " bytes";
        return false;
      }
      exchange_->buffer.resize(available);
      if (!WinHttpReadData(request_, exchange_->buffer.data(), available, nullptr)) {
        return Failed(GetLastError(), error);
      }
      if (!Await(error)) return false;
      if (exchange_->bytes == 0) return true;
      body->append(exchange_->buffer.data(), exchange_->bytes);
    }
  }

  const HINTERNET session_;
  const HANDLE shutdown_;
  const Clock::time_point deadline_;
  const WinHttpOptions& options_;
  const Target* target_ = nullptr;
  Exchange* exchange_ = new Exchange();
  bool callbackSet_ = false;
  HINTERNET connect_ = nullptr;
  HINTERNET request_ = nullptr;
};

HINTERNET OpenSession(const WinHttpOptions& options) {
  const std::wstring agent = Widen(options.userAgent);
  switch (options.proxy) {
    case WinHttpOptions::Proxy::kNone:
      return WinHttpOpen(agent.c_str(), WINHTTP_ACCESS_TYPE_NO_PROXY, WINHTTP_NO_PROXY_NAME,
                         WINHTTP_NO_PROXY_BYPASS, WINHTTP_FLAG_ASYNC);
    case WinHttpOptions::Proxy::kExplicit: {
      const std::wstring server = Widen(options.proxyServer);
      const std::wstring bypass = Widen(options.proxyBypass);
      return WinHttpOpen(agent.c_str(), WINHTTP_ACCESS_TYPE_NAMED_PROXY, server.c_str(),
                         bypass.empty() ? WINHTTP_NO_PROXY_BYPASS : bypass.c_str(),
                         WINHTTP_FLAG_ASYNC);
    }
    case WinHttpOptions::Proxy::kSystem:
      break;
  }
  // Systems before Windows 8.1 refuse automatic discovery as an invalid
  // parameter.
  HINTERNET session = WinHttpOpen(agent.c_str(), WINHTTP_ACCESS_TYPE_AUTOMATIC_PROXY,
                                  WINHTTP_NO_PROXY_NAME, WINHTTP_NO_PROXY_BYPASS, WINHTTP_FLAG_ASYNC);
  if (session != nullptr) return session;
  return WinHttpOpen(agent.c_str(), WINHTTP_ACCESS_TYPE_DEFAULT_PROXY, WINHTTP_NO_PROXY_NAME,
                     WINHTTP_NO_PROXY_BYPASS, WINHTTP_FLAG_ASYNC);
}

int Fail(Ostrel::IOHttpResponse* response, const std::string& message) {
  response->SetSuccess(false);
  response->SetMessage(message.c_str());
  return kFailed;
}

std::wstring HeaderBlock(Ostrel::IOHttpRequest* request) {
  unsigned count = 0;
  const char** lines = request->GetHeaders(&count);
  std::string block;
  for (unsigned i = 0; lines != nullptr && i < count; ++i) {
    if (lines[i] == nullptr || *lines[i] == '\0') continue;
    block += lines[i];
    block += "\r\n";
  }
  return Widen(block);
}

}  // namespace

WinHttpClient::WinHttpClient(WinHttpOptions options)
    : options_(std::move(options)),
      shutdownEvent_(CreateEventW(nullptr, TRUE, FALSE, nullptr)) {
  if (shutdownEvent_ == nullptr) {
    error_ = "CreateEvent failed: error " + std::to_string(GetLastError());
    return;
  }
  session_ = OpenSession(options_);
  if (session_ == nullptr) error_ = "WinHttpOpen failed: " + WinHttpError(GetLastError());
}

WinHttpClient::~WinHttpClient() {
  Shutdown();
  {
    std::unique_lock<std::mutex> lock(mutex_);
    idle_.wait(lock, [this] { return sending_ == 0; });
  }
  if (session_ != nullptr) WinHttpCloseHandle(session_);
  if (shutdownEvent_ != nullptr) CloseHandle(shutdownEvent_);
}

void WinHttpClient::Shutdown() {
  if (shutdownEvent_ != nullptr) SetEvent(shutdownEvent_);
}

int WinHttpClient::Send(Ostrel::IOHttpRequest* request, Ostrel::IOHttpResponse* response) {
  if (request == nullptr || response == nullptr) return kFailed;
  try {
    {
      std::lock_guard<std::mutex> lock(mutex_);
      ++sending_;
    }
    int result = kFailed;
    try {
      result = Perform(request, response);
    } catch (...) {
      // Only allocation can throw here; the library reads it as a transport
      // failure and retries later.
      response->SetSuccess(false);
    }
    std::lock_guard<std::mutex> lock(mutex_);
    if (--sending_ == 0) idle_.notify_all();
    return result;
  } catch (...) {
    response->SetSuccess(false);
    return kFailed;
  }
}

int WinHttpClient::Perform(Ostrel::IOHttpRequest* request, Ostrel::IOHttpResponse* response) {
  if (request->GetType() != 0) {
    return Fail(response, "unsupported request type " + std::to_string(request->GetType()));
  }
  const char* url = request->GetUrl();
  if (url == nullptr || *url == '\0') return Fail(response, "empty URL");
  if (session_ == nullptr) return Fail(response, error_);
  if (WaitForSingleObject(shutdownEvent_, 0) == WAIT_OBJECT_0) return Fail(response, kShutDown);

  const std::wstring headers = HeaderBlock(request);
  const Clock::time_point deadline = Clock::now() + std::chrono::milliseconds(options_.totalTimeoutMs);
  std::string current = url;
  std::string error;
  Target target;
  if (!Parse(current, &target, &error)) return Fail(response, error);
  for (int redirects = 0;; ++redirects) {
    Answer answer;
    {
      Attempt attempt(static_cast<HINTERNET>(session_), static_cast<HANDLE>(shutdownEvent_),
                      deadline, options_);
      if (!attempt.Run(target, headers, &answer, &error)) return Fail(response, error);
    }
    std::string refused;
    if (options_.maxRedirects > 0 && !answer.location.empty()) {
      if (redirects == options_.maxRedirects) {
        return Fail(response, "more than " + std::to_string(options_.maxRedirects) + " redirects");
      }
      const RedirectRule::Decision next =
          RedirectRule::Decide(current, answer.location, !headers.empty());
      if (next.follow) {
        if (!Parse(next.url, &target, &error)) return Fail(response, error);
        current = next.url;
        continue;
      }
      // The redirect is the answer, unsuccessful: the library never takes
      // another origin's answer for the service's.
      refused = next.refusal;
    }
    const bool success = answer.status >= 200 && answer.status < 300;
    const std::string message = success           ? std::string()
                                : refused.empty() ? "HTTP " + std::to_string(answer.status)
                                                  : refused;
    response->SetStatusCode(static_cast<int>(answer.status));
    response->SetHeader(answer.header.c_str());
    response->SetBody(answer.body.c_str());
    response->SetSuccess(success);
    response->SetMessage(message.c_str());
    return 0;
  }
}

}  // namespace OstrelHost
