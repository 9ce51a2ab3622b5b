// A host's read, measured the way a host makes it: libOstrelSdk.so loaded
// with dlopen, the exports resolved with dlsym, a hit of getOstrelConfig plus
// freeOstrelConfigValue. Beside it, in the same process, the baseline: a
// std::unordered_map<std::string, std::string> lookup by hash plus a malloc'd copy and
// free of the same value.
//
// The machine these run on is shared, so absolute times say little. The
// summary printed at the end gives each figure as a ratio to the baseline
// measured in the same run, from the medians when repetitions were asked for:
//   ostrel_host_read_bench --benchmark_repetitions=9
// The BM_Interleaved* benchmarks alternate short batches of the read and of
// the baseline and time each batch, so that a change in the machine's load
// hits both sides alike.
//
// OSTREL_SDK_LIBRARY, when set, names another build of the library to load
// (to compare two builds with one benchmark binary).
#include <benchmark/benchmark.h>
#include <dlfcn.h>

#include <algorithm>
#include <ctime>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "Documents.h"
#include "MemoryStorage.h"
#include "Recorders.h"
#include "ScriptedHttpClient.h"
#include "ostrel/OstrelSdk.h"

namespace {

using GetConfigFunction = char* (*)(const char*, const char*, const char*);
using FreeValueFunction = void (*)(char*);

constexpr size_t kValueLength = 32;
constexpr int kSmallKeys = 10;
constexpr int kLargeKeys = 10000;
const char kSmallKey[] = "key.7";
const char kLargeKey[] = "key.7777";

// Every value is exactly kValueLength bytes, so that both sides copy the same.
std::map<std::string, std::string> MakeContent(int keys) {
  std::map<std::string, std::string> content;
  for (int i = 0; i < keys; ++i) {
    std::string value = "value-" + std::to_string(i * 7919) + "-";
    value.resize(kValueLength, 'x');
    content["key." + std::to_string(i)] = value;
  }
  return content;
}

// The library as a host sees it: a handle and six C functions. Started from
// storage only (a stored index and stored records), so no request is needed
// before the namespaces are readable.
class LoadedSdk {
 public:
  LoadedSdk() {
    const char* path = std::getenv("OSTREL_SDK_LIBRARY");
    if (path == nullptr || *path == '\0') path = OSTREL_SDK_LIBRARY_PATH;
    handle_ = dlopen(path, RTLD_NOW | RTLD_LOCAL);
    if (handle_ == nullptr) {
      error_ = std::string("dlopen failed: ") + dlerror();
      return;
    }
    if (!Resolve("CreateIOConfig", &createConfig_) ||
        !Resolve("DestroyIOConfig", &destroyConfig_) ||
        !Resolve("GetIOstrelConfig", &getSdk_) ||
        !Resolve("DestroyIOstrelConfig", &destroySdk_) ||
        !Resolve("getOstrelConfig", &getConfig) ||
        !Resolve("freeOstrelConfigValue", &freeValue)) {
      return;
    }
    Start();
  }

  // Tears the library down while the fake services still live. The handle
  // stays open: the process ends next.
  void Stop() {
    if (started_) destroySdk_();
    started_ = false;
  }

  bool ready() const { return error_.empty(); }
  const std::string& error() const { return error_; }

  GetConfigFunction getConfig = nullptr;
  FreeValueFunction freeValue = nullptr;

 private:
  template <typename Function>
  bool Resolve(const char* name, Function* function) {
    *function = reinterpret_cast<Function>(dlsym(handle_, name));
    if (*function == nullptr) error_ = std::string("missing export ") + name;
    return *function != nullptr;
  }

