// The redirect rule both HTTP clients follow, and the URL parts it judges by;
// pure functions, so they are checked on every platform.
#include "RedirectRule.h"

#include <gtest/gtest.h>

#include <string>

namespace OstrelTest {
namespace {

TEST(RedirectRule, HeadersStayInTheirOriginDownloadsMayLeaveItNothingGoesDown) {
  const std::string index = "https://cdn.example/app/index?v=1";
  const std::string headers = "redirect of a request with headers to ";
  const struct {
    std::string current, location;
    bool carriesHeaders;
    std::string url, refusal;  // url when followed
  } cases[] = {
      {index, "/other", true, "https://cdn.example/other", ""},
      {index, "next?x=2", true, "https://cdn.example/app/next?x=2", ""},
      {index, "https://CDN.Example:443/x", true, "https://CDN.Example:443/x", ""},
      {index, "https://user@cdn.example/x", true, "https://user@cdn.example/x", ""},
      {"http://cdn.example/i", "http://cdn.example:80/j", true, "http://cdn.example:80/j", ""},
      {"http://[::1]:8080/a", "http://[::1]:8080/b", true, "http://[::1]:8080/b", ""},
      {index, "//mirror.example/x", false, "https://mirror.example/x", ""},
      {index, "https://cdn.example:8443/x", false, "https://cdn.example:8443/x", ""},
      {"http://a.example/", "https://b.example/", false, "https://b.example/", ""},
      // Origins compare scheme, host and port whatever the spelling.
      {"HTTPS://Config.Example.COM/x", "https://config.example.com:443/y", true,
       "https://config.example.com:443/y", ""},
      {"http://user:pw@h:81/", "http://H:81/y?q", true, "http://H:81/y?q", ""},
      {"http://[::1]/x", "http://[::1]:80/y", true, "http://[::1]:80/y", ""},
      {"http://h:65535/", "http://h:65535/b", true, "http://h:65535/b", ""},
      {"http://h:1", "x", true, "http://h:1/x", ""},
      // A colon after a character no scheme holds is part of a path.
      {index, "v=1:2", false, "https://cdn.example/app/v=1:2", ""},
      {index, "1x:2", false, "https://cdn.example/app/1x:2", ""},
      {index, ":x", false, "https://cdn.example/app/:x", ""},
      {index, "a_b:x", false, "https://cdn.example/app/a_b:x", ""},
      {"https://cdn.example/app/#frag/x", "doc", false, "https://cdn.example/app/doc", ""},
      {"https://cdn.example?q=1", "doc", false, "https://cdn.example/doc", ""},
      {"http://cdn.example/a", "//mirror.example/x", false, "http://mirror.example/x", ""},
      {index, "a+b.c-d:rest", false, "", "redirect to a+b.c-d:rest refused"},
      // The query may hold signed parameters: a refusal leaves it out.
      {index, "//mirror.example/x?sign=1", true, "", headers + "https://mirror.example/x refused"},
      {index, "https://cdn.example:8443/x#top", true, "",
       headers + "https://cdn.example:8443/x refused"},
      {"http://cdn.example/a", "https://cdn.example/a", true, "",
       headers + "https://cdn.example/a refused"},
      {index, "http://cdn.example/index", false, "",
       "redirect from https to http://cdn.example/index refused"},
      {index, "HTTP://cdn.example/x", true, "",
       "redirect from https to HTTP://cdn.example/x refused"},
      {index, "file:///etc/passwd", false, "", "redirect to file:///etc/passwd refused"},
      {index, "ftp://cdn.example/x", false, "", "redirect to ftp://cdn.example/x refused"},
      {index, "https://cdn.example:99999/x", false, "",
       "redirect to https://cdn.example:99999/x refused"},
      {index, "https://cdn.example:8a/x", false, "",
       "redirect to https://cdn.example:8a/x refused"},
      {index, "https:///nohost", false, "", "redirect to https:///nohost refused"},
      {index, "https://h:80:81/", false, "", "redirect to https://h:80:81/ refused"},
      {index, "https://h:65536/", false, "", "redirect to https://h:65536/ refused"},
      {index, "https://h:0/", false, "", "redirect to https://h:0/ refused"},
      {index, "https://h:123456/", false, "", "redirect to https://h:123456/ refused"},
      {index, "https://h/doc#part?not-a-query", true, "", headers + "https://h/doc refused"},
      {"ftp://cdn.example/x", "/y", false, "", "redirect without a usable location refused"},
      {index, "", false, "", "redirect without a usable location refused"},
      {"not a url", "/x", false, "", "redirect without a usable location refused"},
  };
  for (const auto& c : cases) {
    const auto decision = OstrelHost::RedirectRule::Decide(c.current, c.location, c.carriesHeaders);
    EXPECT_EQ(decision.follow, c.refusal.empty()) << c.location;
    EXPECT_EQ(decision.url, c.url) << c.location;
    EXPECT_EQ(decision.refusal, c.refusal) << c.location;
  }
}

}  // namespace
}  // namespace OstrelTest
