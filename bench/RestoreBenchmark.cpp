// Start-up restore of 1 000 stored namespaces of 50 keys each, against the
// bare cost of verifying and parsing the same records.
#include <benchmark/benchmark.h>

#include <map>
#include <memory>
#include <string>

#include "Documents.h"
#include "MemoryStorage.h"
#include "TestExecutors.h"
#include "cache/ConfigCache.h"
#include "host/StorageManager.h"
#include "model/ConfigDO.h"
#include "model/IndexDO.h"

namespace {

constexpr int kNamespaces = 1000;
constexpr int kKeys = 50;

struct StoredNamespaces {
  StoredNamespaces() {
    std::vector<OstrelTest::NamespaceSpec> namespaces;
    for (int n = 0; n < kNamespaces; ++n) {
      const std::string name = "ns" + std::to_string(n);
      namespaces.emplace_back(name, "1");
      std::map<std::string, std::string> content;
      for (int k = 0; k < kKeys; ++k) {
        content["key." + std::to_string(k)] = "value-" + std::to_string(n * 100 + k);
      }
      storage.PutRaw(name, OstrelTest::Frame(OstrelTest::ConfigJson(name, "1", content)));
      names.push_back(name);
    }
    index = Ostrel::IndexDO::ParseFormJson(OstrelTest::IndexJson("i", "1", "cdn", namespaces));
    manager.SetStorage(&storage);
  }

  const Ostrel::AppScope app{OstrelTest::kAppKey, OstrelTest::kAppVersion};
  const Ostrel::ClientAttributes attributes;
  OstrelTest::MemoryStorage storage;
  Ostrel::StorageManager manager;
  OstrelTest::ManualExecutor writes;
  std::vector<std::string> names;
  std::shared_ptr<Ostrel::IndexDO> index;
};

StoredNamespaces& Stored() {
  static StoredNamespaces* stored = new StoredNamespaces();
  return *stored;
}

void BM_RestoreFromIndex(benchmark::State& state) {
  StoredNamespaces& stored = Stored();
  for (auto _ : state) {
    Ostrel::ConfigCache cache(&stored.manager, &stored.writes, Ostrel::ConfigCacheHooks());
    benchmark::DoNotOptimize(cache.RestoreFromIndex(stored.index, stored.attributes, stored.app));
  }
  state.SetItemsProcessed(state.iterations() * kNamespaces);
}

// Read back, verify the digest, parse and validate: what any restore must do.
void BM_BareVerifyAndParse(benchmark::State& state) {
  StoredNamespaces& stored = Stored();
  for (auto _ : state) {
    for (const std::string& name : stored.names) {
      auto document = Ostrel::ConfigDO::ParseFromJson(stored.manager.Restore(name));
      benchmark::DoNotOptimize(document && document->CheckValid(stored.app));
    }
  }
  state.SetItemsProcessed(state.iterations() * kNamespaces);
}

BENCHMARK(BM_BareVerifyAndParse)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_RestoreFromIndex)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
