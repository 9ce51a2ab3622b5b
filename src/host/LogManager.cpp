#include "host/LogManager.h"

#include "host/Singleton.h"

namespace Ostrel {

LogManager* LogManager::GetInstance() { return Singleton<LogManager>::Get(); }

void LogManager::DestroyInstance() { Singleton<LogManager>::Destroy(); }

void LogManager::Write(int level, LogTag tag, const char* method, const std::string& text) {
  IOLog* logger = logger_.load(std::memory_order_acquire);
  if (logger == nullptr || Level() > level) return;
  // A host logger that throws must not unwind through library threads.
  try {
    logger->Log(level, tag.text(), method, text.c_str());
  } catch (...) {
  }
}

void LogInfo(const char* method, LogTag tag, const std::string& text) {
  LogManager::GetInstance()->Write(kLogInfo, tag, method, text);
}

void LogWarn(const char* method, LogTag tag, const std::string& text) {
  LogManager::GetInstance()->Write(kLogWarn, tag, method, text);
}

void LogError(const char* method, LogTag tag, const std::string& text) {
  LogManager::GetInstance()->Write(kLogError, tag, method, text);
}

bool LogEnabled(int level) { return LogManager::GetInstance()->Enabled(level); }

}  // namespace Ostrel
