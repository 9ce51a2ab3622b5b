// ostrel-cli run as a script would run it: the built program as a child
// process against ostrel-server on a loopback port, judged by its exit code
// and its exact output.
#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <string>
#include <vector>

#include "ChildProcess.h"
#include "ConfigServer.h"
#include "RawHttpServer.h"
#include "ToolsFixture.h"
#include "ostrel_host/SqliteStorage.h"

namespace {

using OstrelTest::ChildProcess;
using OstrelToolsTest::CapturedLog;
using OstrelToolsTest::Standard;
using OstrelToolsTest::TempFolder;
using Args = std::vector<std::string>;
using Clock = std::chrono::steady_clock;

// Far above what any run below needs; a run that reaches it has hung.
constexpr std::chrono::seconds kRunLimit(60);
const char kUsageHint[] = "(ostrel-cli --help lists the commands and options)\n";

struct CliRun {
  int code = -1;
  std::string out;
  std::string err;
  long long tookMs = 0;
};

CliRun RunCli(const Args& args, const std::string& program = OSTREL_CLI_PROGRAM) {
  CliRun run;
  const Clock::time_point start = Clock::now();
  ChildProcess child(program, args);
  EXPECT_TRUE(child.started()) << program;
  run.code = child.Finish(kRunLimit);
  run.tookMs = std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - start).count();
  run.out = child.Stdout();
  run.err = child.Stderr();
  return run;
}

// The CLI's lines on stderr, without the library's log lines (which may
// also come after them, from the teardown).
std::string CliLines(const std::string& err) {
  std::string lines;
  for (size_t start = 0; start < err.size();) {
    size_t end = err.find('\n', start);
    if (end == std::string::npos) end = err.size() - 1;
    if (err.compare(start, 11, "ostrel-cli:") == 0) lines += err.substr(start, end + 1 - start);
    start = end + 1;
  }
  return lines;
}

// A data folder with a few namespaces, served on a loopback port.
class CliServer {
 public:
  CliServer() : server_(data_.path(), log_.Sink()) {
    data_.Write("app/ui.json", Standard("{\"theme\":\"dark\",\"size\":\"14\"}"));
    data_.Write("app/note.json", "{\"type\":\"CUSTOM\",\"content\":\"hello\"}");
    started_ = server_.Start("127.0.0.1", 0);
  }
  bool started() const { return started_; }
  std::string Address() const { return "127.0.0.1:" + std::to_string(server_.Port()); }
  // The options every run shares, with a store of its own for name.
  Args Options(const std::string& store) const {
    return {"--server", Address(), "--app-key", "app", "--store", stores_.File(store)};
  }
  TempFolder& data() { return data_; }
  OstrelServer::ConfigServer& server() { return server_; }
  CapturedLog& log() { return log_; }

 private:
  TempFolder data_;
  TempFolder stores_;
  CapturedLog log_;
  OstrelServer::ConfigServer server_;
  bool started_ = false;
};

Args Join(Args head, const Args& tail) {
  head.insert(head.end(), tail.begin(), tail.end());
  return head;
}

// Help, the version and each usage error, answered before any work: help
// and the version on stdout, an error on stderr with the way to help.
TEST(OstrelCli, ArgumentsAloneDecideTheAnswer) {
  const CliRun help = RunCli({"get", "--help"});
  const CliRun version = RunCli({"--version"});
  EXPECT_EQ(help.out.rfind("usage: ostrel-cli [options] <command>\n", 0), 0u) << help.out;
  EXPECT_EQ(version.out, "ostrel-cli " OSTREL_CLI_VERSION "\n");
  EXPECT_EQ(help.code + version.code, 0);
  EXPECT_EQ(help.err + version.err, "");
  const struct {
    Args args;
    const char* error;
  } kCases[] = {
      {{"--timeout", "2x", "get", "ui", "theme"},
       "--timeout: \"2x\" is not a whole number of seconds from 1 to 3600"},
      {{"--timeout", "0", "check"},
       "--timeout: \"0\" is not a whole number of seconds from 1 to 3600"},
      {{"--timeout", "3601", "check"},
       "--timeout: \"3601\" is not a whole number of seconds from 1 to 3600"},
      {{"--timeout", "+3", "check"},
       "--timeout: \"+3\" is not a whole number of seconds from 1 to 3600"},
      {{"check", "--timeout"}, "--timeout needs a value"},
      {{"check", "--server"}, "--server needs a value"},
      {{"--colour", "red", "check"}, "unknown option \"--colour\""},
      {{}, "no command given"},
      {{"fetch", "ui"}, "unknown command \"fetch\""},
      {{"get", "ui"}, "get takes <ns> <key>"},
      {{"get", "ui", "a", "b"}, "get takes <ns> <key>"},
      {{"dump"}, "dump takes <ns>"},
      {{"text", "a", "b"}, "text takes <ns>"},
      {{"watch"}, "watch takes <ns> [seconds]"},
      {{"watch", "ui", "1", "2"}, "watch takes <ns> [seconds]"},
      {{"watch", "ui", "10s"}, "watch: \"10s\" is not a whole number of seconds from 1 to 86400"},
      {{"watch", "ui", "86401"},
       "watch: \"86401\" is not a whole number of seconds from 1 to 86400"},
      {{"check", "now"}, "check takes no arguments"},
      {{"cache", "all"}, "cache takes no arguments"},
      {{"--cached", "check"}, "check asks the server, which --cached rules out"},
      {{"watch", "ui", "--cached"}, "watch asks the server, which --cached rules out"},
  };
  for (const auto& c : kCases) {
    const CliRun run = RunCli(c.args);
    SCOPED_TRACE(c.error);
    EXPECT_EQ(run.code, 2);
    EXPECT_EQ(run.out, "");
    EXPECT_EQ(run.err, std::string("ostrel-cli: ") + c.error + "\n" + kUsageHint);
  }
}

