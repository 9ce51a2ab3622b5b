// A fresh folder under the system's temporary folder, removed with its
// content at the end of the test.
#ifndef OSTREL_TESTS_ADAPTERS_SCRATCHDIR_H_
#define OSTREL_TESTS_ADAPTERS_SCRATCHDIR_H_

#include <stdlib.h>

#include <filesystem>
#include <string>
#include <system_error>

namespace OstrelTest {

class ScratchDir {
 public:
  ScratchDir() {
    std::string pattern = (std::filesystem::temp_directory_path() / "ostrel-XXXXXX").string();
    if (mkdtemp(pattern.data()) != nullptr) path_ = pattern;
  }
  ~ScratchDir() {
    std::error_code ignored;
    if (!path_.empty()) std::filesystem::remove_all(path_, ignored);
  }
  ScratchDir(const ScratchDir&) = delete;
  ScratchDir& operator=(const ScratchDir&) = delete;

  // Empty when the folder could not be made.
  const std::string& path() const { return path_; }
  std::string File(const std::string& name) const { return path_ + "/" + name; }

 private:
  std::string path_;
};

}  // namespace OstrelTest

#endif  // OSTREL_TESTS_ADAPTERS_SCRATCHDIR_H_
