// A signing object that signs everything with one fixed text. Only for tests
// that link the internal library.
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
  std::string Sign(const std::string&, const std::string&) override { return signature; }

  std::string signature = "signature";  // empty: signing fails
};

}  // namespace OstrelTest

#endif  // OSTREL_TESTS_SUPPORT_FIXEDSIGNER_H_
