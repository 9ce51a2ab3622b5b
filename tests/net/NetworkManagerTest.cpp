#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

#include "NetFixture.h"
#include "net/HttpRequest.h"

namespace OstrelTest {
namespace {

using Ostrel::HttpRequest;
using Ostrel::NetworkManager;

class NetworkManagerTest : public NetFixture {
 protected:
  std::string ManagerError() const { return ErrorLine("NetworkManager"); }
};

TEST_F(NetworkManagerTest, ReturnsTheFilledResponseOfASuccessfulSend) {
  ScriptedResponse script;
  script.body = "payload";
  script.header = "o-code: 0";
  script.statusCode = 200;
  script.message = "ok";
  http.Route("https://cdn.example.test/a", script);

  HttpRequest request;
  request.SetUrl("https://cdn.example.test/a");
  auto response = NetworkManager::GetInstance()->SendSyncHttpRequest(&request);
  ASSERT_NE(nullptr, response);
  EXPECT_EQ(&request, response->request());
  EXPECT_TRUE(response->success());
  EXPECT_EQ("payload", response->body());
  EXPECT_EQ("o-code: 0", response->header());
  EXPECT_EQ(200, response->statusCode());
  EXPECT_EQ("ok", response->message());
  EXPECT_EQ("", ManagerError());
}

// A client that returns 0 without setting success hands back an unsuccessful
// response; deciding what that means is left to the request.
TEST_F(NetworkManagerTest, ResponseWithoutSuccessIsStillReturned) {
  ScriptedResponse script;
  script.setSuccess = false;
  script.setBody = false;
  http.Route("u", script);
  HttpRequest request;
  request.SetUrl("u");
  auto response = NetworkManager::GetInstance()->SendSyncHttpRequest(&request);
  ASSERT_NE(nullptr, response);
  EXPECT_FALSE(response->success());
  EXPECT_EQ("", response->body());
}

TEST_F(NetworkManagerTest, EachFailureGivesNullAndItsErrorLine) {
  HttpRequest request;
  request.SetUrl("u");

  EXPECT_EQ(nullptr, NetworkManager::GetInstance()->SendSyncHttpRequest(nullptr));
  EXPECT_EQ("SendSyncHttpRequest|SendSyncHttpRequest: aRequest is null error", ManagerError());

  logger.Clear();
  ScriptedResponse filledButFailed;
  filledButFailed.returnCode = 5;
  filledButFailed.body = "partial";
  http.Route("u", filledButFailed);
  EXPECT_EQ(nullptr, NetworkManager::GetInstance()->SendSyncHttpRequest(&request));
  EXPECT_EQ("SendSyncHttpRequest|SendSyncHttpRequest: iHttpClient Send error", ManagerError());

  logger.Clear();
  NetworkManager::GetInstance()->SetHttpClient(nullptr);
  EXPECT_EQ(nullptr, NetworkManager::GetInstance()->SendSyncHttpRequest(&request));
  EXPECT_EQ("SendSyncHttpRequest|SendSyncHttpRequest: iHttpClient is null error",
            ManagerError());
  EXPECT_EQ(1u, http.RequestCount());
}

class ThrowingClient : public Ostrel::IOHttpClient {
 public:
  int Send(Ostrel::IOHttpRequest*, Ostrel::IOHttpResponse* response) override {
    response->SetSuccess(true);
    throw std::runtime_error("host failure");
  }
};

TEST_F(NetworkManagerTest, ClientThatThrowsCountsAsFailedSend) {
  ThrowingClient client;
  NetworkManager::GetInstance()->SetHttpClient(&client);
  HttpRequest request;
  EXPECT_EQ(nullptr, NetworkManager::GetInstance()->SendSyncHttpRequest(&request));
  EXPECT_EQ("SendSyncHttpRequest|SendSyncHttpRequest: iHttpClient Send error", ManagerError());
}

// A client that removes itself from inside Send must not wait for its own
// exchange.
class SelfRemovingClient : public Ostrel::IOHttpClient {
 public:
  int Send(Ostrel::IOHttpRequest*, Ostrel::IOHttpResponse* response) override {
    NetworkManager::GetInstance()->SetHttpClient(nullptr);
    response->SetSuccess(true);
    return 0;
  }
};

TEST_F(NetworkManagerTest, ClientMayRemoveItselfDuringSend) {
  SelfRemovingClient client;
  NetworkManager::GetInstance()->SetHttpClient(&client);
  HttpRequest request;
  auto response = NetworkManager::GetInstance()->SendSyncHttpRequest(&request);
  ASSERT_NE(nullptr, response);
  EXPECT_TRUE(response->success());
  EXPECT_EQ(nullptr, NetworkManager::GetInstance()->SendSyncHttpRequest(&request));
}

}  // namespace
}  // namespace OstrelTest
