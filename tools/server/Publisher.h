// Turns a data folder into published documents: for every application folder
// data/<appKey>/ one config document per namespace file <name>.json (plus one
// per candidate) and an index that lists them, each held under a resource id
// with its MD5, as a CDN would serve them.
#ifndef OSTREL_TOOLS_SERVER_PUBLISHER_H_
#define OSTREL_TOOLS_SERVER_PUBLISHER_H_

#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace OstrelServer {

class TreeExport;

// Where the index of one application lies, as an update notice tells it.
struct IndexNotice {
  std::string cdn;
  std::string resourceId;
  std::string md5;
  int64_t version = 0;
};

struct PublishOptions {
  // Holds <appKey>/<namespace>.json files.
  std::string dataDir;
  // "host[:port][/prefix]" under which clients reach the resources; the
  // index and the notices name it.
  std::string cdn;
  // When set, every publication is also written there as a static tree
  // (see TreeExport) before clients are told of it.
  std::string exportDir;
  // A namespace file above this size is refused: every client would have to
  // download and hold it.
  size_t maxFileBytes = 4 * 1024 * 1024;
};

struct PublishReport {
  std::vector<std::string> changed;  // "<appKey>/<name> v<version>", and removals
  std::vector<std::string> errors;   // one line per refused file or folder
};

class Publisher {
 public:
  // Seconds since the epoch; replaceable so that tests can hold the clock.
  using Clock = std::function<int64_t()>;

  explicit Publisher(PublishOptions options, Clock clock = nullptr);
  ~Publisher();

  // Re-reads the data folder. A namespace whose file changed (or appeared)
  // gets a new version, and so does the index of its application; a file
  // that cannot be used (one the library would refuse, one too large, a link
  // that leaves the data folder) is reported and its last good publication
  // is kept.
  PublishReport Publish();

  // The body of a published resource; false when no such resource is served.
  bool Resource(const std::string& resourceId, std::string& body) const;
  // The current index of appKey; false while the application has none.
  bool Notice(const std::string& appKey, IndexNotice& notice) const;

 private:
  struct Namespace {
    std::string fileText;  // what the file held when it was published
    int64_t version = 0;
    std::string descriptor;                    // JSON of its entry in the index
    std::map<std::string, std::string> files;  // resource id -> document
  };
  struct Application {
    std::map<std::string, Namespace> namespaces;
    IndexNotice index;
    std::string indexBody;
  };

  // Versions are seconds since the epoch, raised by one when two changes fall
  // into the same second, so they keep growing across server restarts and
  // a client holding an older publication still sees every change as newer.
  int64_t NextVersion();
  bool PublishApplication(const std::string& appKey, const std::string& folder, Application& app,
                          PublishReport& report);
  // Reads the namespace files of an application folder: name -> text.
  std::map<std::string, std::string> ReadFolder(const std::string& appKey,
                                                const std::string& folder, PublishReport& report);
  // False, with a line in report, when path resolves outside the data folder.
  bool InsideDataDir(const std::filesystem::path& path, const std::string& shown,
                     PublishReport& report) const;
  void RebuildIndex(const std::string& appKey, Application& app);

  const PublishOptions options_;
  const Clock clock_;
  // Null without an export folder; used by Publish only, which
  // publishMutex_ serialises.
  const std::unique_ptr<TreeExport> export_;
  int64_t lastVersion_ = 0;  // touched by Publish only, which publishMutex_ serialises

  std::mutex publishMutex_;  // one Publish at a time; taken before mutex_
  mutable std::mutex mutex_;
  std::map<std::string, Application> apps_;  // guarded by mutex_
};

}  // namespace OstrelServer

#endif  // OSTREL_TOOLS_SERVER_PUBLISHER_H_
