#include "ostrel_host/StreamLogger.h"

#include <cerrno>
#include <chrono>
#include <cstring>
#include <ctime>

#include <string>

#ifdef _WIN32
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>
#endif

namespace OstrelHost {
namespace {

char LevelLetter(int level) {
  switch (level) {
    case 0: return 'D';
    case 1: return 'I';
    case 2: return 'W';
    case 3: return 'E';
    default: return '?';
  }
}

void AppendEscaped(std::string& line, const char* text) {
  for (const char* c = text; *c != '\0'; ++c) {
    if (*c == '\n') {
      line += "\\n";
    } else if (*c == '\r') {
      line += "\\r";
    } else {
      line += *c;
    }
  }
}

const char* OrEmpty(const char* text) { return text != nullptr ? text : ""; }

void ToUtc(std::time_t seconds, std::tm* utc) {
#ifdef _WIN32
  gmtime_s(utc, &seconds);
#else
  gmtime_r(&seconds, utc);
#endif
}

// The path is UTF-8; Windows' fopen would read it in the ANSI code page.
FILE* OpenForAppend(const std::string& path) {
#ifdef _WIN32
  const int size = MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, path.c_str(), -1, nullptr, 0);
  if (size <= 0) {
    errno = EINVAL;
    return nullptr;
  }
  std::wstring wide(static_cast<size_t>(size), L'\0');
  MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, path.c_str(), -1, wide.data(), size);
  return _wfopen(wide.c_str(), L"a");
#else
  return std::fopen(path.c_str(), "a");
#endif
}

}  // namespace

StreamLogger::StreamLogger(FILE* stream) : StreamLogger(stream, false) {}

StreamLogger::StreamLogger(FILE* stream, bool owned) : stream_(stream), owned_(owned) {}

std::unique_ptr<StreamLogger> StreamLogger::OpenFile(const std::string& path, std::string* error) {
  FILE* file = OpenForAppend(path);
  if (file == nullptr) {
    if (error != nullptr) *error = path + ": " + std::strerror(errno);
    return nullptr;
  }
  return std::unique_ptr<StreamLogger>(new StreamLogger(file, true));
}

StreamLogger::~StreamLogger() {
  if (owned_) std::fclose(stream_);
}

std::string StreamLogger::FormatLine(long long epochMillis, int level, const char* tag,
                                     const char* method, const char* text) {
  const std::time_t seconds = static_cast<std::time_t>(epochMillis / 1000);
  std::tm utc{};
  ToUtc(seconds, &utc);
  char stamp[48];
  std::snprintf(stamp, sizeof stamp, "%04d-%02d-%02dT%02d:%02d:%02d.%03dZ %c ",
                utc.tm_year + 1900, utc.tm_mon + 1, utc.tm_mday, utc.tm_hour, utc.tm_min,
                utc.tm_sec, static_cast<int>(epochMillis % 1000), LevelLetter(level));
  std::string line = stamp;
  line += OrEmpty(tag);
  line += ' ';
  line += OrEmpty(method);
  line += ": ";
  AppendEscaped(line, OrEmpty(text));
  return line;
}

void StreamLogger::Log(int level, const char* tag, const char* method, const char* text) {
  if (stream_ == nullptr) return;
  try {
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    std::string line = FormatLine(
        std::chrono::duration_cast<std::chrono::milliseconds>(now).count(), level, tag, method,
        text);
    line += '\n';
    // Formatting stays outside the lock; only the write is serialised.
    std::lock_guard<std::mutex> lock(mutex_);
    std::fwrite(line.data(), 1, line.size(), stream_);
    std::fflush(stream_);
  } catch (...) {
    // A message that cannot be formatted (out of memory) is dropped: the
    // library must never see an exception from its logger.
  }
}

}  // namespace OstrelHost
