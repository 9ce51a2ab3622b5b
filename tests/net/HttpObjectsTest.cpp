#include <gtest/gtest.h>

#include <string>

#include "net/HttpRequest.h"
#include "net/HttpResponse.h"

namespace {

using Ostrel::HttpRequest;
using Ostrel::HttpResponse;

// Read through the host's interface, so the slots are checked as well.
TEST(HttpRequest, FreshRequestHasDefaultsAndNoHeaders) {
  HttpRequest object;
  const Ostrel::IOHttpRequest& request = object;
  EXPECT_EQ(4, request.GetType());
  EXPECT_STREQ("", request.GetUrl());
  EXPECT_STREQ("", request.GetBody());
  EXPECT_EQ(0, request.GetBodyLength());
  EXPECT_STREQ("", request.GetExtra0());
  EXPECT_STREQ("OstrelSdk/1.0", request.GetExtra1());
  EXPECT_STREQ("", request.GetExtra2());
  EXPECT_EQ(0, request.GetOption());
  ASSERT_NE(nullptr, request.GetOptionRef());
  EXPECT_EQ(0, *static_cast<const int64_t*>(request.GetOptionRef()));
  unsigned count = 99;
  EXPECT_EQ(nullptr, request.GetHeaders(&count));
  EXPECT_EQ(0u, count);
}

TEST(HttpRequest, BodyIsBinarySafe) {
  HttpRequest request;
  const std::string body("a\0b\0", 4);
  request.SetBody(body);
  EXPECT_EQ(4, request.GetBodyLength());
  EXPECT_EQ(body, std::string(request.GetBody(), 4));
}

TEST(HttpRequest, SetHeadersCopiesEightLinesAndReplacesEarlierOnes) {
  HttpRequest request;
  const char* first[8] = {"a: 1", "b: 2", "c: 3", "d: 4", "e: 5", "f: 6", "g: 7", "h: 8"};
  request.SetHeaders(first);

  std::string line = "z: 9";
  const char* second[8] = {line.c_str(), nullptr, "", "d: 4", "e: 5", "f: 6", "g: 7", "h: 8"};
  request.SetHeaders(second);
  line = "changed after the copy";

  unsigned count = 0;
  const char** headers = request.GetHeaders(&count);
  ASSERT_EQ(8u, count);
  EXPECT_STREQ("z: 9", headers[0]);
  EXPECT_STREQ("", headers[1]);
  EXPECT_STREQ("", headers[2]);
  EXPECT_STREQ("h: 8", headers[7]);
  // A host that passes no count pointer still gets the lines.
  EXPECT_EQ(headers, request.GetHeaders(nullptr));
}

TEST(HttpResponse, SettersStoreTextAndTreatNullAsEmpty) {
  HttpRequest request;
  HttpResponse response(&request);
  EXPECT_EQ(&request, response.request());
  EXPECT_FALSE(response.success());
  EXPECT_EQ(0, response.statusCode());

  response.SetSuccess(true);
  response.SetBody("body");
  response.SetHeader("header");
  response.SetMessage("message");
  response.SetStatusCode(503);
  EXPECT_TRUE(response.success());
  EXPECT_EQ("body", response.body());
  EXPECT_EQ("header", response.header());
  EXPECT_EQ("message", response.message());
  EXPECT_EQ(503, response.statusCode());

  response.SetBody(nullptr);
  response.SetHeader(nullptr);
  response.SetMessage(nullptr);
  EXPECT_EQ("", response.body());
  EXPECT_EQ("", response.header());
  EXPECT_EQ("", response.message());
}

}  // namespace
