#include "StoreListing.h"

#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>

#include <algorithm>
#include <memory>

namespace OstrelCli {
namespace {

struct FindEnd {
  void operator()(HANDLE find) const { FindClose(find); }
};
struct HandleClose {
  void operator()(HANDLE handle) const { CloseHandle(handle); }
};

std::wstring Widen(const std::string& text) {
  if (text.empty()) return std::wstring();
  const int size = MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, text.data(),
                                       static_cast<int>(text.size()), nullptr, 0);
  if (size <= 0) return std::wstring();
  std::wstring wide(static_cast<size_t>(size), L'\0');
  MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, text.data(), static_cast<int>(text.size()),
                      &wide[0], size);
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

int HexValue(wchar_t c) {
  if (c >= L'0' && c <= L'9') return c - L'0';
  if (c >= L'A' && c <= L'F') return c - L'A' + 10;
  return -1;
}

bool IsPlain(int c) {
  return (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '-' || c == '_';
}

// The key that FileStorage stores under the file name: "k-<encoded>.rec",
// where a-z, 0-9, '-' and '_' stand for themselves and every other byte is
// %XX in upper-case hex. Decoded strictly, so that only a name the store
// would write for some key counts: a temporary file, or a name no key maps
// to (a plain byte escaped, lower-case hex), is no record of it.
bool KeyOfName(const std::wstring& name, std::string& key) {
  static const std::wstring kPrefix = L"k-";
  static const std::wstring kSuffix = L".rec";
  if (name.size() < kPrefix.size() + kSuffix.size() ||
      name.compare(0, kPrefix.size(), kPrefix) != 0 ||
      name.compare(name.size() - kSuffix.size(), kSuffix.size(), kSuffix) != 0) {
    return false;
  }
  key.clear();
  const size_t end = name.size() - kSuffix.size();
  for (size_t at = kPrefix.size(); at < end; ++at) {
    if (name[at] != L'%') {
      if (!IsPlain(name[at])) return false;
      key += static_cast<char>(name[at]);
      continue;
    }
    if (end - at < 3) return false;
    const int high = HexValue(name[at + 1]);
    const int low = HexValue(name[at + 2]);
    if (high < 0 || low < 0 || IsPlain(high * 16 + low)) return false;
    key += static_cast<char>(high * 16 + low);
    at += 2;
  }
  return true;
}

enum class ReadResult { kOk, kGone, kFailed };

// Full sharing, so that a running library may replace or remove the record
// while it is read; one removed between the listing and the read is gone.
ReadResult ReadFileBytes(const std::wstring& path, std::string& bytes, DWORD& failure) {
  const HANDLE raw = CreateFileW(path.c_str(), GENERIC_READ,
                                 FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                 OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
  if (raw == INVALID_HANDLE_VALUE) {
    failure = GetLastError();
    return failure == ERROR_FILE_NOT_FOUND ? ReadResult::kGone : ReadResult::kFailed;
  }
  const std::unique_ptr<void, HandleClose> file(raw);
  bytes.clear();
  char buffer[16384];
  for (;;) {
    DWORD got = 0;
    if (!ReadFile(file.get(), buffer, sizeof buffer, &got, nullptr)) {
      failure = GetLastError();
      return ReadResult::kFailed;
    }
    if (got == 0) return ReadResult::kOk;
    bytes.append(buffer, got);
  }
}

}  // namespace

bool StoreListing::Read(const std::string& path, StoreListing& listing, std::string& error) {
  const std::wstring folder = Widen(path);
  if (folder.empty()) {
    error = "not a usable path";
    return false;
  }
  WIN32_FIND_DATAW entry;
  const HANDLE raw = FindFirstFileW((folder + L"\\*").c_str(), &entry);
  if (raw == INVALID_HANDLE_VALUE) {
    error = SystemText(GetLastError());
    return false;
  }
  const std::unique_ptr<void, FindEnd> find(raw);
  StoreListing read;
  do {
    std::string key;
    if ((entry.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0 ||
        !KeyOfName(entry.cFileName, key)) {
      continue;
    }
    std::string value;
    DWORD failure = 0;
    const ReadResult result = ReadFileBytes(folder + L"\\" + entry.cFileName, value, failure);
    if (result == ReadResult::kGone) continue;
    if (result == ReadResult::kFailed) {
      // A record's name is ASCII: each UTF-16 unit is one byte.
      const std::wstring name = entry.cFileName;
      error = std::string(name.begin(), name.end()) + ": " + SystemText(failure);
      return false;
    }
    read.records.push_back(Examine(std::string(), key, value));
  } while (FindNextFileW(find.get(), &entry));
  const DWORD ended = GetLastError();
  if (ended != ERROR_NO_MORE_FILES) {
    error = SystemText(ended);
    return false;
  }
  std::sort(read.records.begin(), read.records.end(),
            [](const Record& a, const Record& b) { return a.key < b.key; });
  listing = std::move(read);
  return true;
}

}  // namespace OstrelCli
