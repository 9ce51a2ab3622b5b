// The RAII owner of the initialised SDK, with typed reads and subscriptions.
#ifndef OSTREL_CPP_CLIENT_HPP_
#define OSTREL_CPP_CLIENT_HPP_

#include <chrono>
#include <cstdint>
#include <cstring>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "ostrel/OstrelSdk.h"
#include "ostrel/cpp/Convert.hpp"
#include "ostrel/cpp/Detail.hpp"
#include "ostrel/cpp/ListenerAdapter.hpp"
#include "ostrel/cpp/ReadyLatch.hpp"
#include "ostrel/cpp/String.hpp"
#include "ostrel/cpp/Subscription.hpp"
#include "ostrel/cpp/SubscriptionHub.hpp"
#include "ostrel/cpp/WidenUtf8.hpp"

namespace Ostrel {

// IOConfig's environments. Production hosts use kOnline: signed requests go
// over https. kDaily sends them over plain HTTP and is meant for a local or
// test service only.
enum class Env : int { kOnline = 0, kPreRelease = 1, kDaily = 2 };

// Owns the initialised SDK: the constructor hands in the services (logger
// first, so that start-up is logged), builds the parameters and calls init;
// the destructor calls DestroyIOstrelConfig. The library is process-wide, so
// one Client exists at a time.
//
// Threads: every const member may be called from any thread, concurrently.
// The constructor and destructor run on a host thread, never inside a
// Subscribe callback or on a library thread (the library refuses teardown
// there). The services in Options are borrowed: the host keeps them alive
// until the destructor has returned.
class Client {
 public:
  struct Options {
    std::string appKey;      // mandatory
    std::string appVersion;  // mandatory; also the attribute "app_ver"
    // Online unless set: unlike CreateIOConfig's default (daily, whose
    // signed requests go over plain HTTP), a host that forgets it stays on
    // https.
    Env env = Env::kOnline;
    int hostGroup = 0;  // which default host table: 0 or 1
    std::string host;   // API host; empty: the default of env and hostGroup
    // Device data: the id is sent with requests and hashed into "did_hash";
    // the others are the attributes "os_ver", "m_fac", "m_brand", "m_model".
    std::string deviceId;
    std::string osVersion;
    std::string manufacturer;
    std::string brand;
    std::string model;
    std::string signLibraryPath;  // UTF-8 folder of the signing library; empty: the default
    int logLevel = 2;             // lines below it are dropped: 0 debug ... 3 errors
    // Borrowed; null leaves the service out.
    IOLog* logger = nullptr;
    IOStorage* storage = nullptr;
    IOHttpClient* httpClient = nullptr;
    IOStatistics* statistics = nullptr;
  };

  // Starts the SDK; start-up continues in the background (WaitUntilReady).
  // When init refuses the options (an empty app key or version)
  // IsInitialised() is false and every read gives its default. May throw
  // std::bad_alloc, before the SDK has been touched.
  explicit Client(const Options& options)
      : sdk_(GetIOstrelConfig()), hub_(std::make_shared<detail::SubscriptionHub>(sdk_)) {
    const std::wstring signLibraryPath = detail::WidenUtf8(options.signLibraryPath);
    IOConfig* config = CreateIOConfig();
    if (config == nullptr) return;
    config->setEnv(static_cast<int>(options.env))
        ->setHostGroup(options.hostGroup)
        ->setAppKey(options.appKey.c_str())
        ->setAppVersion(options.appVersion.c_str())
        ->setHost(options.host.c_str())
        ->setDeviceId(options.deviceId.c_str())
        ->setOsVersion(options.osVersion.c_str())
        ->setManufacturer(options.manufacturer.c_str())
        ->setBrand(options.brand.c_str())
        ->setModel(options.model.c_str())
        ->setSignLibraryPath(signLibraryPath.c_str())
        ->setInitListener(&ready_)
        ->build();  // fills an empty host from the default table
    sdk_->installLogger(options.logger);
    sdk_->changeLogLevel(options.logLevel);
    sdk_->setStorage(options.storage);
    sdk_->setHttpClient(options.httpClient);
    sdk_->setStatistics(options.statistics);
    initialised_ = sdk_->init(config);
    DestroyIOConfig(config);
  }

  // Tears the library down. Subscriptions still alive receive no more
  // calls, and ending them does nothing.
  ~Client() {
    hub_->BeginClose();
    DestroyIOstrelConfig();
  }

  Client(const Client&) = delete;
  Client& operator=(const Client&) = delete;

  // Whether init accepted the options.
  bool IsInitialised() const noexcept { return initialised_; }

  // Waits until start-up (restoring what storage holds and loading what it
  // lacks) has finished, at most timeout. True when it has, at once when it
  // had already; false on timeout or when not initialised. Reads never need
  // this: before start-up ends they give their defaults.
  bool WaitUntilReady(std::chrono::milliseconds timeout) const noexcept {
    return initialised_ && ready_.WaitFor(timeout);
  }

