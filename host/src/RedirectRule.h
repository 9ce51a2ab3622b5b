// Where a redirect may lead, and with what, for the HTTP clients that follow
// redirects themselves.
#ifndef OSTREL_HOST_SRC_REDIRECTRULE_H_
#define OSTREL_HOST_SRC_REDIRECTRULE_H_

#include <string>

namespace OstrelHost {

class RedirectRule {
 public:
  struct Decision {
    bool follow = false;
    // The absolute URL to ask next.
    std::string url;
    // False when url lies on another origin (scheme, host or port) than the
    // URL first asked: the request's header lines carry its signature and
    // identity, which only that origin may see.
    bool keepHeaders = false;
    // Why the redirect is not followed.
    std::string refusal;
  };

  // first: the URL the request was made for; current: the URL that
  // answered with a redirect; location: its Location header, absolute or
  // relative to current. A redirect leads to http or https only, and never
  // from https to http. A pure function; any thread.
  static Decision Decide(const std::string& first, const std::string& current,
                         const std::string& location);
};

}  // namespace OstrelHost

#endif  // OSTREL_HOST_SRC_REDIRECTRULE_H_
