#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>

#include "RecordFolder.h"

namespace OstrelHost {

struct RecordFolder::Native {
  std::wstring path;  // absolute, with the \\?\ prefix where it applies
  std::wstring File(const std::string& name) const {
    // Names are ASCII, so each byte is one UTF-16 unit.
    return path + L"\\" + std::wstring(name.begin(), name.end());
  }
};

namespace {

std::wstring Widen(const std::string& text) {
  if (text.empty()) return std::wstring();
  const int size = MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, text.data(),
                                       static_cast<int>(text.size()), nullptr, 0);
  if (size <= 0) return std::wstring();
  std::wstring wide(static_cast<size_t>(size), L'\0');
  MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, text.data(), static_cast<int>(text.size()),
                      wide.data(), size);
  return wide;
}

std::string SystemText(DWORD code) {
  char* text = nullptr;
  const DWORD length = FormatMessageA(
      FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS,
      nullptr, code, 0, reinterpret_cast<char*>(&text), 0, nullptr);
  std::string message = "error " + std::to_string(code);
  if (length > 0 && text != nullptr) {
    std::string described(text, length);
    while (!described.empty() && (described.back() == '\n' || described.back() == '\r' ||
                                  described.back() == ' ' || described.back() == '.')) {
      described.pop_back();
    }
    message += " (" + described + ")";
  }
  LocalFree(text);
  return message;
}

// Absolute, so that a relative path keeps its meaning when the process
// changes its working folder, and prefixed so that long paths work.
std::wstring FullPath(const std::wstring& path) {
  const DWORD needed = GetFullPathNameW(path.c_str(), 0, nullptr, nullptr);
  if (needed == 0) return std::wstring();
  std::wstring full(needed, L'\0');
  const DWORD length = GetFullPathNameW(path.c_str(), needed, full.data(), nullptr);
  if (length == 0 || length >= needed) return std::wstring();
  full.resize(length);
  while (full.size() > 3 && full.back() == L'\\') full.pop_back();
  if (full.size() >= 3 && full[1] == L':' && full[2] == L'\\') return L"\\\\?\\" + full;
  return full;
}

// True when path is a folder; otherwise the last error says why not.
bool IsFolder(const std::wstring& path) {
  const DWORD attributes = GetFileAttributesW(path.c_str());
  if (attributes == INVALID_FILE_ATTRIBUTES) return false;
  if ((attributes & FILE_ATTRIBUTE_DIRECTORY) != 0) return true;
  SetLastError(ERROR_DIRECTORY);
  return false;
}

bool MakeFolders(const std::wstring& path) {
  if (IsFolder(path)) return true;
  if (GetLastError() == ERROR_DIRECTORY) return false;
  const size_t slash = path.find_last_of(L'\\');
  // Stops at the drive ("\\?\C:") or the share; those exist or cannot be made.
  if (slash != std::wstring::npos && slash > 7 && !MakeFolders(path.substr(0, slash))) {
    return false;
  }
  return CreateDirectoryW(path.c_str(), nullptr) != 0 ||
         GetLastError() == ERROR_ALREADY_EXISTS;
}

// Sharing violations, and access denied on a file whose deletion is
// pending, pass once the other handle closes.
RecordFolder::Result Classify(DWORD code) {
  switch (code) {
    case ERROR_FILE_NOT_FOUND:
    case ERROR_PATH_NOT_FOUND:
      return RecordFolder::Result::kAbsent;
    case ERROR_SHARING_VIOLATION:
    case ERROR_ACCESS_DENIED:
    case ERROR_LOCK_VIOLATION:
    case ERROR_FILE_EXISTS:
    case ERROR_ALREADY_EXISTS:
      return RecordFolder::Result::kBusy;
    default:
      return RecordFolder::Result::kFailed;
  }
}

class HandleCloser {
 public:
  explicit HandleCloser(HANDLE handle) : handle_(handle) {}
  ~HandleCloser() { CloseHandle(handle_); }
  HandleCloser(const HandleCloser&) = delete;
  HandleCloser& operator=(const HandleCloser&) = delete;

 private:
  const HANDLE handle_;
};

}  // namespace

