#include <gtest/gtest.h>

#include <future>
#include <string>
#include <vector>

#include "NetFixture.h"
#include "net/HttpRequest.h"

#ifdef OSTREL_TEST_SIGN_DIR
#include "TestSignature.h"
#include "net/BaseAuthRequest.h"
#endif

namespace OstrelTest {
namespace {

using Ostrel::HttpRequest;

class NetworkManagerConcurrencyTest : public NetFixture {};

// Removing the client never holds up the host's thread; an exchange already
// running on the old client finishes on it, and later sends see no client.
TEST_F(NetworkManagerConcurrencyTest, RemovingTheClientDoesNotWaitForRunningSends) {
  http.Route("held", ScriptedResponse());
  http.Hold("held");
  auto send = std::async(std::launch::async, [this] {
    HttpRequest request;
    request.SetUrl("held");
    return network.SendSyncHttpRequest(&request) != nullptr;
  });
  ASSERT_TRUE(http.WaitHeld("held"));

  network.SetHttpClient(nullptr);  // returns while the send is held
  HttpRequest late;
  EXPECT_EQ(nullptr, network.SendSyncHttpRequest(&late));

  http.Release("held");
  EXPECT_TRUE(send.get());
}

#ifdef OSTREL_TEST_SIGN_DIR
// Requests that start the signer lazily race the start-up's own start.
TEST_F(NetworkManagerConcurrencyTest, SignedRequestsFromSeveralThreads) {
  NewSigner(OSTREL_TEST_SIGN_DIR);
  http.RoutePrefix("https://", ScriptedResponse());
  constexpr int kThreads = 4;
  constexpr int kRequestsEach = 25;
  std::vector<std::future<int>> workers;
  for (int t = 0; t < kThreads; ++t) {
    workers.push_back(std::async(std::launch::async, [this] {
      int succeeded = 0;
      for (int i = 0; i < kRequestsEach; ++i) {
        Ostrel::BaseAuthRequest request(Context(), "", "/checkUpdate");
        std::string body;
        if (request.SyncRequest(body)) ++succeeded;
      }
      return succeeded;
    }));
  }
  EXPECT_TRUE(signer->Init());
  for (auto& worker : workers) EXPECT_EQ(kRequestsEach, worker.get());

  char signature[17];
  OstrelTestSign::Signature("app-key", "/checkUpdate&app-key&1.0.0&device-1&1700000000",
                            signature);
  for (const RecordedRequest& sent : http.Requests()) {
    ASSERT_EQ(8u, sent.headers.size());
    EXPECT_EQ(std::string("o-sign: ") + signature, sent.headers[6]);
  }
}
#endif

}  // namespace
}  // namespace OstrelTest
