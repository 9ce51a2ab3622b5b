// Ending a Subscription while its callback runs: from inside that callback,
// and from another thread. Run under ThreadSanitizer and AddressSanitizer,
// which see a listener object freed while the library is still inside it.
#include <thread>

#include "ClientLayerFixture.h"

namespace OstrelTest {
namespace {

using Ostrel::Change;
using Ostrel::Client;
using Ostrel::Subscription;

class SubscriptionConcurrency : public ClientLayerFixture {};

TEST_F(SubscriptionConcurrency, EndedFromInsideItsOwnCallback) {
  Client client(Options());
  ASSERT_TRUE(client.WaitUntilReady(std::chrono::seconds(10)));
  ServeRemote();
  http.Hold("");  // the notification comes once the subscription is stored

  std::mutex mutex;
  std::condition_variable changed;
  bool done = false;
  int calls = 0;
  std::string versionAfterEnd, valueAfterEnd;
  Subscription subscription;
  subscription = client.Subscribe("remote", [&](const Change& change) {
    subscription.Reset();  // on the library thread, inside this very call
    // Still running: what the callback captured must be intact.
    const std::string value = client.GetString("remote", "k", "none");
    std::lock_guard<std::mutex> lock(mutex);
    ++calls;
    versionAfterEnd = change.version;
    valueAfterEnd = value;
    done = true;
    changed.notify_all();
  });
  http.Release("");
  std::unique_lock<std::mutex> lock(mutex);
  ASSERT_TRUE(changed.wait_for(lock, std::chrono::seconds(10), [&] { return done; }));
  EXPECT_EQ(calls, 1);
  EXPECT_EQ(versionAfterEnd, "2");
  EXPECT_EQ(valueAfterEnd, "r");
  EXPECT_FALSE(subscription.Active());
}

TEST_F(SubscriptionConcurrency, EndedFromAnotherThreadWaitsForTheRunningCallback) {
  Client client(Options());
  ASSERT_TRUE(client.WaitUntilReady(std::chrono::seconds(10)));
  ServeRemote();
  http.Hold("");

  std::mutex mutex;
  std::condition_variable changed;
  bool entered = false, letGo = false, finished = false;
  bool ended = false, finishedWhenEnded = false;
  std::string captured = "captured by the callback";
  std::string seen;
  Subscription subscription = client.Subscribe("remote", [&](const Change&) {
    std::unique_lock<std::mutex> lock(mutex);
    entered = true;
    changed.notify_all();
    changed.wait_for(lock, std::chrono::seconds(10), [&] { return letGo; });
    seen = captured;
    finished = true;
  });
  http.Release("");
  {
    std::unique_lock<std::mutex> lock(mutex);
    ASSERT_TRUE(changed.wait_for(lock, std::chrono::seconds(10), [&] { return entered; }));
  }
  std::thread ender([&] {
    subscription.Reset();
    std::lock_guard<std::mutex> lock(mutex);
    ended = true;
    finishedWhenEnded = finished;
    changed.notify_all();
  });
  {
    std::unique_lock<std::mutex> lock(mutex);
    EXPECT_FALSE(changed.wait_for(lock, std::chrono::milliseconds(100), [&] { return ended; }))
        << "Reset returned while the callback was still running";
    letGo = true;
    changed.notify_all();
  }
  ender.join();
  EXPECT_TRUE(finishedWhenEnded);
  EXPECT_EQ(seen, "captured by the callback");
}

}  // namespace
}  // namespace OstrelTest
