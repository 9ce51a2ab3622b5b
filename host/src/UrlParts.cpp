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

// Empty when the URL lacks the part; a URL that parsed always has the
// scheme, the host and (with its default filled in) the port.
std::string ReadPart(CURLU* url, CURLUPart which, unsigned flags) {
  char* raw = nullptr;
  curl_url_get(url, which, &raw, flags);
  std::unique_ptr<char, PartDeleter> part(raw);
  return part ? std::string(part.get()) : std::string();
}

}  // namespace

std::string OriginOf(const std::string& url) {
  std::unique_ptr<CURLU, UrlDeleter> parsed(curl_url());
  if (!parsed || curl_url_set(parsed.get(), CURLUPART_URL, url.c_str(), 0) != CURLUE_OK) {
    return std::string();
  }
  std::string origin = ReadPart(parsed.get(), CURLUPART_SCHEME, 0) + "://" +
                       ReadPart(parsed.get(), CURLUPART_HOST, 0) + ":" +
                       ReadPart(parsed.get(), CURLUPART_PORT, CURLU_DEFAULT_PORT);
  std::transform(origin.begin(), origin.end(), origin.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return origin;
}

std::string WithoutQuery(const std::string& url) { return url.substr(0, url.find_first_of("?#")); }

}  // namespace OstrelHost
