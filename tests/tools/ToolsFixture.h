// Shared set-up of the tools tests: a data folder in a temporary directory,
// and an ostrel-server serving it on a loopback port.
#ifndef OSTREL_TESTS_TOOLS_TOOLSFIXTURE_H_
#define OSTREL_TESTS_TOOLS_TOOLSFIXTURE_H_

#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <string>

namespace OstrelToolsTest {

// A fresh folder, removed with everything in it at the end of the test.
class TempFolder {
 public:
  TempFolder() {
    std::string pattern = (std::filesystem::temp_directory_path() / "ostrel-tools-XXXXXX").string();
    path_ = mkdtemp(&pattern[0]) != nullptr ? pattern : std::string();
  }
  ~TempFolder() {
    std::error_code ignored;
    if (!path_.empty()) std::filesystem::remove_all(path_, ignored);
  }
  TempFolder(const TempFolder&) = delete;
  TempFolder& operator=(const TempFolder&) = delete;

  const std::string& path() const { return path_; }

  // Writes (or replaces) relative, creating its folders.
  void Write(const std::string& relative, const std::string& text) const {
    const std::filesystem::path file = std::filesystem::path(path_) / relative;
    std::filesystem::create_directories(file.parent_path());
    std::ofstream(file, std::ios::binary | std::ios::trunc) << text;
  }
  void Remove(const std::string& relative) const {
    std::filesystem::remove(std::filesystem::path(path_) / relative);
  }

 private:
  std::string path_;
};

inline std::string Standard(const std::string& contentJson, const std::string& extra = "") {
  return "{\"type\":\"STANDARD\",\"content\":" + contentJson + extra + "}";
}

}  // namespace OstrelToolsTest

#endif  // OSTREL_TESTS_TOOLS_TOOLSFIXTURE_H_
