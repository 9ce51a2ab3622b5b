// Request signing on Windows: the security library's DLLs loaded at run time.
#ifndef OSTREL_NET_WINURLSIGN_H_
#define OSTREL_NET_WINURLSIGN_H_

#include <memory>
#include <string>

#include "host/Mutex.h"
#include "net/IOstrelSign.h"

namespace Ostrel {

// Init looks for KelsafePath64.dll in the configured sign-library folder, or
// in the executable's folder when none is configured, and asks it where the
// security SDK is installed. KelsafeProxy.dll is loaded from there (or from
// the same folder when the path library gave no answer) and hands out the
// signing proxy and its error-code companion, which stay held until Release.
//
// Like the signer of the other platforms, one that was never started starts
// itself on the first Sign, so a request made before the start-up task got
// that far is still signed; a failed start is not retried by Sign (every
// request would pay for loading DLLs that are not there), the next Init tries
// again.
class WinUrlSign : public IOstrelSign {
 public:
  // Room for the signature and its terminating NUL, in wide characters.
  static constexpr unsigned kSignatureCapacity = 1024;
  // Longer keys or texts are refused rather than cut: a signature of a cut
  // text would be wrong without anyone noticing.
  static constexpr size_t kMaxInputLength = 64 * 1024;

  WinUrlSign();
  ~WinUrlSign() override;

  WinUrlSign(const WinUrlSign&) = delete;
  WinUrlSign& operator=(const WinUrlSign&) = delete;

  void SetLibraryFolder(const std::wstring& signLibraryFolder) override;
  bool Init() override;
  void Release() override;
  std::string Sign(const std::string& appKey, const std::string& text) override;

 private:
  class Proxy;

  bool Start() REQUIRES(loadMutex_);

  // Held for the whole of a load, and briefly by Sign before it reads the
  // proxy. Taken before mutex_ when both are held.
  Mutex loadMutex_;
  std::wstring folder_ GUARDED_BY(loadMutex_);
  Mutex mutex_;
  // Shared so that a Sign in progress keeps the DLLs loaded while Release
  // lets go of them; the last holder releases the interfaces and unloads.
  std::shared_ptr<const Proxy> proxy_ GUARDED_BY(mutex_);
  bool started_ GUARDED_BY(mutex_) = false;
};

}  // namespace Ostrel

#endif  // OSTREL_NET_WINURLSIGN_H_
