// A C++17 layer over the Ostrel SDK for hosts written in C++: start-up with
// a ready-wait, typed reads with defaults, reads that say why they gave what
// they gave, and change subscriptions that end themselves.
//
// It is header-only and calls nothing but the six C exports and the vtables
// of OstrelSdk.h, so the library's binary interface is the same with or
// without it, and a host may mix it with direct calls.
//
// Exceptions: no exception ever leaves a call into the SDK, and none is
// thrown by this layer on purpose. The functions below that build a
// std::string, std::map, std::function or std::optional may throw
// std::bad_alloc from that allocation; their comments say "May throw
// std::bad_alloc". By then any buffer received from the SDK has been handed
// back. Every other function is noexcept. A Subscribe callback that throws is
// stopped inside the layer: nothing crosses the listener vtable.
//
// Typical use (the services are the host's, see OstrelSdk.h):
//
//   Ostrel::Client::Options options;
//   options.appKey = "my-app";
//   options.appVersion = "2.4.1";
//   options.env = Ostrel::Env::kOnline;
//   options.logger = &logger;  // and storage, httpClient, statistics
//   Ostrel::Client client(options);
//   client.WaitUntilReady(std::chrono::seconds(2));
//   int64_t tabs = client.GetInt64("features", "maxTabs", 4);
//   Ostrel::Subscription watch = client.Subscribe(
//       "features", [](const Ostrel::Change& change) { /* reread */ });
#ifndef OSTREL_OSTREL_HPP_
#define OSTREL_OSTREL_HPP_

#include <algorithm>
#include <atomic>
#include <charconv>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <cstring>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

#include "ostrel/OstrelSdk.h"

namespace Ostrel {

// Owns one buffer handed out by the library (getOstrelConfig, getConfig,
// getConfigs, getCustomConfig) and gives it back with freeOstrelConfigValue.
// Move-only; one object is used by one thread at a time.
class String {
 public:
  String() noexcept = default;
  // Takes ownership of value, which came from the library or is null.
  explicit String(char* value) noexcept : value_(value) {}
  ~String() { Reset(); }
  String(String&& other) noexcept : value_(other.Release()) {}
  String& operator=(String&& other) noexcept {
    if (this != &other) Reset(other.Release());
    return *this;
  }
  String(const String&) = delete;
  String& operator=(const String&) = delete;

  // The buffer, or null; owned by this object.
  const char* Get() const noexcept { return value_; }
  // True when a buffer is held: null means "neither a value nor a default".
  explicit operator bool() const noexcept { return value_ != nullptr; }
  // A copy of the text; empty when null. May throw std::bad_alloc.
  std::string Text() const { return value_ != nullptr ? std::string(value_) : std::string(); }
  // Hands the buffer to the caller, who must free it through the library.
  char* Release() noexcept {
    char* value = value_;
    value_ = nullptr;
    return value;
  }
  // Frees the held buffer and takes value instead.
  void Reset(char* value = nullptr) noexcept {
    char* old = value_;
    value_ = value;
    freeOstrelConfigValue(old);
  }

 private:
  char* value_ = nullptr;
};

// A value whose text is JSON: what GetDetail<Json> converts to.
struct Json {
  std::string text;
};

// Strict conversions of a value's text, shared by the typed reads. Each
// Parse leaves *out untouched when the text does not convert. Numbers are
// written as JSON writes them: no blanks, no '+', no leading zeros ("007"),
// no hexadecimal, no "NaN" or "inf".
namespace Convert {
namespace detail {

// Scans JSON's number grammar -?(0|[1-9][0-9]*)(.[0-9]+)?([eE][+-]?[0-9]+)?
// from at; returns where it ends, or npos when no number starts there.
// integral is set when neither a fraction nor an exponent was seen.
inline size_t ScanNumber(std::string_view text, size_t at, bool* integral) noexcept {
  auto isDigit = [&text](size_t i) { return i < text.size() && text[i] >= '0' && text[i] <= '9'; };
  auto digits = [&](size_t i) {
    while (isDigit(i)) ++i;
    return i;
  };
  if (at < text.size() && text[at] == '-') ++at;
  if (!isDigit(at)) return std::string_view::npos;
  at = text[at] == '0' ? at + 1 : digits(at);
  *integral = true;
  if (at < text.size() && text[at] == '.') {
    if (!isDigit(at + 1)) return std::string_view::npos;
    at = digits(at + 1);
    *integral = false;
  }
  if (at < text.size() && (text[at] == 'e' || text[at] == 'E')) {
    ++at;
    if (at < text.size() && (text[at] == '+' || text[at] == '-')) ++at;
    if (!isDigit(at)) return std::string_view::npos;
    at = digits(at);
    *integral = false;
  }
  return at;
}

// Recursive descent over RFC 8259 JSON. Nesting deeper than kMaxDepth is
// refused, so that a hostile value cannot exhaust the stack.
class JsonScanner {
 public:
  static constexpr int kMaxDepth = 256;