  // The value's text, else defaultValue. Never blocks on the network; a
  // namespace not loaded yet is asked for in the background. May throw
  // std::bad_alloc.
  std::string GetString(const std::string& nameSpace, const std::string& key,
                        std::string defaultValue) const {
    return ReadOr(nameSpace, key, std::move(defaultValue));
  }
  // The value as Convert::Parse(int64_t) reads it, else defaultValue.
  int64_t GetInt64(const std::string& nameSpace, const std::string& key,
                   int64_t defaultValue) const noexcept {
    return ReadOr(nameSpace, key, defaultValue);
  }
  // The value as Convert::Parse(double) reads it, else defaultValue.
  double GetDouble(const std::string& nameSpace, const std::string& key,
                   double defaultValue) const noexcept {
    return ReadOr(nameSpace, key, defaultValue);
  }
  // "true" or "false" (nothing else), else defaultValue.
  bool GetBool(const std::string& nameSpace, const std::string& key,
               bool defaultValue) const noexcept {
    return ReadOr(nameSpace, key, defaultValue);
  }
  // The value's text when it is JSON (Convert::Parse(Json)), else
  // defaultValue, which is not checked. May throw std::bad_alloc.
  std::string GetJson(const std::string& nameSpace, const std::string& key,
                      std::string defaultValue) const {
    return ReadOr(nameSpace, key, Json{std::move(defaultValue)}).text;
  }

  // Like the typed reads, with the reason. T is std::string, int64_t,
  // double, bool or Json. The reason comes from two lookups (the value, then
  // whether the namespace is loaded), so a namespace that arrives between
  // them reads once as kKeyAbsent. A name the library refuses (empty,
  // "ostrel", "ostrel.index") reads as kNamespaceNotLoaded. May throw
  // std::bad_alloc.
  template <typename T>
  Detail<T> GetDetail(const std::string& nameSpace, const std::string& key,
                      T defaultValue) const {
    Detail<T> detail{std::move(defaultValue), Reason::kNotInitialised};
    if (!initialised_) return detail;
    const String text(sdk_->getConfig(nameSpace.c_str(), key.c_str(), nullptr));
    if (!text) {
      const String whole(sdk_->getCustomConfig(nameSpace.c_str(), nullptr));
      detail.reason = whole ? Reason::kKeyAbsent : Reason::kNamespaceNotLoaded;
    } else {
      detail.reason =
          Convert::Parse(text.Get(), &detail.value) ? Reason::kFound : Reason::kWrongType;
    }
    return detail;
  }

  // Every pair of a STANDARD namespace; empty when it is not loaded, is
  // CUSTOM or has no keys. May throw std::bad_alloc.
  std::map<std::string, std::string> GetAll(const std::string& nameSpace) const {
    std::map<std::string, std::string> pairs;
    int count = 0;
    const String packed(sdk_->getConfigs(nameSpace.c_str(), &count));
    // key NUL value NUL ..., count pairs.
    const char* at = packed.Get();
    for (int i = 0; at != nullptr && i < count; ++i) {
      const char* value = at + std::strlen(at) + 1;
      pairs.emplace(at, value);
      at = value + std::strlen(value) + 1;
    }
    return pairs;
  }

  // The namespace as one text: a CUSTOM namespace's text, a STANDARD one as
  // a compact JSON object. Empty when the namespace is not loaded. May throw
  // std::bad_alloc.
  std::optional<std::string> GetCustomText(const std::string& nameSpace) const {
    const String text(sdk_->getCustomConfig(nameSpace.c_str(), nullptr));
    if (!text) return std::nullopt;
    return text.Text();
  }

  // Calls callback for the namespace: at once, on this thread and before
  // Subscribe returns, when it is cached (fromCache true); then after every
  // download, on a library thread. Calls may overlap, so the callback must be
  // thread-safe; it may read through this Client and end subscriptions, its
  // own included. An exception it throws is dropped. The Subscription's
  // contract says how ending it behaves. Inactive when callback is empty or
  // the Client is being destroyed. May throw std::bad_alloc, before anything
  // is registered.
  Subscription Subscribe(const std::string& nameSpace,
                         std::function<void(const Change&)> callback) const {
    if (!callback) return Subscription();
    detail::ListenerAdapter* adapter = hub_->Subscribe(nameSpace, std::move(callback));
    return adapter != nullptr ? Subscription(hub_, adapter) : Subscription();
  }

  // The facade, for what this layer does not wrap (forceCheckUpdate,
  // interceptors, push messages). Valid for the life of the process; calls
  // through it follow OstrelSdk.h.
  IOstrelConfig* Raw() const noexcept { return sdk_; }

 private:
  // T's conversion of the value, else defaultValue.
  template <typename T>
  T ReadOr(const std::string& nameSpace, const std::string& key, T defaultValue) const {
    const String text(sdk_->getConfig(nameSpace.c_str(), key.c_str(), nullptr));
    if (text) Convert::Parse(text.Get(), &defaultValue);
    return defaultValue;
  }

  IOstrelConfig* const sdk_;  // the process-wide facade
  const std::shared_ptr<detail::SubscriptionHub> hub_;
  mutable detail::ReadyLatch ready_;  // handed to init; the library calls it once
  bool initialised_ = false;          // set by the constructor only
};

}  // namespace Ostrel

#endif  // OSTREL_CPP_CLIENT_HPP_
