#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <future>
#include <mutex>
#include <thread>
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
using Ostrel::NetworkManager;

// Holds every Send until Open is called.
class GatedClient : public Ostrel::IOHttpClient {
 public:
  int Send(Ostrel::IOHttpRequest*, Ostrel::IOHttpResponse* response) override {
    std::unique_lock<std::mutex> lock(mutex_);
    ++entered_;
    changed_.notify_all();
    changed_.wait(lock, [this] { return open_; });
    response->SetSuccess(true);
    finished_ = true;
    return 0;
  }
  bool WaitEntered() {
    std::unique_lock<std::mutex> lock(mutex_);
    return changed_.wait_for(lock, std::chrono::seconds(10), [this] { return entered_ > 0; });
  }
  void Open() {
    std::lock_guard<std::mutex> lock(mutex_);
    open_ = true;
    changed_.notify_all();
  }
  bool finished() {
    std::lock_guard<std::mutex> lock(mutex_);
    return finished_;
  }

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  int entered_ = 0;
  bool open_ = false;
  bool finished_ = false;
};

class NetworkManagerConcurrencyTest : public NetFixture {};

// Removing the client never holds up the host's thread; an exchange already
// running on the old client finishes on it, and later sends see no client.
TEST_F(NetworkManagerConcurrencyTest, RemovingTheClientDoesNotWaitForRunningSends) {
  GatedClient gated;
  network.SetHttpClient(&gated);
  auto send = std::async(std::launch::async, [this] {
    HttpRequest request;
    return network.SendSyncHttpRequest(&request) != nullptr;
  });
  ASSERT_TRUE(gated.WaitEntered());

  network.SetHttpClient(nullptr);  // returns at once
  EXPECT_FALSE(gated.finished());
  HttpRequest late;
  EXPECT_EQ(nullptr, network.SendSyncHttpRequest(&late));

  gated.Open();
  EXPECT_TRUE(send.get());
}

#ifdef OSTREL_TEST_SIGN_DIR
// Requests that start the signer lazily race the start-up's own start.
TEST_F(NetworkManagerConcurrencyTest, SignedRequestsFromSeveralThreads) {
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
