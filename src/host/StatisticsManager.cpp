#include "host/StatisticsManager.h"

#include "host/Singleton.h"

namespace Ostrel {

StatisticsManager* StatisticsManager::GetInstance() {
  return Singleton<StatisticsManager>::Get();
}

void StatisticsManager::DestroyInstance() { Singleton<StatisticsManager>::Destroy(); }

void StatisticsManager::CommitSuccess(const std::string& module, const std::string& point,
                                      const std::string& arg) {
  IOStatistics* statistics = statistics_.load(std::memory_order_acquire);
  if (statistics == nullptr) return;
  try {
    statistics->CommitSuccess(module.c_str(), point.c_str(), arg.c_str());
  } catch (...) {
  }
}

void StatisticsManager::CommitFail(const std::string& module, const std::string& point,
                                   const std::string& arg, const std::string& code,
                                   const std::string& message) {
  IOStatistics* statistics = statistics_.load(std::memory_order_acquire);
  if (statistics == nullptr) return;
  try {
    statistics->CommitFail(module.c_str(), point.c_str(), arg.c_str(), code.c_str(),
                           message.c_str());
  } catch (...) {
  }
}

void StatCommitSuccess(const std::string& module, const std::string& point,
                       const std::string& arg) {
  StatisticsManager::GetInstance()->CommitSuccess(module, point, arg);
}

void StatCommitFail(const std::string& module, const std::string& point,
                    const std::string& arg, const std::string& code,
                    const std::string& message) {
  StatisticsManager::GetInstance()->CommitFail(module, point, arg, code, message);
}

}  // namespace Ostrel
