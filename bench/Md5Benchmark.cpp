// Md5Hex against OpenSSL's MD5, side by side, at three sizes.
#include <benchmark/benchmark.h>
#include <openssl/evp.h>

#include <string>

#include "host/Md5.h"

namespace {

std::string MakeInput(size_t size) {
  std::string input(size, '\0');
  for (size_t i = 0; i < size; ++i) input[i] = static_cast<char>((i * 131) ^ (i >> 7));
  return input;
}

void BM_Md5Hex(benchmark::State& state) {
  const std::string input = MakeInput(static_cast<size_t>(state.range(0)));
  for (auto _ : state) benchmark::DoNotOptimize(Ostrel::Md5Hex(input));
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * state.range(0));
}

// The same output as Md5Hex (digest rendered as lowercase hex), so that both
// sides do the same work.
void BM_OpenSslMd5Hex(benchmark::State& state) {
  const std::string input = MakeInput(static_cast<size_t>(state.range(0)));
  static const char kHex[] = "0123456789abcdef";
  for (auto _ : state) {
    unsigned char digest[EVP_MAX_MD_SIZE];
    unsigned int length = 0;
    EVP_Digest(input.data(), input.size(), digest, &length, EVP_md5(), nullptr);
    std::string hex(32, '0');
    for (int i = 0; i < 16; ++i) {
      hex[2 * i] = kHex[digest[i] >> 4];
      hex[2 * i + 1] = kHex[digest[i] & 15];
    }
    benchmark::DoNotOptimize(hex);
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * state.range(0));
}

BENCHMARK(BM_Md5Hex)->Arg(64)->Arg(4 << 10)->Arg(1 << 20);
BENCHMARK(BM_OpenSslMd5Hex)->Arg(64)->Arg(4 << 10)->Arg(1 << 20);

}  // namespace

BENCHMARK_MAIN();
