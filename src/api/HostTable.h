// Default service hosts per host group and environment.
#ifndef OSTREL_API_HOSTTABLE_H_
#define OSTREL_API_HOSTTABLE_H_

namespace Ostrel {

constexpr int kEnvOnline = 0;
constexpr int kEnvPreRelease = 1;
constexpr int kEnvDaily = 2;
constexpr int kEnvCount = 3;
constexpr int kHostGroupCount = 2;

// The data-centre host of the signed API for a valid group (0, 1) and
// environment (0 online, 1 pre-release, 2 daily).
const char* DefaultApiHost(int hostGroup, int env);

}  // namespace Ostrel

#endif  // OSTREL_API_HOSTTABLE_H_
