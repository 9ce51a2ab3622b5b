// Recording statistics sink and listeners.
#ifndef OSTREL_TESTS_SUPPORT_RECORDERS_H_
#define OSTREL_TESTS_SUPPORT_RECORDERS_H_

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

#include "ostrel/IOConfigListener.h"
#include "ostrel/IOStatistics.h"

namespace OstrelTest {

struct Commit {
  bool success;
  std::string module, point, arg, code, message;
};

class StatisticsRecorder : public Ostrel::IOStatistics {
 public:
  void CommitSuccess(const char* module, const char* point, const char* arg) override;
  void CommitFail(const char* module, const char* point, const char* arg, const char* code,
                  const char* message) override;

  std::vector<Commit> Commits() const;
  size_t Count(const std::string& point, bool success) const;
  bool WaitFor(const std::string& point, bool success, size_t count = 1,
               std::chrono::milliseconds timeout = std::chrono::seconds(10)) const;

 private:
  mutable std::mutex mutex_;
  mutable std::condition_variable changed_;
  std::vector<Commit> commits_;
};

struct Notification {
  std::string nameSpace;
  std::string version;
  bool fromCache;
};

class RecordingListener : public Ostrel::IOConfigListener {
 public:
  void onConfigUpdate(const char* nameSpace, const char* version, bool fromCache) override;

  std::vector<Notification> Notifications() const;
  size_t Count() const;
  bool WaitForCount(size_t count,
                    std::chrono::milliseconds timeout = std::chrono::seconds(10)) const;
  // Runs inside onConfigUpdate, after recording (for re-entrant calls).
  std::function<void(const Notification&)> onUpdate;

 private:
  mutable std::mutex mutex_;
  mutable std::condition_variable changed_;
  std::vector<Notification> notifications_;
};

class RecordingInitListener : public Ostrel::IOInitListener {
 public:
  void onInitFinished() override;
  int Calls() const { return calls_.load(); }
  bool WaitForCall(std::chrono::milliseconds timeout = std::chrono::seconds(10)) const;

 private:
  std::atomic<int> calls_{0};
  mutable std::mutex mutex_;
  mutable std::condition_variable changed_;
};

}  // namespace OstrelTest

#endif  // OSTREL_TESTS_SUPPORT_RECORDERS_H_