RecordFolder::RecordFolder(std::unique_ptr<Native> native) : native_(std::move(native)) {}
RecordFolder::~RecordFolder() = default;

std::unique_ptr<RecordFolder> RecordFolder::Open(const std::string& path, IfAbsent ifAbsent,
                                                 std::string* error) {
  if (path.empty()) {
    *error = "empty folder path";
    return nullptr;
  }
  const std::wstring wide = Widen(path);
  const std::wstring full = wide.empty() ? std::wstring() : FullPath(wide);
  if (full.empty()) {
    *error = path + ": not a usable path";
    return nullptr;
  }
  if (!(ifAbsent == IfAbsent::kCreate ? MakeFolders(full) : IsFolder(full))) {
    *error = path + ": " + SystemText(GetLastError());
    return nullptr;
  }
  std::unique_ptr<Native> native(new Native{full});
  return std::unique_ptr<RecordFolder>(new RecordFolder(std::move(native)));
}

bool RecordFolder::List(std::vector<std::string>* names) const {
  WIN32_FIND_DATAW entry;
  const HANDLE find = FindFirstFileW((native_->path + L"\\*").c_str(), &entry);
  if (find == INVALID_HANDLE_VALUE) return GetLastError() == ERROR_FILE_NOT_FOUND;
  do {
    if ((entry.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0) continue;
    // Only ASCII names can be this store's; others are kept out of the list
    // rather than mangled into one of its names.
    std::string name;
    for (const wchar_t* c = entry.cFileName; *c != L'\0'; ++c) {
      if (*c > 0x7f) {
        name.clear();
        break;
      }
      name += static_cast<char>(*c);
    }
    if (!name.empty()) names->push_back(name);
  } while (FindNextFileW(find, &entry));
  FindClose(find);
  return true;
}

RecordFolder::Result RecordFolder::Read(const std::string& name, std::string* bytes) const {
  // Full sharing, so that a writer may rename over the record or delete it
  // while it is read.
  const HANDLE file = CreateFileW(native_->File(name).c_str(), GENERIC_READ,
                                  FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                  OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
  if (file == INVALID_HANDLE_VALUE) return Classify(GetLastError());
  HandleCloser closer(file);
  bytes->clear();
  char buffer[16384];
  for (;;) {
    DWORD got = 0;
    if (!ReadFile(file, buffer, sizeof buffer, &got, nullptr)) return Result::kFailed;
    if (got == 0) return Result::kOk;
    bytes->append(buffer, got);
  }
}

RecordFolder::Result RecordFolder::WriteNew(const std::string& name,
                                            const std::string& bytes) const {
  // No FILE_SHARE_DELETE: another process cleaning stale temporary files
  // cannot take this one while it is written.
  const HANDLE file = CreateFileW(native_->File(name).c_str(), GENERIC_WRITE, FILE_SHARE_READ,
                                  nullptr, CREATE_NEW, FILE_ATTRIBUTE_NORMAL, nullptr);
  if (file == INVALID_HANDLE_VALUE) return Classify(GetLastError());
  HandleCloser closer(file);
  const char* data = bytes.data();
  size_t left = bytes.size();
  while (left > 0) {
    const DWORD chunk = left > (1u << 30) ? (1u << 30) : static_cast<DWORD>(left);
    DWORD written = 0;
    if (!WriteFile(file, data, chunk, &written, nullptr) || written == 0) return Result::kFailed;
    data += written;
    left -= written;
  }
  return FlushFileBuffers(file) ? Result::kOk : Result::kFailed;
}

RecordFolder::Result RecordFolder::Replace(const std::string& from, const std::string& to) const {
  if (MoveFileExW(native_->File(from).c_str(), native_->File(to).c_str(),
                  MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH)) {
    return Result::kOk;
  }
  return Classify(GetLastError());
}

RecordFolder::Result RecordFolder::Delete(const std::string& name) const {
  if (DeleteFileW(native_->File(name).c_str())) return Result::kOk;
  return Classify(GetLastError());
}

unsigned long RecordFolder::ProcessId() { return GetCurrentProcessId(); }

}  // namespace OstrelHost
