// A small host application: hands the SDK a logger, an in-memory store and an
// HTTP client that has no network, initialises it, reads values, listens for
// changes and shuts down. Prints everything the SDK tells it.
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <mutex>
#include <string>

#include "ostrel/OstrelSdk.h"

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

class ReadyListener : public Ostrel::IOInitListener {
 public:
  void onInitFinished() override {
    std::lock_guard<std::mutex> lock(mutex_);
    ready_ = true;
    changed_.notify_all();
  }
  bool Wait() {
    std::unique_lock<std::mutex> lock(mutex_);
    return changed_.wait_for(lock, std::chrono::seconds(10), [&] { return ready_; });
  }

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  bool ready_ = false;
};

std::string Read(const char* nameSpace, const char* key, const char* defaultValue) {
  char* value = getOstrelConfig(nameSpace, key, defaultValue);
  std::string result = value != nullptr ? value : "(null)";
  freeOstrelConfigValue(value);
  return result;
}

}  // namespace

int main() {
  PrintingLogger logger;
  InMemoryStorage storage;
  OfflineHttpClient http;
  ReadyListener ready;

  std::printf("1. create the parameters and the facade, hand in the services\n");
  Ostrel::IOConfig* config = CreateIOConfig();
  config->setAppKey("demo-app")->setAppVersion("2.4.1")->setDeviceId("device-42");
  config->setOsVersion("10.0.19045")->setBrand("acme")->setModel("laptop-7");
  config->setInitListener(&ready)->build();

  Ostrel::IOstrelConfig* sdk = GetIOstrelConfig();
  sdk->installLogger(&logger);
  sdk->changeLogLevel(1);
  sdk->setStorage(&storage);
  sdk->setHttpClient(&http);

  std::printf("2. init\n");
  const bool accepted = sdk->init(config);
  DestroyIOConfig(config);
  std::printf("  init accepted: %s\n", accepted ? "yes" : "no");
  if (!accepted || !ready.Wait()) {
    std::printf("start-up did not finish\n");
    DestroyIOstrelConfig();
    return 1;
  }

  std::printf("3. read (nothing is published yet, so the defaults come back)\n");
  std::printf("  ui.theme = %s\n", Read("ui", "theme", "light").c_str());
  std::printf("  ui.missing (null default) = %s\n", Read("ui", "missing", nullptr).c_str());
  std::printf("  ostrel.index (reserved) = %s\n", Read("ostrel.index", "k", "refused").c_str());

  std::printf("4. an update check before any index (rate-limited, background)\n");
  sdk->forceCheckUpdate();

  std::printf("5. shut down\n");
  DestroyIOstrelConfig();
  std::printf("done\n");
  return 0;
}
