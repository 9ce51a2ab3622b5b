// The one way internal unit tests capture the library's log: a capturing
// logger installed at threshold 0 for the lifetime of an object, alone or as
// a fixture. Header-only and not part of ostrel_test_support, as it reaches
// the library's LogManager.
#ifndef OSTREL_TESTS_SUPPORT_SCOPEDLOGCAPTURE_H_
#define OSTREL_TESTS_SUPPORT_SCOPEDLOGCAPTURE_H_

#include <gtest/gtest.h>

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

// A test whose whole run is captured in logger.
class LoggerFixture : public ::testing::Test {
 protected:
  ScopedLogCapture capture;
  CapturingLogger& logger = capture.logger();
};

}  // namespace OstrelTest

#endif  // OSTREL_TESTS_SUPPORT_SCOPEDLOGCAPTURE_H_
