// Readers, listener churn, downloads and index replacements all at once.
#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

#include "EngineHost.h"

namespace OstrelTest {
namespace {

// Serves round r: an index whose namespaces are all at version r, and their
// documents with the value r.
void ServeRound(SdkHost& host, int round) {
  std::vector<NamespaceSpec> namespaces;
  for (const char* name : {"alpha", "beta"}) {
    NamespaceSpec ns(name, std::to_string(round));
    namespaces.push_back(ns);
    ServeConfig(host, ns, {{"k", std::to_string(round)}, {"name", name}});
  }
  host.http.Route(CdnUrl("index-" + std::to_string(round)),
                  Body(IndexJson("index-" + std::to_string(round), std::to_string(round), kCdn,
                                 namespaces)));
}

TEST(EngineStressConcurrency, ReadersSeeOnlyWholeAndNewerDocuments) {
  SdkHost host;
  host.sdk->changeLogLevel(2);  // keep the capture small
  ServeRound(host, 1);
  StoreIndex(host, {{"alpha", "1"}, {"beta", "1"}}, "index-1", "1");
  ASSERT_TRUE(InitEngine(host));

  std::atomic<bool> stop{false};
  std::atomic<int> errors{0};
  std::atomic<long> reads{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < 2; ++t) {
    threads.emplace_back([&] {
      int lastSeen = 0;
      while (!stop) {
        const std::string value = host.Get("alpha", "k", "0");
        const int round = std::atoi(value.c_str());
        if (round < lastSeen) ++errors;  // values never go back
        lastSeen = round;
        int count = 0;
        char* packed = host.sdk->getConfigs("beta", &count);
        // A whole document: both keys, or nothing yet.
        if (packed != nullptr && count != 2) ++errors;
        host.sdk->freeConfigValue(packed);
        char* text = host.sdk->getCustomConfig("alpha", "{}");
        if (text == nullptr || text[0] != '{') ++errors;
        host.sdk->freeConfigValue(text);
        ++reads;
      }
    });
  }
  threads.emplace_back([&] {
    std::vector<RecordingListener> listeners(4);
    while (!stop) {
      for (auto& listener : listeners) host.sdk->registerListener("beta", &listener);
      for (auto& listener : listeners) host.sdk->unregisterListener("beta", &listener);
    }
  });

  RecordingListener alpha;
  host.sdk->registerListener("alpha", &alpha);
  size_t seen = 0;
  Ostrel::IOIntercept* intercept = host.sdk->getIntercept();
  const int kRounds = 25;
  for (int round = 2; round <= kRounds; ++round) {
    ServeRound(host, round);
    intercept->OnOstrelResponse(
        ("cdn=cdn.test&resourceId=index-" + std::to_string(round) + "&protocol=https").c_str());
    // Each round waits for its own download, so rounds do not pile up.
    const std::string version = std::to_string(round);
    while (alpha.WaitForCount(++seen) && alpha.Notifications()[seen - 1].version != version) {
    }
    EXPECT_EQ(host.Get("alpha", "k", "0"), version);
  }
  host.sdk->releaseIntercept(intercept);
  host.sdk->unregisterListener("alpha", &alpha);
  stop = true;
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(errors, 0);
  EXPECT_GT(reads, 0);
  EXPECT_TRUE(host.storage.WaitForRecord("alpha",
                                         Frame(ConfigJson("alpha", std::to_string(kRounds),
                                                          {{"k", std::to_string(kRounds)},
                                                           {"name", "alpha"}},
                                                          "alpha-v" + std::to_string(kRounds)))))
      << "the newest document is the one stored";
}

}  // namespace
}  // namespace OstrelTest
