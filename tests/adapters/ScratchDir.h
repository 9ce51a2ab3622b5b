// A fresh folder under the system's temporary folder, removed with its
// content at the end of the test; path() is empty when none could be made.
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
    std::mt19937 random(std::random_device{}());
    // create_directory is false for a folder that exists, so no other test
    // or process ever shares the name.
    for (int attempt = 0; !error && attempt < 100 && path_.empty(); ++attempt) {
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

  const std::string& path() const { return path_; }
  std::string File(const std::string& name) const { return path_ + "/" + name; }

 private:
  std::string path_;
};

}  // namespace OstrelTest

#endif  // OSTREL_TESTS_ADAPTERS_SCRATCHDIR_H_
