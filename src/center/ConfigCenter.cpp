#include "center/ConfigCenter.h"

#include "center/OThreadPoolFactory.h"
#include "host/Clock.h"
#include "host/LogManager.h"
#include "host/Singleton.h"
#include "net/OstrelSign.h"
#include "update/EngineHooks.h"

namespace Ostrel {
namespace {

const char kTag[] = "Ostrel.ConfigCenter";
const char kReservedSdkNamespace[] = "ostrel";
const char kReservedIndexNamespace[] = "ostrel.index";

}  // namespace

ConfigCenter* ConfigCenter::GetInstance() { return Singleton<ConfigCenter>::Get(); }

void ConfigCenter::DestroyInstance() { Singleton<ConfigCenter>::Destroy(); }

ConfigCenter::ConfigCenter() {
  EngineHooks::Install([this] { return IsInitFinished(); }, nullptr);
}

ConfigCenter::~ConfigCenter() {
  EngineHooks::Clear();
  EngineSettings::Reset();
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
  // First, so that the restore's downloads can fall back to signed requests.
  OstrelSign::GetInstance()->Init();
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

void ConfigCenter::ForceCheckUpdate() {
  if (!IsInitFinished()) {
    LogError("ForceCheckUpdate", kTag, "forceCheckUpdate fail as not finish ostrel init");
    return;
  }
}

bool ConfigCenter::CheckLookupName(const std::string& nameSpace) {
  if (nameSpace.empty()) {
    LogError("GetConfigObj", kTag, "getConfigObj error, namespace is empty");
    return false;
  }
  if (nameSpace == kReservedSdkNamespace || nameSpace == kReservedIndexNamespace) {
    LogError("GetConfigObj", kTag, "getConfigObj error, namespace is occupied by sdk");
    return false;
  }
  return true;
}

void ConfigCenter::HandleMiss(const std::string& nameSpace) {
  if (LogEnabled(kLogInfo)) {
    LogInfo("GetConfigObj", kTag, "getConfigObj , namespace " + nameSpace + " ... null");
  }
  // Until an index lists the namespace it can only be remembered; the index
  // application loads it later.
  AddWaiting(nameSpace);
}

void ConfigCenter::AddWaiting(const std::string& nameSpace) {
  MutexLock lock(&waitingMutex_);
  waitingNamespaces_.insert(nameSpace);
}

char* ConfigCenter::GetConfigObj(const std::string& nameSpace, int* count) {
  if (count != nullptr) *count = 0;
  if (!CheckLookupName(nameSpace)) return nullptr;
  HandleMiss(nameSpace);
  return nullptr;
}

bool ConfigCenter::GetConfigObj(const std::string& nameSpace,
                                std::map<std::string, std::string>& out) {
  (void)out;
  if (!CheckLookupName(nameSpace)) return false;
  HandleMiss(nameSpace);
  return false;
}

bool ConfigCenter::GetConfigObj(const std::string& nameSpace, std::string& out) {
  (void)out;
  if (!CheckLookupName(nameSpace)) return false;
  HandleMiss(nameSpace);
  return false;
}

bool ConfigCenter::GetConfigValue(const std::string& nameSpace, const std::string& key,
                                  std::string& out) {
  (void)key;
  (void)out;
  if (!CheckLookupName(nameSpace)) return false;
  HandleMiss(nameSpace);
  return false;
}

bool ConfigCenter::CheckLoading(const std::string& nameSpace, bool mark) {
  MutexLock lock(&loadingMutex_);
  if (loadingNamespaces_.count(nameSpace) != 0) return true;
  if (mark) loadingNamespaces_[nameSpace] = Clock::SteadyMillis();
  return false;
}

void ConfigCenter::RegisterListener(const std::string& nameSpace, IOConfigListener* listener) {
  if (listener == nullptr) return;
  {
    MutexLock lock(&listenersMutex_);
    if (!listeners_[nameSpace].insert(listener).second) return;
  }
  AddWaiting(nameSpace);
}

void ConfigCenter::UnregisterListener(const std::string& nameSpace,
                                      IOConfigListener* listener) {
  MutexLock lock(&listenersMutex_);
  auto it = listeners_.find(nameSpace);
  if (it == listeners_.end()) return;
  it->second.erase(listener);
  if (it->second.empty()) listeners_.erase(it);
}

void ConfigCenter::UnregisterListeners(const std::string& nameSpace) {
  MutexLock lock(&listenersMutex_);
  listeners_.erase(nameSpace);
}

std::set<std::string> ConfigCenter::WaitingNamespaces() {
  MutexLock lock(&waitingMutex_);
  return waitingNamespaces_;
}

size_t ConfigCenter::ListenerCount(const std::string& nameSpace) {
  MutexLock lock(&listenersMutex_);
  auto it = listeners_.find(nameSpace);
  return it == listeners_.end() ? 0 : it->second.size();
}

}  // namespace Ostrel
