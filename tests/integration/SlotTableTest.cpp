// The binary interface is the order of the virtual slots, not the headers: a
// host built against another copy of them calls slots by index. This host
// does the same for every interface the library implements, so a slot moved
// in a header fails here even though the library and the typed tests agree.
#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "EngineHost.h"

namespace OstrelTest {
namespace {

// A virtual destructor takes two slots in the Itanium C++ ABI (GCC, Clang,
// mingw-w64) and one with MSVC.
#ifdef _MSC_VER
constexpr int kDestructorSlots = 1;
#else
constexpr int kDestructorSlots = 2;
#endif

// Calls slot of object's table as a host compiled elsewhere would.
template <typename Result, typename... Args>
Result CallSlot(const void* object, int slot, Args... args) {
  using Function = Result (*)(const void*, Args...);
  void* const* table = *static_cast<void* const* const*>(object);
  return reinterpret_cast<Function>(table[slot])(object, args...);
}

struct SlotRequest {
  int type;
  std::string url, body, extra0, extra1, extra2;
  int64_t bodyLength, option;
  bool optionRef;
  std::vector<std::string> headers;
};

// Reads each request and fills each response through slot indices only.
class SlotHttpClient : public Ostrel::IOHttpClient {
 public:
  int Send(Ostrel::IOHttpRequest* request, Ostrel::IOHttpResponse* response) override {
    SlotRequest seen;
    seen.type = CallSlot<int>(request, 0);
    seen.url = CallSlot<const char*>(request, 1);
    seen.body = CallSlot<const char*>(request, 2);
    seen.bodyLength = CallSlot<int64_t>(request, 3);
    seen.extra0 = CallSlot<const char*>(request, 4);
    seen.option = CallSlot<int64_t>(request, 5);
    seen.optionRef = CallSlot<void*>(request, 6) != nullptr;
    unsigned count = 0;
    const char** lines = CallSlot<const char**>(request, 7, &count);
    for (unsigned i = 0; i < count; ++i) seen.headers.push_back(lines[i]);
    seen.extra1 = CallSlot<const char*>(request, 8);
    seen.extra2 = CallSlot<const char*>(request, 9);

    std::lock_guard<std::mutex> lock(mutex_);
    requests.push_back(seen);
    auto route = routes_.find(seen.url.substr(0, seen.url.find('?')));
    if (route == routes_.end()) return -1;
    CallSlot<void>(response, 0, true);
    CallSlot<void>(response, 1, route->second.c_str());
    CallSlot<void>(response, 2, "content-type: application/json");
    CallSlot<void>(response, 3, 200);
    CallSlot<void>(response, 4, "OK");
    return 0;
  }

  void Route(const std::string& url, const std::string& body) {
    std::lock_guard<std::mutex> lock(mutex_);
    routes_[url] = body;
  }

  bool Saw(const std::string& fragment) {
    std::lock_guard<std::mutex> lock(mutex_);
    for (const SlotRequest& request : requests) {
      if (request.url.find(fragment) != std::string::npos) return true;
    }
    return false;
  }

  // Read once the library is torn down.
  std::vector<SlotRequest> requests;

