// The parts of a URL that decide where a request may go and what a log line
// may show of it.
#ifndef OSTREL_HOST_SRC_URLPARTS_H_
#define OSTREL_HOST_SRC_URLPARTS_H_

#include <string>

namespace OstrelHost {

// "<scheme>://<host>:<port>" in lower case with the scheme's default port
// filled in, so that two URLs of one origin give the same text. Empty when
// the URL does not parse.
std::string OriginOf(const std::string& url);

// The URL up to its query or fragment: what a log may show without leaking
// the request's parameters.
std::string WithoutQuery(const std::string& url);

}  // namespace OstrelHost

#endif  // OSTREL_HOST_SRC_URLPARTS_H_
