// The smallest host: obtains the facade, reads a value it has not loaded yet
// (and so gets the default back), and tears the library down.
#include <cstdio>
#include <cstring>

#include "ostrel/OstrelSdk.h"

int main() {
  Ostrel::IOstrelConfig* sdk = GetIOstrelConfig();
  char* value = sdk->getConfig("demo", "greeting", "hello");
  const bool ok = value != nullptr && std::strcmp(value, "hello") == 0;
  std::printf("consumer read: %s\n", value != nullptr ? value : "(null)");
  freeOstrelConfigValue(value);
  DestroyIOstrelConfig();
  return ok ? 0 : 1;
}