 private:
  std::mutex mutex_;
  std::map<std::string, std::string> routes_;  // URL without query to body
};

TEST(SlotTable, AHostCallingSlotsByIndexGetsEveryOperation) {
  SlotHttpClient http;
  MemoryStorage storage;
  CapturingLogger logger;
  StatisticsRecorder statistics;
  RecordingInitListener initListener;
  NamespaceSpec feature{"feature", "1"};
  feature.candidates = {{"feature-device", "", "os_ver=6.1&m_fac=F&m_brand=B&m_model=M", "3"}};
  storage.PutRaw("ostrel.index", Frame(IndexJson("index-1", "1", kCdn, {feature})));
  http.Route(CdnUrl("feature-device"),
             ConfigJson("feature", "3", {{"a", "1"}, {"b", "2"}}, "feature-device"));

  // IOstrelConfig 11, 10, 8, 9, 12: the services, logger first.
  Ostrel::IOstrelConfig* sdk = GetIOstrelConfig();
  CallSlot<void>(sdk, 11, static_cast<Ostrel::IOLog*>(&logger));
  CallSlot<void>(sdk, 10, static_cast<Ostrel::IOStorage*>(&storage));
  CallSlot<void>(sdk, 8, static_cast<Ostrel::IOHttpClient*>(&http));
  CallSlot<void>(sdk, 9, static_cast<Ostrel::IOStatistics*>(&statistics));
  CallSlot<void>(sdk, 12, 0);

  // IOConfig 0 to 14, each with a value that only its own slot gives
  // meaning to.
  Ostrel::IOConfig* config = CreateIOConfig();
  CallSlot<void*>(config, 0, 2);  // env 2: signed requests over plain http
  CallSlot<void*>(config, 1, 0);
  CallSlot<void*>(config, 2, kAppKey);
  CallSlot<void*>(config, 3, kAppVersion);
  CallSlot<void*>(config, 4, "device-7");
  CallSlot<void*>(config, 5, "extra-1");
  CallSlot<void*>(config, 6, "extra-2");
  CallSlot<void*>(config, 7, kApiHost);
  CallSlot<void*>(config, 8, "6.1");
  CallSlot<void*>(config, 9, "F");
  CallSlot<void*>(config, 10, "B");
  CallSlot<void*>(config, 11, "M");
  CallSlot<void*>(config, 12);  // build keeps what was set
#ifdef OSTREL_TEST_SIGN_DIR
  const std::wstring signDir = Widen(OSTREL_TEST_SIGN_DIR);
  CallSlot<void*>(config, 13, signDir.c_str());
#endif
  CallSlot<void*>(config, 14, static_cast<Ostrel::IOInitListener*>(&initListener));
  ASSERT_TRUE(CallSlot<bool>(sdk, 0, config));
  DestroyIOConfig(config);
  ASSERT_TRUE(initListener.WaitForCall());

  // 5, 1, 3, 4, 13: the four attributes chose the candidate.
  RecordingListener listener;
  CallSlot<void>(sdk, 5, "feature", static_cast<Ostrel::IOConfigListener*>(&listener));
  ASSERT_TRUE(listener.WaitForCount(1));
  EXPECT_EQ(listener.Notifications()[0].version, "3");
  char* value = CallSlot<char*>(sdk, 1, "feature", "b", "d");
  EXPECT_STREQ(value, "2");
  CallSlot<void>(sdk, 13, value);
  int count = 0;
  char* packed = CallSlot<char*>(sdk, 3, "feature", &count);
  ASSERT_EQ(count, 2);
  EXPECT_EQ(std::string(packed, 8), std::string("a\0" "1\0" "b\0" "2\0", 8));
  CallSlot<void>(sdk, 13, packed);
  char* text = CallSlot<char*>(sdk, 4, "feature", "d");
  EXPECT_STREQ(text, R"({"a":"1","b":"2"})");
  CallSlot<void>(sdk, 13, text);

  // 6 and 7: unregistered listeners hear nothing of a push (16) that
  // brings version 4.
  CallSlot<void>(sdk, 6, "feature", static_cast<Ostrel::IOConfigListener*>(&listener));
  RecordingListener other;
  CallSlot<void>(sdk, 5, "feature", static_cast<Ostrel::IOConfigListener*>(&other));
  CallSlot<void>(sdk, 7, "feature");
  NamespaceSpec pushed{"feature", "4"};
  http.Route(CdnUrl("feature-v4"), ConfigJson("feature", "4", {{"a", "4"}}, "feature-v4"));
  std::string push = NamespaceJson(pushed);
  CallSlot<void>(sdk, 16, "ostrel", "feature", &push[0], static_cast<int>(push.size()));
  ASSERT_TRUE(statistics.WaitFor("config_rate", true, 2));
  EXPECT_EQ(listener.Count(), 1u);
  EXPECT_EQ(other.Count(), 1u);

  // 14, then IOIntercept's first slot after its destructor, then 15.
  void* intercept = CallSlot<void*>(sdk, 14);
  ASSERT_NE(intercept, nullptr);
  http.Route(CdnUrl("index-2"), "");
  CallSlot<void>(intercept, kDestructorSlots, "cdn=cdn.test&md5=&resourceId=index-2&protocol=https");
  CallSlot<void>(sdk, 15, intercept);
  ASSERT_TRUE(logger.WaitFor("request sucessfully,but index is empty!!!"));

  // 2: the forced check. It runs once per process, so an earlier test may
  // have used it up: either way it leaves a trace.
  CallSlot<bool>(sdk, 2);
  bool checked = false;
  for (int i = 0; i < 100 && !checked; ++i) {
    checked = logger.WaitFor("checkIndexUpdate too frequently", 1, std::chrono::milliseconds(100)) ||
              http.Saw("/checkUpdate?");
  }
  EXPECT_TRUE(checked);
  DestroyIOstrelConfig();

  // What the host's client read through IOHttpRequest's slots.
  ASSERT_GE(http.requests.size(), 3u);
  const SlotRequest& cdn = http.requests[0];
  EXPECT_EQ(cdn.type, 0);
  EXPECT_EQ(cdn.url, CdnUrl("feature-device"));
  EXPECT_EQ(cdn.body, "");
  EXPECT_EQ(cdn.bodyLength, 0);
  EXPECT_EQ(cdn.extra0, "");
  EXPECT_EQ(cdn.option, 0);
  EXPECT_TRUE(cdn.optionRef);
  EXPECT_TRUE(cdn.headers.empty());
  EXPECT_EQ(cdn.extra1, "OstrelSdk/1.0");
  EXPECT_EQ(cdn.extra2, "");
#ifdef OSTREL_TEST_SIGN_DIR
  // The empty index from the CDN fell back to the signed API: env, host and
  // device id as set.
  ASSERT_GE(http.requests.size(), 4u);
  const SlotRequest& fallback = http.requests[3];
  EXPECT_EQ(fallback.url, "http://api.test/downloadResource?resourceId=index-2");
  ASSERT_EQ(fallback.headers.size(), 8u);
  bool deviceSent = false;
  for (const std::string& line : fallback.headers) deviceSent |= line == "o-device-id: device-7";
  EXPECT_TRUE(deviceSent);
#endif
}

}  // namespace
}  // namespace OstrelTest
