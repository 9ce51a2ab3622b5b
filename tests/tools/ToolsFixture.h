// Shared set-up of the tools' tests: data folders, and a server log that a
// test can wait on.
#ifndef OSTREL_TESTS_TOOLS_TOOLSFIXTURE_H_
#define OSTREL_TESTS_TOOLS_TOOLSFIXTURE_H_

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <filesystem>
#include <fstream>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

#include "ScratchDir.h"

namespace OstrelToolsTest {

class TempFolder : public OstrelTest::ScratchDir {
 public:
  // Writes (or replaces) relative, creating its folders.
  void Write(const std::string& relative, const std::string& text) const {
    const std::filesystem::path file = std::filesystem::path(path()) / relative;
    std::filesystem::create_directories(file.parent_path());
    std::ofstream(file, std::ios::binary | std::ios::trunc) << text;
  }
};

inline std::string Standard(const std::string& contentJson, const std::string& extra = "") {
  return "{\"type\":\"STANDARD\",\"content\":" + contentJson + extra + "}";
}

class CapturedLog {
 public:
  std::function<void(const std::string&)> Sink() {
    return [this](const std::string& line) {
      std::lock_guard<std::mutex> lock(mutex_);
      lines_.push_back(line);
      changed_.notify_all();
    };
  }
  // Waits up to ten seconds until count lines end with suffix.
  bool WaitFor(const std::string& suffix, size_t count = 1) {
    std::unique_lock<std::mutex> lock(mutex_);
    return changed_.wait_for(lock, std::chrono::seconds(10), [&] {
      return static_cast<size_t>(std::count_if(lines_.begin(), lines_.end(), [&](const auto& line) {
               return line.size() >= suffix.size() &&
                      line.compare(line.size() - suffix.size(), suffix.size(), suffix) == 0;
             })) >= count;
    });
  }
  std::vector<std::string> Lines() {
    std::lock_guard<std::mutex> lock(mutex_);
    return lines_;
  }

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  std::vector<std::string> lines_;
};

}  // namespace OstrelToolsTest

#endif  // OSTREL_TESTS_TOOLS_TOOLSFIXTURE_H_
