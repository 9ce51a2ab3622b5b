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

TEST_F(NetworkManagerTest, EachFailureGivesNullAndItsErrorLine) {
  HttpRequest request;
  request.SetUrl("u");

  EXPECT_EQ(nullptr, network.SendSyncHttpRequest(nullptr));
  EXPECT_EQ("SendSyncHttpRequest|SendSyncHttpRequest: aRequest is null error", ManagerError());

  logger.Clear();
  ScriptedResponse filledButFailed;
  filledButFailed.returnCode = 5;
  filledButFailed.body = "partial";
  http.Route("u", filledButFailed);
  EXPECT_EQ(nullptr, network.SendSyncHttpRequest(&request));
  EXPECT_EQ("SendSyncHttpRequest|SendSyncHttpRequest: iHttpClient Send error", ManagerError());

  logger.Clear();
  network.SetHttpClient(nullptr);
  EXPECT_EQ(nullptr, network.SendSyncHttpRequest(&request));
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
  network.SetHttpClient(&client);
  HttpRequest request;
  EXPECT_EQ(nullptr, network.SendSyncHttpRequest(&request));
  EXPECT_EQ("SendSyncHttpRequest|SendSyncHttpRequest: iHttpClient Send error", ManagerError());
}

// A client that removes itself from inside Send must not wait for its own
// exchange.
class SelfRemovingClient : public Ostrel::IOHttpClient {
 public:
  explicit SelfRemovingClient(NetworkManager* network) : network_(network) {}
  int Send(Ostrel::IOHttpRequest*, Ostrel::IOHttpResponse* response) override {
    network_->SetHttpClient(nullptr);
    response->SetSuccess(true);
    return 0;
  }

 private:
  NetworkManager* const network_;
};

TEST_F(NetworkManagerTest, ClientMayRemoveItselfDuringSend) {
  SelfRemovingClient client(&network);
  network.SetHttpClient(&client);
  HttpRequest request;
  auto response = network.SendSyncHttpRequest(&request);
  ASSERT_NE(nullptr, response);
  EXPECT_TRUE(response->success());
  EXPECT_EQ(nullptr, network.SendSyncHttpRequest(&request));
}

}  // namespace
}  // namespace OstrelTest
