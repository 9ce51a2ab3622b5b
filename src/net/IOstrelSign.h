// The library's interface to request signing. The signature itself comes from
// a closed security library installed beside the host; the library holds no
// key and no algorithm of its own.
#ifndef OSTREL_NET_IOSTRELSIGN_H_
#define OSTREL_NET_IOSTRELSIGN_H_

#include <string>

namespace Ostrel {

// Implementations are thread-safe: the start-up task may start the signer
// while pool tasks already ask for signatures.
class IOstrelSign {
 public:
  // Where Init, and a start on the first Sign, look for the security
  // library: signLibraryFolder, or the running executable's folder when it
  // is empty (the default). Takes effect at the next start.
  virtual void SetLibraryFolder(const std::wstring& signLibraryFolder) = 0;
  // Locates and loads the security library. False when it is unavailable;
  // Sign then answers with empty signatures.
  virtual bool Init() = 0;
  // Lets go of the loaded library; later signatures are empty.
  virtual void Release() = 0;
  // The signature of text under appKey, or empty on any failure.
  virtual std::string Sign(const std::string& appKey, const std::string& text) = 0;
  virtual ~IOstrelSign() = default;
};

}  // namespace Ostrel

#endif  // OSTREL_NET_IOSTRELSIGN_H_
