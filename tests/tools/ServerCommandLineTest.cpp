// ostrel-server's command line: every option, and each way it is refused.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "ServerCommandLine.h"

namespace {

using OstrelServer::ServerCommandLine;

TEST(ServerCommandLine, ReadsEveryOption) {
  ServerCommandLine line;
  std::string error;
  ASSERT_TRUE(
      line.Parse({"--data", "d", "--port", "8686", "--bind", "0.0.0.0", "--threads", "3", "--cdn",
                  "https://cdn.example/ostrel/", "--export", "/srv/t", "--max-file-bytes", "100"},
                 error))
      << error;
  EXPECT_EQ(line.options.publish.dataDir, "d");
  EXPECT_EQ(line.port, 8686);
  EXPECT_EQ(line.bind, "0.0.0.0");
  EXPECT_EQ(line.options.threads, 3u);
  EXPECT_EQ(line.options.cdnProtocol, "https");
  EXPECT_EQ(line.options.publish.cdn, "cdn.example/ostrel");
  EXPECT_EQ(line.options.publish.exportDir, "/srv/t");
  EXPECT_EQ(line.options.publish.maxFileBytes, 100u);
  EXPECT_FALSE(line.help);

  // The defaults: loopback, the server itself as the CDN, a pool larger than
  // the handful of connections one developer's clients keep open.
  ServerCommandLine defaults;
  ASSERT_TRUE(defaults.Parse({"--data", "d", "--cdn", "127.0.0.1:8080"}, error));
  EXPECT_EQ(defaults.bind, "127.0.0.1");
  EXPECT_EQ(defaults.port, 0);
  EXPECT_EQ(defaults.options.cdnProtocol, "http");
  EXPECT_EQ(defaults.options.publish.cdn, "127.0.0.1:8080");
  EXPECT_GT(defaults.options.threads, 4u);
  EXPECT_EQ(defaults.options.publish.maxFileBytes, 4u * 1024 * 1024);

  for (const char* help : {"-h", "--help"}) {
    ServerCommandLine asked;
    EXPECT_TRUE(asked.Parse({help}, error));
    EXPECT_TRUE(asked.help) << help;
  }
}

TEST(ServerCommandLine, RefusesWhatItCannotUse) {
  const struct {
    std::vector<std::string> args;
    const char* error;
  } kCases[] = {
      {{}, "--data is required"},
      {{"--port", "1"}, "--data is required"},
      {{"--data"}, "--data needs a value"},
      {{"--data", "d", "--verbose", "1"}, "unknown option --verbose"},
      {{"--data", "d", "--port", "65536"}, "bad value for --port: 65536"},
      {{"--data", "d", "--port", "-1"}, "bad value for --port: -1"},
      {{"--data", "d", "--port", "80x"}, "bad value for --port: 80x"},
      {{"--data", "d", "--port", ""}, "bad value for --port: "},
      {{"--data", "d", "--threads", "0"}, "bad value for --threads: 0"},
      {{"--data", "d", "--max-file-bytes", "0"}, "bad value for --max-file-bytes: 0"},
      {{"--data", "d", "--cdn", "ftp://host"}, "bad value for --cdn: ftp://host"},
      {{"--data", "d", "--cdn", "http:///path"}, "bad value for --cdn: http:///path"},
      {{"--data", "d", "--cdn", "https://"}, "bad value for --cdn: https://"},
  };
  for (const auto& c : kCases) {
    ServerCommandLine line;
    std::string error;
    EXPECT_FALSE(line.Parse(c.args, error)) << c.error;
    EXPECT_EQ(error, c.error);
  }
}

}  // namespace
