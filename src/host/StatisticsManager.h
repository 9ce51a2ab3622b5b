// Forwards success and failure counts to the host's statistics sink.
#ifndef OSTREL_HOST_STATISTICSMANAGER_H_
#define OSTREL_HOST_STATISTICSMANAGER_H_

#include <atomic>
#include <string>

#include "ostrel/IOStatistics.h"

namespace Ostrel {

// Module and point names of the statistics the library commits.
namespace Stat {
inline constexpr char kModule[] = "OstrelConfig";
inline constexpr char kIndexRate[] = "index_rate";
inline constexpr char kConfigRate[] = "config_rate";
inline constexpr char kIndexAck[] = "index_ack";
inline constexpr char kConfigAck[] = "config_ack";
inline constexpr char kOtherException[] = "other_exception";
inline constexpr char kDowngrade[] = "downgrade";
inline constexpr char kBootPerformance[] = "ostrel_boot_performance";
inline constexpr char kRestoreFailCounts[] = "restore_fail_counts";
inline constexpr char kPersistFailCounts[] = "persist_fail_counts";
inline constexpr char kConfigNotMatchCounts[] = "config_notmatch_counts";
inline constexpr char kConfigRemoveCounts[] = "config_remove_counts";
}  // namespace Stat

// Keeps nothing itself: without a host sink, commits are dropped. Any thread
// may commit; the host sink must accept concurrent calls.
class StatisticsManager {
 public:
  static StatisticsManager* GetInstance();
  static void DestroyInstance();

  StatisticsManager() = default;
  virtual ~StatisticsManager() = default;

  void SetStatistics(IOStatistics* statistics) {
    statistics_.store(statistics, std::memory_order_release);
  }

  void CommitSuccess(const std::string& module, const std::string& point,
                     const std::string& arg);
  void CommitFail(const std::string& module, const std::string& point,
                  const std::string& arg, const std::string& code,
                  const std::string& message);

 private:
  std::atomic<IOStatistics*> statistics_{nullptr};  // not owned
};

void StatCommitSuccess(const std::string& module, const std::string& point,
                       const std::string& arg);
void StatCommitFail(const std::string& module, const std::string& point,
                    const std::string& arg, const std::string& code,
                    const std::string& message);

}  // namespace Ostrel

#endif  // OSTREL_HOST_STATISTICSMANAGER_H_
