// What both request kinds make of the host's answer: the body, the digest
// check and the one error line, each under its own tag.
#include <gtest/gtest.h>

#include <string>

#include "NetFixture.h"
#include "net/BaseAuthRequest.h"
#include "net/BaseCdnRequest.h"

namespace OstrelTest {
namespace {

using Ostrel::BaseAuthRequest;
using Ostrel::BaseCdnRequest;

class BaseRequestTest : public NetFixture {};

TEST_F(BaseRequestTest, ResponsesAndTheirResults) {
  const std::string content = "{\"k\":\"v\"}";
  const std::string md5 = Md5Of(content);
  std::string upperMd5 = md5;
  for (char& c : upperMd5) c = static_cast<char>(toupper(static_cast<unsigned char>(c)));
  ASSERT_NE(md5, upperMd5);

  ScriptedResponse ok;
  ok.body = content;
  ScriptedResponse notSuccessful = ok;
  notSuccessful.success = false;
  notSuccessful.header = "HTTP/1.1 404";
  ScriptedResponse successNeverSet = ok;
  successNeverSet.setSuccess = false;
  ScriptedResponse nullBody;
  nullBody.nullBody = true;
  ScriptedResponse failedSend = ok;
  failedSend.returnCode = 1;

  const char kNoResponse[] = "<no response>";
  const struct {
    const char* name;
    ScriptedResponse script;
    bool client;
    std::string expectedMd5;
    bool result;
    std::string body;   // the output afterwards; it starts as "untouched"
    std::string error;  // the error line's text, empty for none
  } cases[] = {
      {"matching md5", ok, true, md5, true, content, ""},
      {"no md5 expected", ok, true, "", true, content, ""},
      {"upper-case md5", ok, true, upperMd5, false, content, "content is broken!!!"},
      {"other md5", ok, true, Md5Of("other"), false, content, "content is broken!!!"},
      {"null body, no md5", nullBody, true, "", true, "", ""},
      {"success false", notSuccessful, true, "", false, "untouched",
       "auth request faile: responed header: HTTP/1.1 404"},
      {"success never set", successNeverSet, true, "", false, "untouched",
       "auth request faile: responed header: "},
      {"send failed", failedSend, true, "", false, "untouched", kNoResponse},
      {"no client", ok, false, "", false, "untouched", kNoResponse},
  };
  const struct {
    bool cdn;
    const char* tag;
    const char* noResponse;
    const char* url;
    unsigned headers;
  } kinds[] = {
      {true, "Ostrel.BaseCdnRequest", "cdn request failed,httpResponse is null!!!",
       "https://cdn.example.test/res/abc?x=1", 0},
      {false, "Ostrel.AuthRequest", "auth request failed,httpResponse is null!!!",
       "https://api.example.test/downloadResource", 8},
  };
  for (const auto& kind : kinds) {
    for (const auto& c : cases) {
      SCOPED_TRACE(std::string(kind.tag) + ": " + c.name);
      logger.Clear();
      network.SetHttpClient(c.client ? &http : nullptr);
      http.Route(kind.url, c.script);
      const size_t before = http.RequestCount();
      std::string body = "untouched";
      EXPECT_EQ(c.result, kind.cdn ? BaseCdnRequest(&network, kind.url, c.expectedMd5).SyncRequest(body)
                                   : BaseAuthRequest(Context(), c.expectedMd5, "/downloadResource")
                                         .SyncRequest(body));
      EXPECT_EQ(c.body, body);
      const std::string error = c.error == kNoResponse ? kind.noResponse : c.error;
      EXPECT_EQ(error.empty() ? "" : "SyncRequest|" + error, ErrorLine(kind.tag));
      ASSERT_EQ(before + (c.client ? 1 : 0), http.RequestCount());
      if (!c.client) continue;
      const RecordedRequest sent = http.Requests().back();
      EXPECT_EQ(kind.url, sent.url);
      EXPECT_EQ(0, sent.type);
      EXPECT_EQ(kind.headers, sent.headerCount);
      EXPECT_EQ("", sent.body);
    }
  }
}

}  // namespace
}  // namespace OstrelTest
