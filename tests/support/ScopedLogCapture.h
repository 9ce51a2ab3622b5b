// For internal unit tests only (it reaches the library's LogManager, so it is
// header-only and not part of ostrel_test_support): installs a capturing
// logger at threshold 0 for the lifetime of the object.
#ifndef OSTREL_TESTS_SUPPORT_SCOPEDLOGCAPTURE_H_
#define OSTREL_TESTS_SUPPORT_SCOPEDLOGCAPTURE_H_

#include <string>
#include <vector>

#include "CapturingLogger.h"
#include "host/LogManager.h"

namespace OstrelTest {

class ScopedLogCapture {
 public:
  explicit ScopedLogCapture(int level = Ostrel::kLogDebug) {
    Ostrel::LogManager::GetInstance()->SetLogger(&logger_);
    Ostrel::LogManager::GetInstance()->SetLevel(level);
  }
  ~ScopedLogCapture() {
    Ostrel::LogManager::GetInstance()->SetLogger(nullptr);
    Ostrel::LogManager::GetInstance()->SetLevel(Ostrel::kLogWarn);
  }
  ScopedLogCapture(const ScopedLogCapture&) = delete;
  ScopedLogCapture& operator=(const ScopedLogCapture&) = delete;

  CapturingLogger& logger() { return logger_; }

  // The texts of every line so far, in order.
  std::vector<std::string> Texts() const {
    std::vector<std::string> texts;
    for (const LogLine& line : logger_.Lines()) texts.push_back(line.text);
    return texts;
  }

 private:
  CapturingLogger logger_;
};

}  // namespace OstrelTest

#endif  // OSTREL_TESTS_SUPPORT_SCOPEDLOGCAPTURE_H_