  static bool Valid(std::string_view text) noexcept {
    JsonScanner scanner(text);
    return scanner.Value(0) && scanner.SpaceThenEnd();
  }

 private:
  explicit JsonScanner(std::string_view text) noexcept : text_(text) {}

  void SkipSpace() noexcept {
    while (at_ < text_.size() && (text_[at_] == ' ' || text_[at_] == '\t' ||
                                  text_[at_] == '\n' || text_[at_] == '\r')) {
      ++at_;
    }
  }
  bool SpaceThenEnd() noexcept {
    SkipSpace();
    return at_ == text_.size();
  }
  bool Take(char c) noexcept {
    SkipSpace();
    if (at_ >= text_.size() || text_[at_] != c) return false;
    ++at_;
    return true;
  }
  bool Value(int depth) noexcept {
    SkipSpace();
    if (at_ >= text_.size()) return false;
    switch (text_[at_]) {
      case '{':
        return depth < kMaxDepth && Members(depth + 1);
      case '[':
        return depth < kMaxDepth && Elements(depth + 1);
      case '"':
        return Text();
      case 't':
        return Word("true");
      case 'f':
        return Word("false");
      case 'n':
        return Word("null");
      default: {
        bool integral = false;
        const size_t end = ScanNumber(text_, at_, &integral);
        if (end == std::string_view::npos) return false;
        at_ = end;
        return true;
      }
    }
  }
  bool Members(int depth) noexcept {
    ++at_;
    if (Take('}')) return true;
    do {
      SkipSpace();
      if (at_ >= text_.size() || text_[at_] != '"' || !Text() || !Take(':') || !Value(depth)) {
        return false;
      }
    } while (Take(','));
    return Take('}');
  }
  bool Elements(int depth) noexcept {
    ++at_;
    if (Take(']')) return true;
    do {
      if (!Value(depth)) return false;
    } while (Take(','));
    return Take(']');
  }
  // A string from its opening quote: no raw control characters, only the
  // escapes JSON defines.
  bool Text() noexcept {
    for (++at_; at_ < text_.size();) {
      const unsigned char c = static_cast<unsigned char>(text_[at_++]);
      if (c == '"') return true;
      if (c < 0x20) return false;
      if (c != '\\') continue;
      if (at_ >= text_.size()) return false;
      const char escape = text_[at_++];
      if (escape == 'u') {
        for (int i = 0; i < 4; ++i, ++at_) {
          if (at_ >= text_.size() || !IsHexDigit(text_[at_])) return false;
        }
      } else if (escape == '\0' || std::strchr("\"\\/bfnrt", escape) == nullptr) {
        return false;
      }
    }
    return false;
  }
  static bool IsHexDigit(char c) noexcept {
    return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
  }
  bool Word(std::string_view word) noexcept {
    if (text_.substr(at_, word.size()) != word) return false;
    at_ += word.size();
    return true;
  }

