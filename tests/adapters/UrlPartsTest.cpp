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

}  // namespace
}  // namespace OstrelTest
