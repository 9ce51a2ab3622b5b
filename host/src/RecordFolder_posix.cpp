#include <dirent.h>
#include <errno.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>

#include "FolderEntry_posix.h"
#include "RecordFolder.h"

namespace OstrelHost {

struct RecordFolder::Native {
  std::string path;
  std::string File(const std::string& name) const { return path + "/" + name; }
};

namespace {

// True when path is a folder; otherwise errno says why not.
bool IsFolder(const std::string& path) {
  struct stat info {};
  if (::stat(path.c_str(), &info) != 0) return false;
  if (S_ISDIR(info.st_mode)) return true;
  errno = ENOTDIR;
  return false;
}

// Creates path and its missing parents.
bool MakeFolders(const std::string& path) {
  if (IsFolder(path)) return true;
  if (errno == ENOTDIR) return false;
  const size_t slash = path.find_last_of('/');
  if (slash != std::string::npos && slash > 0 && !MakeFolders(path.substr(0, slash))) {
    return false;
  }
  return ::mkdir(path.c_str(), 0755) == 0 || errno == EEXIST;
}

int OpenRetrying(const char* path, int flags, mode_t mode = 0) {
  int fd;
  do {
    fd = ::open(path, flags | O_CLOEXEC, mode);
  } while (fd < 0 && errno == EINTR);
  return fd;
}

// A rename or unlink survives a power loss only once the folder's own
// entry list is on the device.
bool SyncFolder(const std::string& path) {
  const int fd = OpenRetrying(path.c_str(), O_RDONLY | O_DIRECTORY);
  if (fd < 0) return false;
  const bool synced = ::fsync(fd) == 0;
  ::close(fd);
  return synced;
}

bool WriteAll(int fd, const char* data, size_t size) {
  while (size > 0) {
    const ssize_t written = ::write(fd, data, size);
    if (written < 0) {
      if (errno == EINTR) continue;
      return false;
    }
    data += written;
    size -= static_cast<size_t>(written);
  }
  return true;
}

}  // namespace

RecordFolder::RecordFolder(std::unique_ptr<Native> native) : native_(std::move(native)) {}
RecordFolder::~RecordFolder() = default;

std::unique_ptr<RecordFolder> RecordFolder::Open(const std::string& path, IfAbsent ifAbsent,
                                                 std::string* error) {
  if (path.empty()) {
    *error = "empty folder path";
    return nullptr;
  }
  if (!(ifAbsent == IfAbsent::kCreate ? MakeFolders(path) : IsFolder(path))) {
    *error = path + ": " + std::strerror(errno);
    return nullptr;
  }
  std::unique_ptr<Native> native(new Native{path});
  return std::unique_ptr<RecordFolder>(new RecordFolder(std::move(native)));
}

bool RecordFolder::List(std::vector<std::string>* names) const {
  DIR* dir = ::opendir(native_->path.c_str());
  if (dir == nullptr) return false;
  while (const dirent* entry = ::readdir(dir)) {
    if (!IsFolderEntry(::dirfd(dir), entry->d_name, entry->d_type)) {
      names->push_back(entry->d_name);
    }
  }
  ::closedir(dir);
  return true;
}

RecordFolder::Result RecordFolder::Read(const std::string& name, std::string* bytes) const {
  const int fd = OpenRetrying(native_->File(name).c_str(), O_RDONLY);
  if (fd < 0) return errno == ENOENT ? Result::kAbsent : Result::kFailed;
  bytes->clear();
  char buffer[16384];
  Result result = Result::kOk;
  for (;;) {
    const ssize_t got = ::read(fd, buffer, sizeof buffer);
    if (got == 0) break;
    if (got < 0) {
      if (errno == EINTR) continue;
      result = Result::kFailed;
      break;
    }
    bytes->append(buffer, static_cast<size_t>(got));
  }
  ::close(fd);
  return result;
}

RecordFolder::Result RecordFolder::WriteNew(const std::string& name,
                                            const std::string& bytes) const {
  const int fd = OpenRetrying(native_->File(name).c_str(), O_WRONLY | O_CREAT | O_EXCL, 0644);
  if (fd < 0) return errno == EEXIST ? Result::kBusy : Result::kFailed;
  const bool written = WriteAll(fd, bytes.data(), bytes.size()) && ::fsync(fd) == 0;
  const bool closed = ::close(fd) == 0;
  return written && closed ? Result::kOk : Result::kFailed;
}

RecordFolder::Result RecordFolder::Replace(const std::string& from, const std::string& to) const {
  if (::rename(native_->File(from).c_str(), native_->File(to).c_str()) != 0) {
    return errno == ENOENT ? Result::kAbsent : Result::kFailed;
  }
  return SyncFolder(native_->path) ? Result::kOk : Result::kFailed;
}

RecordFolder::Result RecordFolder::Delete(const std::string& name) const {
  if (::unlink(native_->File(name).c_str()) != 0) {
    return errno == ENOENT ? Result::kAbsent : Result::kFailed;
  }
  return SyncFolder(native_->path) ? Result::kOk : Result::kFailed;
}

unsigned long RecordFolder::ProcessId() { return static_cast<unsigned long>(::getpid()); }

}  // namespace OstrelHost