  const std::string_view text_;
  size_t at_ = 0;
};

}  // namespace detail

// Any text converts.
inline bool Parse(std::string_view text, std::string* out) {
  out->assign(text.data(), text.size());
  return true;
}

// "-12", "0", "9223372036854775807". Not "12abc", "12.0", "1e3", " 7",
// "+7", "007", or anything beyond the range of int64_t.
inline bool Parse(std::string_view text, int64_t* out) noexcept {
  bool integral = false;
  if (detail::ScanNumber(text, 0, &integral) != text.size() || !integral) return false;
  int64_t value = 0;
  const std::from_chars_result result =
      std::from_chars(text.data(), text.data() + text.size(), value);
  if (result.ec != std::errc()) return false;
  *out = value;
  return true;
}

// "2.5", "-0.125", "1e3", "6.02E+23", "42". Not ".5", "5.", " 1", "1,5",
// "0x10", "NaN", "inf", nor a magnitude that double cannot hold ("1e400",
// and "1e-400", which would round to zero).
inline bool Parse(std::string_view text, double* out) noexcept {
  bool integral = false;
  if (detail::ScanNumber(text, 0, &integral) != text.size()) return false;
  double value = 0;
  const std::from_chars_result result =
      std::from_chars(text.data(), text.data() + text.size(), value);
  if (result.ec != std::errc()) return false;
  *out = value;
  return true;
}

// Exactly "true" or "false". No other spelling is accepted: not "True",
// "TRUE", "1", "0", "yes", "on", nor blanks around the word.
inline bool Parse(std::string_view text, bool* out) noexcept {
  if (text == "true" || text == "false") {
    *out = text == "true";
    return true;
  }
  return false;
}

// Any JSON value (RFC 8259: object, array, string, number, true, false,
// null), blanks around it allowed, nested at most 256 deep. The text is kept
// as it stands. May throw std::bad_alloc.
inline bool Parse(std::string_view text, Json* out) {
  if (!detail::JsonScanner::Valid(text)) return false;
  out->text.assign(text.data(), text.size());
  return true;
}

}  // namespace Convert

// IOConfig's environments. Production hosts use kOnline: signed requests go
// over https. kDaily sends them over plain HTTP and is meant for a local or
// test service only.
enum class Env : int { kOnline = 0, kPreRelease = 1, kDaily = 2 };

// Why GetDetail gave the value it gave.
enum class Reason {
  kFound,               // the value, converted
  kNamespaceNotLoaded,  // nothing cached for the namespace yet (a load has been asked for)
  kKeyAbsent,           // the namespace is loaded but has no such key
  kWrongType,           // the key is there, but its text did not convert
  kNotInitialised,      // init refused the options; nothing was looked up
};

// A short English phrase for a reason, for logs and tools: "found",
// "namespace not loaded yet", "key absent", "wrong type", "not initialised".
inline const char* ReasonText(Reason reason) noexcept {
  switch (reason) {
    case Reason::kFound:
      return "found";
    case Reason::kNamespaceNotLoaded:
      return "namespace not loaded yet";
    case Reason::kKeyAbsent:
      return "key absent";
    case Reason::kWrongType:
      return "wrong type";
    case Reason::kNotInitialised:
      return "not initialised";
  }
  return "";
}

// A value with the reason it came out that way; value is the default unless
// reason is kFound.
template <typename T>
struct Detail {
  T value;
  Reason reason;
};

// One listener call: strings copied, so the object may be kept.
struct Change {
  std::string nameSpace;
  std::string version;
  bool fromCache;  // restored from storage, or delivered at subscription
};

namespace detail {

// Layer callbacks running on this thread. Inside one, unregisterListener does
// not wait for calls on other threads, so a subscription ended there must
// keep its listener object alive.
inline int& CallbackDepth() noexcept {
  static thread_local int depth = 0;
  return depth;
}

// The sign-library path travels as a wide string that the library reads back
// as UTF-8 (UTF-16 on Windows, UTF-32 elsewhere). A byte that does not start
// a valid sequence is taken as the code point of the same value. May throw
// std::bad_alloc.
inline std::wstring WidenUtf8(std::string_view text) {
  std::wstring out;
  for (size_t i = 0; i < text.size();) {
    const unsigned char lead = static_cast<unsigned char>(text[i]);
    const size_t length = lead < 0x80 ? 1 : (lead >> 5) == 0x6 ? 2 : (lead >> 4) == 0xE ? 3
                                        : (lead >> 3) == 0x1E ? 4 : 0;
    bool valid = length > 0 && i + length <= text.size();
    uint32_t code = length == 1 ? lead : lead & (0xFFu >> (length + 1));
    for (size_t k = 1; valid && k < length; ++k) {
      const unsigned char next = static_cast<unsigned char>(text[i + k]);
      valid = (next & 0xC0) == 0x80;
      code = (code << 6) | (next & 0x3F);
    }
    if (!valid) {
      code = lead;
      i += 1;
    } else {
      i += length;
    }
    if constexpr (sizeof(wchar_t) == 2) {
      if (code > 0xFFFF) {
        code -= 0x10000;
        out.push_back(static_cast<wchar_t>(0xD800 + (code >> 10)));
        code = 0xDC00 + (code & 0x3FF);
      }
    }
    out.push_back(static_cast<wchar_t>(code));
  }
  return out;
}

// Told once by the library when start-up has finished.
class ReadyLatch final : public IOInitListener {
 public:
  void onInitFinished() override {
    std::lock_guard<std::mutex> lock(mutex_);
    ready_ = true;
    changed_.notify_all();
  }
  bool WaitFor(std::chrono::milliseconds timeout) noexcept {
    // A "forever" such as milliseconds::max() would overflow the clock.
    const std::chrono::milliseconds kLongest = std::chrono::hours(24 * 365);
    std::unique_lock<std::mutex> lock(mutex_);
    return changed_.wait_for(lock, std::min(timeout, kLongest), [this] { return ready_; });
  }

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  bool ready_ = false;  // guarded by mutex_
};

// The IOConfigListener behind one Subscription. The library may call it on a
// library thread and on the subscribing thread, also concurrently.
class ListenerAdapter final : public IOConfigListener {
 public:
  ListenerAdapter(std::string nameSpace, std::function<void(const Change&)> callback)
      : nameSpace_(std::move(nameSpace)), callback_(std::move(callback)) {}

