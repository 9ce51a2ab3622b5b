#include "Publisher.h"

#include <openssl/evp.h>
#include <rapidjson/document.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <initializer_list>
#include <set>
#include <utility>

#include "NamespaceFile.h"
#include "TreeExport.h"

namespace OstrelServer {
namespace {

namespace fs = std::filesystem;
using Writer = rapidjson::Writer<rapidjson::StringBuffer>;

std::string Md5Hex(const std::string& bytes) {
  unsigned char digest[EVP_MAX_MD_SIZE];
  unsigned int length = 0;
  if (EVP_Digest(bytes.data(), bytes.size(), digest, &length, EVP_md5(), nullptr) != 1) {
    return std::string();
  }
  static const char kHex[] = "0123456789abcdef";
  std::string hex;
  for (unsigned int i = 0; i < length; ++i) {
    hex.push_back(kHex[digest[i] >> 4]);
    hex.push_back(kHex[digest[i] & 0x0F]);
  }
  return hex;
}

// App keys and namespace names become parts of resource ids and URLs, which
// clients send unencoded, so only characters that need no encoding pass.
bool IsPlainName(const std::string& name) {
  if (name.empty() || name == "." || name == "..") return false;
  return std::all_of(name.begin(), name.end(), [](unsigned char c) {
    return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '-' ||
           c == '_' || c == '.';
  });
}

// Reads at most limit bytes; a text of exactly limit bytes may have been cut.
bool ReadFile(const fs::path& path, size_t limit, std::string& text) {
  std::ifstream in(path, std::ios::binary);
  if (!in) return false;
  text.resize(limit);
  in.read(&text[0], static_cast<std::streamsize>(limit));
  text.resize(static_cast<size_t>(in.gcount()));
  return !in.bad();
}

// Names the library keeps for itself and never loads as namespaces.
bool IsReservedName(const std::string& name) { return name == "ostrel" || name == "ostrel.index"; }

// String members, in the order given.
void Strings(Writer& writer, std::initializer_list<std::pair<const char*, std::string>> members) {
  for (const auto& member : members) {
    writer.Key(member.first);
    writer.String(member.second.c_str(), static_cast<rapidjson::SizeType>(member.second.size()));
  }
}

// A config document in the shape the library parses: every member a string,
// in the order the library writes them itself.
std::string ConfigDocument(const std::string& appKey, const std::string& name,
                           const std::string& resourceId, const NamespaceFile& file,
                           int64_t version, int64_t createTime, const rapidjson::Value& content) {
  rapidjson::StringBuffer buffer;
  Writer writer(buffer);
  writer.StartObject();
  Strings(writer, {{"appKey", appKey},
                   {"appVersion", "*"},
                   {"id", appKey + "/" + name},
                   {"name", name},
                   {"resourceId", resourceId},
                   {"type", file.Type()},
                   {"loadLevel", file.LoadLevel()},
                   {"version", std::to_string(version)},
                   {"createTime", std::to_string(createTime)}});
  writer.Key("content");
  content.Accept(writer);
  writer.EndObject();
  return buffer.GetString();
}

}  // namespace

Publisher::Publisher(PublishOptions options, Clock clock)
    : options_(std::move(options)),
      clock_(std::move(clock)),
      export_(options_.exportDir.empty() ? nullptr : new TreeExport(options_.exportDir)) {}

Publisher::~Publisher() = default;

int64_t Publisher::NextVersion() {
  const int64_t now = clock_ ? clock_()
                             : std::chrono::duration_cast<std::chrono::seconds>(
                                   std::chrono::system_clock::now().time_since_epoch())
                                   .count();
  lastVersion_ = std::max(lastVersion_ + 1, now);
  return lastVersion_;
}

PublishReport Publisher::Publish() {
  std::lock_guard<std::mutex> publishLock(publishMutex_);
  PublishReport report;
  std::map<std::string, Application> apps;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    apps = apps_;
  }
  std::map<std::string, Application> next;
  std::set<std::string> seen;
  std::error_code error;
  fs::directory_iterator folders(options_.dataDir, error);
  if (error) {
    report.errors.push_back(options_.dataDir + ": " + error.message());
  } else {
    for (const auto& entry : folders) {
      if (!entry.is_directory(error)) continue;
      const std::string appKey = entry.path().filename().string();
      if (!IsPlainName(appKey)) {
        report.errors.push_back(appKey + ": an app key may hold only letters, digits, - _ .");
        continue;
      }
      if (!InsideDataDir(entry.path(), appKey, report)) continue;
      seen.insert(appKey);
      Application app = apps[appKey];
      if (PublishApplication(appKey, entry.path().string(), app, report)) {
        RebuildIndex(appKey, app);
      }
      if (!app.namespaces.empty()) next[appKey] = std::move(app);
    }
  }
  for (const auto& app : apps) {
    // A folder still there reported its removed namespaces one by one.
    if (seen.count(app.first) == 0 && !app.second.namespaces.empty()) {
      report.changed.push_back(app.first + " removed");
    }
  }
  if (export_) {
    // Written before the new index is announced, so that a client never
    // hears of a resource the static server lacks.
    std::map<std::string, std::string> resources;
    for (const auto& app : next) {
      resources[app.second.index.resourceId] = app.second.indexBody;
      for (const auto& ns : app.second.namespaces) {
        resources.insert(ns.second.files.begin(), ns.second.files.end());
      }
    }
    for (auto& line : export_->Write(resources)) report.errors.push_back(std::move(line));
  }
  std::lock_guard<std::mutex> lock(mutex_);
  apps_ = std::move(next);
  return report;
}

