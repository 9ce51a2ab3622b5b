#include <gtest/gtest.h>

#include <string>

#include "net/HttpRequest.h"
#include "net/HttpResponse.h"

namespace {

using Ostrel::HttpRequest;
using Ostrel::HttpResponse;

// Read through the host's interface, so that the slots are checked too.
TEST(HttpRequest, HeadersAreCopiedAndBodyIsBinarySafe) {
  HttpRequest object;
  const Ostrel::IOHttpRequest& request = object;
  unsigned count = 99;
  EXPECT_EQ(nullptr, request.GetHeaders(&count));
  EXPECT_EQ(0u, count);

  const char* first[8] = {"a: 1", "b: 2", "c: 3", "d: 4", "e: 5", "f: 6", "g: 7", "h: 8"};
  object.SetHeaders(first);
  std::string line = "z: 9";
  const char* second[8] = {line.c_str(), nullptr, "", "d: 4", "e: 5", "f: 6", "g: 7", "h: 8"};
  object.SetHeaders(second);
  line = "changed after the copy";

  const char** headers = request.GetHeaders(&count);
  ASSERT_EQ(8u, count);
  EXPECT_STREQ("z: 9", headers[0]);
  EXPECT_STREQ("", headers[1]);
  EXPECT_STREQ("", headers[2]);
  EXPECT_STREQ("h: 8", headers[7]);

  const std::string body("a\0b\0", 4);
  object.SetBody(body);
  ASSERT_EQ(4, request.GetBodyLength());
  EXPECT_EQ(body, std::string(request.GetBody(), 4));
}

TEST(HttpResponse, NullTextsBecomeEmpty) {
  HttpRequest request;
  HttpResponse response(&request);
  Ostrel::IOHttpResponse& host = response;
  host.SetBody("body");
  host.SetHeader("header");
  host.SetMessage("message");
  host.SetBody(nullptr);
  host.SetHeader(nullptr);
  host.SetMessage(nullptr);
  EXPECT_EQ("", response.body());
  EXPECT_EQ("", response.header());
  EXPECT_EQ("", response.message());
}

}  // namespace