  void onConfigUpdate(const char* nameSpace, const char* version, bool fromCache) override {
    // A call that began before the subscription ended in a way that could
    // not wait for it (see SubscriptionHub::Unsubscribe) is dropped here.
    if (detached_.load(std::memory_order_acquire)) return;
    ++CallbackDepth();
    try {
      callback_(Change{nameSpace != nullptr ? nameSpace : "", version != nullptr ? version : "",
                       fromCache});
    } catch (...) {
      // The host's callback threw: nothing may cross the vtable.
    }
    --CallbackDepth();
  }

  void Detach() noexcept { detached_.store(true, std::memory_order_release); }
  const std::string& nameSpace() const noexcept { return nameSpace_; }

 private:
  const std::string nameSpace_;
  const std::function<void(const Change&)> callback_;
  std::atomic<bool> detached_{false};
};

// The listener objects of one Client, shared with its Subscriptions so that
// either may go first. The library holds raw pointers to the adapters; an
// adapter is freed only once the library can no longer be inside it: after
// an unregisterListener that waited for its calls, or after teardown.
class SubscriptionHub {
 public:
  explicit SubscriptionHub(IOstrelConfig* sdk) noexcept : sdk_(sdk) {}

  // Registers a new adapter; null when the Client is closing. May throw
  // std::bad_alloc, before anything is registered.
  ListenerAdapter* Subscribe(const std::string& nameSpace,
                             std::function<void(const Change&)> callback) {
    auto owned = std::make_unique<ListenerAdapter>(nameSpace, std::move(callback));
    ListenerAdapter* adapter = owned.get();
    {
      std::lock_guard<std::mutex> lock(mutex_);
      if (closing_) return nullptr;
      adapters_.push_back(std::move(owned));
      ++busy_;
    }
    // May call the adapter before it returns, on this thread.
    sdk_->registerListener(adapter->nameSpace().c_str(), adapter);
    Leave();
    return adapter;
  }

  void Unsubscribe(ListenerAdapter* adapter) noexcept {
    {
      std::lock_guard<std::mutex> lock(mutex_);
      if (closed_) return;  // teardown has freed every adapter
      if (closing_) {
        // No more calls into the library; teardown frees the adapter.
        adapter->Detach();
        return;
      }
      ++busy_;
    }
    sdk_->unregisterListener(adapter->nameSpace().c_str(), adapter);
    adapter->Detach();
    // Outside every listener call, unregisterListener has waited for the
    // adapter's calls on other threads, so it can go. Inside one it did not
    // wait (two callbacks ending each other's subscriptions would deadlock),
    // so the adapter stays, detached, until teardown.
    const bool mayFree = CallbackDepth() == 0;
    std::lock_guard<std::mutex> lock(mutex_);
    if (mayFree) {
      auto held = std::find_if(
          adapters_.begin(), adapters_.end(),
          [adapter](const std::unique_ptr<ListenerAdapter>& owned) { return owned.get() == adapter; });
      if (held != adapters_.end()) adapters_.erase(held);
    }
    --busy_;
    idle_.notify_all();
  }

