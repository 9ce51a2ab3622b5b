// The redirect rule both HTTP clients follow; a pure function, so it is
// checked on every platform.
#include "RedirectRule.h"

#include <gtest/gtest.h>

#include <string>

namespace OstrelTest {
namespace {

using OstrelHost::RedirectRule;

TEST(RedirectRule, SignedRequestsStayInTheirOriginAndDownloadsMayLeaveIt) {
  const std::string index = "https://cdn.example/app/index?v=1";
  const struct {
    std::string current;
    std::string location;
    bool carriesHeaders;
    std::string url;
  } cases[] = {
      {index, "/other", true, "https://cdn.example/other"},
      {index, "next?x=2", true, "https://cdn.example/app/next?x=2"},
      {index, "https://CDN.Example:443/x", true, "https://CDN.Example:443/x"},
      {index, "https://user@cdn.example/x", true, "https://user@cdn.example/x"},
      {"http://cdn.example/i", "http://cdn.example:80/j", true, "http://cdn.example:80/j"},
      {"http://[::1]:8080/a", "http://[::1]:8080/b", true, "http://[::1]:8080/b"},
      {index, "//mirror.example/x", false, "https://mirror.example/x"},
      {index, "https://cdn.example:8443/x", false, "https://cdn.example:8443/x"},
      // http to https is an upgrade.
      {"http://a.example/", "https://b.example/", false, "https://b.example/"},
  };
  for (const auto& c : cases) {
    const RedirectRule::Decision decision =
        RedirectRule::Decide(c.current, c.location, c.carriesHeaders);
    EXPECT_TRUE(decision.follow) << c.location << ": " << decision.refusal;
    EXPECT_EQ(decision.url, c.url) << c.location;
    EXPECT_EQ(decision.refusal, "") << c.location;
  }
}

TEST(RedirectRule, RefusesOtherOriginsWithHeadersDowngradesAndOtherSchemes) {
  const std::string index = "https://cdn.example/index";
  const struct {
    std::string current;
    std::string location;
    bool carriesHeaders;
    std::string refusal;
  } cases[] = {
      // The query may hold signed parameters: the refusal leaves it out.
      {index, "//mirror.example/x?sign=1", true,
       "redirect of a request with headers to https://mirror.example/x refused"},
      {index, "https://cdn.example:8443/x#top", true,
       "redirect of a request with headers to https://cdn.example:8443/x refused"},
      {"http://cdn.example/a", "https://cdn.example/a", true,
       "redirect of a request with headers to https://cdn.example/a refused"},
      {index, "http://cdn.example/index", false,
       "redirect from https to http://cdn.example/index refused"},
      {index, "HTTP://cdn.example/x", true, "redirect from https to HTTP://cdn.example/x refused"},
      {index, "file:///etc/passwd", false, "redirect to file:///etc/passwd refused"},
      {index, "ftp://cdn.example/x", false, "redirect to ftp://cdn.example/x refused"},
      {index, "https://cdn.example:99999/x", false,
       "redirect to https://cdn.example:99999/x refused"},
      {index, "https://cdn.example:8a/x", false, "redirect to https://cdn.example:8a/x refused"},
      {index, "https:///nohost", false, "redirect to https:///nohost refused"},
      {index, "", false, "redirect without a usable location refused"},
      {"not a url", "/x", false, "redirect without a usable location refused"},
  };
  for (const auto& c : cases) {
    const RedirectRule::Decision decision =
        RedirectRule::Decide(c.current, c.location, c.carriesHeaders);
    EXPECT_FALSE(decision.follow) << c.location;
    EXPECT_EQ(decision.refusal, c.refusal) << c.location;
    EXPECT_EQ(decision.url, "") << c.location;
  }
}

}  // namespace
}  // namespace OstrelTest
