// Host threads that read, register and tear down at the same time.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "SdkHost.h"
#include "ostrel/OstrelSdk.h"

namespace {

TEST(LifecycleConcurrency, FirstCallsFromManyThreadsShareOneFacade) {
  std::vector<Ostrel::IOstrelConfig*> seen(8);
  std::vector<std::thread> threads;
  for (int t = 0; t < 8; ++t) threads.emplace_back([&, t] { seen[t] = GetIOstrelConfig(); });
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(std::set<Ostrel::IOstrelConfig*>(seen.begin(), seen.end()).size(), 1u);
}

// Readers never stop while the library is initialised and torn down under
// them: every read answers either the default or null-for-null, nothing
// crashes, and every returned buffer can be freed.
TEST(LifecycleConcurrency, ReadsRaceInitAndTeardown) {
  std::atomic<bool> stop{false};
  std::atomic<long> reads{0};
  std::vector<std::thread> readers;
  for (int t = 0; t < 3; ++t) {
    readers.emplace_back([&] {
      OstrelTest::RecordingListener listener;
      while (!stop) {
        char* value = getOstrelConfig("ns", "key", "d");
        if (value == nullptr || std::string(value) != "d") ADD_FAILURE() << "unexpected read";
        freeOstrelConfigValue(value);
        Ostrel::IOstrelConfig* sdk = GetIOstrelConfig();
        sdk->registerListener("ns", &listener);
        sdk->unregisterListener("ns", &listener);
        sdk->forceCheckUpdate();
        ++reads;
      }
    });
  }
  // The rounds start once the readers are reading, however busy the machine.
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
  while (reads == 0 && std::chrono::steady_clock::now() < deadline) std::this_thread::yield();
  for (int round = 0; round < 40; ++round) {
    OstrelTest::SdkHost host;
    host.Init();
    if (round % 2 == 0) host.initListener.WaitForCall();
  }
  stop = true;
  for (auto& reader : readers) reader.join();
  EXPECT_GT(reads, 0);
  DestroyIOstrelConfig();
}

// Teardown from a library thread would have to join itself: it is refused
// with a log line and the library keeps working.
TEST(LifecycleConcurrency, TeardownFromALibraryThreadIsRefused) {
  struct TearingInitListener : Ostrel::IOInitListener {
    void onInitFinished() override {
      DestroyIOstrelConfig();
      called = true;
    }
    std::atomic<bool> called{false};
  };
  OstrelTest::SdkHost host;
  TearingInitListener listener;
  ASSERT_TRUE(host.Init([&](Ostrel::IOConfig* config) { config->setInitListener(&listener); }));
  ASSERT_TRUE(host.logger.WaitFor("DestroyIOstrelConfig refused"));
  EXPECT_TRUE(host.logger.WaitFor("init cost "));
  EXPECT_TRUE(listener.called);
  EXPECT_EQ(host.Get("ns", "k", "d"), "d");
}

}  // namespace