  // Before teardown: stops new registrations and waits for the ones under way.
  void BeginClose() noexcept {
    std::unique_lock<std::mutex> lock(mutex_);
    closing_ = true;
    idle_.wait(lock, [this] { return busy_ == 0; });
  }
  // After teardown: the library holds no pointer any more.
  void FinishClose() noexcept {
    std::vector<std::unique_ptr<ListenerAdapter>> freed;
    std::lock_guard<std::mutex> lock(mutex_);
    closed_ = true;
    freed.swap(adapters_);
  }

 private:
  void Leave() noexcept {
    std::lock_guard<std::mutex> lock(mutex_);
    --busy_;
    idle_.notify_all();
  }

  IOstrelConfig* const sdk_;  // the process-wide facade; never freed

  std::mutex mutex_;
  std::condition_variable idle_;
  std::vector<std::unique_ptr<ListenerAdapter>> adapters_;  // guarded by mutex_
  int busy_ = 0;          // calls into the library under way; guarded by mutex_
  bool closing_ = false;  // guarded by mutex_
  bool closed_ = false;   // guarded by mutex_
};

}  // namespace detail

// Keeps one callback subscribed to one namespace; ending the subscription
// (destructor, Reset, move-assignment) unregisters it. Move-only; one object
// is used by one thread at a time, but that may be any thread:
//  - outside every callback, ending it waits until calls of its callback
//    running on other threads have returned; afterwards the callback never
//    runs again, so whatever it captured may be destroyed;
//  - inside a callback of this layer (its own or another subscription's), it
//    does not wait, so that callbacks may end each other's subscriptions
//    without deadlock: no new call starts, but a call already running on
//    another thread may still finish. Its listener object is kept until the
//    Client is destroyed.
// The one place where it must not be ended: inside an IOConfigListener that
// the host registered with registerListener directly, bypassing this layer.
// The library does not wait there either, and the layer cannot tell, so it
// would free a listener the library may still be calling.
// Ending it outside callbacks while its callback waits for the ending thread
// deadlocks, as with any join. Ended after its Client, it does nothing.
class Subscription {
 public:
  // An inactive subscription.
  Subscription() noexcept = default;
  ~Subscription() { Reset(); }
  Subscription(Subscription&& other) noexcept
      : hub_(std::move(other.hub_)), adapter_(std::exchange(other.adapter_, nullptr)) {}
  Subscription& operator=(Subscription&& other) noexcept {
    if (this != &other) {
      Reset();
      hub_ = std::move(other.hub_);
      adapter_ = std::exchange(other.adapter_, nullptr);
    }
    return *this;
  }
  Subscription(const Subscription&) = delete;
  Subscription& operator=(const Subscription&) = delete;

  // Ends the subscription now (see the class comment); then inactive.
  void Reset() noexcept {
    if (adapter_ != nullptr) hub_->Unsubscribe(adapter_);
    adapter_ = nullptr;
    hub_.reset();
  }
  // True from Subscribe until the subscription is ended.
  bool Active() const noexcept { return adapter_ != nullptr; }

 private:
  friend class Client;
  Subscription(std::shared_ptr<detail::SubscriptionHub> hub,
               detail::ListenerAdapter* adapter) noexcept
      : hub_(std::move(hub)), adapter_(adapter) {}

  std::shared_ptr<detail::SubscriptionHub> hub_;
  detail::ListenerAdapter* adapter_ = nullptr;  // owned by hub_; a key only
};

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

  // Ends the Subscriptions' registrations, tears the library down and frees
  // the listener objects. Subscriptions still alive become inactive.
  ~Client() {
    hub_->BeginClose();
    DestroyIOstrelConfig();
    hub_->FinishClose();
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

#endif  // OSTREL_OSTREL_HPP_
