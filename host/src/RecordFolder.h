// The file operations FileStorage needs, on one folder, for each platform.
#ifndef OSTREL_HOST_SRC_RECORDFOLDER_H_
#define OSTREL_HOST_SRC_RECORDFOLDER_H_

#include <memory>
#include <string>
#include <vector>

namespace OstrelHost {

// Files are named relative to the folder; names are plain ASCII without
// separators. Every method may be called from any thread at once. Nothing
// throws out of them except std::bad_alloc.
class RecordFolder {
 public:
  enum class Result {
    kOk,
    // The file (or, for Replace, the source) does not exist.
    kAbsent,
    // Another handle stands in the way for now (Windows sharing rules), or
    // the name is taken (WriteNew): trying again may succeed.
    kBusy,
    kFailed,
  };

  enum class IfAbsent { kCreate, kRefuse };

  // Opens the folder at path (UTF-8); an absent one is created with its
  // parents, or refused. Returns null and stores the reason in *error on
  // failure.
  static std::unique_ptr<RecordFolder> Open(const std::string& path, IfAbsent ifAbsent,
                                            std::string* error);
  ~RecordFolder();
  RecordFolder(const RecordFolder&) = delete;
  RecordFolder& operator=(const RecordFolder&) = delete;

  // The names of the folder's entries that are not folders themselves;
  // false when it cannot be read.
  bool List(std::vector<std::string>* names) const;
  // Reads the whole file into *bytes.
  Result Read(const std::string& name, std::string* bytes) const;
  // Creates name, which must not exist yet, writes bytes and flushes them to
  // the device before it returns.
  Result WriteNew(const std::string& name, const std::string& bytes) const;
  // Renames from over to in one step and makes the rename durable.
  Result Replace(const std::string& from, const std::string& to) const;
  // Deletes name and makes the deletion durable.
  Result Delete(const std::string& name) const;

  // An identifier of this process, for names no other process picks.
  static unsigned long ProcessId();

 private:
  struct Native;
  explicit RecordFolder(std::unique_ptr<Native> native);

  const std::unique_ptr<Native> native_;
};

}  // namespace OstrelHost

#endif  // OSTREL_HOST_SRC_RECORDFOLDER_H_
