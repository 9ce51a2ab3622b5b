// A C++ host on the header-only layer, with the fake services and a stored
// index: "std", "small" and "custom" are restored from storage at start-up;
// "remote" is listed but has never been downloaded, and its download during
// start-up fails until a test serves it.
#ifndef OSTREL_TESTS_API_CLIENTFIXTURE_H_
#define OSTREL_TESTS_API_CLIENTFIXTURE_H_

#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "EngineHost.h"
#include "ostrel/ostrel.hpp"

namespace OstrelTest {

// The values of "std", one per conversion case.
inline const std::map<std::string, std::string>& StoredValues() {
  static const std::map<std::string, std::string> kValues = {
      {"int", "42"},      {"real", "2.5"},          {"exponent", "1e3"},
      {"flag", "true"},   {"capital", "True"},      {"mixed", "12abc"},
      {"padded", " 42"},  {"json", R"({"a":[1,2]})"}, {"empty", ""},
  };
  return kValues;
}

// Collects a subscription's calls, from any thread.
class ChangeLog {
 public:
  std::function<void(const Ostrel::Change&)> Callback() {
    return [this](const Ostrel::Change& change) {
      std::lock_guard<std::mutex> lock(mutex_);
      changes_.push_back(change);
      changed_.notify_all();
    };
  }
  std::vector<Ostrel::Change> Changes() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return changes_;
  }
  bool WaitForCount(size_t count) const {
    std::unique_lock<std::mutex> lock(mutex_);
    return changed_.wait_for(lock, std::chrono::seconds(10),
                             [&] { return changes_.size() >= count; });
  }

 private:
  mutable std::mutex mutex_;
  mutable std::condition_variable changed_;
  std::vector<Ostrel::Change> changes_;
};

class ClientFixture : public ::testing::Test {
 protected:
  void SetUp() override {
    NamespaceSpec custom("custom", "2");
    custom.type = "CUSTOM";
    remote.loadLevel = "HIGH";  // loaded during start-up, which waits for it
    storage.PutRaw("ostrel.index",
                   Frame(IndexJson("index-1", "1", kCdn,
                                   {remote, {"std", "1"}, {"small", "1"}, custom})));
    storage.PutRaw("std", Frame(ConfigJson("std", "1", StoredValues())));
    storage.PutRaw("small", Frame(ConfigJson("small", "1", {{"a", "1"}})));
    storage.PutRaw("custom", Frame(CustomJson("custom", "2", "plain text")));
  }

  Ostrel::Client::Options Options() {
    Ostrel::Client::Options options;
    options.appKey = kAppKey;
    options.appVersion = kAppVersion;
    options.host = kApiHost;
    options.logLevel = 0;
    options.logger = &logger;
    options.storage = &storage;
    options.httpClient = &http;
    options.statistics = &statistics;
    return options;
  }

  // Serves "remote" from now on.
  void ServeRemote() {
    http.Route(CdnUrl(ResourceIdOf(remote)), Body(ConfigJson("remote", "2", {{"k", "r"}})));
  }

  NamespaceSpec remote{"remote", "2"};
  CapturingLogger logger;
  MemoryStorage storage;
  ScriptedHttpClient http;
  StatisticsRecorder statistics;
};

}  // namespace OstrelTest

#endif  // OSTREL_TESTS_API_CLIENTFIXTURE_H_
