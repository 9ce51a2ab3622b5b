// The parts of a URL that decide where a request may go and what a log line
// may show of it. Plain text work with no network library, so that every
// HTTP client judges URLs alike.
#ifndef OSTREL_HOST_SRC_URLPARTS_H_
#define OSTREL_HOST_SRC_URLPARTS_H_

#include <string>

namespace OstrelHost {

// "<scheme>://<host>:<port>" of an absolute http or https URL, in lower case
// with the scheme's default port filled in, so that two URLs of one origin
// give the same text. Empty for any other scheme, a URL without a host, or a
// port that is not a number from 1 to 65535.
std::string OriginOf(const std::string& url);

// The URL up to its query or fragment: what a log may show without leaking
// the request's parameters.
std::string WithoutQuery(const std::string& url);

// reference (a Location header: absolute, scheme-relative "//host/...",
// absolute-path "/..." or relative "name") made absolute against base, an
// absolute URL. Dot segments are left to the server.
std::string ResolveReference(const std::string& base, const std::string& reference);

}  // namespace OstrelHost

#endif  // OSTREL_HOST_SRC_URLPARTS_H_
