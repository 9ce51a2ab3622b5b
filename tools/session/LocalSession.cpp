#include "LocalSession.h"

#include <cstdint>
#include <cstring>
#include <utility>

#include "ostrel_host/CurlHttpClient.h"
#include "ostrel_host/HttpGetRequest.h"
#include "ostrel_host/LogStatistics.h"
#include "ostrel_host/SqliteStorage.h"
#include "ostrel_host/StreamLogger.h"

namespace OstrelLocal {
namespace {

// The SDK takes the sign-library folder as a wide string and reads it back as
// UTF-8, so a UTF-8 path is decoded into code points here; a malformed byte
// is taken as it stands.
std::wstring WidenUtf8(const std::string& text) {
  std::wstring out;
  for (size_t i = 0; i < text.size();) {
    const unsigned char lead = static_cast<unsigned char>(text[i]);
    const size_t length = lead < 0x80           ? 1
                          : (lead >> 5) == 0x6  ? 2
                          : (lead >> 4) == 0xE  ? 3
                          : (lead >> 3) == 0x1E ? 4
                                                : 0;
    bool valid = length > 0 && i + length <= text.size();
    uint32_t code = length == 1   ? lead
                    : length == 2 ? (lead & 0x1F)
                    : length == 3 ? (lead & 0x0F)
                                  : (lead & 0x07);
    for (size_t k = 1; valid && k < length; ++k) {
      const unsigned char next = static_cast<unsigned char>(text[i + k]);
      valid = (next & 0xC0) == 0x80;
      code = (code << 6) | (next & 0x3F);
    }
    if (!valid) {
      out.push_back(static_cast<wchar_t>(lead));
      ++i;
      continue;
    }
    out.push_back(static_cast<wchar_t>(code));
    i += length;
  }
  return out;
}

std::string TakeString(char* value) {
  std::string text = value != nullptr ? value : "";
  freeOstrelConfigValue(value);
  return text;
}

class BodyResponse final : public Ostrel::IOHttpResponse {
 public:
  void SetSuccess(bool value) override { success = value; }
  void SetBody(const char* value) override { body = value != nullptr ? value : ""; }
  void SetHeader(const char*) override {}
  void SetStatusCode(int) override {}
  void SetMessage(const char*) override {}