  void Start() {
    OstrelTest::NamespaceSpec small("small", "1"), large("large", "1");
    storage_.PutRaw("ostrel.index", OstrelTest::Frame(OstrelTest::IndexJson(
                                        "index", "1", "cdn.test", {small, large})));
    storage_.PutRaw("small", OstrelTest::Frame(OstrelTest::ConfigJson(
                                 "small", "1", MakeContent(kSmallKeys))));
    storage_.PutRaw("large", OstrelTest::Frame(OstrelTest::ConfigJson(
                                 "large", "1", MakeContent(kLargeKeys))));
    Ostrel::IOstrelConfig* sdk = getSdk_();
    // No logger, as in production with the default threshold.
    sdk->installLogger(nullptr);
    sdk->setStorage(&storage_);
    sdk->setHttpClient(&http_);
    Ostrel::IOConfig* config = createConfig_();
    config->setAppKey(OstrelTest::kAppKey)->setAppVersion(OstrelTest::kAppVersion);
    config->setInitListener(&initListener_);
    const bool accepted = sdk->init(config);
    destroyConfig_(config);
    started_ = accepted;
    if (!accepted || !initListener_.WaitForCall()) {
      error_ = "start-up failed";
      return;
    }
    // A read that answers the default would measure the miss path instead.
    if (!Answers("small", kSmallKey) || !Answers("large", kLargeKey)) {
      error_ = "the stored namespaces were not restored";
    }
  }

  bool Answers(const char* nameSpace, const char* key) {
    char* value = getConfig(nameSpace, key, "<default>");
    const bool found = value != nullptr && std::strlen(value) == kValueLength;
    freeValue(value);
    return found;
  }

