#include "net/PosixUrlSign.h"

#include <dlfcn.h>
#include <unistd.h>

#include <cstring>
#include <vector>

#include "host/LogManager.h"
#include "net/OstrelSign.h"

namespace Ostrel {
namespace {

constexpr LogTag kTag("PosixUrlSign");

using SignFunction = int (*)(const char*, const char*, char*, unsigned);

void AppendUtf8(std::string& out, uint32_t codePoint) {
  // wchar_t holds UTF-32 here; anything that is not a scalar value becomes
  // U+FFFD, so the path stays valid UTF-8.
  if (codePoint > 0x10FFFF || (codePoint >= 0xD800 && codePoint <= 0xDFFF)) {
    codePoint = 0xFFFD;
  }
  if (codePoint < 0x80) {
    out.push_back(static_cast<char>(codePoint));
  } else if (codePoint < 0x800) {
    out.push_back(static_cast<char>(0xC0 | (codePoint >> 6)));
    out.push_back(static_cast<char>(0x80 | (codePoint & 0x3F)));
  } else if (codePoint < 0x10000) {
    out.push_back(static_cast<char>(0xE0 | (codePoint >> 12)));
    out.push_back(static_cast<char>(0x80 | ((codePoint >> 6) & 0x3F)));
    out.push_back(static_cast<char>(0x80 | (codePoint & 0x3F)));
  } else {
    out.push_back(static_cast<char>(0xF0 | (codePoint >> 18)));
    out.push_back(static_cast<char>(0x80 | ((codePoint >> 12) & 0x3F)));
    out.push_back(static_cast<char>(0x80 | ((codePoint >> 6) & 0x3F)));
    out.push_back(static_cast<char>(0x80 | (codePoint & 0x3F)));
  }
}

std::string ToUtf8(const std::wstring& text) {
  std::string out;
  for (wchar_t c : text) AppendUtf8(out, static_cast<uint32_t>(c));
  return out;
}

std::string ExecutableDirectory() {
  std::vector<char> buffer(4096);
  const ssize_t length = readlink("/proc/self/exe", buffer.data(), buffer.size());
  if (length <= 0 || static_cast<size_t>(length) >= buffer.size()) return ".";
  std::string path(buffer.data(), static_cast<size_t>(length));
  const size_t slash = path.rfind('/');
  if (slash == std::string::npos) return ".";
  return slash == 0 ? "/" : path.substr(0, slash);
}

std::string DlError() {
  const char* error = dlerror();
  return error == nullptr ? std::string("unknown error") : std::string(error);
}

}  // namespace

// One dlopen of the library; unloaded when the last holder lets go.
class PosixUrlSign::Library {
 public:
  Library(void* handle, SignFunction signFunction) : handle_(handle), sign_(signFunction) {}
  ~Library() { dlclose(handle_); }
  Library(const Library&) = delete;
  Library& operator=(const Library&) = delete;

  SignFunction sign() const { return sign_; }

 private:
  void* const handle_;
  const SignFunction sign_;
};

std::unique_ptr<IOstrelSign> CreatePlatformSign() { return std::make_unique<PosixUrlSign>(); }

PosixUrlSign::PosixUrlSign() = default;

PosixUrlSign::~PosixUrlSign() = default;

std::string PosixUrlSign::LibraryPath(const std::wstring& signLibraryFolder) {
  std::string directory =
      signLibraryFolder.empty() ? ExecutableDirectory() : ToUtf8(signLibraryFolder);
  if (directory.back() != '/') directory.push_back('/');
  return directory + kLibraryName;
}

void PosixUrlSign::SetLibraryFolder(const std::wstring& signLibraryFolder) {
  MutexLock loadLock(&loadMutex_);
  folder_ = signLibraryFolder;
}

bool PosixUrlSign::Init() {
  MutexLock loadLock(&loadMutex_);
  return Load();
}

bool PosixUrlSign::Load() {
  {
    MutexLock lock(&mutex_);
    if (library_ != nullptr) {
      started_ = true;
      return true;
    }
  }
  const std::string path = LibraryPath(folder_);
  void* handle = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
  void* symbol = nullptr;
  if (handle == nullptr) {
    LogError("Start", kTag, "Load " + path + " error: " + DlError());
  } else {
    symbol = dlsym(handle, kSignSymbol);
    if (symbol == nullptr) {
      LogError("Start", kTag, std::string("Get ") + kSignSymbol + " error: " + DlError());
      dlclose(handle);
    }
  }
  MutexLock lock(&mutex_);
  started_ = true;
  if (symbol == nullptr) return false;
  library_ = std::make_shared<const Library>(handle, reinterpret_cast<SignFunction>(symbol));
  return true;
}

bool PosixUrlSign::IsStarted() {
  MutexLock lock(&mutex_);
  return started_;
}

void PosixUrlSign::Release() {
  std::shared_ptr<const Library> released;
  MutexLock lock(&mutex_);
  // Moved out so that the unload (if this was the last holder) runs after
  // the lock is gone.
  released = std::move(library_);
}

std::string PosixUrlSign::Sign(const std::string& appKey, const std::string& text) {
  if (!IsStarted()) {
    MutexLock loadLock(&loadMutex_);
    // Another thread may have loaded (or failed to) while this one waited;
    // a failed start is not repeated here.
    if (!IsStarted()) Load();
  }
  std::shared_ptr<const Library> library;
  {
    MutexLock lock(&mutex_);
    library = library_;
  }
  if (library == nullptr) return std::string();

  std::vector<char> out(kSignatureCapacity, '\0');
  int result;
  try {
    result = library->sign()(appKey.c_str(), text.c_str(), out.data(), kSignatureCapacity);
  } catch (...) {
    result = -1;
  }
  if (result != 0) {
    LogError("Sign", kTag, "UrlSign error result:" + std::to_string(result));
    return std::string();
  }
  // The library may fill the whole buffer without a terminator.
  out.back() = '\0';
  return std::string(out.data(), strnlen(out.data(), out.size()));
}

}  // namespace Ostrel
