// The cache command: what the store of the host adapters holds, read
// straight from it, with each record's version and digest check. The store
// is the platform's (PlatformAdapters.h): StoreListing_posix.cpp reads an
// SQLite file, StoreListing_win.cpp a file-store folder.
#ifndef OSTREL_TOOLS_CLI_STORELISTING_H_
#define OSTREL_TOOLS_CLI_STORELISTING_H_

#include <string>
#include <vector>

namespace OstrelCli {

// A value type; the functions touch nothing shared.
class StoreListing {
 public:
  enum class Digest { kVerified, kMismatch, kNoDigestLine };

  struct Record {
    std::string scope;
    std::string key;
    std::string version;  // the document's "version"; empty when it has none
    Digest digest = Digest::kNoDigestLine;
  };

  // Reads every record of the store at path, in scope and key order (bytes
  // compared as unsigned), without changing the store: an SQLite file is
  // opened read-only and not healed, a folder is neither created nor
  // cleaned. The folder's records all belong to the default scope, and a
  // file that is not one of its records is left out. False, with the
  // system's text in error, when the store cannot be read.
  static bool Read(const std::string& path, StoreListing& listing, std::string& error);

  // One stored value, "<md5 hex of the document>\n<document>", as the
  // library frames it: its version and whether the digest verifies.
  static Record Examine(const std::string& scope, const std::string& key, const std::string& value);

  // One line a record: key, version ("-" for none), digest, and the scope
  // when it is not the default one; the columns aligned.
  std::string Format() const;

  std::vector<Record> records;
};

}  // namespace OstrelCli

#endif  // OSTREL_TOOLS_CLI_STORELISTING_H_
