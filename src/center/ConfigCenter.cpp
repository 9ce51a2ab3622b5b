#include "center/ConfigCenter.h"

#include <cstdlib>
#include <cstring>

#include "candidate/ClientAttributes.h"
#include "candidate/TextScan.h"
#include "center/OThreadPoolFactory.h"
#include "host/Clock.h"
#include "host/LogManager.h"
#include "host/ReadSection.h"
#include "host/Singleton.h"
#include "net/OstrelSign.h"
#include "update/EngineHooks.h"

namespace Ostrel {
namespace {

const char kTag[] = "Ostrel.ConfigCenter";
constexpr std::string_view kStandard = "STANDARD";

}  // namespace

ConfigCenter* ConfigCenter::GetInstance() { return Singleton<ConfigCenter>::Get(); }

ConfigCenter* ConfigCenter::PeekInstance() { return Singleton<ConfigCenter>::Peek(); }

void ConfigCenter::DestroyInstance() { Singleton<ConfigCenter>::Destroy(); }

ConfigCenter::ConfigCenter() : indexCache_(std::make_shared<IndexCache>()) {
  ConfigCacheHooks hooks;
  hooks.onServed = [this](const std::string& name) { tracker_.RemoveWaiting(name); };
  hooks.notify = [this](const std::string& name, const std::string& version, bool fromCache) {
    listeners_.Notify(name, version, fromCache);
  };
  configCache_ = std::make_shared<ConfigCache>(std::move(hooks));
  EngineHooks::Install([this] { return IsInitFinished(); },
                       [this](const IndexUpdateHandler::IndexUpdateInfo& info) {
                         UpdateIndex(info);
                       });
}

ConfigCenter::~ConfigCenter() {
  EngineHooks::Clear();
  IndexUpdateHandler::Reset();
  EngineSettings::Reset();
  ClientAttributes::Install(nullptr);
}

bool ConfigCenter::Init(const Settings& settings) {
  if (settings.appKey.empty() || settings.appVersion.empty()) {
    LogError("Init", kTag, "init start , input param error");
    return false;
  }
  EngineSettings::Replace(settings);
  if (!initFinished_.load(std::memory_order_acquire)) {
    OThreadPoolFactory::PostPrimary([this] { RunStartUp(); }, "Init");
  }
  return true;
}

void ConfigCenter::RunStartUp() {
  const int64_t start = Clock::SteadyMillis();
  ClientAttributes::Install(ClientAttributes::Build(*EngineSettings::Current()));
  // Before the restore, so that its downloads can fall back to signed
  // requests.
  OstrelSign::GetInstance()->Init();
  LoadCaches();
  initFinished_.exchange(true);
  IOInitListener* initListener = EngineSettings::Current()->initListener;
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
  indexCache_->Load();
  const std::shared_ptr<IndexDO> index = indexCache_->GetIndex();
  const size_t count = index ? index->mergedNamespaces.size() : 0;
  LogInfo(kMethod, kTag, "loadCaches start restore configs " + std::to_string(count));
  const int64_t restoreStart = Clock::SteadyMillis();
  const ConfigCache::NamespaceMap notMatched = configCache_->RestoreFromIndex(index);
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
  IndexUpdateHandler::CheckIndexUpdate(ReadInt64(indexCache_->GetAppIndexVersion()),
                                       ReadInt64(indexCache_->GetVersionIndexVersion()));
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
  if (!indexCache_->GetNamespace(nameSpace) || !IsInitFinished()) {
    tracker_.AddWaiting(nameSpace);
    return;
  }
  if (tracker_.CheckLoading(nameSpace, false)) return;  // one download at a time
  // One queued lazy load per namespace: a read storm before the task starts
  // posts nothing more.
  if (!tracker_.MarkLazyQueued(nameSpace)) return;
  const bool posted = OThreadPoolFactory::PostPrimary(
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
  if (std::string_view(document->type) != kStandard || document->content.empty()) return nullptr;
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

bool ConfigCenter::FindConfigValue(std::string_view nameSpace, std::string_view key,
                                   std::string_view* value) {
  // One lookup for both names; a missing namespace is FindDocument's miss.
  // No type test needed: a CUSTOM document's key/value content is empty.
  switch (configCache_->PeekValue(nameSpace, key, value)) {
    case ConfigCache::ValueLookup::kFound:
      return true;
    case ConfigCache::ValueLookup::kNoKey:
      return false;
    case ConfigCache::ValueLookup::kNoDocument:
      break;
  }
  OnLookupMiss(nameSpace);
  return false;
}

void ConfigCenter::RegisterListener(const std::string& nameSpace, IOConfigListener* listener) {
  if (listener == nullptr) return;
  if (!listeners_.Add(nameSpace, listener)) return;
  std::shared_ptr<ConfigDO> document = configCache_->Get(nameSpace);
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
