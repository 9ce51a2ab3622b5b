#include "SignerFolder.h"

#include <unistd.h>

#include <vector>

namespace OstrelCli {
namespace {

// The folder of the running program, from the kernel rather than argv[0],
// which holds no folder when the program was found on the PATH.
std::string ProgramFolder() {
  std::vector<char> path(4096);
  const ssize_t length = readlink("/proc/self/exe", path.data(), path.size());
  if (length <= 0 || static_cast<size_t>(length) >= path.size()) return ".";
  const std::string program(path.data(), static_cast<size_t>(length));
  return program.substr(0, program.rfind('/'));
}

}  // namespace

std::string DefaultSignerFolder() {
  const std::string folder = ProgramFolder();
  for (const std::string& candidate :
       {folder + "/devsign", folder + "/../" OSTREL_CLI_INSTALL_LIBDIR "/ostrel/devsign"}) {
    if (access((candidate + "/libKelsafeProxy.so").c_str(), R_OK) == 0) return candidate;
  }
  return std::string();
}

}  // namespace OstrelCli
