// Where a redirect may lead, for the HTTP clients that follow redirects
// themselves, one exchange at a time.
#ifndef OSTREL_HOST_SRC_REDIRECTRULE_H_
#define OSTREL_HOST_SRC_REDIRECTRULE_H_

#include <string>

namespace OstrelHost {

class RedirectRule {
 public:
  struct Decision {
    bool follow = false;
    // The absolute URL to ask next, with the same header lines.
    std::string url;
    // Why the redirect is not followed, naming the target without its
    // query: "redirect of a request with headers to <url> refused",
    // "redirect from https to <url> refused" or "redirect to <url> refused".
    std::string refusal;
  };

  // current: the URL that answered with a redirect; location: its Location
  // header, absolute or relative to current; carriesHeaders: the request has
  // header lines. Those lines carry the signature and identity of the
  // library's API requests, which only their own origin (scheme, host, port)
  // may see, so such a request never leaves it; a CDN download carries none
  // and may follow anywhere. A redirect leads to http or https only, and
  // never from https to http. A pure function; any thread.
  static Decision Decide(const std::string& current, const std::string& location,
                         bool carriesHeaders);
};

}  // namespace OstrelHost

#endif  // OSTREL_HOST_SRC_REDIRECTRULE_H_
