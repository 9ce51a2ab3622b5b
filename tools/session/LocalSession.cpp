#include "LocalSession.h"

#include <condition_variable>
#include <cstring>
#include <mutex>
#include <optional>
#include <utility>

#include "PlatformAdapters.h"
#include "ostrel_host/HttpGetRequest.h"
#include "ostrel_host/LogStatistics.h"
#include "ostrel_host/StreamLogger.h"

namespace OstrelLocal {
namespace {

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
class LocalSession::Services final : public Ostrel::IOLog, public Ostrel::IOHttpClient {
 public:
  explicit Services(const SessionOptions& options)
      : logger(options.log),
        statistics(&logger),
        offline(options.offline),
        logLevel(options.logLevel) {}

  // Follows the update check through its log lines, and passes on what the
  // user asked to see. Nothing may unwind into the library: a line that
  // cannot be followed (out of memory) leaves the check as it stood.
  void Log(int level, const char* tag, const char* method, const char* text) override {
    try {
      FollowCheck(level, tag, method, text);
    } catch (...) {
    }
    if (level >= logLevel) logger.Log(level, tag, method, text);
  }

  // The texts of the check's log lines are fixed.
  void FollowCheck(int level, const char* tag, const char* method, const char* text) {
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
  }

  void Record(const Ostrel::Change& change) {
    std::lock_guard<std::mutex> lock(mutex);
    notifications.push_back(Notification{change.nameSpace, change.version, change.fromCache});
    changed.notify_all();
  }

  // Offline: refuse every request, as a machine without network would.
  int Send(Ostrel::IOHttpRequest* request, Ostrel::IOHttpResponse* response) override {
    if (!offline) {
      const int result = adapters->http()->Send(request, response);
      if (result != 0) NoteTransportFailure(request->GetUrl());
      return result;
    }
    {
      std::lock_guard<std::mutex> lock(mutex);
      ++refused;
    }
    response->SetSuccess(false);
    response->SetMessage("offline");
    return -1;
  }

  // A request to the API host that reached no server while a check runs
  // makes the check's failure a missing server, not a refusal. The CDN
  // requests go elsewhere, or over https, which the prefix leaves out.
  // Compared in place: Send must not throw, so it allocates nothing here.
  void NoteTransportFailure(const char* url) {
    if (url == nullptr || std::strncmp(url, apiPrefix.c_str(), apiPrefix.size()) != 0) return;
    std::lock_guard<std::mutex> lock(mutex);
    if (checkRunning) checkUnreachable = true;
  }

  OstrelHost::StreamLogger logger;
  OstrelHost::LogStatistics statistics;
  std::unique_ptr<PlatformAdapters> adapters;
  const bool offline;
  const int logLevel;
  std::string apiPrefix;  // "http://<server>/"; set before the library starts

