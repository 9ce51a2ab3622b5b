// A key-value store for the library, kept as one file per key in a folder.
#ifndef OSTREL_HOST_FILESTORAGE_H_
#define OSTREL_HOST_FILESTORAGE_H_

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "ostrel/IOStorage.h"

namespace OstrelHost {

class RecordFolder;

// IOStorage over one folder, on Windows and POSIX systems alike. Each key's
// record is a file of its own holding the value's exact bytes. The key is
// encoded into the file name: ASCII lower-case letters, digits, '-' and '_'
// stay as they are, every other byte becomes %XX, and the name is framed as
// "k-<encoded>.rec". Any key thus yields a name that no file system treats
// specially (no separators, dots, device names such as CON or nul.txt, and
// no two keys differing only in letter case share a file on a file system
// that ignores case). A key whose encoded name would exceed 200 characters
// is refused.
//
// Save writes the value to a temporary file "t-<process>-<n>.tmp", flushes
// it to the device and renames it over the record (MoveFileExW with
// MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH on Windows, rename and
// fsync of the file and of the folder on POSIX). After a crash or a power
// loss at any moment a record is therefore wholly the old value or wholly
// the new one. Open removes temporary files that a crashed writer left.
//
// Every method may be called from any thread, and several processes may
// share the folder: a reader sees a whole record, the last rename wins
// between writers of one key, and an operation that meets a file another
// process holds open (Windows) tries again for a short while before it
// fails. Save replaces an existing record; Remove of an absent key succeeds;
// Clear removes every record of the folder and nothing else. Load returns a
// malloc'd copy that Free releases, or null when the key is absent, refused
// or unreadable. Null keys or values are refused with a non-zero result.
// Nothing throws out of the methods.
class FileStorage final : public Ostrel::IOStorage {
 public:
  // Opens the folder at path (UTF-8), creating it and its parents when
  // absent, and removes stale temporary files. Returns null on failure and,
  // when error is given, stores the reason there.
  static std::unique_ptr<FileStorage> Open(const std::string& path, std::string* error = nullptr);

  // Key and value.
  using Record = std::pair<std::string, std::string>;
  // Every record of the store at path, in key order (bytes compared as
  // unsigned), read without changing the folder: nothing is created and no
  // temporary file removed, so a tool may look at a store a running host
  // holds. A record removed while the folder is read is left out, and so is
  // every file whose name the store would not write for its key. False,
  // with the reason in *error, when the folder or a record cannot be read.
  static bool ReadRecords(const std::string& path, std::vector<Record>* records,
                          std::string* error);

  FileStorage(const FileStorage&) = delete;
  FileStorage& operator=(const FileStorage&) = delete;
  // The library must no longer hold the store (DestroyIOstrelConfig has
  // returned, or setStorage(nullptr)).
  ~FileStorage();

  int Save(const char* key, const char* value) override;
  char* Load(const char* key) override;
  int Remove(const char* key) override;
  // Never called by the library; returns 0.
  int Reserved() override;
  int Clear() override;
  void Free(char* buffer) override;

 private:
  explicit FileStorage(std::unique_ptr<RecordFolder> folder);

  // Constant after construction.
  const std::unique_ptr<RecordFolder> folder_;
};

}  // namespace OstrelHost

#endif  // OSTREL_HOST_FILESTORAGE_H_
