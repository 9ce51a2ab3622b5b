#include "update/TovraIntercept.h"

#include <cstdlib>

#include "update/EngineHooks.h"
#include "host/LogManager.h"

namespace Ostrel {
namespace {

const char kTag[] = "Ostrel.TovraIntercept";

}  // namespace

void TovraIntercept::OnOstrelResponse(const char* text) {
  if (!EngineHooks::IsEngineReady()) {
    LogError("OnOstrelResponse", kTag, "ostrel did not init yet!!!");
    return;
  }
  (void)text;
}

// Buffers handed out by the library come from its own malloc.
void TovraIntercept::FreeValue(char* value) { std::free(value); }

}  // namespace Ostrel