  mutable std::mutex mutex;
  std::condition_variable changed;
  std::vector<Notification> notifications;            // guarded by mutex
  size_t refused = 0;                                 // guarded by mutex
  bool checkRunning = false;                          // guarded by mutex
  bool checkUnreachable = false;                      // guarded by mutex
  CheckOutcome checkResult = CheckOutcome::kUpdated;  // guarded by mutex
};

LocalSession::LocalSession() = default;

LocalSession::~LocalSession() { Stop(); }

bool LocalSession::Start(const SessionOptions& options, std::string& error, Duration timeout) {
  if (client_) {
    error = "a session is already running";
    return false;
  }
  if (options.appKey.empty() || options.appVersion.empty() || options.storePath.empty()) {
    error = "an app key, an app version and a store file are needed";
    return false;
  }
  std::unique_ptr<Services> services(new Services(options));
  std::string storeError;
  services->adapters = PlatformAdapters::Open(options.storePath, storeError);
  if (!services->adapters) {
    error = "cannot open the store " + options.storePath + ": " + storeError;
    return false;
  }

  Ostrel::Client::Options client;
  client.appKey = options.appKey;
  client.appVersion = options.appVersion;
  // Daily sends the signed requests over plain HTTP, which ostrel-server
  // speaks; a production host uses Env::kOnline.
  client.env = Ostrel::Env::kDaily;
  client.host = options.server;
  client.deviceId = options.deviceId;
  client.brand = options.brand;
  client.model = options.model;
  client.osVersion = options.osVersion;
  client.manufacturer = options.manufacturer;
  client.signLibraryPath = options.signDir;
  // Info lines reach the session, which follows update checks through them.
  client.logLevel = options.logLevel < 1 ? options.logLevel : 1;
  client.logger = services.get();
  client.storage = services->adapters->storage();
  client.httpClient = services.get();
  // Statistics lines are written whatever the log level: only when asked for.
  client.statistics = options.logLevel <= 1 ? &services->statistics : nullptr;
  services->apiPrefix = "http://" + options.server + "/";
  services_ = std::move(services);
  server_ = options.server;
  appKey_ = options.appKey;
  client_.reset(new Ostrel::Client(client));
  if (!client_->IsInitialised()) {
    error = "init refused the parameters";
    Stop();
    return false;
  }
  if (!client_->WaitUntilReady(timeout)) {
    error = "start-up did not finish in time";
    Stop();
    return false;
  }
  return true;
}

void LocalSession::Stop() {
  if (!client_) return;
  if (intercept_ != nullptr) client_->Raw()->releaseIntercept(intercept_);
  intercept_ = nullptr;
  subscriptions_.clear();
  // Teardown waits for the library's requests in flight; shut down, the
  // client ends them at once instead of after their timeout.
  services_->adapters->ShutdownHttp();
  // The library calls the services until teardown returns; only then may
  // they go.
  client_.reset();
  services_.reset();
}

std::string LocalSession::Get(const std::string& nameSpace, const std::string& key,
                              const std::string& defaultValue) const {
  return client_ ? client_->GetString(nameSpace, key, defaultValue) : defaultValue;
}

std::map<std::string, std::string> LocalSession::GetAll(const std::string& nameSpace) const {
  return client_ ? client_->GetAll(nameSpace) : std::map<std::string, std::string>();
}

bool LocalSession::GetText(const std::string& nameSpace, std::string& text) const {
  if (!client_) return false;
  std::optional<std::string> whole = client_->GetCustomText(nameSpace);
  if (!whole) return false;
  text = std::move(*whole);
  return true;
}

void LocalSession::Listen(const std::string& nameSpace) {
  if (!client_ || subscriptions_.count(nameSpace) != 0) return;
  Services* services = services_.get();  // outlives every subscription
  auto record = [services](const Ostrel::Change& change) { services->Record(change); };
  subscriptions_.emplace(nameSpace, client_->Subscribe(nameSpace, record));
}

void LocalSession::CheckUpdate() {
  if (!client_) return;
  {
    std::lock_guard<std::mutex> lock(services_->mutex);
    services_->checkRunning = true;
    services_->checkResult = CheckOutcome::kUpdated;
    services_->checkUnreachable = false;
  }
  client_->Raw()->forceCheckUpdate();
}

bool LocalSession::RelayGatewayNotice(std::string* knownIndexId, int waitSeconds) {
  std::string target = "admin/notice?appKey=" + appKey_;
  if (knownIndexId != nullptr) {
    target += "&known=" + *knownIndexId + "&wait=" + std::to_string(waitSeconds);
  }
  std::string notice;
  if (!FetchFromServer(target, notice)) return false;
  if (notice.empty()) return false;  // nothing published for the app yet
  const std::string indexId = NoticeField(notice, "resourceId");
  if (knownIndexId != nullptr && indexId == *knownIndexId) return false;
  if (intercept_ == nullptr) intercept_ = client_->Raw()->getIntercept();
  if (intercept_ == nullptr) return false;
  intercept_->OnOstrelResponse(notice.c_str());
  if (knownIndexId != nullptr) *knownIndexId = indexId;
  return true;
}

bool LocalSession::FetchFromServer(const std::string& target, std::string& body) {
  body.clear();
  if (!client_ || services_->offline) return false;
  OstrelHost::HttpGetRequest request(services_->apiPrefix + target);
  BodyResponse response;
  // Only a 2xx answer sets success; a transport failure leaves it false.
  services_->adapters->http()->Send(&request, &response);
  if (!response.success) return false;
  body = std::move(response.body);
  return true;
}

std::string NoticeField(const std::string& notice, const std::string& name) {
  const std::string prefix = name + "=";
  for (size_t start = 0; start < notice.size();) {
    size_t end = notice.find('&', start);
    if (end == std::string::npos) end = notice.size();
    if (notice.compare(start, prefix.size(), prefix) == 0) {
      return notice.substr(start + prefix.size(), end - start - prefix.size());
    }
    start = end + 1;
  }
  return std::string();
}

CheckOutcome LocalSession::WaitForCheck(Duration timeout) {
  if (!services_) return CheckOutcome::kFailed;
  std::unique_lock<std::mutex> lock(services_->mutex);
  if (!services_->changed.wait_for(lock, timeout, [this] { return !services_->checkRunning; })) {
    return CheckOutcome::kTimedOut;
  }
  if (services_->checkResult == CheckOutcome::kFailed && services_->checkUnreachable) {
    return CheckOutcome::kUnreachable;
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
      return "failed (a refused signature or an unusable index)";
    case CheckOutcome::kUnreachable:
      return "failed: the server could not be reached";
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
