// Ending a Subscription while its callback runs: from inside that callback,
// and from another thread; ending the library from inside one is refused.
// Under the sanitizers a listener freed while the library is still inside
// it shows.
#include <atomic>
#include <thread>

#include "ClientFixture.h"
#include "Latch.h"

namespace OstrelTest {
namespace {

using Ostrel::Change;
using Ostrel::Client;
using Ostrel::Subscription;

class SubscriptionConcurrency : public ClientFixture {};

TEST_F(SubscriptionConcurrency, EndedFromInsideItsOwnCallback) {
  Client client(Options());
  ASSERT_TRUE(client.WaitUntilReady(std::chrono::seconds(10)));
  ServeRemote();
  http.Hold("");  // the notification comes once the subscription is stored
  std::atomic<int> calls{0};
  std::string version, value;
  Latch called;
  Subscription subscription;
  subscription = client.Subscribe("remote", [&](const Change& change) {
    subscription.Reset();  // on the library thread, inside this very call
    DestroyIOstrelConfig();  // refused there: the library would end under its own feet
    // Still running: what the callback captured must be intact.
    value = client.GetString("remote", "k", "none");
    version = change.version;
    ++calls;
    called.Open();
  });
  http.Release("");
  ASSERT_TRUE(called.Wait());
  EXPECT_EQ(1, calls);
  EXPECT_EQ("2", version);
  EXPECT_EQ("r", value);
  EXPECT_FALSE(subscription.Active());
  EXPECT_TRUE(logger.Contains("DestroyIOstrelConfig refused: called from inside the library"));
}

TEST_F(SubscriptionConcurrency, EndedFromAnotherThreadWaitsForTheRunningCallback) {
  Client client(Options());
  ASSERT_TRUE(client.WaitUntilReady(std::chrono::seconds(10)));
  ServeRemote();
  http.Hold("");
  Latch entered, letGo, ended;
  std::atomic<bool> finished{false}, finishedWhenEnded{false};
  const std::string captured = "captured by the callback";
  std::string seen;
  Subscription subscription = client.Subscribe("remote", [&](const Change&) {
    entered.Open();
    letGo.Wait();
    seen = captured;
    finished = true;
  });
  http.Release("");
  ASSERT_TRUE(entered.Wait());
  std::thread ender([&] {
    subscription.Reset();
    finishedWhenEnded = finished.load();
    ended.Open();
  });
  EXPECT_FALSE(ended.Wait(std::chrono::milliseconds(100)))
      << "Reset returned while the callback was still running";
  letGo.Open();
  ender.join();
  EXPECT_TRUE(finishedWhenEnded);
  EXPECT_EQ("captured by the callback", seen);
}

}  // namespace
}  // namespace OstrelTest