  void* handle_ = nullptr;
  std::string error_;
  bool started_ = false;
  Ostrel::IOConfig* (*createConfig_)() = nullptr;
  void (*destroyConfig_)(Ostrel::IOConfig*) = nullptr;
  Ostrel::IOstrelConfig* (*getSdk_)() = nullptr;
  void (*destroySdk_)() = nullptr;
  OstrelTest::MemoryStorage storage_;
  OstrelTest::ScriptedHttpClient http_;
  OstrelTest::RecordingInitListener initListener_;
};

// Created on first use and never destroyed: main stops the library, and the
// fakes must outlive that.
LoadedSdk& Sdk() {
  static LoadedSdk* sdk = new LoadedSdk();
  return *sdk;
}

// std::hash<std::string> behind a type of its own. libstdc++ (GCC 12 on)
// answers a find in a map of up to 20 entries whose hash it counts as slow,
// std::hash<std::string> among them, by comparing the key with every entry in
// turn; that doubles the 10-key baseline and would flatter the read. With
// this hasher every size is looked up by hash, as a host's table of any size
// would be, and the hashing is std::hash's own.
struct HostHash {
  size_t operator()(const std::string& text) const { return std::hash<std::string>()(text); }
};
using BaselineTable = std::unordered_map<std::string, std::string, HostHash>;

// The baseline's table for a namespace of the given size.
const BaselineTable& BaselineMap(int keys) {
  static const auto* small = new BaselineTable([] {
    auto content = MakeContent(kSmallKeys);
    return BaselineTable(content.begin(), content.end());
  }());
  static const auto* large = new BaselineTable([] {
    auto content = MakeContent(kLargeKeys);
    return BaselineTable(content.begin(), content.end());
  }());
  return keys == kSmallKeys ? *small : *large;
}

// One read through the exports.
inline void ReadOnce(const LoadedSdk& sdk, const char* nameSpace, const char* key) {
  char* value = sdk.getConfig(nameSpace, key, "d");
  benchmark::DoNotOptimize(value);
  sdk.freeValue(value);
}

// One baseline read; key is a std::string already, as a host's would be.
inline void BaselineOnce(const BaselineTable& map,
                         const std::string& key) {
  const std::string& value = map.find(key)->second;
  char* copy = static_cast<char*>(std::malloc(value.size() + 1));
  std::memcpy(copy, value.c_str(), value.size() + 1);
  benchmark::DoNotOptimize(copy);
  std::free(copy);
}

const char* NamespaceOf(int keys) { return keys == kSmallKeys ? "small" : "large"; }
const char* KeyOf(int keys) { return keys == kSmallKeys ? kSmallKey : kLargeKey; }

void BM_Read(benchmark::State& state) {
  const LoadedSdk& sdk = Sdk();
  if (!sdk.ready()) {
    state.SkipWithError(sdk.error().c_str());
    return;
  }
  const int keys = static_cast<int>(state.range(0));
  const char* nameSpace = NamespaceOf(keys);
  const char* key = KeyOf(keys);
  for (auto _ : state) ReadOnce(sdk, nameSpace, key);
  state.SetItemsProcessed(state.iterations());
}

void BM_Baseline(benchmark::State& state) {
  const int keys = static_cast<int>(state.range(0));
  const auto& map = BaselineMap(keys);
  const std::string key = KeyOf(keys);
  for (auto _ : state) BaselineOnce(map, key);
  state.SetItemsProcessed(state.iterations());
}

// The calling thread's CPU time: a batch that is preempted is not charged
// for the time it waited.
double ThreadCpuNanoseconds() {
  timespec now{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) * 1e9 + static_cast<double>(now.tv_nsec);
}

// Alternating batches, each timed on the thread's CPU clock; the reported
// time is the read's, the counters give both sides per read and their ratio.
// A batch is long enough for the clock's own cost to vanish.
void BM_Interleaved(benchmark::State& state) {
  const LoadedSdk& sdk = Sdk();
  if (!sdk.ready()) {
    state.SkipWithError(sdk.error().c_str());
    return;
  }
  constexpr int kBatch = 2048;
  const int keys = static_cast<int>(state.range(0));
  const char* nameSpace = NamespaceOf(keys);
  const char* key = KeyOf(keys);
  const auto& map = BaselineMap(keys);
  const std::string baselineKey = key;
  double readTime = 0, baselineTime = 0;
  for (auto _ : state) {
    const double start = ThreadCpuNanoseconds();
    for (int i = 0; i < kBatch; ++i) ReadOnce(sdk, nameSpace, key);
    const double middle = ThreadCpuNanoseconds();
    for (int i = 0; i < kBatch; ++i) BaselineOnce(map, baselineKey);
    const double end = ThreadCpuNanoseconds();
    readTime += middle - start;
    baselineTime += end - middle;
    state.SetIterationTime((middle - start) / 1e9);
  }
  const double reads = static_cast<double>(state.iterations()) * kBatch;
  state.counters["read_ns"] = readTime / reads;
  state.counters["baseline_ns"] = baselineTime / reads;
  state.counters["ratio"] = baselineTime > 0 ? readTime / baselineTime : 0;
  state.SetItemsProcessed(static_cast<int64_t>(reads));
}

BENCHMARK(BM_Baseline)->Arg(kSmallKeys)->Arg(kLargeKeys);
BENCHMARK(BM_Read)->Arg(kSmallKeys)->Arg(kLargeKeys);
BENCHMARK(BM_Interleaved)->Arg(kSmallKeys)->Arg(kLargeKeys)->UseManualTime();
// Throughput from one and two threads: items_per_second of two against one.
BENCHMARK(BM_Baseline)->Arg(kSmallKeys)->Threads(1)->Threads(2)->UseRealTime();
BENCHMARK(BM_Read)->Arg(kSmallKeys)->Threads(1)->Threads(2)->UseRealTime();

// Passes every run on to the console and keeps, per benchmark name, the
// figures the summary needs: the median when repetitions were run, else the
// last run.
class SummaryReporter : public benchmark::ConsoleReporter {
 public:
  void ReportRuns(const std::vector<Run>& runs) override {
    ConsoleReporter::ReportRuns(runs);
    for (const Run& run : runs) {
      if (run.error_occurred) continue;
      const bool median = run.run_type == Run::RT_Aggregate && run.aggregate_name == "median";
      const bool single = run.run_type == Run::RT_Iteration;
      if (!median && !single) continue;
      Figures& figures = figures_[run.run_name.str()];
      if (single && figures.fromMedian) continue;
      figures.fromMedian = median;
      figures.cpuNanoseconds = run.GetAdjustedCPUTime();
      auto counter = [&run](const char* name) {
        auto found = run.counters.find(name);
        return found == run.counters.end() ? 0.0 : static_cast<double>(found->second);
      };
      figures.itemsPerSecond = counter("items_per_second");
      figures.ratio = counter("ratio");
      figures.readNanoseconds = counter("read_ns");
      figures.baselineNanoseconds = counter("baseline_ns");
    }
  }

