#include "host/LogManager.h"

#include "host/Singleton.h"

namespace Ostrel {

LogManager* LogManager::GetInstance() { return Singleton<LogManager>::Get(); }

void LogManager::DestroyInstance() { Singleton<LogManager>::Destroy(); }

void LogManager::Debug(const std::string& tag, const std::string& method,
                       const std::string& text) {
  Write(kLogDebug, tag, method, text);
}

void LogManager::Info(const std::string& tag, const std::string& method,
                      const std::string& text) {
  Write(kLogInfo, tag, method, text);
}

void LogManager::Warn(const std::string& tag, const std::string& method,
                      const std::string& text) {
  Write(kLogWarn, tag, method, text);
}

void LogManager::Error(const std::string& tag, const std::string& method,
                       const std::string& text) {
  Write(kLogError, tag, method, text);
}

void LogManager::Write(int level, const std::string& tag, const std::string& method,
                       const std::string& text) {
  IOLog* logger = logger_.load(std::memory_order_acquire);
  if (logger == nullptr || Level() > level) return;
  // A host logger that throws must not unwind through library threads.
  try {
    logger->Log(level, tag.c_str(), method.c_str(), text.c_str());
  } catch (...) {
  }
}

void LogDebug(const std::string& method, const std::string& tag, const std::string& text) {
  LogManager::GetInstance()->Debug(tag, method, text);
}

void LogInfo(const std::string& method, const std::string& tag, const std::string& text) {
  LogManager::GetInstance()->Info(tag, method, text);
}

void LogWarn(const std::string& method, const std::string& tag, const std::string& text) {
  LogManager::GetInstance()->Warn(tag, method, text);
}

void LogError(const std::string& method, const std::string& tag, const std::string& text) {
  LogManager::GetInstance()->Error(tag, method, text);
}

bool LogEnabled(int level) { return LogManager::GetInstance()->Enabled(level); }

}  // namespace Ostrel
