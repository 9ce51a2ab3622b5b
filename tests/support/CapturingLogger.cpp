#include "CapturingLogger.h"

namespace OstrelTest {

void CapturingLogger::Log(int level, const char* tag, const char* method, const char* text) {
  {
    std::lock_guard<std::mutex> lock(mutex_);
    lines_.push_back({level, tag ? tag : "", method ? method : "", text ? text : ""});
  }
  changed_.notify_all();
}

std::vector<LogLine> CapturingLogger::Lines() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return lines_;
}

size_t CapturingLogger::Count(const std::string& fragment) const {
  std::lock_guard<std::mutex> lock(mutex_);
  size_t count = 0;
  for (const LogLine& line : lines_) {
    if (line.text.find(fragment) != std::string::npos) ++count;
  }
  return count;
}

LogLine CapturingLogger::Find(const std::string& fragment) const {
  std::lock_guard<std::mutex> lock(mutex_);
  for (const LogLine& line : lines_) {
    if (line.text.find(fragment) != std::string::npos) return line;
  }
  return {-1, "", "", ""};
}

bool CapturingLogger::WaitFor(const std::string& fragment, size_t count,
                              std::chrono::milliseconds timeout) const {
  std::unique_lock<std::mutex> lock(mutex_);
  return changed_.wait_for(lock, timeout, [&] {
    size_t found = 0;
    for (const LogLine& line : lines_) {
      if (line.text.find(fragment) != std::string::npos) ++found;
    }
    return found >= count;
  });
}

void CapturingLogger::Clear() {
  std::lock_guard<std::mutex> lock(mutex_);
  lines_.clear();
}

}  // namespace OstrelTest
