// What the stand-ins for the security DLLs do, shared by the stand-ins and
// the tests that drive them.
//
// KelsafeProxy.dll signs (appKey, text) as "sig(" appKey "," text ")", so a
// test sees exactly what reached the DLL. It refuses an empty app key with
// kNoAppKeyCode and a signature longer than the buffer with kTooLongCode;
// for kUnterminatedAppKey it fills the whole buffer without a terminator.
// KelsafePath64.dll reports the folder "sdk" beside itself as the SDK
// directory. Both count their live objects, so a test can tell that every
// reference handed out was released.
#ifndef OSTREL_TESTS_WIN_KELSAFEDOUBLE_H_
#define OSTREL_TESTS_WIN_KELSAFEDOUBLE_H_

#include <atomic>

namespace KelsafeDouble {

constexpr int kNoAppKeyCode = 40101;
constexpr int kTooLongCode = 40102;
constexpr int kNoDirectoryCode = 40401;
constexpr char kUnterminatedAppKey[] = "unterminated";
// int KelsafeLiveObjects(): objects handed out and not yet released.
constexpr char kLiveObjectsSymbol[] = "KelsafeLiveObjects";
constexpr wchar_t kSdkFolder[] = L"sdk";

// Reference counting of a stand-in object; the last Release deletes it.
template <typename Interface>
class Counted : public Interface {
 public:
  explicit Counted(std::atomic<int>* live) : live_(live) { live_->fetch_add(1); }
  virtual ~Counted() { live_->fetch_sub(1); }
  Counted(const Counted&) = delete;
  Counted& operator=(const Counted&) = delete;

  int AddRef() override { return refs_.fetch_add(1) + 1; }
  int Release() override {
    const int left = refs_.fetch_sub(1) - 1;
    if (left == 0) delete this;
    return left;
  }

 private:
  std::atomic<int>* const live_;
  std::atomic<int> refs_{1};
};

}  // namespace KelsafeDouble

#endif  // OSTREL_TESTS_WIN_KELSAFEDOUBLE_H_
