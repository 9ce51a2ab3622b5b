#include "ostrel_host/FileStorage.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "RecordFolder.h"

namespace OstrelHost {
namespace {

using Result = RecordFolder::Result;

constexpr int kFailed = 1;
constexpr size_t kMaxEncodedKey = 200;
constexpr char kRecordPrefix[] = "k-";
constexpr char kRecordSuffix[] = ".rec";
constexpr char kTempPrefix[] = "t-";
constexpr char kTempSuffix[] = ".tmp";
// Another process's handle blocks a Windows rename or delete only while it
// reads or writes one record, so a short wait is enough.
constexpr int kAttempts = 60;

bool IsPlain(unsigned char c) {
  return (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '-' || c == '_';
}

// Empty when the key cannot be a file name of this store.
std::string RecordName(const char* key) {
  static const char kHex[] = "0123456789ABCDEF";
  std::string name = kRecordPrefix;
  for (const char* c = key; *c != '\0'; ++c) {
    const auto byte = static_cast<unsigned char>(*c);
    if (IsPlain(byte)) {
      name += *c;
    } else {
      name += '%';
      name += kHex[byte >> 4];
      name += kHex[byte & 0xf];
    }
    if (name.size() - (sizeof kRecordPrefix - 1) > kMaxEncodedKey) return std::string();
  }
  return name + kRecordSuffix;
}

bool Framed(const std::string& name, const char* prefix, const char* suffix) {
  const size_t prefixLength = std::strlen(prefix);
  const size_t suffixLength = std::strlen(suffix);
  return name.size() >= prefixLength + suffixLength && name.compare(0, prefixLength, prefix) == 0 &&
         name.compare(name.size() - suffixLength, suffixLength, suffix) == 0;
}

int HexDigit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

// The key whose record name is name; false when name is none. Decoded names
// must encode back to themselves, so that a temporary file or a name that
// no key maps to (a plain byte escaped, say) is no record.
bool KeyOfRecordName(const std::string& name, std::string* key) {
  if (!Framed(name, kRecordPrefix, kRecordSuffix)) return false;
  key->clear();
  const size_t end = name.size() - (sizeof kRecordSuffix - 1);
  for (size_t at = sizeof kRecordPrefix - 1; at < end; ++at) {
    if (name[at] != '%') {
      *key += name[at];
      continue;
    }
    if (end - at < 3) return false;
    const int high = HexDigit(name[at + 1]);
    const int low = HexDigit(name[at + 2]);
    if (high < 0 || low < 0) return false;
    *key += static_cast<char>(high * 16 + low);
    at += 2;
  }
  return RecordName(key->c_str()) == name;
}

// Unique in the process across every store, and across processes by the
// process id; a name a dead process left behind is skipped as taken.
std::string TempName() {
  static std::atomic<unsigned long> counter{0};
  return kTempPrefix + std::to_string(RecordFolder::ProcessId()) + "-" +
         std::to_string(counter.fetch_add(1)) + kTempSuffix;
}

void Pause(int attempt) {
  std::this_thread::sleep_for(std::chrono::milliseconds(std::min(1 + attempt, 10)));
}

// One try at a Save: a temporary file renamed over the record. kBusy asks
// for another try under a new temporary name.
Result WriteRecord(const RecordFolder& folder, const std::string& name, const std::string& bytes) {
  const std::string temp = TempName();
  const Result written = folder.WriteNew(temp, bytes);
  // Busy: a process that died with this process's id left the name.
  if (written == Result::kBusy) return Result::kBusy;
  Result replaced = written;
  if (written == Result::kOk) {
    replaced = folder.Replace(temp, name);
    for (int attempt = 0; replaced == Result::kBusy && attempt < kAttempts; ++attempt) {
      Pause(attempt);
      replaced = folder.Replace(temp, name);
    }
    if (replaced == Result::kOk) return Result::kOk;
    // Absent: an Open in another process cleaned the temporary file away.
    if (replaced == Result::kAbsent) return Result::kBusy;
  }
  folder.Delete(temp);
  return Result::kFailed;
}

}  // namespace

FileStorage::FileStorage(std::unique_ptr<RecordFolder> folder) : folder_(std::move(folder)) {}
FileStorage::~FileStorage() = default;

std::unique_ptr<FileStorage> FileStorage::Open(const std::string& path, std::string* error) {
  try {
    std::string reason;
    std::unique_ptr<RecordFolder> folder =
        RecordFolder::Open(path, RecordFolder::IfAbsent::kCreate, &reason);
    if (!folder) {
      if (error != nullptr) *error = reason;
      return nullptr;
    }
    std::vector<std::string> names;
    if (!folder->List(&names)) {
      if (error != nullptr) *error = path + ": cannot list the folder";
      return nullptr;
    }
    // A temporary file another process is still writing is protected by
    // its handle on Windows; on POSIX its writer finds it gone at the rename
    // and writes again.
    for (const std::string& name : names) {
      if (Framed(name, kTempPrefix, kTempSuffix)) folder->Delete(name);
    }
    return std::unique_ptr<FileStorage>(new FileStorage(std::move(folder)));
  } catch (...) {
    if (error != nullptr) *error = "out of memory";
    return nullptr;
  }
}

bool FileStorage::ReadRecords(const std::string& path, std::vector<Record>* records,
                              std::string* error) {
  try {
    const std::unique_ptr<RecordFolder> folder =
        RecordFolder::Open(path, RecordFolder::IfAbsent::kRefuse, error);
    if (!folder) return false;
    std::vector<std::string> names;
    if (!folder->List(&names)) {
      *error = path + ": cannot list the folder";
      return false;
    }
    std::vector<Record> read;
    Record record;
    for (const std::string& name : names) {
      if (!KeyOfRecordName(name, &record.first)) continue;
      const Result result = folder->Read(name, &record.second);
      // Removed since the listing.
      if (result == Result::kAbsent) continue;
      if (result != Result::kOk) {
        *error = name + ": cannot be read";
        return false;
      }
      read.push_back(std::move(record));
    }
    std::sort(read.begin(), read.end());
    *records = std::move(read);
    return true;
  } catch (...) {
    *error = "out of memory";
    return false;
  }
}

int FileStorage::Save(const char* key, const char* value) {
  if (key == nullptr || value == nullptr) return kFailed;
  try {
    const std::string name = RecordName(key);
    if (name.empty()) return kFailed;
    const std::string bytes(value);
    for (int attempt = 0; attempt < kAttempts; ++attempt) {
      const Result result = WriteRecord(*folder_, name, bytes);
      if (result == Result::kOk) return 0;
      if (result == Result::kFailed) return kFailed;
      Pause(attempt);
    }
    return kFailed;
  } catch (...) {
    return kFailed;
  }
}

char* FileStorage::Load(const char* key) {
  if (key == nullptr) return nullptr;
  try {
    const std::string name = RecordName(key);
    if (name.empty()) return nullptr;
    std::string bytes;
    for (int attempt = 0; attempt < kAttempts; ++attempt) {
      const Result result = folder_->Read(name, &bytes);
      if (result == Result::kOk) {
        auto* copy = static_cast<char*>(std::malloc(bytes.size() + 1));
        if (copy == nullptr) return nullptr;
        std::memcpy(copy, bytes.data(), bytes.size());
        copy[bytes.size()] = '\0';
        return copy;
      }
      if (result != Result::kBusy) return nullptr;
      Pause(attempt);
    }
    return nullptr;
  } catch (...) {
    return nullptr;
  }
}

int FileStorage::Remove(const char* key) {
  if (key == nullptr) return kFailed;
  try {
    const std::string name = RecordName(key);
    // No file can hold such a key, so it is already absent.
    if (name.empty()) return 0;
    for (int attempt = 0; attempt < kAttempts; ++attempt) {
      const Result result = folder_->Delete(name);
      if (result == Result::kOk || result == Result::kAbsent) return 0;
      if (result == Result::kFailed) return kFailed;
      Pause(attempt);
    }
    return kFailed;
  } catch (...) {
    return kFailed;
  }
}

int FileStorage::Reserved() { return 0; }

int FileStorage::Clear() {
  try {
    std::vector<std::string> names;
    if (!folder_->List(&names)) return kFailed;
    int result = 0;
    for (const std::string& name : names) {
      if (!Framed(name, kRecordPrefix, kRecordSuffix)) continue;
      Result deleted = Result::kBusy;
      for (int attempt = 0; attempt < kAttempts && deleted == Result::kBusy; ++attempt) {
        if (attempt > 0) Pause(attempt);
        deleted = folder_->Delete(name);
      }
      if (deleted != Result::kOk && deleted != Result::kAbsent) result = kFailed;
    }
    return result;
  } catch (...) {
    return kFailed;
  }
}

void FileStorage::Free(char* buffer) { std::free(buffer); }

}  // namespace OstrelHost
