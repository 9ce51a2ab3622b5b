#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

#include "NetFixture.h"
#include "net/HttpRequest.h"

namespace OstrelTest {
namespace {

using Ostrel::HttpRequest;
using Ostrel::NetworkManager;

class ThrowingClient : public Ostrel::IOHttpClient {
 public:
  int Send(Ostrel::IOHttpRequest*, Ostrel::IOHttpResponse* response) override {
    response->SetSuccess(true);
    throw std::runtime_error("host failure");
  }
};

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

class NetworkManagerTest : public NetFixture {};

TEST_F(NetworkManagerTest, EachFailureGivesNullAndItsErrorLine) {
  ScriptedResponse filledButFailed;
  filledButFailed.returnCode = 5;
  filledButFailed.body = "partial";
  http.Route("u", filledButFailed);
  ThrowingClient throwing;
  HttpRequest request;
  request.SetUrl("u");
  const struct {
    const char* name;
    Ostrel::IOHttpClient* client;
    HttpRequest* request;
    const char* error;
  } cases[] = {
      {"no request", &http, nullptr, "aRequest is null error"},
      {"send fails", &http, &request, "iHttpClient Send error"},
      {"client throws", &throwing, &request, "iHttpClient Send error"},
      {"no client", nullptr, &request, "iHttpClient is null error"},
  };
  for (const auto& c : cases) {
    logger.Clear();
    network.SetHttpClient(c.client);
    EXPECT_EQ(nullptr, network.SendSyncHttpRequest(c.request)) << c.name;
    EXPECT_EQ(std::string("SendSyncHttpRequest|SendSyncHttpRequest: ") + c.error,
              ErrorLine("NetworkManager"))
        << c.name;
  }
  EXPECT_EQ(1u, http.RequestCount());
}

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
