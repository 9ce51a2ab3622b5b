// A logger for the library that writes one text line per message.
#ifndef OSTREL_HOST_STREAMLOGGER_H_
#define OSTREL_HOST_STREAMLOGGER_H_

#include <cstdio>
#include <memory>
#include <mutex>
#include <string>

#include "ostrel/IOLog.h"

namespace OstrelHost {

// IOLog writing lines such as
//   2026-11-22T10:11:12.345Z W Ostrel.ConfigCenter LoadConfig: text
// (UTC time with milliseconds, level letter D, I, W or E, tag, method, text).
// Line feeds and carriage returns inside the text are written as \n and \r
// so that each message stays one line. Log may be called from any thread:
// a line is written and flushed whole under an internal mutex.
class StreamLogger final : public Ostrel::IOLog {
 public:
  // Writes to stream, which stays owned by the caller and must outlive the
  // logger.
  explicit StreamLogger(FILE* stream = stderr);
  // Appends to the file at path, created when absent, closed by the logger.
  // Returns null on failure and, when error is given, stores the reason.
  static std::unique_ptr<StreamLogger> OpenFile(const std::string& path,
                                                std::string* error = nullptr);

  StreamLogger(const StreamLogger&) = delete;
  StreamLogger& operator=(const StreamLogger&) = delete;
  ~StreamLogger();

  void Log(int level, const char* tag, const char* method, const char* text) override;

  // The line Log writes for a message at the given time (milliseconds since
  // the Unix epoch), without its line feed.
  static std::string FormatLine(long long epochMillis, int level, const char* tag,
                                const char* method, const char* text);

 private:
  StreamLogger(FILE* stream, bool owned);

  std::mutex mutex_;
  // Writes go through mutex_, so that lines of several threads never mix.
  FILE* const stream_;
  const bool owned_;
};

}  // namespace OstrelHost

#endif  // OSTREL_HOST_STREAMLOGGER_H_
