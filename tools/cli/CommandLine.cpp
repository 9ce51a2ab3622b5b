#include "CommandLine.h"

#include <utility>

// On Windows the store is the file store, a folder: no ".db" on its name.
#ifdef _WIN32
#define OSTREL_CLI_DEFAULT_STORE "ostrel-cli-store"
#else
#define OSTREL_CLI_DEFAULT_STORE "ostrel-cli.db"
#endif

namespace OstrelCli {
namespace {

constexpr long kMaxTimeoutSeconds = 3600;
constexpr long kMaxWatchSeconds = 24 * 3600;

// Digits only, within [1, max]: "2x", "+3", " 4" and "1e3" are refused
// rather than read as whatever prefix strtol would take.
bool ParseSeconds(const std::string& text, long max, long& value) {
  if (text.empty() || text.size() > 9) return false;
  long result = 0;
  for (const char c : text) {
    if (c < '0' || c > '9') return false;
    result = result * 10 + (c - '0');
  }
  if (result < 1 || result > max) return false;
  value = result;
  return true;
}

std::string NotSeconds(const std::string& what, const std::string& text, long max) {
  return what + ": \"" + text + "\" is not a whole number of seconds from 1 to " +
         std::to_string(max);
}

struct TextOption {
  const char* name;
  std::string OstrelLocal::SessionOptions::*field;
};

const TextOption kTextOptions[] = {
    {"--server", &OstrelLocal::SessionOptions::server},
    {"--app-key", &OstrelLocal::SessionOptions::appKey},
    {"--app-version", &OstrelLocal::SessionOptions::appVersion},
    {"--device-id", &OstrelLocal::SessionOptions::deviceId},
    {"--os-version", &OstrelLocal::SessionOptions::osVersion},
    {"--manufacturer", &OstrelLocal::SessionOptions::manufacturer},
    {"--brand", &OstrelLocal::SessionOptions::brand},
    {"--model", &OstrelLocal::SessionOptions::model},
    {"--store", &OstrelLocal::SessionOptions::storePath},
    {"--sign-dir", &OstrelLocal::SessionOptions::signDir},
};

struct CommandShape {
  const char* name;
  size_t fewest;
  size_t most;
  const char* takes;  // said when the count is wrong
};

const CommandShape kCommands[] = {
    {"get", 2, 2, "get takes <ns> <key>"},       {"dump", 1, 1, "dump takes <ns>"},
    {"text", 1, 1, "text takes <ns>"},           {"watch", 1, 2, "watch takes <ns> [seconds]"},
    {"check", 0, 0, "check takes no arguments"}, {"cache", 0, 0, "cache takes no arguments"},
};

}  // namespace

bool CommandLine::Parse(const std::vector<std::string>& args, CommandLine& parsed,
                        std::string& error) {
  CommandLine line;
  line.session.appKey = "demo-app";
  line.session.storePath = OSTREL_CLI_DEFAULT_STORE;
  std::vector<std::string> words;
  for (size_t at = 0; at < args.size(); ++at) {
    const std::string& arg = args[at];
    if (arg == "-h" || arg == "--help") {
      parsed = CommandLine();
      parsed.action = Action::kHelp;
      return true;
    }
    if (arg == "--version") {
      parsed = CommandLine();
      parsed.action = Action::kVersion;
      return true;
    }
    if (arg.size() > 1 && arg[0] == '-') {
      if (!line.TakeOption(args, at, error)) return false;
    } else {
      words.push_back(arg);
    }
  }
  if (words.empty()) {
    error = "no command given";
    return false;
  }
  line.command = words[0];
  line.arguments.assign(words.begin() + 1, words.end());
  if (!line.CheckCommand(error)) return false;
  parsed = std::move(line);
  return true;
}

bool CommandLine::TakeOption(const std::vector<std::string>& args, size_t& at, std::string& error) {
  const std::string& option = args[at];
  if (option == "-v") {
    session.logLevel = 1;
    return true;
  }
  if (option == "--cached") {
    cached = true;
    return true;
  }
  const TextOption* text = nullptr;
  for (const TextOption& known : kTextOptions) {
    if (option == known.name) text = &known;
  }
  if (text == nullptr && option != "--timeout") {
    error = "unknown option \"" + option + "\"";
    return false;
  }
  if (at + 1 >= args.size()) {
    error = option + " needs a value";
    return false;
  }
  const std::string& value = args[++at];
  if (text != nullptr) {
    session.*(text->field) = value;
    return true;
  }
  long seconds = 0;
  if (!ParseSeconds(value, kMaxTimeoutSeconds, seconds)) {
    error = NotSeconds(option, value, kMaxTimeoutSeconds);
    return false;
  }
  timeout = std::chrono::seconds(seconds);
  return true;
}

bool CommandLine::CheckCommand(std::string& error) {
  for (const CommandShape& shape : kCommands) {
    if (command != shape.name) continue;
    if (arguments.size() < shape.fewest || arguments.size() > shape.most) {
      error = shape.takes;
      return false;
    }
    if (command == "watch" && arguments.size() == 2 &&
        !ParseSeconds(arguments[1], kMaxWatchSeconds, watchSeconds)) {
      error = NotSeconds("watch", arguments[1], kMaxWatchSeconds);
      return false;
    }
    // --cached promises that no request is made; these two exist to make them.
    if (cached && (command == "check" || command == "watch")) {
      error = command + " asks the server, which --cached rules out";
      return false;
    }
    return true;
  }
  error = "unknown command \"" + command + "\"";
  return false;
}

const char* CommandLine::Usage() {
  return "usage: ostrel-cli [options] <command>\n"
         "commands:\n"
         "  get <ns> <key>         one value\n"
         "  dump <ns>              every key=value of a STANDARD namespace\n"
         "  text <ns>              the namespace as one text (CUSTOM text, STANDARD as JSON)\n"
         "  watch <ns> [seconds]   print listener calls for that long (default 30)\n"
         "  check                  force an update check and say how it ended\n"
         "  cache                  every record in the store: its key, its version and\n"
         "                         whether its digest line verifies (no server needed)\n"
         "options:\n"
         "  --server host:port     ostrel-server (default 127.0.0.1:8686)\n"
         "  --app-key key          application key (default demo-app)\n"
         "  --app-version v        application version, attribute app_ver (default 1.0.0)\n"
         "  --device-id id         device id, hashed into did_hash (default local-device)\n"
         "  --os-version v         attribute os_ver\n"
         "  --manufacturer m       attribute m_fac\n"
         "  --brand b              attribute m_brand\n"
         "  --model m              attribute m_model\n"
         "  --store path           the store: an SQLite file, on Windows the file\n"
         "                         store's folder (default " OSTREL_CLI_DEFAULT_STORE ")\n"
         "  --sign-dir dir         folder of libKelsafeProxy.so, on Windows of\n"
         "                         KelsafePath64.dll (default: devsign/ beside ostrel-cli,\n"
         "                         else the installed ../lib/ostrel/devsign, else\n"
         "                         ostrel-cli's folder)\n"
         "  --timeout seconds      how long to wait for the server, 1 to 3600 (default 5)\n"
         "  --cached               get, dump and text: no update check, only what\n"
         "                         the store holds\n"
         "  -v                     the library's log down to info lines\n"
         "  -h, --help             this text\n"
         "  --version              the version\n"
         "exit codes:\n"
         "  0  done\n"
         "  1  failed: the store, the start-up, a refused signature, a stalled download\n"
         "  2  usage error: the command line is wrong (stderr says how)\n"
         "  3  missing key: the namespace is there, the key (or, for dump, any pair) is not\n"
         "  4  namespace not published: the server's index does not list it\n"
         "     (with --cached: the store does not hold it)\n"
         "  5  server unreachable: no server answered within --timeout\n";
}

}  // namespace OstrelCli
