#include "RedirectRule.h"

#include "UrlParts.h"

namespace OstrelHost {

RedirectRule::Decision RedirectRule::Decide(const std::string& current,
                                            const std::string& location, bool carriesHeaders) {
  Decision decision;
  const std::string from = OriginOf(current);
  if (location.empty() || from.empty()) {
    decision.refusal = "redirect without a usable location refused";
    return decision;
  }
  const std::string url = ResolveReference(current, location);
  const std::string to = OriginOf(url);
  const std::string shown = WithoutQuery(url);
  if (to.empty()) {
    decision.refusal = "redirect to " + shown + " refused";
  } else if (from.compare(0, 6, "https:") == 0 && to.compare(0, 6, "https:") != 0) {
    decision.refusal = "redirect from https to " + shown + " refused";
  } else if (carriesHeaders && to != from) {
    decision.refusal = "redirect of a request with headers to " + shown + " refused";
  } else {
    decision.follow = true;
    decision.url = url;
  }
  return decision;
}

}  // namespace OstrelHost
