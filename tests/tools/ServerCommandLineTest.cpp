// ostrel-server's command line: what it reads, and each way it is refused.
#include "ServerCommandLine.h"

#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <vector>

#include "ChildProcess.h"
#include "ConfigServer.h"
#include "ToolsFixture.h"

namespace {

using OstrelServer::ServerCommandLine;

TEST(ServerCommandLine, ReadsEveryOptionAndListensOnLoopbackUnlessTold) {
  ServerCommandLine line;
  std::string error;
  ASSERT_TRUE(
      line.Parse({"--data", "d", "--port", "8686", "--bind", "0.0.0.0", "--threads", "3", "--cdn",
                  "https://cdn.example/ostrel/", "--export", "/srv/t", "--max-file-bytes", "100"},
                 error))
      << error;
  const auto& publish = line.options.publish;
  EXPECT_EQ(publish.dataDir + " " + std::to_string(line.port) + " " + line.bind + " " +
                std::to_string(line.options.threads) + " " + line.options.cdnProtocol + " " +
                publish.cdn + " " + publish.exportDir + " " + std::to_string(publish.maxFileBytes),
            "d 8686 0.0.0.0 3 https cdn.example/ostrel /srv/t 100");
  EXPECT_FALSE(line.help);
  ServerCommandLine defaults;
  ASSERT_TRUE(defaults.Parse({"--data", "d", "--cdn", "127.0.0.1:8080"}, error));
  EXPECT_EQ(defaults.bind + " " + defaults.options.cdnProtocol + " " + defaults.options.publish.cdn,
            "127.0.0.1 http 127.0.0.1:8080");
  for (const char* help : {"-h", "--help"}) {
    ServerCommandLine asked;
    EXPECT_TRUE(asked.Parse({help}, error) && asked.help) << help;
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

// The server, and the program as the demo script runs it, say why they
// cannot start, or where the program listens.
TEST(ServerCommandLine, TheServerListensOrSaysWhyItCannot) {
  OstrelToolsTest::TempFolder data;
  const std::string missing = data.File("none");
  std::vector<std::string> lines;
  OstrelServer::ConfigServer server(missing,
                                    [&lines](const std::string& line) { lines.push_back(line); });
  EXPECT_FALSE(server.Start("127.0.0.1", 0));
  ASSERT_EQ(lines.size(), 1u);
  EXPECT_EQ(lines[0].substr(24), " no data folder " + missing);
  // An address of no interface here, with a port picked and a port given.
  for (int port : {0, 8686})
    EXPECT_FALSE(OstrelServer::ConfigServer(data.path()).Start("203.0.113.7", port));

  OstrelTest::ChildProcess refused(OSTREL_SERVER_PROGRAM, {"--data", missing});
  EXPECT_EQ(refused.Finish(std::chrono::seconds(10)), 1);
  EXPECT_EQ(refused.Stderr(), "ostrel-server: cannot start: no folder " + missing +
                                  ", or 127.0.0.1:0 cannot be bound\n");
  OstrelTest::ChildProcess serving(OSTREL_SERVER_PROGRAM, {"--data", data.path()});
  EXPECT_TRUE(serving.WaitForStdout("listening on 127.0.0.1:", std::chrono::seconds(10)))
      << serving.Stderr();
}

}  // namespace
