// Request signing outside Windows: a security library loaded at run time.
#ifndef OSTREL_NET_POSIXURLSIGN_H_
#define OSTREL_NET_POSIXURLSIGN_H_

#include <memory>
#include <string>

#include "host/Mutex.h"
#include "net/IOstrelSign.h"

namespace Ostrel {

// Loads kLibraryName from the configured sign-library directory, or from the
// running executable's directory when none is configured, and signs through
// its exported function kSignSymbol:
//   int KelsafeUrlSign(const char* appKey, const char* text,
//                      char* out, unsigned outCapacity);
// 0 means success with a NUL-terminated signature in out.
//
// A signer that was never started starts itself on the first Sign, so that
// a request made before the start-up task got that far still gets signed.
// A failed start is not retried by Sign (every request would otherwise pay a
// failing dlopen); the next Init tries again.
class PosixUrlSign : public IOstrelSign {
 public:
  static constexpr char kLibraryName[] = "libKelsafeProxy.so";
  static constexpr char kSignSymbol[] = "KelsafeUrlSign";
  // Room for the signature and its terminating NUL. Longer results are cut.
  static constexpr unsigned kSignatureCapacity = 1024;

  PosixUrlSign();
  ~PosixUrlSign() override;

  PosixUrlSign(const PosixUrlSign&) = delete;
  PosixUrlSign& operator=(const PosixUrlSign&) = delete;

  void SetLibraryFolder(const std::wstring& signLibraryFolder) override;
  bool Init() override;
  void Release() override;
  std::string Sign(const std::string& appKey, const std::string& text) override;

  // The full path Init loads for this folder (empty: the executable's).
  static std::string LibraryPath(const std::wstring& signLibraryFolder);

 private:
  class Library;

  bool Load() REQUIRES(loadMutex_);
  bool IsStarted();

  // Serialises loading, so that a Sign arriving while the library loads waits
  // for it instead of answering empty. Taken before mutex_, never after.
  Mutex loadMutex_;
  std::wstring folder_ GUARDED_BY(loadMutex_);
  Mutex mutex_;
  // Shared so that a Sign in progress keeps the library mapped while Release
  // lets go of it; the last holder unloads it.
  std::shared_ptr<const Library> library_ GUARDED_BY(mutex_);
  // Set once a load was attempted, whatever its outcome.
  bool started_ GUARDED_BY(mutex_) = false;
};

}  // namespace Ostrel

#endif  // OSTREL_NET_POSIXURLSIGN_H_
