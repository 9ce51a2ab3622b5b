#include "PlatformAdapters.h"

#include "ostrel_host/CurlHttpClient.h"
#include "ostrel_host/SqliteStorage.h"

namespace OstrelLocal {
namespace {

OstrelHost::CurlHttpOptions LocalHttpOptions() {
  OstrelHost::CurlHttpOptions options;
  options.connectTimeoutMs = 2000;
  options.totalTimeoutMs = 10000;
  options.proxy = std::string();  // a local server is never behind a proxy
  return options;
}

class CurlSqliteAdapters final : public PlatformAdapters {
 public:
  explicit CurlSqliteAdapters(std::unique_ptr<OstrelHost::SqliteStorage> storage)
      : storage_(std::move(storage)), http_(LocalHttpOptions()) {}

  Ostrel::IOStorage* storage() override { return storage_.get(); }
  Ostrel::IOHttpClient* http() override { return &http_; }
  void ShutdownHttp() override { http_.Shutdown(); }

 private:
  std::unique_ptr<OstrelHost::SqliteStorage> storage_;
  OstrelHost::CurlHttpClient http_;
};

}  // namespace

std::unique_ptr<PlatformAdapters> PlatformAdapters::Open(const std::string& storePath,
                                                         std::string& error) {
  std::unique_ptr<OstrelHost::SqliteStorage> storage =
      OstrelHost::SqliteStorage::Open(storePath, &error);
  if (!storage) return nullptr;
  return std::make_unique<CurlSqliteAdapters>(std::move(storage));
}

}  // namespace OstrelLocal
