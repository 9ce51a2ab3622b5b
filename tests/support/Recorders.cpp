#include "Recorders.h"

namespace OstrelTest {
namespace {

std::string Text(const char* text) { return text == nullptr ? std::string() : text; }

}  // namespace

void StatisticsRecorder::CommitSuccess(const char* module, const char* point, const char* arg) {
  {
    std::lock_guard<std::mutex> lock(mutex_);
    commits_.push_back({true, Text(module), Text(point), Text(arg), "", ""});
  }
  changed_.notify_all();
}

void StatisticsRecorder::CommitFail(const char* module, const char* point, const char* arg,
                                    const char* code, const char* message) {
  {
    std::lock_guard<std::mutex> lock(mutex_);
    commits_.push_back(
        {false, Text(module), Text(point), Text(arg), Text(code), Text(message)});
  }
  changed_.notify_all();
}

std::vector<Commit> StatisticsRecorder::Commits() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return commits_;
}

size_t StatisticsRecorder::Count(const std::string& point, bool success) const {
  std::lock_guard<std::mutex> lock(mutex_);
  size_t count = 0;
  for (const Commit& commit : commits_) {
    if (commit.point == point && commit.success == success) ++count;
  }
  return count;
}

bool StatisticsRecorder::WaitFor(const std::string& point, bool success, size_t count,
                                 std::chrono::milliseconds timeout) const {
  std::unique_lock<std::mutex> lock(mutex_);
  return changed_.wait_for(lock, timeout, [&] {
    size_t found = 0;
    for (const Commit& commit : commits_) {
      if (commit.point == point && commit.success == success) ++found;
    }
    return found >= count;
  });
}

void RecordingListener::onConfigUpdate(const char* nameSpace, const char* version,
                                       bool fromCache) {
  Notification notification{Text(nameSpace), Text(version), fromCache};
  {
    std::lock_guard<std::mutex> lock(mutex_);
    notifications_.push_back(notification);
  }
  changed_.notify_all();
  if (onUpdate) onUpdate(notification);
}

std::vector<Notification> RecordingListener::Notifications() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return notifications_;
}

size_t RecordingListener::Count() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return notifications_.size();
}

bool RecordingListener::WaitForCount(size_t count, std::chrono::milliseconds timeout) const {
  std::unique_lock<std::mutex> lock(mutex_);
  return changed_.wait_for(lock, timeout, [&] { return notifications_.size() >= count; });
}

void RecordingInitListener::onInitFinished() {
  {
    std::lock_guard<std::mutex> lock(mutex_);
    ++calls_;
  }
  changed_.notify_all();
}

bool RecordingInitListener::WaitForCall(std::chrono::milliseconds timeout) const {
  std::unique_lock<std::mutex> lock(mutex_);
  return changed_.wait_for(lock, timeout, [&] { return calls_.load() > 0; });
}

}  // namespace OstrelTest
