// A small host application on the C++ layer: hands the SDK a logger, an
// in-memory store and an HTTP client that has no network, starts it, reads
// typed values, subscribes to a namespace and shuts down. Prints everything
// the SDK tells it.
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <mutex>
#include <string>

#include "ostrel/ostrel.hpp"

namespace {

class PrintingLogger : public Ostrel::IOLog {
 public:
  void Log(int level, const char* tag, const char* method, const char* text) override {
    static const char* const kLevels[] = {"debug", "info", "warn", "error"};
    const char* name = level >= 0 && level <= 3 ? kLevels[level] : "?";
    std::lock_guard<std::mutex> lock(mutex_);
    std::printf("  [%s] %s %s: %s\n", name, tag, method, text);
  }

 private:
  std::mutex mutex_;
};

class InMemoryStorage : public Ostrel::IOStorage {
 public:
  int Save(const char* key, const char* value) override {
    std::lock_guard<std::mutex> lock(mutex_);
    records_[key] = value;
    return 0;
  }
  char* Load(const char* key) override {
    std::lock_guard<std::mutex> lock(mutex_);
    auto it = records_.find(key);
    if (it == records_.end()) return nullptr;
    char* copy = static_cast<char*>(std::malloc(it->second.size() + 1));
    std::memcpy(copy, it->second.c_str(), it->second.size() + 1);
    return copy;
  }
  int Remove(const char* key) override {
    std::lock_guard<std::mutex> lock(mutex_);
    records_.erase(key);
    return 0;
  }
  int Reserved() override { return 0; }
  int Clear() override {
    std::lock_guard<std::mutex> lock(mutex_);
    records_.clear();
    return 0;
  }
  void Free(char* buffer) override { std::free(buffer); }

 private:
  std::mutex mutex_;
  std::map<std::string, std::string> records_;
};

// This example runs without a network: every request fails at once.
class OfflineHttpClient : public Ostrel::IOHttpClient {
 public:
  int Send(Ostrel::IOHttpRequest* request, Ostrel::IOHttpResponse* response) override {
    std::printf("  http: %s (offline)\n", request->GetUrl());
    response->SetSuccess(false);
    return 1;
  }
};

}  // namespace

int main() {
  PrintingLogger logger;
  InMemoryStorage storage;
  OfflineHttpClient http;

  std::printf("1. start: the client hands in the services (logger first) and calls init\n");
  Ostrel::Client::Options options;
  options.appKey = "demo-app";
  options.appVersion = "2.4.1";
  // Production hosts use kOnline (https); kDaily is for test services only.
  options.env = Ostrel::Env::kOnline;
  options.deviceId = "device-42";
  options.osVersion = "10.0.19045";
  options.brand = "acme";
  options.model = "laptop-7";
  options.logLevel = 1;
  options.logger = &logger;
  options.storage = &storage;
  options.httpClient = &http;
  {
    Ostrel::Client client(options);
    std::printf("  init accepted: %s\n", client.IsInitialised() ? "yes" : "no");
    if (!client.WaitUntilReady(std::chrono::seconds(10))) {
      std::printf("start-up did not finish\n");
      return 1;
    }

    std::printf("2. read (nothing is published yet, so the defaults come back)\n");
    std::printf("  ui.theme = %s\n", client.GetString("ui", "theme", "light").c_str());
    std::printf("  ui.fontSize = %lld\n",
                static_cast<long long>(client.GetInt64("ui", "fontSize", 12)));
    const auto missing = client.GetDetail<std::string>("ui", "missing", "");
    std::printf("  ui.missing: %s\n", Ostrel::ReasonText(missing.reason));
    const auto reserved = client.GetDetail<std::string>("ostrel.index", "k", "refused");
    std::printf("  ostrel.index (reserved) = %s: %s\n", reserved.value.c_str(),
                Ostrel::ReasonText(reserved.reason));

    std::printf("3. subscribe to ui: told once it is downloaded (never, offline)\n");
    const Ostrel::Subscription subscription =
        client.Subscribe("ui", [](const Ostrel::Change& change) {
          std::printf("  ui changed: version %s\n", change.version.c_str());
        });

    std::printf("4. an update check before any index (rate-limited, background)\n");
    client.Raw()->forceCheckUpdate();

    std::printf("5. shut down: the subscription ends, then the client tears the SDK down\n");
  }
  std::printf("done\n");
  return 0;
}
