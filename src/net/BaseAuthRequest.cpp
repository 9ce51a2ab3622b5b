#include "net/BaseAuthRequest.h"

#include "host/LogManager.h"
#include "net/HttpRequest.h"

namespace Ostrel {
namespace {

constexpr LogTag kTag("Ostrel.AuthRequest");
const char kMethod[] = "SyncRequest";
const char kSignVersion[] = "1.0";
const char kSdkVersion[] = "1.0";

// Header values are form-encoded: unreserved bytes stay, a space becomes
// "+", every other byte (non-ASCII included) becomes %XX.
std::string UrlEncode(const std::string& value) {
  static const char kHex[] = "0123456789ABCDEF";
  std::string out;
  out.reserve(value.size());
  for (unsigned char c : value) {
    if ((c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') ||
        c == '-' || c == '_' || c == '.' || c == '~') {
      out.push_back(static_cast<char>(c));
    } else if (c == ' ') {
      out.push_back('+');
    } else {
      out.push_back('%');
      out.push_back(kHex[c >> 4]);
      out.push_back(kHex[c & 0x0F]);
    }
  }
  return out;
}

std::string HeaderLine(const char* name, const std::string& value) {
  return std::string(name) + ": " + value;
}

}  // namespace

BaseAuthRequest::BaseAuthRequest(RequestContext context, std::string expectedMd5,
                                 std::string path)
    : context_(std::move(context)),
      expectedMd5_(std::move(expectedMd5)),
      path_(std::move(path)) {}

std::string BaseAuthRequest::BuildUrl(bool plainHttp) const {
  std::string url = std::string(plainHttp ? "http" : "https") + "://" + context_.settings->host + path_;
  if (params_ == nullptr) return url;
  url.push_back('?');
  for (const auto& param : *params_) {
    url += param.first;
    url.push_back('=');
    url += param.second;
    url.push_back('&');
  }
  // Drops the last "&", or the "?" itself when there are no params.
  url.pop_back();
  return url;
}

bool BaseAuthRequest::SyncRequest(std::string& body) {
  const Settings* settings = context_.settings.get();
  timestamp_ = static_cast<uint64_t>(context_.now() / 1000);
  const std::string timestamp = std::to_string(timestamp_);
  requestUnique_ = settings->deviceId + "_" + timestamp;

  HttpRequest request;
  request.SetUrl(BuildUrl(settings->UsePlainHttp()));
  request.SetType(0);

  const std::string appKey = UrlEncode(settings->appKey);
  const std::string appVersion = UrlEncode(settings->appVersion);
  const std::string deviceId = UrlEncode(settings->deviceId);
  if (appKey.empty() || appVersion.empty() || deviceId.empty()) {
    LogError(kMethod, kTag,
             "getRequestImpl error, appKey:" + settings->appKey + ", appVersion:" +
                 settings->appVersion + ", deviceId:" + settings->deviceId);
    return false;
  }

  // The signature covers the raw values, not their encoded form.
  const std::string signedText = path_ + "&" + settings->appKey + "&" + settings->appVersion +
                                 "&" + settings->deviceId + "&" + timestamp;
  const std::string signature = context_.signer->Sign(settings->appKey, signedText);
  if (signature.empty()) {
    LogError(kMethod, kTag, "ostrelSign error");
    return false;
  }

  const std::string lines[HttpRequest::kHeaderCount] = {
      HeaderLine("o-app-key", appKey),
      HeaderLine("o-app-version", appVersion),
      HeaderLine("o-device-id", deviceId),
      HeaderLine("o-timestamp", timestamp),
      HeaderLine("o-sign-version", kSignVersion),
      HeaderLine("o-sdk-version", kSdkVersion),
      HeaderLine("o-sign", signature),
      HeaderLine("o-user-info", UrlEncode(context_.userInfo)),
  };
  const char* pointers[HttpRequest::kHeaderCount];
  for (size_t i = 0; i < HttpRequest::kHeaderCount; ++i) pointers[i] = lines[i].c_str();
  request.SetHeaders(pointers);

  return ReadResponse(context_.network->SendSyncHttpRequest(&request), expectedMd5_, kTag,
                      "auth request failed,httpResponse is null!!!", body);
}

}  // namespace Ostrel
