// ConfigDO::ParseFromJson against a bare RapidJSON DOM parse (default flags)
// of the same 1 MiB STANDARD document of about ten thousand keys.
#include <benchmark/benchmark.h>
#include <rapidjson/document.h>

#include <cstdio>
#include <string>
#include <vector>

#include "model/ConfigDO.h"

namespace {

constexpr size_t kKeys = 10000;
constexpr size_t kTargetBytes = 1 << 20;

// Keys come in a scrambled order, as a server that writes from a hash map
// would send them, so the parse pays for sorting too.
std::string MakeDocument(bool sortedKeys) {
  const std::string head =
      R"({"appKey":"key1","appVersion":"*","id":"1","name":"bench","resourceId":"r-1",)"
      R"("type":"STANDARD","loadLevel":"HIGH","version":"1","createTime":"0","content":{)";
  // "feature.flag.00000":"vvv...", -> 24 bytes of framing per pair.
  const size_t valueLength = (kTargetBytes - head.size()) / kKeys - 25;
  std::string text = head;
  for (size_t i = 0; i < kKeys; ++i) {
    const size_t k = sortedKeys ? i : (i * 7919) % kKeys;
    char key[32];
    std::snprintf(key, sizeof(key), "feature.flag.%05zu", k);
    if (i > 0) text += ',';
    text += '"';
    text += key;
    text += "\":\"";
    text.append(valueLength, static_cast<char>('a' + k % 26));
    text += '"';
  }
  text += "}}";
  return text;
}

void BM_ConfigDOParseFromJson(benchmark::State& state) {
  const std::string text = MakeDocument(state.range(0) != 0);
  for (auto _ : state) {
    std::shared_ptr<Ostrel::ConfigDO> config = Ostrel::ConfigDO::ParseFromJson(text);
    if (config == nullptr || config->content.size() != kKeys) {
      state.SkipWithError("parse failed");
      break;
    }
    benchmark::DoNotOptimize(config);
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * text.size()));
}

void BM_RapidJsonDomParse(benchmark::State& state) {
  const std::string text = MakeDocument(state.range(0) != 0);
  for (auto _ : state) {
    rapidjson::Document document;
    document.Parse(text.c_str());
    if (document.HasParseError()) {
      state.SkipWithError("parse failed");
      break;
    }
    benchmark::DoNotOptimize(document);
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * text.size()));
}

// Argument: 0 scrambled keys, 1 keys already in order.
BENCHMARK(BM_RapidJsonDomParse)->Arg(0)->Arg(1)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_ConfigDOParseFromJson)->Arg(0)->Arg(1)->Unit(benchmark::kMicrosecond);

}  // namespace

BENCHMARK_MAIN();