  void Finalize() override {
    ConsoleReporter::Finalize();
    // Single-thread figures are CPU time: what a read costs, not how long a
    // loaded machine took to let it run. The interleaved batches come first:
    // their two sides ran within microseconds of each other.
    std::printf("\nSummary (ratios to the baseline of the same run; goal in brackets)\n");
    for (int keys : {kSmallKeys, kLargeKeys}) {
      const std::string arg = "/" + std::to_string(keys);
      const Figures interleaved = Find("BM_Interleaved" + arg + "/manual_time");
      std::printf("  hit, %5d keys: %6.2f ns against %6.2f ns = %.2fx  [<= 1.20x]\n", keys,
                  interleaved.readNanoseconds, interleaved.baselineNanoseconds,
                  interleaved.ratio);
      const double read = CpuTime("BM_Read" + arg);
      const double baseline = CpuTime("BM_Baseline" + arg);
      std::printf("    separate runs: %6.2f ns against %6.2f ns = %.2fx\n", read, baseline,
                  baseline > 0 ? read / baseline : 0);
    }
    const double small = Find("BM_Interleaved/10/manual_time").readNanoseconds;
    const double large = Find("BM_Interleaved/10000/manual_time").readNanoseconds;
    const double baseline = Find("BM_Interleaved/10/manual_time").baselineNanoseconds;
    std::printf("  hit, 10 000 keys against 10: %.2fx, against the 10-key baseline %.2fx"
                "  [about 1.00x]\n",
                small > 0 ? large / small : 0, baseline > 0 ? large / baseline : 0);
    // On a loaded machine the two threads seldom run at once for long, and
    // the wall-clock figure mostly shows the load. The CPU-time figure is
    // twice the ratio of the CPU time per read with one thread to that with
    // two: what sharing costs each reader, whatever the scheduler did.
    for (const char* name : {"BM_Read", "BM_Baseline"}) {
      const std::string prefix = std::string(name) + "/10/real_time/threads:";
      const Figures one = Find(prefix + "1"), two = Find(prefix + "2");
      std::printf("  two threads against one, %-11s: %.2fx wall clock, %.2fx CPU time"
                  "  [>= 1.90x]\n",
                  name, one.itemsPerSecond > 0 ? two.itemsPerSecond / one.itemsPerSecond : 0,
                  two.cpuNanoseconds > 0 ? 2 * one.cpuNanoseconds / two.cpuNanoseconds : 0);
    }
  }

 private:
  struct Figures {
    bool fromMedian = false;
    double cpuNanoseconds = 0;
    double itemsPerSecond = 0;
    double ratio = 0;
    double readNanoseconds = 0;
    double baselineNanoseconds = 0;
  };

  double CpuTime(const std::string& name) const { return Find(name).cpuNanoseconds; }
  Figures Find(const std::string& name) const {
    auto found = figures_.find(name);
    return found == figures_.end() ? Figures() : found->second;
  }

  std::map<std::string, Figures> figures_;
};

// --fixed_iterations=N registers BM_Read and BM_Baseline once more with
// exactly N iterations, for instruction counts that do not depend on timing:
//   valgrind --tool=callgrind --toggle-collect='BM_*' ostrel_host_read_bench
//       --fixed_iterations=100000 --benchmark_filter=fixed
// gives the instructions of N reads (plus a constant setup).
void RegisterFixedIterations(int* argc, char** argv) {
  const char kFlag[] = "--fixed_iterations=";
  int kept = 1;
  for (int i = 1; i < *argc; ++i) {
    if (std::strncmp(argv[i], kFlag, sizeof(kFlag) - 1) != 0) {
      argv[kept++] = argv[i];
      continue;
    }
    const auto iterations = static_cast<benchmark::IterationCount>(
        std::strtoll(argv[i] + sizeof(kFlag) - 1, nullptr, 10));
    for (int keys : {kSmallKeys, kLargeKeys}) {
      benchmark::RegisterBenchmark("BM_Read_fixed", BM_Read)->Arg(keys)->Iterations(iterations);
      benchmark::RegisterBenchmark("BM_Baseline_fixed", BM_Baseline)
          ->Arg(keys)
          ->Iterations(iterations);
    }
  }
  *argc = kept;
}

}  // namespace

int main(int argc, char** argv) {
  RegisterFixedIterations(&argc, argv);
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  if (!Sdk().ready()) std::fprintf(stderr, "%s\n", Sdk().error().c_str());
  SummaryReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  benchmark::Shutdown();
  Sdk().Stop();
  return 0;
}
