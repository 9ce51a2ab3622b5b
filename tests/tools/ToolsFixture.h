// Shared set-up of the tools tests: a data folder in a temporary directory,
// and an ostrel-server serving it on a loopback port.
#ifndef OSTREL_TESTS_TOOLS_TOOLSFIXTURE_H_
#define OSTREL_TESTS_TOOLS_TOOLSFIXTURE_H_

#include <filesystem>
#include <fstream>
#include <string>

#include "ScratchDir.h"

namespace OstrelToolsTest {

// A fresh folder, removed with everything in it at the end of the test,
// that data files are written into.
class TempFolder : public OstrelTest::ScratchDir {
 public:
  // Writes (or replaces) relative, creating its folders.
  void Write(const std::string& relative, const std::string& text) const {
    const std::filesystem::path file = std::filesystem::path(path()) / relative;
    std::filesystem::create_directories(file.parent_path());
    std::ofstream(file, std::ios::binary | std::ios::trunc) << text;
  }
  void Remove(const std::string& relative) const {
    std::filesystem::remove(std::filesystem::path(path()) / relative);
  }
};

inline std::string Standard(const std::string& contentJson, const std::string& extra = "") {
  return "{\"type\":\"STANDARD\",\"content\":" + contentJson + extra + "}";
}

}  // namespace OstrelToolsTest

#endif  // OSTREL_TESTS_TOOLS_TOOLSFIXTURE_H_
