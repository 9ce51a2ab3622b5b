// Binary interfaces of the security library that signs requests on Windows.
//
// The library is two DLLs installed beside the host: KelsafePath64.dll tells
// where the security SDK lives, KelsafeProxy.dll (in that folder) signs. Each
// exports one C function, QueryInterface, which hands out reference-counted
// objects by interface name.
//
// The objects are called through their vtables across DLLs that may come
// from different compilers, so the interfaces keep to the subset of C++ whose
// layout MSVC and GCC agree on: single inheritance, no data, no virtual
// destructor (the compilers give it one slot and two slots respectively),
// plain integer and wide-character arguments. Objects are never deleted
// through these interfaces; Release gives them back to their DLL.
#ifndef OSTREL_NET_KELSAFEINTERFACES_H_
#define OSTREL_NET_KELSAFEINTERFACES_H_

namespace Ostrel {
namespace Kelsafe {

// Every operation answers kOk on success and anything else on failure.
constexpr int kOk = 0;

constexpr wchar_t kPathLibraryName[] = L"KelsafePath64.dll";
constexpr wchar_t kProxyLibraryName[] = L"KelsafeProxy.dll";
constexpr char kQueryInterfaceSymbol[] = "QueryInterface";

// Names accepted by QueryInterface.
constexpr char kSdkDirectoryPathId[] = "ISdkDirectoryPath";  // KelsafePath64.dll
constexpr char kUrlSignProxyId[] = "IUrlSignProxy";          // KelsafeProxy.dll
constexpr char kErrorCodeId[] = "IErrorCode";                // KelsafeProxy.dll

// int QueryInterface(const char* interfaceId, void** object): on success
// *object holds one reference to a new object of the named interface.
using QueryInterfaceFunction = int (*)(const char* interfaceId, void** object);

// Slots 0 and 1 of every interface.
class IKelsafeUnknown {
 public:
  virtual int AddRef() = 0;
  // Drops one reference; the object is gone after the last.
  virtual int Release() = 0;

 protected:
  ~IKelsafeUnknown() = default;
};

// Where the security SDK is installed.
class ISdkDirectoryPath : public IKelsafeUnknown {
 public:
  // Slot 2: writes the installation folder, NUL-terminated, into directory,
  // which holds capacity wide characters.
  virtual int GetSDKDirectoryPath(wchar_t* directory, unsigned capacity) = 0;

 protected:
  ~ISdkDirectoryPath() = default;
};

class IUrlSignProxy : public IKelsafeUnknown {
 public:
  // Slot 2: the signature of text under appKey, NUL-terminated, into
  // signature, which holds capacity wide characters. Safe to call from
  // several threads at once.
  virtual int UrlSign(const wchar_t* appKey, const wchar_t* text, wchar_t* signature,
                      unsigned capacity) = 0;

 protected:
  ~IUrlSignProxy() = default;
};

class IErrorCode : public IKelsafeUnknown {
 public:
  // Slot 2: the code of the last failed call on the calling thread.
  virtual int GetLastErrorCode() = 0;

 protected:
  ~IErrorCode() = default;
};

}  // namespace Kelsafe
}  // namespace Ostrel

#endif  // OSTREL_NET_KELSAFEINTERFACES_H_
