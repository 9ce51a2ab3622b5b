// Reads through the C export against a plain hash-map baseline, on small and
// large namespaces and from one and two threads.
#include <benchmark/benchmark.h>

#include <cstdlib>
#include <cstring>
#include <map>
#include <string>
#include <unordered_map>

#include "Documents.h"
#include "SdkHost.h"

namespace {

using OstrelTest::ConfigJson;
using OstrelTest::Frame;
using OstrelTest::NamespaceSpec;

std::map<std::string, std::string> MakeContent(int keys) {
  std::map<std::string, std::string> content;
  for (int i = 0; i < keys; ++i) {
    content["key." + std::to_string(i)] = "value-" + std::to_string(i * 7919);
  }
  return content;
}

// A library started from storage with a namespace of 10 and one of 10 000
// keys; no logger, as in production with the default threshold.
class ReadFixture {
 public:
  ReadFixture() {
    host_.sdk->installLogger(nullptr);
    NamespaceSpec small("small", "1"), large("large", "1");
    host_.storage.PutRaw("ostrel.index",
                         Frame(OstrelTest::IndexJson("index", "1", "cdn.test", {small, large})));
    host_.storage.PutRaw("small", Frame(ConfigJson("small", "1", MakeContent(10))));
    host_.storage.PutRaw("large", Frame(ConfigJson("large", "1", MakeContent(10000))));
    ready_ = host_.InitAndWait();
  }
  bool ready() const { return ready_; }

 private:
  OstrelTest::SdkHost host_;
  bool ready_ = false;
};

ReadFixture& Fixture() {
  static ReadFixture* fixture = new ReadFixture();
  return *fixture;
}

void ReadKey(benchmark::State& state, const char* nameSpace, const std::string& key) {
  if (!Fixture().ready()) {
    state.SkipWithError("start-up failed");
    return;
  }
  for (auto _ : state) {
    char* value = getOstrelConfig(nameSpace, key.c_str(), "d");
    benchmark::DoNotOptimize(value);
    freeOstrelConfigValue(value);
  }
  state.SetItemsProcessed(state.iterations());
}

void BM_GetConfigSmallNamespace(benchmark::State& state) { ReadKey(state, "small", "key.7"); }
void BM_GetConfigLargeNamespace(benchmark::State& state) { ReadKey(state, "large", "key.7777"); }

// The baseline: the same lookup in a std::unordered_map and the same
// malloc'd copy handed out and freed.
void BM_BaselineHashMapCopy(benchmark::State& state) {
  std::unordered_map<std::string, std::string> map;
  for (const auto& pair : MakeContent(10)) map.emplace(pair);
  const std::string key = "key.7";
  for (auto _ : state) {
    auto found = map.find(key);
    const std::string& value = found->second;
    char* copy = static_cast<char*>(std::malloc(value.size() + 1));
    std::memcpy(copy, value.c_str(), value.size() + 1);
    benchmark::DoNotOptimize(copy);
    std::free(copy);
  }
  state.SetItemsProcessed(state.iterations());
}

BENCHMARK(BM_BaselineHashMapCopy);
BENCHMARK(BM_GetConfigSmallNamespace);
BENCHMARK(BM_GetConfigLargeNamespace);
// Throughput: items_per_second with two threads against one. The baseline
// shows what the machine itself allows.
BENCHMARK(BM_GetConfigSmallNamespace)->Threads(1)->Threads(2)->UseRealTime();
BENCHMARK(BM_BaselineHashMapCopy)->Threads(1)->Threads(2)->UseRealTime();

}  // namespace

BENCHMARK_MAIN();
