#include "UrlParts.h"

#include <algorithm>
#include <cctype>

namespace OstrelHost {
namespace {

std::string Lower(std::string text) {
  for (char& c : text) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return text;
}

// True when reference starts with a scheme ("name:"); a colon after a
// character no scheme may hold belongs to a path.
bool HasScheme(const std::string& reference) {
  static const char kSchemeCharacters[] =
      "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789+-.";
  const size_t end = reference.find_first_not_of(kSchemeCharacters);
  return end != std::string::npos && reference[end] == ':' &&
         std::isalpha(static_cast<unsigned char>(reference[0]));
}

}  // namespace

std::string OriginOf(const std::string& url) {
  const size_t schemeEnd = url.find("://");
  if (schemeEnd == std::string::npos) return std::string();
  const std::string scheme = Lower(url.substr(0, schemeEnd));
  if (scheme != "http" && scheme != "https") return std::string();
  const size_t start = schemeEnd + 3;
  std::string authority = url.substr(start, url.find_first_of("/?#", start) - start);
  const size_t at = authority.rfind('@');
  if (at != std::string::npos) authority.erase(0, at + 1);
  // An IPv6 literal holds colons of its own; the port's comes after "]".
  const size_t literalEnd = authority.rfind(']');
  const size_t colon = authority.find(':', literalEnd == std::string::npos ? 0 : literalEnd);
  std::string port;
  if (colon != std::string::npos) {
    port = authority.substr(colon + 1);
    authority.resize(colon);
  }
  if (authority.empty() || port.size() > 5) return std::string();
  long number = scheme == "https" ? 443 : 80;
  if (!port.empty()) {
    number = 0;
    for (const char c : port) {
      if (c < '0' || c > '9') return std::string();
      number = number * 10 + (c - '0');
    }
  }
  if (number < 1 || number > 65535) return std::string();
  return scheme + "://" + Lower(authority) + ":" + std::to_string(number);
}

std::string WithoutQuery(const std::string& url) { return url.substr(0, url.find_first_of("?#")); }

std::string ResolveReference(const std::string& base, const std::string& reference) {
  if (HasScheme(reference)) return reference;
  const size_t schemeEnd = base.find("://");
  if (schemeEnd == std::string::npos) return reference;
  if (reference.compare(0, 2, "//") == 0) return base.substr(0, schemeEnd + 1) + reference;
  const size_t pathStart = base.find_first_of("/?#", schemeEnd + 3);
  const std::string origin = base.substr(0, pathStart);
  if (reference.compare(0, 1, "/") == 0) return origin + reference;
  std::string path = pathStart == std::string::npos ? std::string() : base.substr(pathStart);
  path.resize(std::min(path.find_first_of("?#"), path.size()));
  if (path.empty()) path = "/";
  return origin + path.substr(0, path.rfind('/') + 1) + reference;
}

}  // namespace OstrelHost