bool Publisher::InsideDataDir(const fs::path& path, const std::string& shown,
                              PublishReport& report) const {
  // Fails only when the folder or the entry went away while being read.
  std::error_code rootError;
  std::error_code error;
  const fs::path root = fs::canonical(options_.dataDir, rootError);
  const fs::path target = fs::canonical(path, error);
  if (rootError || error) {
    report.errors.push_back(shown + ": " + (rootError ? rootError : error).message());
    return false;
  }
  // Component by component, so that "data-other" is not taken for "data".
  auto mismatch = std::mismatch(root.begin(), root.end(), target.begin(), target.end());
  if (mismatch.first != root.end()) {
    report.errors.push_back(shown + ": a link that leaves the data folder");
    return false;
  }
  return true;
}

std::map<std::string, std::string> Publisher::ReadFolder(const std::string& appKey,
                                                         const std::string& folder,
                                                         PublishReport& report) {
  std::map<std::string, std::string> texts;
  std::error_code error;
  for (const auto& entry : fs::directory_iterator(folder, error)) {
    const fs::path& path = entry.path();
    if (!entry.is_regular_file(error) || path.extension() != ".json") continue;
    const std::string name = path.stem().string();
    const std::string shown = appKey + "/" + path.filename().string();
    if (!IsPlainName(name)) {
      report.errors.push_back(shown + ": a namespace name may hold only letters, digits, - _ .");
      continue;
    }
    if (IsReservedName(name)) {
      report.errors.push_back(shown + ": the library keeps the name \"" + name + "\" for itself");
      continue;
    }
    if (!InsideDataDir(path, shown, report)) continue;
    std::string text;
    if (!ReadFile(path, options_.maxFileBytes + 1, text)) {
      report.errors.push_back(shown + ": cannot be read");
      continue;
    }
    if (text.size() > options_.maxFileBytes) {
      report.errors.push_back(shown + ": larger than the limit of " +
                              std::to_string(options_.maxFileBytes) + " bytes");
      continue;
    }
    texts[name] = std::move(text);
  }
  if (error) report.errors.push_back(folder + ": " + error.message());
  return texts;
}

