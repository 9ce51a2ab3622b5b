// The library's only way to write diagnostics: forwarding to the host logger.
#ifndef OSTREL_HOST_LOGMANAGER_H_
#define OSTREL_HOST_LOGMANAGER_H_

#include <atomic>
#include <string>

#include "ostrel/IOLog.h"

namespace Ostrel {

enum LogLevel : int { kLogDebug = 0, kLogInfo = 1, kLogWarn = 2, kLogError = 3 };

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

  void Debug(const std::string& tag, const std::string& method, const std::string& text);
  void Info(const std::string& tag, const std::string& method, const std::string& text);
  void Warn(const std::string& tag, const std::string& method, const std::string& text);
  void Error(const std::string& tag, const std::string& method, const std::string& text);

 private:
  void Write(int level, const std::string& tag, const std::string& method,
             const std::string& text);

  std::atomic<IOLog*> logger_{nullptr};  // not owned; the host keeps it alive
  std::atomic<int> level_{kLogWarn};
};

// Convenience functions used throughout the library. Note the argument order:
// method word first; the host receives the tag first.
void LogDebug(const std::string& method, const std::string& tag, const std::string& text);
void LogInfo(const std::string& method, const std::string& tag, const std::string& text);
void LogWarn(const std::string& method, const std::string& tag, const std::string& text);
void LogError(const std::string& method, const std::string& tag, const std::string& text);

// True when a message of this level would be written.
bool LogEnabled(int level);

}  // namespace Ostrel

#endif  // OSTREL_HOST_LOGMANAGER_H_
