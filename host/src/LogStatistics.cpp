#include "ostrel_host/LogStatistics.h"

#include <string>

namespace OstrelHost {
namespace {

constexpr char kTag[] = "Ostrel.Statistics";
constexpr int kInfo = 1;
constexpr int kWarning = 2;

std::string OrEmpty(const char* text) { return text != nullptr ? text : ""; }

std::string Describe(const char* module, const char* point, const char* arg) {
  return OrEmpty(module) + " " + OrEmpty(point) + " arg=" + OrEmpty(arg);
}

}  // namespace

void LogStatistics::CommitSuccess(const char* module, const char* point, const char* arg) {
  if (log_ == nullptr) return;
  try {
    log_->Log(kInfo, kTag, "CommitSuccess", Describe(module, point, arg).c_str());
  } catch (...) {
    // Dropped: a statistics sink must not throw into the library.
  }
}

void LogStatistics::CommitFail(const char* module, const char* point, const char* arg,
                               const char* code, const char* message) {
  if (log_ == nullptr) return;
  try {
    const std::string text = Describe(module, point, arg) + " code=" + OrEmpty(code) +
                             " message=" + OrEmpty(message);
    log_->Log(kWarning, kTag, "CommitFail", text.c_str());
  } catch (...) {
    // Dropped: a statistics sink must not throw into the library.
  }
}

}  // namespace OstrelHost