bool Publisher::PublishApplication(const std::string& appKey, const std::string& folder,
                                   Application& app, PublishReport& report) {
  const std::map<std::string, std::string> texts = ReadFolder(appKey, folder, report);
  bool changed = false;
  for (auto it = app.namespaces.begin(); it != app.namespaces.end();) {
    if (texts.count(it->first) == 0) {
      report.changed.push_back(appKey + "/" + it->first + " removed");
      it = app.namespaces.erase(it);
      changed = true;
    } else {
      ++it;
    }
  }
  for (const auto& text : texts) {
    const std::string& name = text.first;
    auto existing = app.namespaces.find(name);
    if (existing != app.namespaces.end() && existing->second.fileText == text.second) continue;
    NamespaceFile file;
    const std::string problem = file.Read(text.second);
    if (!problem.empty()) {
      report.errors.push_back(
          appKey + "/" + name + ".json: " + problem +
          (existing != app.namespaces.end() ? " (keeping the last good one)" : ""));
      continue;
    }
    Namespace ns;
    ns.fileText = text.second;
    ns.version = NextVersion();
    const int64_t createTime = ns.version * 1000;
    const std::string base = appKey + "/ns/" + name + "/" + std::to_string(ns.version);
    const std::string resourceId = base + ".json";
    const std::string body =
        ConfigDocument(appKey, name, resourceId, file, ns.version, createTime, file.Content());
    ns.files[resourceId] = body;

    rapidjson::StringBuffer buffer;
    Writer writer(buffer);
    writer.StartObject();
    Strings(writer, {{"loadLevel", file.LoadLevel()},
                     {"md5", Md5Hex(body)},
                     {"name", name},
                     {"resourceId", resourceId},
                     {"version", std::to_string(ns.version)},
                     {"type", file.Type()}});
    if (!file.Candidates().Empty()) {
      writer.Key("candidates");
      writer.StartArray();
      int index = 0;
      for (const auto& candidate : file.Candidates().GetArray()) {
        const std::string candidateId = base + "-c" + std::to_string(index++) + ".json";
        const std::string candidateBody = ConfigDocument(
            appKey, name, candidateId, file, ns.version, createTime, candidate["content"]);
        ns.files[candidateId] = candidateBody;
        writer.StartObject();
        Strings(writer, {{"resourceId", candidateId},
                         {"md5", Md5Hex(candidateBody)},
                         {"match", candidate["match"].GetString()},
                         {"version", std::to_string(ns.version)}});
        writer.EndObject();
      }
      writer.EndArray();
    }
    writer.EndObject();
    ns.descriptor = buffer.GetString();
    report.changed.push_back(appKey + "/" + name + " v" + std::to_string(ns.version));
    app.namespaces[name] = std::move(ns);
    changed = true;
  }
  return changed;
}

void Publisher::RebuildIndex(const std::string& appKey, Application& app) {
  if (app.namespaces.empty()) return;
  const int64_t version = NextVersion();
  const std::string versionText = std::to_string(version);
  rapidjson::StringBuffer buffer;
  {
    Writer writer(buffer);
    writer.StartObject();
    // The library takes an index with the id of the one it holds as the same
    // index, so every publication gets an id of its own.
    Strings(writer, {{"appKey", appKey},
                     {"appVersion", "*"},
                     {"id", appKey + "/index-" + versionText},
                     {"cdn", options_.cdn},
                     {"version", versionText},
                     {"appIndexVersion", versionText},
                     {"versionIndexVersion", versionText}});
    writer.Key("mergedNamespaces");
    writer.StartArray();
    for (const auto& ns : app.namespaces) {
      writer.RawValue(ns.second.descriptor.c_str(), ns.second.descriptor.size(),
                      rapidjson::kObjectType);
    }
    writer.EndArray();
    writer.EndObject();
  }
  const std::string body = buffer.GetString();
  app.indexBody = body;
  app.index.cdn = options_.cdn;
  app.index.resourceId = appKey + "/index-" + versionText + ".json";
  app.index.md5 = Md5Hex(body);
  app.index.version = version;
}

bool Publisher::Resource(const std::string& resourceId, std::string& body) const {
  std::lock_guard<std::mutex> lock(mutex_);
  const size_t slash = resourceId.find('/');
  if (slash == std::string::npos) return false;
  auto app = apps_.find(resourceId.substr(0, slash));
  if (app == apps_.end()) return false;
  if (resourceId == app->second.index.resourceId) {
    body = app->second.indexBody;
    return true;
  }
  for (const auto& ns : app->second.namespaces) {
    auto file = ns.second.files.find(resourceId);
    if (file != ns.second.files.end()) {
      body = file->second;
      return true;
    }
  }
  return false;
}

bool Publisher::Notice(const std::string& appKey, IndexNotice& notice) const {
  std::lock_guard<std::mutex> lock(mutex_);
  auto app = apps_.find(appKey);
  if (app == apps_.end() || app->second.index.version == 0) return false;
  notice = app->second.index;
  return true;
}

}  // namespace OstrelServer
