#include "update/TovraIntercept.h"

#include <cstdlib>

#include "host/ApiGate.h"
#include "host/LogManager.h"

namespace Ostrel {
namespace {

constexpr LogTag kTag("Ostrel.TovraIntercept");

}  // namespace

void TovraIntercept::OnOstrelResponse(const char* text) {
  if (text == nullptr) return;
  // A host call like any facade slot: kept out of a teardown in progress.
  ApiGate::Pass pass;
  if (!pass.open()) return;
  try {
    // Copied now: the host's text is valid only during this call.
    if (!relay_(std::string(text))) LogError("OnOstrelResponse", kTag, "ostrel did not init yet!!!");
  } catch (...) {
    LogError("OnOstrelResponse", kTag, "failed");
  }
}

// Buffers handed out by the library come from its own malloc.
void TovraIntercept::FreeValue(char* value) { std::free(value); }

}  // namespace Ostrel
