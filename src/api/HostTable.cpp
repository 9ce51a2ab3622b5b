#include "api/HostTable.h"

namespace Ostrel {
namespace {

// Indexed [group][env]. Hosts that ship their own service set the host
// explicitly (setHost); these are the defaults of the hosted service.
const char* const kApiHosts[kHostGroupCount][kEnvCount] = {
    {"config.ostrel.example.com", "config-pre.ostrel.example.com",
     "config-daily.ostrel.example.com"},
    {"config.eu.ostrel.example.com", "config-pre.eu.ostrel.example.com",
     "config-daily.eu.ostrel.example.com"},
};

}  // namespace

const char* DefaultApiHost(int hostGroup, int env) {
  if (hostGroup < 0 || hostGroup >= kHostGroupCount || env < 0 || env >= kEnvCount) {
    return "";
  }
  return kApiHosts[hostGroup][env];
}

}  // namespace Ostrel