TEST(OstrelCli, FlagsAndTheLimitsOfNumbersAreAccepted) {
  TempFolder store;
  // Nothing listens on port 1: both runs get as far as the server.
  const Args common = {"--server", "127.0.0.1:1", "--store", store.File("s.db")};
  const CliRun timeout =
      RunCli(Join(common, {"-v", "--timeout", "3600", "--cached", "get", "ui", "k"}));
  EXPECT_EQ(timeout.code, 4) << timeout.err;
  EXPECT_NE(timeout.err.find("Z I "), std::string::npos) << "-v shows info lines";
  const CliRun watch = RunCli(Join(common, {"--timeout", "1", "watch", "ui", "1"}));
  EXPECT_EQ(watch.code, 0) << watch.err;
}

// Each kind of absence has its own exit code, and an unpublished namespace
// or an unknown app is answered from the index, not after a long wait.
TEST(OstrelCli, ReadsExitWithWhatWasMissing) {
  CliServer server;
  ASSERT_TRUE(server.started());
  const struct {
    Args args;
    int code;
    const char* out;
    const char* cliSays;
  } kCases[] = {
      {{"get", "ui", "theme"}, 0, "dark\n", ""},
      {{"dump", "ui"}, 0, "size=14\ntheme=dark\n", ""},
      {{"text", "note"}, 0, "hello\n", ""},
      {{"get", "ui", "colour"}, 3, "", "ostrel-cli: ui.colour: key absent\n"},
      {{"get", "note", "theme"}, 3, "", "ostrel-cli: note.theme: key absent\n"},
      {{"dump", "note"}, 3, "", "ostrel-cli: note holds no pairs\n"},
      {{"get", "absent", "theme"}, 4, "", "ostrel-cli: absent is not published for app\n"},
      {{"dump", "absent"}, 4, "", "ostrel-cli: absent is not published for app\n"},
      {{"text", "absent"}, 4, "", "ostrel-cli: absent is not published for app\n"},
      {{"--app-key", "nobody", "get", "ui", "theme"},
       4,
       "",
       "ostrel-cli: ui is not published for nobody\n"},
      {{"--cached", "get", "ui", "theme"}, 4, "", "ostrel-cli: the store does not hold ui\n"},
  };
  int store = 0;
  for (const auto& c : kCases) {
    // A timeout far beyond the bound below: waiting it out fails the case.
    const CliRun run = RunCli(Join(server.Options("s" + std::to_string(++store) + ".db"),
                                   Join({"--timeout", "30"}, c.args)));
    SCOPED_TRACE(c.args.back() + " " + c.args[c.args.size() - 2] + ": " + run.err);
    EXPECT_EQ(run.code, c.code);
    EXPECT_EQ(run.out, c.out);
    EXPECT_EQ(CliLines(run.err), c.cliSays);
    EXPECT_LT(run.tookMs, 10000);
  }
  // A namespace the store never held, under an index it already holds: the
  // check finds nothing new, and the read waits for its first download.
  ASSERT_EQ(RunCli(Join(server.Options("again.db"), {"get", "ui", "theme"})).code, 0);
  const CliRun again = RunCli(Join(server.Options("again.db"), {"text", "note"}));
  EXPECT_EQ(again.code, 0);
  EXPECT_EQ(again.out, "hello\n");
  EXPECT_EQ(CliLines(again.err), "");
}

// One condition on every attribute, each value of its own: an option that
// reached another attribute, or none, leaves the variant unmatched.
TEST(OstrelCli, AttributeOptionsReachTheMatchers) {
  CliServer server;
  server.data().Write("app/flags.json",
                      Standard("{\"flag\":\"off\"}",
                               ",\"candidates\":[{\"match\":\"os_ver>=14&m_fac=acme&m_brand=zeta"
                               "&m_model=x1&app_ver>=3.0\",\"content\":{\"flag\":\"on\"}}]"));
  ASSERT_TRUE(server.server().Publish().errors.empty());
  const CliRun run = RunCli(Join(server.Options("flags.db"),
                                 {"--os-version", "14.2", "--manufacturer", "acme", "--brand", "zeta",
                                  "--model", "x1", "--app-version", "3.1", "get", "flags", "flag"}));
  EXPECT_EQ(run.code, 0) << run.err;
  EXPECT_EQ(run.out, "on\n");
}

