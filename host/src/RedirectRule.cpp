#include "RedirectRule.h"

#include <algorithm>
#include <cctype>

namespace OstrelHost {
namespace {

struct Origin {
  std::string scheme;
  std::string host;
  int port = 0;

  bool operator==(const Origin& other) const {
    return scheme == other.scheme && host == other.host && port == other.port;
  }
};

std::string Lower(std::string text) {
  for (char& c : text) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return text;
}

// False unless url is an absolute http or https URL with a host.
bool ParseOrigin(const std::string& url, Origin* origin) {
  const size_t schemeEnd = url.find("://");
  if (schemeEnd == std::string::npos) return false;
  origin->scheme = Lower(url.substr(0, schemeEnd));
  if (origin->scheme != "http" && origin->scheme != "https") return false;
  const size_t start = schemeEnd + 3;
  std::string authority = url.substr(start, url.find_first_of("/?#", start) - start);
  const size_t at = authority.rfind('@');
  if (at != std::string::npos) authority.erase(0, at + 1);
  const size_t bracket = authority.rfind(']');
  const size_t colon = authority.rfind(':');
  std::string port;
  if (colon != std::string::npos && (bracket == std::string::npos || colon > bracket)) {
    port = authority.substr(colon + 1);
    authority.resize(colon);
  }
  origin->host = Lower(authority);
  if (origin->host.empty() || port.size() > 5) return false;
  origin->port = origin->scheme == "https" ? 443 : 80;
  if (!port.empty()) {
    origin->port = 0;
    for (const char c : port) {
      if (c < '0' || c > '9') return false;
      origin->port = origin->port * 10 + (c - '0');
    }
  }
  return origin->port > 0 && origin->port <= 65535;
}

bool HasScheme(const std::string& reference) {
  for (size_t i = 0; i < reference.size(); ++i) {
    const auto c = static_cast<unsigned char>(reference[i]);
    if (c == ':') return i > 0;
    if (!std::isalpha(c) && (i == 0 || !(std::isdigit(c) || c == '+' || c == '-' || c == '.'))) {
      return false;
    }
  }
  return false;
}

// location made absolute against base, an absolute URL.
std::string Resolve(const std::string& base, const std::string& location) {
  if (HasScheme(location)) return location;
  const size_t schemeEnd = base.find("://");
  if (location.compare(0, 2, "//") == 0) return base.substr(0, schemeEnd + 1) + location;
  const size_t pathStart = base.find_first_of("/?#", schemeEnd + 3);
  const std::string origin = base.substr(0, pathStart);
  if (location.compare(0, 1, "/") == 0) return origin + location;
  std::string path = pathStart == std::string::npos ? std::string() : base.substr(pathStart);
  path.resize(std::min(path.find_first_of("?#"), path.size()));
  if (path.empty()) path = "/";
  return origin + path.substr(0, path.rfind('/') + 1) + location;
}

}  // namespace

RedirectRule::Decision RedirectRule::Decide(const std::string& first, const std::string& current,
                                            const std::string& location) {
  Decision decision;
  Origin from;
  if (location.empty() || !ParseOrigin(current, &from)) {
    decision.refusal = "refused a redirect without a usable location";
    return decision;
  }
  decision.url = Resolve(current, location);
  Origin to;
  if (!ParseOrigin(decision.url, &to)) {
    decision.refusal = "refused a redirect to " + decision.url;
  } else if (from.scheme == "https" && to.scheme == "http") {
    decision.refusal = "refused a redirect from https to http: " + decision.url;
  } else {
    Origin asked;
    decision.follow = true;
    decision.keepHeaders = ParseOrigin(first, &asked) && asked == to;
  }
  return decision;
}

}  // namespace OstrelHost
