#include "ConfigServer.h"

#include <httplib.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <utility>

#include "DevSignature.h"

namespace OstrelServer {
namespace {

// Every request of the protocol is a GET without body, and the admin POST
// carries none either.
constexpr size_t kMaxPayloadBytes = 64 * 1024;
constexpr int kStartWaitMs = 5000;

const char kJson[] = "application/json";

// Header values arrive URL-encoded (space as "+"); the signature covers them
// raw. cpp-httplib has already decoded the %XX escapes of every header value
// (decoding again would turn a "%41" the client meant into "A"), but not "+".
std::string PlusAsSpace(std::string text) {
  std::replace(text.begin(), text.end(), '+', ' ');
  return text;
}

std::string EscapeJson(const std::string& text) {
  std::string out;
  for (char c : text) {
    if (c == '"' || c == '\\') out.push_back('\\');
    if (static_cast<unsigned char>(c) < 0x20) continue;
    out.push_back(c);
  }
  return out;
}

void Refuse(httplib::Response& res, int status, const std::string& reason) {
  res.status = status;
  res.set_content("{\"error\":\"" + EscapeJson(reason) + "\"}", kJson);
}

std::string JsonList(const std::vector<std::string>& items) {
  std::string out = "[";
  for (size_t i = 0; i < items.size(); ++i) {
    if (i > 0) out += ",";
    out += "\"" + EscapeJson(items[i]) + "\"";
  }
  return out + "]";
}

// "2026-11-23T14:05:09.120Z": UTC, so that lines from machines in different
// zones line up.
std::string LogTime(std::chrono::system_clock::time_point now) {
  const auto sinceEpoch = now.time_since_epoch();
  const std::time_t seconds = static_cast<std::time_t>(
      std::chrono::duration_cast<std::chrono::seconds>(sinceEpoch).count());
  const long long millis =
      std::chrono::duration_cast<std::chrono::milliseconds>(sinceEpoch).count() % 1000;
  std::tm utc{};
  gmtime_r(&seconds, &utc);
  char date[24];
  std::strftime(date, sizeof(date), "%Y-%m-%dT%H:%M:%S", &utc);
  char fraction[8];
  std::snprintf(fraction, sizeof(fraction), ".%03dZ", static_cast<int>(millis));
  return std::string(date) + fraction;
}

// Whole seconds, digits only; false for anything else.
bool ParseSeconds(const std::string& text, int& seconds) {
  if (text.empty() || text.size() > 6 ||
      text.find_first_not_of("0123456789") != std::string::npos) {
    return false;
  }
  seconds = std::atoi(text.c_str());
  return true;
}

// A missing or unreadable version counts as 0: the client has no index.
long long VersionParam(const httplib::Request& req, const char* name) {
  if (!req.has_param(name)) return 0;
  return std::strtoll(req.get_param_value(name).c_str(), nullptr, 10);
}

ServerOptions OptionsFor(std::string dataDir) {
  ServerOptions options;
  options.publish.dataDir = std::move(dataDir);
  return options;
}

}  // namespace

ConfigServer::ConfigServer(std::string dataDir, LogSink log)
    : ConfigServer(OptionsFor(std::move(dataDir)), std::move(log)) {}

ConfigServer::ConfigServer(ServerOptions options, LogSink log)
    : options_(std::move(options)), log_(std::move(log)), http_(new httplib::Server()) {}

ConfigServer::~ConfigServer() { Stop(); }

bool ConfigServer::Start(const std::string& host, int port) {
  if (thread_.joinable()) return false;
  // Without its folder the server would serve nothing, and say so only
  // through clients that find nothing.
  std::error_code error;
  if (!std::filesystem::is_directory(options_.publish.dataDir, error)) {
    Log("no data folder " + options_.publish.dataDir);
    return false;
  }
  // A fixed pool keeps the server from growing threads under a misbehaving
  // client.
  const size_t threads = options_.threads;
  http_->new_task_queue = [threads] { return new httplib::ThreadPool(threads); };
  http_->set_payload_max_length(kMaxPayloadBytes);
  http_->set_logger([this](const httplib::Request& req, const httplib::Response& res) {
    Log(req.method + " " + req.target + " -> " + std::to_string(res.status));
  });

  // Registered before the catch-all CDN route, which would otherwise take them.
  http_->Get("/checkUpdate", [this](const httplib::Request& req, httplib::Response& res) {
    CheckUpdate(req, res);
  });
  http_->Get("/downloadResource", [this](const httplib::Request& req, httplib::Response& res) {
    DownloadResource(req, res);
  });
  http_->Post("/admin/publish", [this](const httplib::Request&, httplib::Response& res) {
    const PublishReport report = Publish();
    res.set_content(
        "{\"changed\":" + JsonList(report.changed) + ",\"errors\":" + JsonList(report.errors) + "}",
        kJson);
  });
  http_->Get("/admin/notice", [this](const httplib::Request& req, httplib::Response& res) {
    GatewayNotice(req, res);
  });
  http_->Get(R"(/(.+))", [this](const httplib::Request& req, httplib::Response& res) {
    std::string body;
    if (!publisher_->Resource(req.matches[1].str(), body)) {
      Refuse(res, 404, "no such resource");
      return;
    }
    res.set_content(body, kJson);
  });

  if (port == 0) {
    port_ = http_->bind_to_any_port(host);
    if (port_ <= 0) return false;
  } else {
    if (!http_->bind_to_port(host, port)) return false;
    port_ = port;
  }
  if (options_.publish.cdn.empty()) options_.publish.cdn = host + ":" + std::to_string(port_);
  publisher_.reset(new Publisher(options_.publish));
  Publish();
  thread_ = std::thread([this] { http_->listen_after_bind(); });
  // stop() only reaches a server that has begun listening.
  for (int waited = 0; !http_->is_running() && waited < kStartWaitMs; ++waited) {
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  return http_->is_running();
}

void ConfigServer::Stop() {
  if (!thread_.joinable()) return;
  {
    std::lock_guard<std::mutex> lock(waitMutex_);
    stopping_ = true;
  }
  published_.notify_all();
  http_->stop();
  thread_.join();
}

PublishReport ConfigServer::Publish() {
  if (!publisher_) return PublishReport();  // nothing bound, nothing to publish for
  PublishReport report = publisher_->Publish();
  for (const auto& line : report.changed) Log("published " + line);
  for (const auto& line : report.errors) Log("refused " + line);
  {
    std::lock_guard<std::mutex> lock(waitMutex_);
    ++publications_;
  }
  published_.notify_all();
  return report;
}

bool ConfigServer::Authenticate(const httplib::Request& req, httplib::Response& res,
                                std::string& appKey) {
  static const char* const kRequired[] = {"o-app-key", "o-app-version", "o-device-id",
                                          "o-timestamp", "o-sign"};
  for (const char* name : kRequired) {
    if (!req.has_header(name)) {
      Refuse(res, 401, std::string("missing header ") + name);
      return false;
    }
  }
  const std::string timestamp = req.get_header_value("o-timestamp");
  char* end = nullptr;
  const long long sent = std::strtoll(timestamp.c_str(), &end, 10);
  const long long now = std::chrono::duration_cast<std::chrono::seconds>(
                            std::chrono::system_clock::now().time_since_epoch())
                            .count();
  if (timestamp.empty() || *end != '\0' || sent < now - kMaxClockSkewSeconds ||
      sent > now + kMaxClockSkewSeconds) {
    Refuse(res, 401,
           "o-timestamp is not within " + std::to_string(kMaxClockSkewSeconds) +
               " s of the server's clock");
    return false;
  }
  appKey = PlusAsSpace(req.get_header_value("o-app-key"));
  const std::string text =
      OstrelDev::SignedText(req.path, appKey, PlusAsSpace(req.get_header_value("o-app-version")),
                            PlusAsSpace(req.get_header_value("o-device-id")), timestamp);
  if (!OstrelDev::DevVerify(appKey, text, req.get_header_value("o-sign"))) {
    Refuse(res, 403, "bad signature");
    return false;
  }
  return true;
}

void ConfigServer::CheckUpdate(const httplib::Request& req, httplib::Response& res) {
  std::string appKey;
  if (!Authenticate(req, res, appKey)) return;
  IndexNotice notice;
  const long long appIndexVersion = VersionParam(req, "appIndexVersion");
  const long long versionIndexVersion = VersionParam(req, "versionIndexVersion");
  // Both parts of the index carry the same version here, so a client behind
  // in either one gets the whole index again.
  if (!publisher_->Notice(appKey, notice) ||
      (appIndexVersion >= notice.version && versionIndexVersion >= notice.version)) {
    res.set_content("{}", kJson);
    return;
  }
  res.set_content("{\"cdn\":\"" + EscapeJson(notice.cdn) + "\",\"md5\":\"" + notice.md5 +
                      "\",\"protocol\":\"" + options_.cdnProtocol + "\",\"resourceId\":\"" +
                      EscapeJson(notice.resourceId) + "\"}",
                  kJson);
}

void ConfigServer::DownloadResource(const httplib::Request& req, httplib::Response& res) {
  std::string appKey;
  if (!Authenticate(req, res, appKey)) return;
  const std::string resourceId = req.get_param_value("resourceId");
  std::string body;
  // An application reads its own resources only, unlike the open CDN paths.
  if (resourceId.compare(0, appKey.size() + 1, appKey + "/") != 0 ||
      !publisher_->Resource(resourceId, body)) {
    Refuse(res, 404, "no such resource");
    return;
  }
  res.set_content(body, kJson);
}

// The notice in the key=value form that gateway responses carry, for hosts
// that relay it to the library's interceptor; empty while nothing is
// published. Unsigned, like the admin path: it names public resources only.
// With wait=N it is a long-poll: while the current index is still the one
// named by known, it answers only once a publication changes it or N
// seconds have passed.
void ConfigServer::GatewayNotice(const httplib::Request& req, httplib::Response& res) {
  const std::string appKey = req.get_param_value("appKey");
  const std::string known = req.get_param_value("known");
  int waitSeconds = 0;
  if (req.has_param("wait") && !ParseSeconds(req.get_param_value("wait"), waitSeconds)) {
    Refuse(res, 400, "wait must be whole seconds");
    return;
  }
  if (waitSeconds > kMaxNoticeWaitSeconds) waitSeconds = kMaxNoticeWaitSeconds;
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(waitSeconds);
  // Counted before the notice is read: Publish counts after it swaps the
  // publication in, so a publication between the two is never missed.
  unsigned long seen = 0;
  {
    std::lock_guard<std::mutex> lock(waitMutex_);
    seen = publications_;
  }
  IndexNotice notice;
  bool found = publisher_->Notice(appKey, notice);
  if (waitSeconds > 0 && notice.resourceId == known) {
    Log("waiting up to " + std::to_string(waitSeconds) + " s for a new index of " + appKey);
  }
  while (waitSeconds > 0 && notice.resourceId == known) {
    std::unique_lock<std::mutex> lock(waitMutex_);
    if (!published_.wait_until(lock, deadline,
                               [&] { return stopping_ || publications_ != seen; }) ||
        stopping_) {
      break;
    }
    seen = publications_;
    lock.unlock();
    notice = IndexNotice();
    found = publisher_->Notice(appKey, notice);
  }
  if (!found) {
    res.set_content("", "text/plain");
    return;
  }
  res.set_content("cdn=" + notice.cdn + "&md5=" + notice.md5 + "&resourceId=" + notice.resourceId +
                      "&protocol=" + options_.cdnProtocol,
                  "text/plain");
}

void ConfigServer::Log(const std::string& line) const {
  if (log_) log_(LogTime(std::chrono::system_clock::now()) + " " + line);
}

}  // namespace OstrelServer