TEST(OstrelCli, NoServerIsItsOwnExitCodeAndNeverHoldsUpTheExit) {
  // A server that takes the check and never answers it.
  OstrelTest::RawHttpServer silent;
  silent.Hold("/checkUpdate");
  TempFolder store;
  const struct {
    std::string server;
    Args args;
    const char* out;
    const char* cliSays;
  } kCases[] = {
      // Nothing listens on port 1: the connection is refused.
      {"127.0.0.1:1", {"check"}, "update check: failed: the server could not be reached\n", ""},
      {"127.0.0.1:1",
       {"get", "ui", "theme"},
       "",
       "ostrel-cli: update check failed: the server could not be reached; showing what the "
       "store holds\n"
       "ostrel-cli: no server, and the store does not hold ui\n"},
      // The check's request is still in flight when the CLI gives up; the
      // exit must not wait for it (the HTTP client allows it 10 s).
      {"127.0.0.1:" + std::to_string(silent.port()),
       {"check"},
       "update check: still running when the wait ended\n",
       ""},
      {"127.0.0.1:" + std::to_string(silent.port()),
       {"text", "ui"},
       "",
       "ostrel-cli: update check still running when the wait ended; showing what the store "
       "holds\n"
       "ostrel-cli: no server, and the store does not hold ui\n"},
  };
  int stores = 0;
  for (const auto& c : kCases) {
    SCOPED_TRACE(c.server + " " + c.args[0]);
    const CliRun run = RunCli(Join({"--server", c.server, "--timeout", "1", "--store",
                                    store.File(std::to_string(++stores) + ".db")},
                                   c.args));
    EXPECT_EQ(run.code, 5) << run.err;
    EXPECT_EQ(run.out, c.out);
    EXPECT_EQ(CliLines(run.err), c.cliSays);
    EXPECT_LT(run.tookMs, 5000);
  }
}

// The listing itself is StoreListingTest's; here, that the command prints it.
TEST(OstrelCli, CacheListsTheStoreOrSaysWhyNot) {
  TempFolder folder;
  const std::string path = folder.File("store.db");
  ASSERT_EQ(OstrelHost::SqliteStorage::Open(path)->Save(
                "ui", "dd33ecf17ce76e651acb5b50c4eba925\n{\"name\":\"ui\",\"version\":\"17\"}"),
            0);
  const CliRun run = RunCli({"--store", path, "cache"});
  EXPECT_EQ(run.code, 0) << run.err;
  EXPECT_EQ(run.out, "ui  17  digest ok\n");
  const CliRun missing = RunCli({"--store", folder.File("none.db"), "cache"});
  EXPECT_EQ(missing.code, 1);
  EXPECT_EQ(missing.err, "ostrel-cli: cannot read the store " + folder.File("none.db") +
                             ": unable to open database file\n");
}

TEST(OstrelCli, WatchLearnsOfAPublicationFromTheLongPoll) {
  CliServer server;
  ASSERT_TRUE(server.started());
  ChildProcess watch(OSTREL_CLI_PROGRAM, Join(server.Options("w.db"), {"watch", "ui", "8"}));
  ASSERT_TRUE(watch.started());
  ASSERT_TRUE(watch.WaitForStdout(" (downloaded)\n", std::chrono::seconds(10))) << watch.Stderr();
  // The watcher holds a request open on the server before the change.
  ASSERT_TRUE(server.log().WaitFor(" waiting up to 5 s for a new index of app", 1));
  server.data().Write("app/ui.json", Standard("{\"theme\":\"light\"}"));
  const OstrelServer::PublishReport report = server.server().Publish();
  ASSERT_EQ(report.changed.size(), 1u);
  const std::string version = report.changed[0].substr(report.changed[0].find(" v") + 2);
  EXPECT_TRUE(
      watch.WaitForStdout("ui version " + version + " (downloaded)\n", std::chrono::seconds(5)))
      << watch.Stdout();
  EXPECT_EQ(watch.Finish(std::chrono::seconds(20)), 0) << watch.Stderr();
}

TEST(OstrelCli, FindsTheInstalledSigner) {
  // The layout cmake --install makes: bin/ostrel-cli, <libdir>/ostrel/devsign.
  TempFolder prefix;
  namespace fs = std::filesystem;
  const fs::path bin = fs::path(prefix.path()) / "bin";
  const fs::path devsign = fs::path(prefix.path()) / OSTREL_CLI_INSTALL_LIBDIR / "ostrel/devsign";
  fs::create_directories(bin);
  fs::create_directories(devsign);
  fs::copy_file(OSTREL_CLI_PROGRAM, bin / "ostrel-cli");
  fs::copy_file(fs::path(OSTREL_DEV_SIGN_DIR) / "libKelsafeProxy.so",
                devsign / "libKelsafeProxy.so");

  CliServer server;
  ASSERT_TRUE(server.started());
  const CliRun run = RunCli(Join(server.Options("i.db"), {"check"}), (bin / "ostrel-cli").string());
  EXPECT_EQ(run.code, 0) << run.err;
  EXPECT_EQ(run.out, "update check: a new index was applied\n");
}

}  // namespace
