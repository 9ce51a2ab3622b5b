#include "TreeExport.h"

#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <utility>

namespace OstrelServer {
namespace {

namespace fs = std::filesystem;

// Empty on success; otherwise why the file could not be put in place.
std::string WriteAtomically(const fs::path& file, const std::string& body) {
  std::error_code error;
  fs::create_directories(file.parent_path(), error);
  if (error) return error.message();
  const fs::path temporary = file.string() + ".tmp-" + std::to_string(getpid());
  {
    std::ofstream out(temporary, std::ios::binary | std::ios::trunc);
    out << body;
    out.close();
    if (!out) {
      fs::remove(temporary, error);
      return "cannot write";
    }
  }
  fs::rename(temporary, file, error);
  if (error) {
    const std::string reason = error.message();
    fs::remove(temporary, error);
    return reason;
  }
  return std::string();
}

}  // namespace

TreeExport::TreeExport(std::string folder) : folder_(std::move(folder)) {}

std::vector<std::string> TreeExport::Write(const std::map<std::string, std::string>& resources) {
  std::vector<std::string> errors;
  for (const auto& resource : resources) {
    if (written_.count(resource.first) != 0) continue;
    const fs::path file = fs::path(folder_) / resource.first;
    const std::string problem = WriteAtomically(file, resource.second);
    if (problem.empty()) {
      written_.insert(resource.first);
    } else {
      errors.push_back("export " + file.string() + ": " + problem);
    }
  }
  for (auto it = written_.begin(); it != written_.end();) {
    if (resources.count(*it) != 0) {
      ++it;
      continue;
    }
    // A stale file that stays is harmless: no index names it any more.
    std::error_code error;
    fs::remove(fs::path(folder_) / *it, error);
    it = written_.erase(it);
  }
  return errors;
}

}  // namespace OstrelServer
