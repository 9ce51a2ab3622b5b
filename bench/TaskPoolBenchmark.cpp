// Post-to-run latency of a task executor: the time from Post until the task
// starts on the worker, with the worker idle (waiting) at each post.
#include <benchmark/benchmark.h>

#include <atomic>
#include <chrono>
#include <thread>

#include "host/TaskExecutor.h"

namespace {

void BM_PostToRunLatency(benchmark::State& state) {
  Ostrel::TaskExecutor executor(1, 1);
  std::atomic<int64_t> ranAt{0};
  for (auto _ : state) {
    ranAt.store(0, std::memory_order_relaxed);
    const auto posted = std::chrono::steady_clock::now();
    executor.Post(
        [&] {
          ranAt.store(std::chrono::steady_clock::now().time_since_epoch().count(),
                      std::memory_order_release);
        },
        "probe");
    while (ranAt.load(std::memory_order_acquire) == 0) std::this_thread::yield();
    const auto latency =
        std::chrono::steady_clock::duration(ranAt.load()) - posted.time_since_epoch();
    state.SetIterationTime(std::chrono::duration<double>(latency).count());
  }
}
BENCHMARK(BM_PostToRunLatency)->UseManualTime()->Unit(benchmark::kMicrosecond);

// Throughput of a burst: post n empty tasks, wait for the last.
void BM_PostBurst(benchmark::State& state) {
  Ostrel::TaskExecutor executor(1, 1);
  const int count = static_cast<int>(state.range(0));
  for (auto _ : state) {
    std::atomic<int> done{0};
    for (int i = 0; i < count; ++i) executor.Post([&] { ++done; }, "burst");
    while (done.load(std::memory_order_acquire) < count) std::this_thread::yield();
  }
  state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) * count);
}
BENCHMARK(BM_PostBurst)->Arg(1000);

}  // namespace

BENCHMARK_MAIN();
