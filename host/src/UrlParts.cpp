#include "UrlParts.h"

#include <curl/curl.h>

#include <algorithm>
#include <cctype>
#include <memory>

namespace OstrelHost {
namespace {

struct UrlDeleter {
  void operator()(CURLU* url) const { curl_url_cleanup(url); }
};
struct PartDeleter {
  void operator()(char* part) const { curl_free(part); }
};

bool ReadPart(CURLU* url, CURLUPart which, unsigned flags, std::string* out) {
  char* raw = nullptr;
  if (curl_url_get(url, which, &raw, flags) != CURLUE_OK) return false;
  std::unique_ptr<char, PartDeleter> part(raw);
  *out = part.get();
  return true;
}

}  // namespace

std::string OriginOf(const std::string& url) {
  std::unique_ptr<CURLU, UrlDeleter> parsed(curl_url());
  if (!parsed || curl_url_set(parsed.get(), CURLUPART_URL, url.c_str(), 0) != CURLUE_OK) {
    return std::string();
  }
  std::string scheme;
  std::string host;
  std::string port;
  if (!ReadPart(parsed.get(), CURLUPART_SCHEME, 0, &scheme) ||
      !ReadPart(parsed.get(), CURLUPART_HOST, 0, &host) ||
      !ReadPart(parsed.get(), CURLUPART_PORT, CURLU_DEFAULT_PORT, &port)) {
    return std::string();
  }
  std::string origin = scheme + "://" + host + ":" + port;
  std::transform(origin.begin(), origin.end(), origin.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return origin;
}

std::string WithoutQuery(const std::string& url) { return url.substr(0, url.find_first_of("?#")); }

}  // namespace OstrelHost
