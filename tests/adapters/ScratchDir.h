// A fresh folder under the system's temporary folder, removed with its
// content at the end of the test.
#ifndef OSTREL_TESTS_ADAPTERS_SCRATCHDIR_H_
#define OSTREL_TESTS_ADAPTERS_SCRATCHDIR_H_

#include <filesystem>
#include <random>
#include <string>
#include <system_error>

namespace OstrelTest {

class ScratchDir {
 public:
  ScratchDir() {
    std::error_code error;
    const std::filesystem::path temp = std::filesystem::temp_directory_path(error);
    if (error) return;
    // create_directory reports false for a folder that exists, so a name
    // is never shared with another test or process.
    std::random_device seed;
    std::mt19937 random(seed());
    for (int attempt = 0; attempt < 100 && path_.empty(); ++attempt) {
      const std::filesystem::path candidate = temp / ("ostrel-" + std::to_string(random()));
      if (std::filesystem::create_directory(candidate, error)) path_ = candidate.string();
    }
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
