// ConfigCenter: namespace downloads and their retries.
#include "center/ConfigCenter.h"
#include "candidate/TextScan.h"
#include "host/Clock.h"
#include "host/LogManager.h"
#include "host/StatisticsManager.h"
#include "model/CandidateDO.h"
#include "model/CustomConfigDO.h"

namespace Ostrel {
namespace {

constexpr LogTag kTag("Ostrel.ConfigCenter");
const char kStandard[] = "STANDARD";
const char kCustom[] = "CUSTOM";

std::shared_ptr<ConfigDO> ParseByType(const std::string& type, const std::string& body) {
  if (type == kStandard) return ConfigDO::ParseFromJson(body);
  if (type == kCustom) return CustomConfigDO::ParseFromJson(body);
  return nullptr;
}

}  // namespace

void ConfigCenter::LoadConfig(std::shared_ptr<NamespaceDO> ns) {
  if (!ns) {
    LogError("LoadConfig", kTag, "loadConfig fail , nameSpaceDO is null");
    return;
  }
  const std::string name = ns->name;
  if (IsReservedNamespace(name)) {
    LogWarn("LoadConfig", kTag, "loadConfig skip , namespace is occupied by sdk: " + name);
    return;
  }
  if (Stopping()) return;
  if (!tracker_.MarkLoadingOrRequestReload(ns)) {
    // Not lost: the loader holding the mark runs once more for it.
    LogInfo("LoadConfig", kTag, "loadConfig break as is loading, namespace" + name);
    return;
  }
  while (ns) {
    std::shared_ptr<ConfigDO> config = DownloadConfig(ns);
    // The mark goes before the new document is cached: listeners told of it
    // may start loads of their own.
    std::shared_ptr<NamespaceDO> requested;
    const bool again = tracker_.FinishLoading(name, &requested);
    if (config) {
      configCache_.Cache(config);
      StatCommitSuccess(Stat::kModule, Stat::kConfigRate, name);
    }
    ns = NextLoad(ns, again, std::move(requested));
  }
}

std::shared_ptr<NamespaceDO> ConfigCenter::NextLoad(const std::shared_ptr<NamespaceDO>& loaded,
                                                    bool markKept,
                                                    std::shared_ptr<NamespaceDO> requested) {
  const std::string& name = loaded->name;
  std::shared_ptr<NamespaceDO> current = indexCache_.GetNamespace(name);
  // The newer of what was asked for during the load (a push may announce a
  // version the index does not know yet) and what the index says now.
  if (requested && current && ReadInt64(current->version) >= ReadInt64(requested->version)) {
    requested = current;
  }
  if (!markKept) {
    // Nobody asked, but the index may have changed under the download: an
    // index applied meanwhile skips a namespace that is neither cached nor
    // waiting yet.
    const bool indexMovedOn = current && !current->Equals(*loaded) &&
                              ReadInt64(current->version) >= ReadInt64(loaded->version);
    if (!indexMovedOn || Stopping()) return nullptr;
    // Another loader may have taken the namespace meanwhile; it now runs
    // once more with this descriptor.
    if (!tracker_.MarkLoadingOrRequestReload(current)) return nullptr;
    return current;
  }
  // A kept mark always comes with the descriptor asked for. When stopping,
  // the mark is left to go with the engine.
  return Stopping() ? nullptr : requested;
}

std::shared_ptr<ConfigDO> ConfigCenter::DownloadConfig(const std::shared_ptr<NamespaceDO>& ns) {
  const char* kMethod = "LoadConfig";
  const std::string& name = ns->name;
  const std::shared_ptr<IndexDO> index = indexCache_.GetIndex();
  const std::string cdn = index ? index->cdn : std::string();
  if (requests_.CdnUrl(cdn, ns->resourceId).empty()) {
    LogError(kMethod, kTag, "loadConfig fail , cdnUrl is null");
    tracker_.AddWaiting(name);
    return nullptr;
  }

  LogInfo(kMethod, kTag, "loadConfig start");
  const std::shared_ptr<ConfigDO> current = configCache_.Get(name);
  LogInfo(kMethod, kTag,
          "loadConfig before check , config:" + name + ",version:" + ns->version +
              ",level:" + ns->loadLevel + " ,resourceId:" + ns->resourceId);
  if (!ns->CheckValid(current, *Attributes())) {
    tracker_.RemoveWaiting(name);
    return nullptr;
  }

  // A matching candidate replaces the namespace's own resource.
  const std::shared_ptr<CandidateDO> candidate = ns->MatchedCandidate();
  const std::string& resourceId = candidate ? candidate->resourceId : ns->resourceId;
  const std::string& md5 = candidate ? candidate->md5 : ns->md5;
  LogInfo(kMethod, kTag,
          "loadConfig after check candiadate , config:" + name + ",version:" + ns->version +
              ",level:" + ns->loadLevel + " ,configResourceId:" + resourceId);

  std::string body;
  if (!requests_.FetchResource(requests_.CdnUrl(cdn, resourceId), resourceId, md5, stopping_,
                               body)) {
    RecordLoadFailure(name, "download error", resourceId);
    LogError(kMethod, kTag, "download error, resourceId:" + resourceId);
    return nullptr;
  }
  if (body.empty()) {
    LogError(kMethod, kTag, "download sucessfully,but config is empty");
    RecordLoadFailure(name, "config is empty", resourceId);
    return nullptr;
  }
  std::shared_ptr<ConfigDO> config = ParseByType(ns->type, body);
  // A document for another namespace would overwrite that namespace.
  if (!config || !config->CheckValid(App()) || config->name != name) {
    LogError(kMethod, kTag, "download sucessfully,but config content error");
    RecordLoadFailure(name, "config content error", resourceId);
    return nullptr;
  }
  tracker_.RemoveWaiting(name);
  config->candidate = candidate;
  return config;
}

void ConfigCenter::RecordLoadFailure(const std::string& nameSpace, const char* reason,
                                     const std::string& resourceId) {
  tracker_.AddWaiting(nameSpace);
  StatCommitFail(Stat::kModule, Stat::kConfigRate, nameSpace, reason, resourceId);
}

void ConfigCenter::LoadConfigLazy(const std::string& nameSpace) {
  std::shared_ptr<NamespaceDO> ns = indexCache_.GetNamespace(nameSpace);
  if (!ns) {
    LogError("LoadConfigLazy", kTag, "loadConfigLazy fail , nameSpaceDO is null");
    return;
  }
  LoadConfig(std::move(ns));
}

void ConfigCenter::LoadPushedNamespace(const std::string& text) {
  std::shared_ptr<NamespaceDO> ns = NamespaceDO::ParseFromJson(text);
  if (!ns) return;  // the parser logged why
  if (IsReservedNamespace(ns->name)) {
    LogError("PeskUpdateNamespace", kTag, "PeskUpdateNamespace: namespace is occupied by sdk");
    return;
  }
  LoadConfig(std::move(ns));
}

void ConfigCenter::RetryFailRequests() {
  const std::set<std::string> waiting = tracker_.Waiting();
  if (waiting.empty()) {
    LogInfo("RetryFailRequests", kTag, "no request need retry");
    return;
  }
  const int64_t start = Clock::SteadyMillis();
  // Each load returns at once when stopping.
  for (const std::string& name : waiting) LoadConfig(indexCache_.GetNamespace(name));
  LogInfo("RetryFailRequests", kTag,
          "retryFailRequests ,finish load retryNamespaces" +
              std::to_string(Clock::SteadyMillis() - start) + "cost(ms)");
}

}  // namespace Ostrel
