// A signing object that signs everything with one fixed text and remembers
// what it was last asked to sign. Only for tests that link the internal
// library; single thread only.
#ifndef OSTREL_TESTS_SUPPORT_FIXEDSIGNER_H_
#define OSTREL_TESTS_SUPPORT_FIXEDSIGNER_H_

#include <string>

#include "net/IOstrelSign.h"

namespace OstrelTest {

class FixedSigner : public Ostrel::IOstrelSign {
 public:
  void SetLibraryFolder(const std::wstring&) override {}
  bool Init() override { return true; }
  void Release() override {}
  std::string Sign(const std::string& appKey, const std::string& text) override {
    signedAppKey = appKey;
    signedText = text;
    return signature;
  }

  std::string signature = "signature";  // empty: signing fails
  std::string signedAppKey, signedText;  // of the last call
};

}  // namespace OstrelTest

#endif  // OSTREL_TESTS_SUPPORT_FIXEDSIGNER_H_
