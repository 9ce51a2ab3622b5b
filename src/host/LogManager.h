// The library's only way to write diagnostics: forwarding to the host logger.
#ifndef OSTREL_HOST_LOGMANAGER_H_
#define OSTREL_HOST_LOGMANAGER_H_

#include <atomic>
#include <string>

#include "ostrel/IOLog.h"

namespace Ostrel {

enum LogLevel : int { kLogDebug = 0, kLogInfo = 1, kLogWarn = 2, kLogError = 3 };

// The tag of a log line ("Ostrel.ConfigCenter"), a type of its own so that a
// call that swaps tag and method word does not compile. Each file declares
// its tag once: constexpr LogTag kTag("Ostrel.ConfigCenter");
class LogTag {
 public:
  constexpr explicit LogTag(const char* text) : text_(text) {}
  constexpr const char* text() const { return text_; }

 private:
  const char* text_;
};

class LogManager {
 public:
  static LogManager* GetInstance();
  static void DestroyInstance();

  LogManager() = default;
  virtual ~LogManager() = default;

  // Either may be called at any time from any thread while others log; the
  // change takes effect for the next message.
  void SetLogger(IOLog* logger) { logger_.store(logger, std::memory_order_release); }
  void SetLevel(int level) { level_.store(level, std::memory_order_relaxed); }
  int Level() const { return level_.load(std::memory_order_relaxed); }

  // True when a message of this level would reach a logger. Lets callers skip
  // composing messages nobody reads.
  bool Enabled(int level) const {
    return logger_.load(std::memory_order_acquire) != nullptr && Level() <= level;
  }

  // Hands one line to the host logger when one is installed and level
  // reaches the threshold. A logger that throws is ignored.
  void Write(int level, LogTag tag, const char* method, const std::string& text);

 private:

  std::atomic<IOLog*> logger_{nullptr};  // not owned; the host keeps it alive
  std::atomic<int> level_{kLogWarn};
};

// Convenience functions used throughout the library: method word first, as
// the library has always written them; the host receives the tag first.
void LogInfo(const char* method, LogTag tag, const std::string& text);
void LogWarn(const char* method, LogTag tag, const std::string& text);
void LogError(const char* method, LogTag tag, const std::string& text);

// True when a message of this level would be written.
bool LogEnabled(int level);

}  // namespace Ostrel

#endif  // OSTREL_HOST_LOGMANAGER_H_
