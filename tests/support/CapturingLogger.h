// A host logger that keeps every line and lets a test wait for one.
#ifndef OSTREL_TESTS_SUPPORT_CAPTURINGLOGGER_H_
#define OSTREL_TESTS_SUPPORT_CAPTURINGLOGGER_H_

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>
#include <vector>

#include "ostrel/IOLog.h"

namespace OstrelTest {

struct LogLine {
  int level;
  std::string tag;
  std::string method;
  std::string text;
};

class CapturingLogger : public Ostrel::IOLog {
 public:
  void Log(int level, const char* tag, const char* method, const char* text) override;

  std::vector<LogLine> Lines() const;
  // Lines whose text contains fragment.
  size_t Count(const std::string& fragment) const;
  bool Contains(const std::string& fragment) const { return Count(fragment) > 0; }
  // The first line whose text contains fragment; empty text when none.
  LogLine Find(const std::string& fragment) const;
  // Waits until at least count lines contain fragment.
  bool WaitFor(const std::string& fragment, size_t count = 1,
               std::chrono::milliseconds timeout = std::chrono::seconds(10)) const;
  void Clear();

 private:
  mutable std::mutex mutex_;
  mutable std::condition_variable changed_;
  std::vector<LogLine> lines_;
};

}  // namespace OstrelTest

#endif  // OSTREL_TESTS_SUPPORT_CAPTURINGLOGGER_H_
