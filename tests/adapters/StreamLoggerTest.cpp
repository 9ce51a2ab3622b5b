#include "ostrel_host/StreamLogger.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdio>
#include <fstream>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "ScratchDir.h"
#include "ostrel_host/LogStatistics.h"

namespace OstrelTest {
namespace {

using OstrelHost::LogStatistics;
using OstrelHost::StreamLogger;

constexpr long long k20261122T101112345 = 1795342272345LL;

std::vector<std::string> ReadLines(const std::string& path) {
  std::ifstream in(path);
  std::vector<std::string> lines;
  for (std::string line; std::getline(in, line);) lines.push_back(line);
  return lines;
}

// True when line opens with a stamp shaped "2026-11-22T10:11:12.345Z ".
bool HasStamp(const std::string& line) {
  const std::string shape = "dddd-dd-ddTdd:dd:dd.dddZ ";
  if (line.size() < shape.size()) return false;
  for (size_t i = 0; i < shape.size(); ++i) {
    const bool digit = line[i] >= '0' && line[i] <= '9';
    if (shape[i] == 'd' ? !digit : line[i] != shape[i]) return false;
  }
  return true;
}

// The line without its time stamp.
std::string AfterStamp(const std::string& line) {
  return HasStamp(line) ? line.substr(25) : "<no stamp: " + line + ">";
}

TEST(StreamLogger, FormatsOneLinePerMessage) {
  const struct {
    long long millis;
    int level;
    const char* tag;
    const char* method;
    const char* text;
    std::string line;
  } cases[] = {
      {k20261122T101112345, 2, "Ostrel.ConfigCenter", "LoadConfig", "text",
       "2026-11-22T10:11:12.345Z W Ostrel.ConfigCenter LoadConfig: text"},
      {946684799007LL, 0, "T", "M", "x", "1999-12-31T23:59:59.007Z D T M: x"},
      {0, 1, "T", "M", "x", "1970-01-01T00:00:00.000Z I T M: x"},
      {0, 3, "T", "M", "two\nlines\r\n", "1970-01-01T00:00:00.000Z E T M: two\\nlines\\r\\n"},
      {0, 7, "T", "M", "x", "1970-01-01T00:00:00.000Z ? T M: x"},
      {0, -1, nullptr, nullptr, nullptr, "1970-01-01T00:00:00.000Z ?  : "},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(StreamLogger::FormatLine(c.millis, c.level, c.tag, c.method, c.text), c.line);
  }
}

TEST(StreamLogger, WritesStampedLinesToAStream) {
  FILE* stream = std::tmpfile();
  ASSERT_NE(stream, nullptr);
  const auto before = std::chrono::system_clock::now();
  {
    StreamLogger logger(stream);
    logger.Log(1, "Ostrel.Test", "Run", "hello");
  }
  std::rewind(stream);
  char buffer[256] = {0};
  const size_t size = std::fread(buffer, 1, sizeof buffer - 1, stream);
  std::fclose(stream);  // the logger never closes a stream it was given
  const std::string written(buffer, size);

  EXPECT_EQ(AfterStamp(written), "I Ostrel.Test Run: hello\n");
  const std::time_t now = std::chrono::system_clock::to_time_t(before);
  std::tm utc{};
#ifdef _WIN32
  gmtime_s(&utc, &now);
#else
  gmtime_r(&now, &utc);
#endif
  EXPECT_EQ(written.substr(0, 4), std::to_string(utc.tm_year + 1900)) << written;
}

TEST(StreamLogger, OpenFileAppendsAndReportsFailure) {
  ScratchDir scratch;
  ASSERT_FALSE(scratch.path().empty());
  const std::string path = scratch.File("sdk.log");
  for (const char* text : {"first", "second"}) {
    std::string error;
    std::unique_ptr<StreamLogger> logger = StreamLogger::OpenFile(path, &error);
    ASSERT_NE(logger, nullptr) << error;
    logger->Log(2, "T", "M", text);
  }
  const std::vector<std::string> lines = ReadLines(path);
  ASSERT_EQ(lines.size(), 2u);
  EXPECT_EQ(AfterStamp(lines[0]), "W T M: first");
  EXPECT_EQ(AfterStamp(lines[1]), "W T M: second");

  std::string error;
  const std::string missing = scratch.File("no-folder/sdk.log");
  EXPECT_EQ(StreamLogger::OpenFile(missing, &error), nullptr);
  EXPECT_EQ(error, missing + ": No such file or directory");
}

TEST(StreamLogger, LinesOfConcurrentThreadsStayWhole) {
  constexpr int kThreads = 8;
  constexpr int kLines = 300;
  ScratchDir scratch;
  ASSERT_FALSE(scratch.path().empty());
  const std::string path = scratch.File("sdk.log");
  {
    std::unique_ptr<StreamLogger> logger = StreamLogger::OpenFile(path);
    ASSERT_NE(logger, nullptr);
    const std::string padding(200, '.');
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
      threads.emplace_back([&, t] {
        for (int i = 0; i < kLines; ++i) {
          const std::string text = std::to_string(t) + "/" + std::to_string(i) + padding;
          logger->Log(0, "Ostrel.Test", "Thread", text.c_str());
        }
      });
    }
    for (std::thread& thread : threads) thread.join();
  }
  const std::vector<std::string> lines = ReadLines(path);
  ASSERT_EQ(lines.size(), static_cast<size_t>(kThreads * kLines));
  const std::string opening = "D Ostrel.Test Thread: ";
  std::set<std::string> seen;
  for (const std::string& line : lines) {
    const std::string message = AfterStamp(line);
    const size_t dots = message.find('.', opening.size());
    ASSERT_EQ(message.compare(0, opening.size(), opening), 0) << line;
    ASSERT_NE(dots, std::string::npos) << line;
    ASSERT_EQ(message.substr(dots), std::string(200, '.')) << line;
    seen.insert(message.substr(opening.size(), dots - opening.size()));
  }
  EXPECT_EQ(seen.size(), static_cast<size_t>(kThreads * kLines)) << "every message exactly once";
}

TEST(LogStatistics, WritesEachCommitAsALogLine) {
  ScratchDir scratch;
  ASSERT_FALSE(scratch.path().empty());
  const std::string path = scratch.File("stats.log");
  {
    std::unique_ptr<StreamLogger> logger = StreamLogger::OpenFile(path);
    ASSERT_NE(logger, nullptr);
    LogStatistics statistics(logger.get());
    statistics.CommitSuccess("OstrelConfig", "index_rate", "index-1");
    statistics.CommitFail("OstrelConfig", "config_rate", "ui", "download error", "HTTP 404");
    statistics.CommitFail(nullptr, nullptr, nullptr, nullptr, nullptr);
    LogStatistics silent(nullptr);
    silent.CommitSuccess("OstrelConfig", "index_rate", "");
  }
  const std::vector<std::string> lines = ReadLines(path);
  ASSERT_EQ(lines.size(), 3u);
  EXPECT_EQ(AfterStamp(lines[0]),
            "I Ostrel.Statistics CommitSuccess: OstrelConfig index_rate arg=index-1");
  EXPECT_EQ(AfterStamp(lines[1]),
            "W Ostrel.Statistics CommitFail: OstrelConfig config_rate arg=ui "
            "code=download error message=HTTP 404");
  EXPECT_EQ(AfterStamp(lines[2]), "W Ostrel.Statistics CommitFail:   arg= code= message=");
}

}  // namespace
}  // namespace OstrelTest
