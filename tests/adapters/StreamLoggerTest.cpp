#include "ostrel_host/StreamLogger.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <string>
#include <vector>

#include "ScratchDir.h"
#include "ostrel_host/LogStatistics.h"

namespace OstrelTest {
namespace {

using OstrelHost::LogStatistics;
using OstrelHost::StreamLogger;

// The lines of path, each without its time stamp ("2026-11-22T10:11:12.345Z "),
// which must be there.
std::vector<std::string> Unstamped(const std::string& path) {
  std::ifstream in(path);
  std::vector<std::string> lines;
  const std::string shape = "dddd-dd-ddTdd:dd:dd.dddZ ";
  for (std::string line; std::getline(in, line);) {
    bool stamped = line.size() >= shape.size();
    for (size_t i = 0; stamped && i < shape.size(); ++i) {
      stamped = shape[i] == 'd' ? std::isdigit(static_cast<unsigned char>(line[i])) != 0
                                : line[i] == shape[i];
    }
    lines.push_back(stamped ? line.substr(shape.size()) : "<no stamp: " + line + ">");
  }
  return lines;
}

TEST(StreamLogger, FormatsOneLinePerMessage) {
  const struct {
    long long millis;
    int level;
    const char *tag, *method, *text;
    std::string line;
  } cases[] = {
      {1795342272345LL, 2, "Ostrel.ConfigCenter", "LoadConfig", "text",
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

// A file is appended to, never truncated; a stream given is written to and
// left open. Statistics are log lines of their own.
TEST(StreamLogger, WritesStampedLinesToAFileOrAStream) {
  ScratchDir scratch;
  const std::string path = scratch.File("sdk.log");
  for (const char* text : {"first", "second"}) {
    std::string error;
    std::unique_ptr<StreamLogger> logger = StreamLogger::OpenFile(path, &error);
    ASSERT_NE(logger, nullptr) << error;
    logger->Log(2, "T", "M", text);
    if (text[0] == 's') {
      LogStatistics statistics(logger.get());
      statistics.CommitSuccess("OstrelConfig", "index_rate", "index-1");
      statistics.CommitFail("OstrelConfig", "config_rate", "ui", "download error", "HTTP 404");
      statistics.CommitFail(nullptr, nullptr, nullptr, nullptr, nullptr);
      LogStatistics(nullptr).CommitSuccess("OstrelConfig", "index_rate", "");
    }
  }
  FILE* stream = std::fopen(path.c_str(), "a");
  ASSERT_NE(stream, nullptr);
  StreamLogger(stream).Log(1, "Ostrel.Test", "Run", "hello");
  EXPECT_GE(std::fputs("and the stream is still open\n", stream), 0);
  std::fclose(stream);
  EXPECT_EQ(Unstamped(path),
            (std::vector<std::string>{
                "W T M: first", "W T M: second",
                "I Ostrel.Statistics CommitSuccess: OstrelConfig index_rate arg=index-1",
                "W Ostrel.Statistics CommitFail: OstrelConfig config_rate arg=ui "
                "code=download error message=HTTP 404",
                "W Ostrel.Statistics CommitFail:   arg= code= message=", "I Ostrel.Test Run: hello",
                "<no stamp: and the stream is still open>"}));
  std::string error;
  const std::string missing = scratch.File("no-folder/sdk.log");
  EXPECT_EQ(StreamLogger::OpenFile(missing, &error), nullptr);
  EXPECT_EQ(error, missing + ": No such file or directory");
}

}  // namespace
}  // namespace OstrelTest
