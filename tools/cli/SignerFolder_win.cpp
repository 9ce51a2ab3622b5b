#include "SignerFolder.h"

#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>

#include <vector>

namespace OstrelCli {
namespace {

// UTF-8, as the library takes the sign-library path.
std::string Narrow(const std::wstring& text) {
  if (text.empty()) return std::string();
  const int size = WideCharToMultiByte(CP_UTF8, 0, text.data(), static_cast<int>(text.size()),
                                       nullptr, 0, nullptr, nullptr);
  if (size <= 0) return std::string();
  std::string narrow(static_cast<size_t>(size), '\0');
  WideCharToMultiByte(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), &narrow[0], size,
                      nullptr, nullptr);
  return narrow;
}

bool IsFile(const std::wstring& path) {
  const DWORD attributes = GetFileAttributesW(path.c_str());
  return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) == 0;
}

}  // namespace

std::string DefaultSignerFolder() {
  // Grows until the whole path fits: a long path is cut without an error
  // other than the full buffer.
  std::vector<wchar_t> path(MAX_PATH);
  DWORD length = 0;
  while ((length = GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size()))) ==
             path.size() &&
         path.size() < 32768) {
    path.resize(path.size() * 2);
  }
  if (length == 0 || length >= path.size()) return std::string();
  const std::wstring program(path.data(), length);
  const size_t slash = program.find_last_of(L"\\/");
  if (slash == std::wstring::npos) return std::string();
  // The SDK loads KelsafePath64.dll from the folder, which names the folder
  // of KelsafeProxy.dll: both must be there.
  const std::wstring candidate = program.substr(0, slash) + L"\\devsign";
  if (!IsFile(candidate + L"\\KelsafePath64.dll") || !IsFile(candidate + L"\\KelsafeProxy.dll")) {
    return std::string();
  }
  return Narrow(candidate);
}

}  // namespace OstrelCli
