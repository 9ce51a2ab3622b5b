#include "center/LoadTracker.h"

#include "candidate/TextScan.h"
#include "host/Clock.h"

namespace Ostrel {

bool LoadTracker::CheckLoading(const std::string& nameSpace, bool mark) {
  MutexLock lock(&loadingMutex_);
  if (loadingNamespaces_.count(nameSpace) != 0) return true;
  if (mark) loadingNamespaces_[nameSpace] = Clock::SteadyMillis();
  return false;
}

bool LoadTracker::MarkLoadingOrRequestReload(const std::shared_ptr<NamespaceDO>& ns) {
  MutexLock lock(&loadingMutex_);
  if (loadingNamespaces_.count(ns->name) != 0) {
    std::shared_ptr<NamespaceDO>& requested = reloadRequested_[ns->name];
    if (!requested || ReadInt64(ns->version) > ReadInt64(requested->version)) requested = ns;
    return false;
  }
  loadingNamespaces_[ns->name] = Clock::SteadyMillis();
  return true;
}

bool LoadTracker::FinishLoading(const std::string& nameSpace,
                                std::shared_ptr<NamespaceDO>* requested) {
  MutexLock lock(&loadingMutex_);
  auto request = reloadRequested_.find(nameSpace);
  if (request != reloadRequested_.end()) {
    *requested = std::move(request->second);
    reloadRequested_.erase(request);
    loadingNamespaces_[nameSpace] = Clock::SteadyMillis();
    return true;
  }
  loadingNamespaces_.erase(nameSpace);
  return false;
}

bool LoadTracker::MarkLazyQueued(const std::string& nameSpace) {
  MutexLock lock(&queuedMutex_);
  return lazyQueued_.insert(nameSpace).second;
}

void LoadTracker::ClearLazyQueued(const std::string& nameSpace) {
  MutexLock lock(&queuedMutex_);
  lazyQueued_.erase(nameSpace);
}

void LoadTracker::AddWaiting(const std::string& nameSpace) {
  MutexLock lock(&waitingMutex_);
  waitingNamespaces_.insert(nameSpace);
}

void LoadTracker::RemoveWaiting(const std::string& nameSpace) {
  MutexLock lock(&waitingMutex_);
  waitingNamespaces_.erase(nameSpace);
}

std::set<std::string> LoadTracker::Waiting() {
  MutexLock lock(&waitingMutex_);
  return waitingNamespaces_;
}

}  // namespace Ostrel
