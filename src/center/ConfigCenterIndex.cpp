// ConfigCenter: applying a new index.
#include <algorithm>
#include <vector>

#include "center/ConfigCenter.h"
#include "host/LogManager.h"
#include "host/StatisticsManager.h"

namespace Ostrel {
namespace {

constexpr LogTag kTag("Ostrel.ConfigCenter");

}  // namespace

void ConfigCenter::UpdateIndex(const IndexUpdateHandler::IndexUpdateInfo& info) {
  if (!LoadIndex(info)) {
    RetryFailRequests();
    return;
  }
  // The namespaces of interest: what is cached, then what is waiting.
  std::vector<std::string> interest = configCache_.Names();
  for (const std::string& name : tracker_.Waiting()) interest.push_back(name);
  std::vector<std::shared_ptr<NamespaceDO>> updates;
  std::set<std::string> chosen;
  for (const std::string& name : interest) {
    std::shared_ptr<NamespaceDO> ns = indexCache_.GetNamespace(name);
    if (ns && ns->changed && chosen.insert(name).second) updates.push_back(ns);
  }
  for (const auto& ns : indexCache_.GetChangedHighNamespaces()) {
    if (chosen.insert(ns->name).second) updates.push_back(ns);
  }
  std::string names;
  for (const auto& ns : updates) names += (names.empty() ? "" : ",") + ns->name;
  LogInfo("UpdateIndex", kTag, "index updated,begin download update namespace:" + names);
  if (updates.empty()) {
    LogInfo("UpdateIndex", kTag, "updateNameSpaceList is nullptr,no updated namespace");
    return;
  }
  for (const auto& ns : updates) {
    if (Stopping()) return;
    LoadConfigLazy(ns->name);
  }
}

bool ConfigCenter::LoadIndex(const IndexUpdateHandler::IndexUpdateInfo& info) {
  const char* kMethod = "LoadIndex";
  if (!info.CheckValid()) {
    LogError(kMethod, kTag, "IndexUpdateInfo checkValide failed");
    return false;
  }
  const std::string url = requests_.CdnUrl(info.cdn, info.resourceId);
  LogInfo(kMethod, kTag, "start cdn request,request is" + url);
  std::string body;
  if (!requests_.FetchResource(url, info.resourceId, info.md5, stopping_, body)) {
    const char* message = "cdn request failed and auth request failed";
    LogError(kMethod, kTag, message);
    StatCommitFail(Stat::kModule, Stat::kIndexRate, info.resourceId, message, url);
    return false;
  }
  if (body.empty()) {
    const char* message = "request sucessfully,but index is empty!!!";
    LogError(kMethod, kTag, message);
    StatCommitFail(Stat::kModule, Stat::kIndexRate, info.resourceId, message, url);
    return false;
  }
  std::shared_ptr<IndexDO> index = IndexDO::ParseFormJson(body);
  if (!index) {
    LogError(kMethod, kTag, "ParseFormJson fail ,index in null");
    return false;
  }
  // An index for another application, or without namespaces, would be
  // refused at the next start and answered by clearing the host's store.
  if (!index->CheckValid(App())) {
    const char* message = "loadIndex fail , index is not valid";
    LogError(kMethod, kTag, message);
    StatCommitFail(Stat::kModule, Stat::kIndexRate, info.resourceId, message, url);
    return false;
  }
  const std::shared_ptr<IndexDO> cached = indexCache_.GetIndex();
  LogInfo(kMethod, kTag, "index->id:" + index->id + ",index->version" + index->version);
  LogInfo(kMethod, kTag,
          "mIndexCache->GetIndex()->id:" + (cached ? cached->id : std::string()) +
              " ,mIndexCache->GetIndex()->version" + (cached ? cached->version : std::string()));
  if (cached && (index->id == cached->id || index->version == cached->version)) {
    LogInfo(kMethod, kTag, "loadIndex fail , id or version is match");
    return false;
  }
  for (const std::string& name : indexCache_.Cache(index)) {
    LogInfo(kMethod, kTag, "loadIndex remove" + name + " namespace");
    configCache_.Remove(name);
  }
  StatCommitSuccess(Stat::kModule, Stat::kIndexRate, info.resourceId);
  return true;
}

}  // namespace Ostrel
