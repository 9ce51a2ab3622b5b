// A statistics sink for the library that writes each commit as a log line.
#ifndef OSTREL_HOST_LOGSTATISTICS_H_
#define OSTREL_HOST_LOGSTATISTICS_H_

#include "ostrel/IOLog.h"
#include "ostrel/IOStatistics.h"

namespace OstrelHost {

// IOStatistics that hands every commit to a logger with the tag
// "Ostrel.Statistics": successes at info level with the method
// "CommitSuccess" and the text "<module> <point> arg=<arg>", failures at
// warning level with "CommitFail" and
// "<module> <point> arg=<arg> code=<code> message=<message>". Thread-safe
// when the logger is (StreamLogger is).
class LogStatistics final : public Ostrel::IOStatistics {
 public:
  // log is not owned and must outlive this sink.
  explicit LogStatistics(Ostrel::IOLog* log) : log_(log) {}

  void CommitSuccess(const char* module, const char* point, const char* arg) override;
  void CommitFail(const char* module, const char* point, const char* arg, const char* code,
                  const char* message) override;

 private:
  Ostrel::IOLog* const log_;
};

}  // namespace OstrelHost

#endif  // OSTREL_HOST_LOGSTATISTICS_H_
