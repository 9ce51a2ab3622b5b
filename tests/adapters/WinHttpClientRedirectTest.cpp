// The redirect rule the WinHTTP client follows; a pure function, so it is
// checked on every platform.
#include <gtest/gtest.h>

#include <string>

#include "RedirectRule.h"

namespace OstrelTest {
namespace {

using OstrelHost::RedirectRule;

TEST(WinHttpClientRedirect, FollowsWithinTheOriginAndDropsHeadersElsewhere) {
  const std::string first = "https://cdn.example/app/index?v=1";
  const struct {
    std::string current;
    std::string location;
    std::string url;
    bool keepHeaders;
  } cases[] = {
      {first, "/other", "https://cdn.example/other", true},
      {first, "next?x=2", "https://cdn.example/app/next?x=2", true},
      // A colon after a character no scheme has is part of a path.
      {first, "v=1:2", "https://cdn.example/app/v=1:2", true},
      {"https://cdn.example", "doc", "https://cdn.example/doc", true},
      {"https://cdn.example?q=1", "doc", "https://cdn.example/doc", true},
      {first, "https://CDN.Example:443/x", "https://CDN.Example:443/x", true},
      {first, "//mirror.example/x", "https://mirror.example/x", false},
      {first, "https://cdn.example:8443/x", "https://cdn.example:8443/x", false},
      {first, "https://user@cdn.example/x", "https://user@cdn.example/x", true},
      // Back on the first origin after a hop elsewhere: compared with the
      // first URL, not the one that answered.
      {"https://mirror.example/a/b", "https://cdn.example/c", "https://cdn.example/c", true},
      {"https://mirror.example/a/b", "c", "https://mirror.example/a/c", false},
  };
  for (const auto& c : cases) {
    const RedirectRule::Decision decision = RedirectRule::Decide(first, c.current, c.location);
    EXPECT_TRUE(decision.follow) << c.location << ": " << decision.refusal;
    EXPECT_EQ(decision.url, c.url) << c.location;
    EXPECT_EQ(decision.keepHeaders, c.keepHeaders) << c.location;
    EXPECT_EQ(decision.refusal, "") << c.location;
  }
  const RedirectRule::Decision plain =
      RedirectRule::Decide("http://cdn.example/i", "http://cdn.example/i", "http://cdn.example:80/j");
  EXPECT_TRUE(plain.follow);
  EXPECT_TRUE(plain.keepHeaders) << "port 80 is http's own";
  EXPECT_TRUE(RedirectRule::Decide("http://a.example/", "http://a.example/", "https://a.example/")
                  .follow)
      << "http to https is an upgrade";
}

TEST(WinHttpClientRedirect, RefusesDowngradesAndOtherSchemes) {
  const std::string first = "https://cdn.example/index";
  const struct {
    std::string current;
    std::string location;
    std::string refusal;
  } cases[] = {
      {first, "http://cdn.example/index", "refused a redirect from https to http: http://cdn.example/index"},
      {first, "HTTP://cdn.example/x", "refused a redirect from https to http: HTTP://cdn.example/x"},
      {first, "file:///etc/passwd", "refused a redirect to file:///etc/passwd"},
      {first, "ftp://cdn.example/x", "refused a redirect to ftp://cdn.example/x"},
      {first, "https://cdn.example:99999/x", "refused a redirect to https://cdn.example:99999/x"},
      {first, "https://cdn.example:8a/x", "refused a redirect to https://cdn.example:8a/x"},
      {first, "https:///nohost", "refused a redirect to https:///nohost"},
      {first, "", "refused a redirect without a usable location"},
      {"not a url", "/x", "refused a redirect without a usable location"},
  };
  for (const auto& c : cases) {
    const RedirectRule::Decision decision = RedirectRule::Decide(first, c.current, c.location);
    EXPECT_FALSE(decision.follow) << c.location;
    EXPECT_EQ(decision.refusal, c.refusal) << c.location;
  }
}

}  // namespace
}  // namespace OstrelTest
