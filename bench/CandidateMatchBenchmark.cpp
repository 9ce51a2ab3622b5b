// Evaluating a parsed three-unit condition against the client attribute table,
// against the same three comparisons called directly on std::string values.
// The binary replaces the global operator new to count heap allocations per
// evaluation.
#include <benchmark/benchmark.h>

#include <atomic>
#include <cstdlib>
#include <new>
#include <string>

#include "candidate/HashCompare.h"
#include "candidate/MultiAnalyze.h"
#include "candidate/VersionCompare.h"

namespace {

std::atomic<uint64_t> allocations{0};

}  // namespace

void* operator new(std::size_t size) {
  allocations.fetch_add(1, std::memory_order_relaxed);
  if (void* block = std::malloc(size != 0 ? size : 1)) return block;
  throw std::bad_alloc();
}

// GCC sees free() inside an operator delete and, not knowing that the matching
// operator new above is malloc-based, warns about a mismatch.
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wmismatched-new-delete"
#endif
void operator delete(void* block) noexcept { std::free(block); }
void operator delete(void* block, std::size_t) noexcept { std::free(block); }
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic pop
#endif

namespace {

const char kExpression[] = "app_ver>=10.2&m_brand=acme&did_hash=100_0-99";

Ostrel::Settings Client() {
  Ostrel::Settings settings;
  settings.appVersion = "10.3.1";
  settings.brand = "acme";
  settings.deviceId = "5f0c2a9e-device-identifier";
  return settings;
}

void BM_MultiAnalyzeMatch(benchmark::State& state) {
  const auto attributes = Ostrel::ClientAttributes::Build(Client());
  const Ostrel::MultiAnalyze expression(kExpression);
  const uint64_t before = allocations.load();
  for (auto _ : state) {
    const bool holds = expression.Match(*attributes);
    benchmark::DoNotOptimize(holds);
  }
  const uint64_t counted = allocations.load() - before;
  state.counters["allocs_per_eval"] =
      static_cast<double>(counted) / static_cast<double>(state.iterations());
}

// The comparisons the expression stands for, with neither the table lookups
// nor the operator dispatch: the floor that evaluation is measured against.
void BM_DirectComparisons(benchmark::State& state) {
  const Ostrel::Settings client = Client();
  const std::string appVersion = client.appVersion;
  const std::string brand = client.brand;
  const std::string deviceId = client.deviceId;
  const Ostrel::HashCompare hash;
  const uint64_t before = allocations.load();
  for (auto _ : state) {
    const bool holds = Ostrel::VersionCompare::Compare(appVersion.c_str(), "10.2") != -1 &&
                       brand == "acme" && hash.Equal(deviceId.c_str(), "100_0-99");
    benchmark::DoNotOptimize(holds);
  }
  const uint64_t counted = allocations.load() - before;
  state.counters["allocs_per_eval"] =
      static_cast<double>(counted) / static_cast<double>(state.iterations());
}

BENCHMARK(BM_DirectComparisons);
BENCHMARK(BM_MultiAnalyzeMatch);

}  // namespace

BENCHMARK_MAIN();
