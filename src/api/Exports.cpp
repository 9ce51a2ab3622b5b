// The six C exports.
#include "ostrel/OstrelSdk.h"


#include "api/CString.h"
#include "api/OConfig.h"
#include "api/OstrelConfigImpl.h"
#include "api/Teardown.h"

using Ostrel::IOConfig;
using Ostrel::IOstrelConfig;

extern "C" {

OSTREL_EXPORT IOConfig* CreateIOConfig() {
  try {
    return new Ostrel::OConfig();
  } catch (...) {
    return nullptr;
  }
}

// Runs the destructor too, so that the object's strings are not leaked: init
// copies every field, so nothing refers to the object afterwards.
OSTREL_EXPORT void DestroyIOConfig(IOConfig* config) {
  delete static_cast<Ostrel::OConfig*>(config);
}

OSTREL_EXPORT IOstrelConfig* GetIOstrelConfig() {
  return Ostrel::OstrelConfigImpl::GetInstance();
}

OSTREL_EXPORT void DestroyIOstrelConfig() {
  try {
    Ostrel::TearDownLibrary();
  } catch (...) {
  }
}

// The two read exports reach the facade's code directly: a call to
// GetIOstrelConfig, an exported name, would go through the dynamic loader's
// table on every read, and the slot through the vtable.
OSTREL_EXPORT char* getOstrelConfig(const char* nameSpace, const char* key,
                                    const char* defaultValue) {
  return Ostrel::OstrelConfigImpl::ReadConfig(nameSpace, key, defaultValue);
}

OSTREL_EXPORT void freeOstrelConfigValue(char* value) { Ostrel::FreeCString(value); }

}  // extern "C"
