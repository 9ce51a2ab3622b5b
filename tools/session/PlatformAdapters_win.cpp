#include "PlatformAdapters.h"

#include "ostrel_host/FileStorage.h"
#include "ostrel_host/WinHttpClient.h"

namespace OstrelLocal {
namespace {

OstrelHost::WinHttpOptions LocalHttpOptions() {
  OstrelHost::WinHttpOptions options;
  options.proxy = OstrelHost::WinHttpOptions::Proxy::kNone;  // a local server is never behind one
  options.connectTimeoutMs = 2000;
  options.sendTimeoutMs = 10000;
  options.receiveTimeoutMs = 10000;
  options.totalTimeoutMs = 10000;
  return options;
}

class WinHttpFileAdapters final : public PlatformAdapters {
 public:
  explicit WinHttpFileAdapters(std::unique_ptr<OstrelHost::FileStorage> storage)
      : storage_(std::move(storage)), http_(LocalHttpOptions()) {}

  Ostrel::IOStorage* storage() override { return storage_.get(); }
  Ostrel::IOHttpClient* http() override { return &http_; }
  void ShutdownHttp() override { http_.Shutdown(); }

 private:
  std::unique_ptr<OstrelHost::FileStorage> storage_;
  OstrelHost::WinHttpClient http_;
};

}  // namespace

std::unique_ptr<PlatformAdapters> PlatformAdapters::Open(const std::string& storePath,
                                                         std::string& error) {
  std::unique_ptr<OstrelHost::FileStorage> storage =
      OstrelHost::FileStorage::Open(storePath, &error);
  if (!storage) return nullptr;
  return std::make_unique<WinHttpFileAdapters>(std::move(storage));
}

}  // namespace OstrelLocal
