// Ending a Subscription while its callback runs: from inside that callback,
// and from another thread. Under the sanitizers a listener freed while the
// library is still inside it shows.
#include <thread>

#include "ClientFixture.h"

namespace OstrelTest {
namespace {

using Ostrel::Change;
using Ostrel::Client;
using Ostrel::Subscription;

class SubscriptionConcurrency : public ClientFixture {
 protected:
  // Waits, bounded, until done holds; the caller holds no lock.
  bool WaitUntil(const std::function<bool()>& done) {
    std::unique_lock<std::mutex> lock(mutex);
    return changed.wait_for(lock, std::chrono::seconds(10), done);
  }
  void Notify(const std::function<void()>& change) {
    std::lock_guard<std::mutex> lock(mutex);
    change();
    changed.notify_all();
  }

  std::mutex mutex;
  std::condition_variable changed;
};

TEST_F(SubscriptionConcurrency, EndedFromInsideItsOwnCallback) {
  Client client(Options());
  ASSERT_TRUE(client.WaitUntilReady(std::chrono::seconds(10)));
  ServeRemote();
  http.Hold("");  // the notification comes once the subscription is stored
  int calls = 0;
  std::string version, value;
  Subscription subscription;
  subscription = client.Subscribe("remote", [&](const Change& change) {
    subscription.Reset();  // on the library thread, inside this very call
    // Still running: what the callback captured must be intact.
    const std::string read = client.GetString("remote", "k", "none");
    Notify([&] {
      ++calls;
      version = change.version;
      value = read;
    });
  });
  http.Release("");
  ASSERT_TRUE(WaitUntil([&] { return calls > 0; }));
  EXPECT_EQ(1, calls);
  EXPECT_EQ("2", version);
  EXPECT_EQ("r", value);
  EXPECT_FALSE(subscription.Active());
}

TEST_F(SubscriptionConcurrency, EndedFromAnotherThreadWaitsForTheRunningCallback) {
  Client client(Options());
  ASSERT_TRUE(client.WaitUntilReady(std::chrono::seconds(10)));
  ServeRemote();
  http.Hold("");
  bool entered = false, letGo = false, finished = false, ended = false, finishedWhenEnded = false;
  const std::string captured = "captured by the callback";
  std::string seen;
  Subscription subscription = client.Subscribe("remote", [&](const Change&) {
    Notify([&] { entered = true; });
    WaitUntil([&] { return letGo; });
    seen = captured;
    Notify([&] { finished = true; });
  });
  http.Release("");
  ASSERT_TRUE(WaitUntil([&] { return entered; }));
  std::thread ender([&] {
    subscription.Reset();
    Notify([&] {
      ended = true;
      finishedWhenEnded = finished;
    });
  });
  {
    std::unique_lock<std::mutex> lock(mutex);
    EXPECT_FALSE(changed.wait_for(lock, std::chrono::milliseconds(100), [&] { return ended; }))
        << "Reset returned while the callback was still running";
  }
  Notify([&] { letGo = true; });
  ender.join();
  EXPECT_TRUE(finishedWhenEnded);
  EXPECT_EQ("captured by the callback", seen);
}

}  // namespace
}  // namespace OstrelTest
