#include "center/ConfigCenter.h"

#include <cstdlib>
#include <cstring>

#include "candidate/TextScan.h"
#include "host/Clock.h"
#include "host/LogManager.h"
#include "host/ReadSection.h"

namespace Ostrel {
namespace {

constexpr LogTag kTag("Ostrel.ConfigCenter");
constexpr std::string_view kStandard = "STANDARD";

}  // namespace

namespace {

ConfigCacheHooks CacheHooks(LoadTracker* tracker, ListenerRegistry* listeners) {
  ConfigCacheHooks hooks;
  hooks.onServed = [tracker](const std::string& name) { tracker->RemoveWaiting(name); };
  hooks.notify = [listeners](const std::string& name, const std::string& version,
                             bool fromCache) { listeners->Notify(name, version, fromCache); };
  return hooks;
}

}  // namespace

ConfigCenter::ConfigCenter(const EngineServices& services)
    : signer_(services.signer),
      executors_(services.executors),
      requests_(services.network, services.signer, services.systemClock),
      indexCache_(services.storage, services.executors.storage,
                  [this](const std::string& appIndexVersion,
                         const std::string& versionIndexVersion) {
                    requests_.SetIndexVersions(appIndexVersion, versionIndexVersion);
                  }),
      configCache_(services.storage, services.executors.storage,
                   CacheHooks(&tracker_, &listeners_)),
      updateHandler_(this, &requests_, services.executors.network, services.updateCheckGate),
      settings_(std::make_shared<const Settings>()),
      attributes_(std::make_shared<const ClientAttributes>()) {}

ConfigCenter::~ConfigCenter() = default;

bool ConfigCenter::Init(const Settings& settings) {
  if (settings.appKey.empty() || settings.appVersion.empty()) {
    LogError("Init", kTag, "init start , input param error");
    return false;
  }
  auto published = std::make_shared<const Settings>(settings);
  // Set before the start-up task starts the signer; a request made before
  // that starts it from there as well.
  signer_->SetLibraryFolder(settings.signLibraryPath);
  requests_.SetSettings(published);
  {
    MutexLock lock(&stateMutex_);
    settings_ = std::move(published);
  }
  if (!initFinished_.load(std::memory_order_acquire)) {
    executors_.startUp->Post([this] { RunStartUp(); }, "Init");
  }
  return true;
}

std::shared_ptr<const Settings> ConfigCenter::CurrentSettings() const {
  MutexLock lock(&stateMutex_);
  return settings_;
}

std::shared_ptr<const ClientAttributes> ConfigCenter::Attributes() const {
  MutexLock lock(&stateMutex_);
  return attributes_;
}

AppScope ConfigCenter::App() const {
  const std::shared_ptr<const Settings> settings = CurrentSettings();
  return AppScope{settings->appKey, settings->appVersion};
}

void ConfigCenter::RunStartUp() {
  const int64_t start = Clock::SteadyMillis();
  const std::shared_ptr<const Settings> settings = CurrentSettings();
  {
    std::shared_ptr<const ClientAttributes> attributes = ClientAttributes::Build(*settings);
    MutexLock lock(&stateMutex_);
    attributes_ = std::move(attributes);
  }
  // Before the restore, so that its downloads can fall back to signed
  // requests.
  signer_->Init();
  LoadCaches();
  initFinished_.exchange(true);
  IOInitListener* initListener = settings->initListener;
  if (initListener != nullptr) {
    try {
      initListener->onInitFinished();
    } catch (...) {
      LogError("operator ()", kTag, "init listener threw");
    }
  }
  LogInfo("operator ()", kTag, "init cost " + std::to_string(Clock::SteadyMillis() - start));
}

void ConfigCenter::LoadCaches() {
  const char* kMethod = "LoadCaches";
  LogInfo(kMethod, kTag, "loadCaches start index");
  const AppScope app = App();
  indexCache_.Load(app);
  const std::shared_ptr<IndexDO> index = indexCache_.GetIndex();
  const size_t count = index ? index->mergedNamespaces.size() : 0;
  LogInfo(kMethod, kTag, "loadCaches start restore configs " + std::to_string(count));
  const int64_t restoreStart = Clock::SteadyMillis();
  const ConfigCache::NamespaceMap notMatched = configCache_.RestoreFromIndex(index, *Attributes(), app);
  LogInfo(kMethod, kTag,
          "loadCaches finish restore configs " +
              std::to_string(Clock::SteadyMillis() - restoreStart) + "cost(ms)");
  if (notMatched.empty()) return;
  const int64_t loadStart = Clock::SteadyMillis();
  for (const auto& entry : notMatched) {
    if (Stopping()) break;
    LoadConfig(entry.second);
  }
  LogInfo(kMethod, kTag,
          "loadCaches start load notMatchNamespaces " +
              std::to_string(Clock::SteadyMillis() - loadStart));
}

void ConfigCenter::ForceCheckUpdate() {
  if (!IsInitFinished()) {
    LogError("ForceCheckUpdate", kTag, "forceCheckUpdate fail as not finish ostrel init");
    return;
  }
  updateHandler_.CheckIndexUpdate(ReadInt64(indexCache_.GetAppIndexVersion()),
                                  ReadInt64(indexCache_.GetVersionIndexVersion()));
}

bool ConfigCenter::PostGatewayNotice(std::string notice) {
  if (!IsInitFinished()) return false;
  executors_.network->Post(
      [this, notice = std::move(notice)] { updateHandler_.UpdateIndex(notice, false); },
      "TovraIntercept::OnOstrelResponse");
  return true;
}

bool ConfigCenter::PostPushedNamespace(std::string text) {
  if (!IsInitFinished()) return false;
  executors_.network->Post([this, text = std::move(text)] { LoadPushedNamespace(text); },
                           "OstrelConfigImpl::PeskUpdateNamespace");
  return true;
}

bool ConfigCenter::CheckLookupName(std::string_view nameSpace) {
  if (nameSpace.empty()) {
    LogError("GetConfigObj", kTag, "getConfigObj error, namespace is empty");
    return false;
  }
  if (IsReservedNamespace(nameSpace)) {
    LogError("GetConfigObj", kTag, "getConfigObj error, namespace is occupied by sdk");
    return false;
  }
  return true;
}

void ConfigCenter::RequestLoad(const std::string& nameSpace, const char* taskName) {
  // Until an index lists the namespace, or until start-up has restored what
  // it can, the namespace can only be remembered: the index application or
  // the start-up loads it.
  if (!indexCache_.GetNamespace(nameSpace) || !IsInitFinished()) {
    tracker_.AddWaiting(nameSpace);
    return;
  }
  if (tracker_.CheckLoading(nameSpace, false)) return;  // one download at a time
  // One queued lazy load per namespace: a read storm before the task starts
  // posts nothing more.
  if (!tracker_.MarkLazyQueued(nameSpace)) return;
  const bool posted = executors_.lazyLoads->Post(
      [this, nameSpace] {
        tracker_.ClearLazyQueued(nameSpace);
        LoadConfigLazy(nameSpace);
      },
      taskName);
  if (!posted) tracker_.ClearLazyQueued(nameSpace);
}

void ConfigCenter::OnLookupMiss(std::string_view nameSpace) {
  if (!CheckLookupName(nameSpace)) return;
  const std::string name(nameSpace);
  if (LogEnabled(kLogInfo)) {
    LogInfo("GetConfigObj", kTag, "getConfigObj , namespace " + name + " ... null");
  }
  RequestLoad(name, "ConfigCenter::GetConfigObj");
}

char* ConfigCenter::GetConfigObj(const std::string& nameSpace, int* count) {
  if (count != nullptr) *count = 0;
  ReadSection section;
  const ConfigDO* document = FindDocument(nameSpace);
  if (document == nullptr) return nullptr;
  // A cached STANDARD document holds at least one pair: an empty one is
  // refused before it is cached.
  if (std::string_view(document->type) != kStandard) return nullptr;
  size_t size = 0;
  for (const auto& pair : document->content) size += pair.first.size() + pair.second.size() + 2;
  char* packed = static_cast<char*>(std::malloc(size));
  if (packed == nullptr) return nullptr;
  char* at = packed;
  for (const auto& pair : document->content) {
    std::memcpy(at, pair.first.data(), pair.first.size());
    at += pair.first.size();
    *at++ = '\0';
    std::memcpy(at, pair.second.data(), pair.second.size());
    at += pair.second.size();
    *at++ = '\0';
  }
  if (count != nullptr) *count = static_cast<int>(document->content.size());
  return packed;
}

bool ConfigCenter::GetConfigObj(const std::string& nameSpace, std::string& out) {
  ReadSection section;
  const ConfigDO* document = FindDocument(nameSpace);
  if (document == nullptr) return false;
  out = document->ContentText();
  return true;
}

void ConfigCenter::RegisterListener(const std::string& nameSpace, IOConfigListener* listener) {
  if (listener == nullptr) return;
  if (!listeners_.Add(nameSpace, listener)) return;
  std::shared_ptr<ConfigDO> document = configCache_.Get(nameSpace);
  if (document) {
    LogInfo("RegisterListener", kTag,
            "registerListener onConfigUpdate , namespace " + nameSpace + "version" +
                document->ReportedVersion());
    listeners_.NotifyOne(nameSpace, listener, document->ReportedVersion(), true);
    return;
  }
  // Like a read that missed: start (or remember) the load.
  RequestLoad(nameSpace, "ConfigCenter::RegisterListener");
}

void ConfigCenter::UnregisterListener(const std::string& nameSpace,
                                      IOConfigListener* listener) {
  listeners_.Remove(nameSpace, listener);
}

void ConfigCenter::UnregisterListeners(const std::string& nameSpace) {
  listeners_.RemoveAll(nameSpace);
}

}  // namespace Ostrel
