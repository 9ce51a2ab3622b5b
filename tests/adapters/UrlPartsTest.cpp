#include "UrlParts.h"

#include <gtest/gtest.h>

#include <string>

namespace OstrelTest {
namespace {

TEST(UrlParts, OriginNamesSchemeHostAndPortWhateverTheSpelling) {
  const struct {
    std::string url;
    std::string origin;
  } cases[] = {
      {"http://127.0.0.1:8080/checkUpdate?a=1", "http://127.0.0.1:8080"},
      {"HTTPS://Config.Example.COM/x", "https://config.example.com:443"},
      {"https://config.example.com:443/y#z", "https://config.example.com:443"},
      {"http://config.example.com/", "http://config.example.com:80"},
      {"https://config.example.com:8443", "https://config.example.com:8443"},
      {"http://config.example.com?q=1", "http://config.example.com:80"},
      {"http://user:pw@Config.example.com:81/", "http://config.example.com:81"},
      {"http://[::1]/x", "http://[::1]:80"},
      {"http://[::1]:8080", "http://[::1]:8080"},
      {"http://h:65535/", "http://h:65535"},
      {"http://h:1/", "http://h:1"},
      {"http://h:80:81/", ""},
      {"http://h:65536/", ""},
      {"http://h:0/", ""},
      {"http://h:123456/", ""},
      {"http://h:8a/", ""},
      {"http:///path", ""},
      {"ftp://config.example.com/x", ""},
      {"no scheme/path", ""},
      {"", ""},
  };
  for (const auto& c : cases) EXPECT_EQ(OstrelHost::OriginOf(c.url), c.origin) << c.url;
}

TEST(UrlParts, WithoutQueryCutsAtTheQueryOrTheFragment) {
  const struct {
    std::string url;
    std::string cut;
  } cases[] = {
      {"https://h/checkUpdate?appIndexVersion=1&sign=x", "https://h/checkUpdate"},
      {"https://h/doc#part?not-a-query", "https://h/doc"},
      {"https://h/doc", "https://h/doc"},
      {"", ""},
  };
  for (const auto& c : cases) EXPECT_EQ(OstrelHost::WithoutQuery(c.url), c.cut) << c.url;
}

TEST(UrlParts, ReferencesResolveAgainstTheUrlThatAnswered) {
  const std::string base = "https://cdn.example/app/index?v=1";
  const struct {
    std::string base;
    std::string reference;
    std::string url;
  } cases[] = {
      {base, "https://other.example/x", "https://other.example/x"},
      {base, "//mirror.example/x", "https://mirror.example/x"},
      {"http://cdn.example/a", "//mirror.example/x", "http://mirror.example/x"},
      {base, "/other?y=2", "https://cdn.example/other?y=2"},
      {base, "next?x=2", "https://cdn.example/app/next?x=2"},
      // A colon after a character no scheme holds is part of a path.
      {base, "v=1:2", "https://cdn.example/app/v=1:2"},
      {base, "1x:2", "https://cdn.example/app/1x:2"},
      {base, "a+b.c-d:rest", "a+b.c-d:rest"},
      {base, ":x", "https://cdn.example/app/:x"},
      {base, "a_b:x", "https://cdn.example/app/a_b:x"},
      {"https://cdn.example/app/#frag/x", "doc", "https://cdn.example/app/doc"},
      {"https://cdn.example", "doc", "https://cdn.example/doc"},
      {"https://cdn.example?q=1", "doc", "https://cdn.example/doc"},
      {"not a url", "doc", "doc"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(OstrelHost::ResolveReference(c.base, c.reference), c.url) << c.reference;
  }
}

}  // namespace
}  // namespace OstrelTest
