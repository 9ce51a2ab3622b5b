#include <gtest/gtest.h>

#include <string>

#include "NetFixture.h"
#include "host/Md5.h"
#include "net/BaseCdnRequest.h"

namespace OstrelTest {
namespace {

using Ostrel::BaseCdnRequest;
using Ostrel::Md5Hex;

const char kUrl[] = "https://cdn.example.test/res/abc?x=1";
const char kTag[] = "Ostrel.BaseCdnRequest";

class BaseCdnRequestTest : public NetFixture {};

TEST_F(BaseCdnRequestTest, SendsOneUnsignedGetToTheGivenUrl) {
  http.Route(kUrl, ScriptedResponse());
  BaseCdnRequest request(&network, kUrl, "");
  std::string body;
  ASSERT_TRUE(request.SyncRequest(body));

  ASSERT_EQ(1u, http.RequestCount());
  const RecordedRequest sent = http.Requests()[0];
  EXPECT_EQ(kUrl, sent.url);
  EXPECT_EQ(0, sent.type);
  EXPECT_EQ(0u, sent.headerCount);
  EXPECT_EQ("", sent.body);
}

TEST_F(BaseCdnRequestTest, ResponsesAndTheirResults) {
  const std::string content = "{\"k\":\"v\"}";
  const std::string md5 = Md5Hex(content);
  std::string upperMd5 = md5;
  for (char& c : upperMd5) c = static_cast<char>(toupper(static_cast<unsigned char>(c)));
  ASSERT_NE(md5, upperMd5);

  struct Case {
    const char* name;
    ScriptedResponse script;
    std::string expectedMd5;
    bool result;
    std::string body;   // the output afterwards; it starts as "untouched"
    std::string error;  // "method|text", empty for none
  };
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

  const Case cases[] = {
      {"matching md5", ok, md5, true, content, ""},
      {"no md5 expected", ok, "", true, content, ""},
      {"upper-case md5", ok, upperMd5, false, content, "SyncRequest|content is broken!!!"},
      {"other md5", ok, Md5Hex("other"), false, content, "SyncRequest|content is broken!!!"},
      {"null body, no md5", nullBody, "", true, "", ""},
      {"success false", notSuccessful, "", false, "untouched",
       "SyncRequest|auth request faile: responed header: HTTP/1.1 404"},
      {"success never set", successNeverSet, "", false, "untouched",
       "SyncRequest|auth request faile: responed header: "},
      {"send failed", failedSend, "", false, "untouched",
       "SyncRequest|cdn request failed,httpResponse is null!!!"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    logger.Clear();
    http.Route(kUrl, c.script);
    BaseCdnRequest request(&network, kUrl, c.expectedMd5);
    std::string body = "untouched";
    EXPECT_EQ(c.result, request.SyncRequest(body));
    EXPECT_EQ(c.body, body);
    EXPECT_EQ(c.error, ErrorLine(kTag));
  }
}

}  // namespace
}  // namespace OstrelTest
