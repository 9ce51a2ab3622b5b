// Where the CLI finds the development signing library when --sign-dir is
// not given, by platform: libKelsafeProxy.so on POSIX systems, the pair
// KelsafePath64.dll and KelsafeProxy.dll on Windows.
#ifndef OSTREL_TOOLS_CLI_SIGNERFOLDER_H_
#define OSTREL_TOOLS_CLI_SIGNERFOLDER_H_

#include <string>

namespace OstrelCli {

// devsign/ beside the running program when the signer is there (the build
// tree), then the installed folder, <libdir>/ostrel/devsign beside bin/
// (POSIX only: the Windows build installs no tools). Empty when neither
// holds it, which leaves the library's own default, the program's folder.
std::string DefaultSignerFolder();

}  // namespace OstrelCli

#endif  // OSTREL_TOOLS_CLI_SIGNERFOLDER_H_