  bool success = false;
  std::string body;
};

}  // namespace

// Everything the library borrows from the host, kept alive until the library
// has been torn down.
class LocalSession::Services final : public Ostrel::IOLog,
                                     public Ostrel::IOConfigListener,
                                     public Ostrel::IOInitListener,
                                     public Ostrel::IOHttpClient {
 public:
  explicit Services(const SessionOptions& options)
      : logger(options.log),
        statistics(&logger),
        offline(options.offline),
        logLevel(options.logLevel) {}

  // Follows the update check through its log lines (their texts are fixed),
  // and passes on what the user asked to see.
  void Log(int level, const char* tag, const char* method, const char* text) override {
    const std::string source = tag != nullptr ? tag : "";
    const std::string line = text != nullptr ? text : "";
    auto startsWith = [&line](const char* prefix) { return line.rfind(prefix, 0) == 0; };
    if (source == "Ostrel.IndexUpdateHandler" || source == "Ostrel.ConfigCenter") {
      std::lock_guard<std::mutex> lock(mutex);
      if (checkRunning) {
        if (startsWith("auth request sucessfully, but index is not updated") ||
            startsWith("it is a same index info") ||
            startsWith("loadIndex fail , id or version is match")) {
          checkResult = CheckOutcome::kUpToDate;
        } else if (startsWith("auth request back null") || startsWith("loadIndex fail") ||
                   (level >= 3 && method != nullptr && std::string(method) == "LoadIndex")) {
          checkResult = CheckOutcome::kFailed;
        } else if (startsWith("checkIndexUpdate too frequently")) {
          checkResult = CheckOutcome::kRateLimited;
          checkRunning = false;
        } else if (startsWith("CheckIndexUpdate cost")) {
          checkRunning = false;
        }
        if (!checkRunning) changed.notify_all();
      }
    }
    if (level >= logLevel) logger.Log(level, tag, method, text);
  }

  void onConfigUpdate(const char* nameSpace, const char* version, bool fromCache) override {
    std::lock_guard<std::mutex> lock(mutex);
    notifications.push_back(Notification{nameSpace != nullptr ? nameSpace : "",
                                         version != nullptr ? version : "", fromCache});
    changed.notify_all();
  }

  void onInitFinished() override {
    std::lock_guard<std::mutex> lock(mutex);
    initFinished = true;
    changed.notify_all();
  }

  // Offline: refuse every request, as a machine without network would.
  int Send(Ostrel::IOHttpRequest* request, Ostrel::IOHttpResponse* response) override {
    if (!offline) return http->Send(request, response);
    {
      std::lock_guard<std::mutex> lock(mutex);
      ++refused;
    }
    response->SetSuccess(false);
    response->SetMessage("offline");
    return -1;
  }

  OstrelHost::StreamLogger logger;
  OstrelHost::LogStatistics statistics;
  std::unique_ptr<OstrelHost::SqliteStorage> storage;
  std::unique_ptr<OstrelHost::CurlHttpClient> http;
  const bool offline;
  const int logLevel;

  mutable std::mutex mutex;
  std::condition_variable changed;
  bool initFinished = false;                          // guarded by mutex
  std::vector<Notification> notifications;            // guarded by mutex
  size_t refused = 0;                                 // guarded by mutex
  bool checkRunning = false;                          // guarded by mutex
  CheckOutcome checkResult = CheckOutcome::kUpdated;  // guarded by mutex
};

LocalSession::LocalSession() = default;

LocalSession::~LocalSession() { Stop(); }

bool LocalSession::Start(const SessionOptions& options, std::string& error, Duration timeout) {
  if (sdk_ != nullptr) {
    error = "a session is already running";
    return false;
  }
  if (options.appKey.empty() || options.appVersion.empty() || options.storePath.empty()) {
    error = "an app key, an app version and a store file are needed";
    return false;
  }
  std::unique_ptr<Services> services(new Services(options));
  std::string storeError;
  services->storage = OstrelHost::SqliteStorage::Open(options.storePath, &storeError);
  if (!services->storage) {
    error = "cannot open the store " + options.storePath + ": " + storeError;
    return false;
  }
  OstrelHost::CurlHttpOptions httpOptions;
  httpOptions.connectTimeoutMs = 2000;
  httpOptions.totalTimeoutMs = 10000;
  httpOptions.proxy = std::string();  // a local server is never behind a proxy
  services->http.reset(new OstrelHost::CurlHttpClient(httpOptions));

  Ostrel::IOConfig* config = CreateIOConfig();
  // env 2 sends the signed requests over plain HTTP, which ostrel-server speaks.
  config->setEnv(2)
      ->setAppKey(options.appKey.c_str())
      ->setAppVersion(options.appVersion.c_str())
      ->setDeviceId(options.deviceId.c_str())
      ->setHost(options.server.c_str())
      ->setBrand(options.brand.c_str())
      ->setModel(options.model.c_str())
      ->setOsVersion(options.osVersion.c_str())
      ->setInitListener(services.get());
  if (!options.signDir.empty()) config->setSignLibraryPath(WidenUtf8(options.signDir).c_str());
  config->build();

  sdk_ = GetIOstrelConfig();
  sdk_->installLogger(services.get());
  // Info lines reach the session, which follows update checks through them.
  sdk_->changeLogLevel(options.logLevel < 1 ? options.logLevel : 1);
  sdk_->setStorage(services->storage.get());
  sdk_->setHttpClient(services.get());
  // Statistics lines are written whatever the log level: only when asked for.
  sdk_->setStatistics(options.logLevel <= 1 ? &services->statistics : nullptr);
  services_ = std::move(services);
  server_ = options.server;
  appKey_ = options.appKey;
  const bool accepted = sdk_->init(config);
  DestroyIOConfig(config);
  if (!accepted) {
    error = "init refused the parameters";
    Stop();
    return false;
  }
  std::unique_lock<std::mutex> lock(services_->mutex);
  if (!services_->changed.wait_for(lock, timeout, [this] { return services_->initFinished; })) {
    lock.unlock();
    error = "start-up did not finish in time";
    Stop();
    return false;
  }
  return true;
}

void LocalSession::Stop() {
  if (sdk_ == nullptr) return;
  if (intercept_ != nullptr) sdk_->releaseIntercept(intercept_);
  intercept_ = nullptr;
  sdk_ = nullptr;
  // The library calls the services until teardown returns; only then may
  // they go.
  DestroyIOstrelConfig();
  services_.reset();
}

std::string LocalSession::Get(const std::string& nameSpace, const std::string& key,
                              const std::string& defaultValue) const {
  if (sdk_ == nullptr) return defaultValue;
  return TakeString(sdk_->getConfig(nameSpace.c_str(), key.c_str(), defaultValue.c_str()));
}

std::map<std::string, std::string> LocalSession::GetAll(const std::string& nameSpace) const {
  std::map<std::string, std::string> pairs;
  if (sdk_ == nullptr) return pairs;
  int count = 0;
  char* packed = sdk_->getConfigs(nameSpace.c_str(), &count);
  // key NUL value NUL ..., count pairs.
  const char* at = packed;
  for (int i = 0; at != nullptr && i < count; ++i) {
    std::string key = at;
    at += key.size() + 1;
    std::string value = at;
    at += value.size() + 1;
    pairs.emplace(std::move(key), std::move(value));
  }
  sdk_->freeConfigValue(packed);
  return pairs;
}

bool LocalSession::GetText(const std::string& nameSpace, std::string& text) const {
  if (sdk_ == nullptr) return false;
  char* value = sdk_->getCustomConfig(nameSpace.c_str(), nullptr);
  if (value == nullptr) return false;
  text = TakeString(value);
  return true;
}

void LocalSession::Listen(const std::string& nameSpace) {
  if (sdk_ != nullptr) sdk_->registerListener(nameSpace.c_str(), services_.get());
}

void LocalSession::CheckUpdate() {
  if (sdk_ == nullptr) return;
  {
    std::lock_guard<std::mutex> lock(services_->mutex);
    services_->checkRunning = true;
    services_->checkResult = CheckOutcome::kUpdated;
  }
  sdk_->forceCheckUpdate();
}

bool LocalSession::RelayGatewayNotice() {
  if (sdk_ == nullptr || services_->offline) return false;
  OstrelHost::HttpGetRequest request("http://" + server_ + "/admin/notice?appKey=" + appKey_);
  BodyResponse response;
  if (services_->http->Send(&request, &response) != 0 || !response.success) return false;
  if (response.body.empty()) return false;  // nothing published for the app yet
  if (intercept_ == nullptr) intercept_ = sdk_->getIntercept();
  if (intercept_ == nullptr) return false;
  intercept_->OnOstrelResponse(response.body.c_str());
  return true;
}

CheckOutcome LocalSession::WaitForCheck(Duration timeout) {
  if (!services_) return CheckOutcome::kFailed;
  std::unique_lock<std::mutex> lock(services_->mutex);
  if (!services_->changed.wait_for(lock, timeout, [this] { return !services_->checkRunning; })) {
    return CheckOutcome::kTimedOut;
  }
  return services_->checkResult;
}

const char* CheckOutcomeText(CheckOutcome outcome) {
  switch (outcome) {
    case CheckOutcome::kUpdated:
      return "a new index was applied";
    case CheckOutcome::kUpToDate:
      return "already up to date";
    case CheckOutcome::kFailed:
      return "failed (no answer, a refused signature or an unusable index)";
    case CheckOutcome::kRateLimited:
      return "refused: this process already checked";
    case CheckOutcome::kTimedOut:
      return "still running when the wait ended";
  }
  return "";
}

bool LocalSession::WaitForDownload(const std::string& nameSpace, const std::string& notVersion,
                                   Duration timeout, Notification* found) {
  if (!services_) return false;
  std::unique_lock<std::mutex> lock(services_->mutex);
  return services_->changed.wait_for(lock, timeout, [&] {
    for (const Notification& n : services_->notifications) {
      if (n.nameSpace == nameSpace && !n.fromCache &&
          (notVersion.empty() || n.version != notVersion)) {
        if (found != nullptr) *found = n;
        return true;
      }
    }
    return false;
  });
}

bool LocalSession::WaitForCount(size_t count, Duration timeout) {
  if (!services_) return false;
  std::unique_lock<std::mutex> lock(services_->mutex);
  return services_->changed.wait_for(lock, timeout,
                                     [&] { return services_->notifications.size() >= count; });
}

std::vector<Notification> LocalSession::Notifications() const {
  if (!services_) return {};
  std::lock_guard<std::mutex> lock(services_->mutex);
  return services_->notifications;
}

size_t LocalSession::RefusedRequests() const {
  if (!services_) return 0;
  std::lock_guard<std::mutex> lock(services_->mutex);
  return services_->refused;
}

}  // namespace OstrelLocal
