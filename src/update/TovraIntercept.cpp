#include "update/TovraIntercept.h"

#include <cstdlib>
#include <string>

#include "center/OThreadPoolFactory.h"
#include "update/IndexUpdateHandler.h"

#include "update/EngineHooks.h"
#include "host/ApiGate.h"
#include "host/LogManager.h"

namespace Ostrel {
namespace {

const char kTag[] = "Ostrel.TovraIntercept";

}  // namespace

void TovraIntercept::OnOstrelResponse(const char* text) {
  if (text == nullptr) return;
  // A host call like any facade slot: kept out of a teardown in progress.
  ApiGate::Pass pass;
  if (!pass.open()) return;
  if (!EngineHooks::IsEngineReady()) {
    LogError("OnOstrelResponse", kTag, "ostrel did not init yet!!!");
    return;
  }
  // Copy now: the host's text is valid only during this call.
  std::string notice(text);
  OThreadPoolFactory::PostSecondary(
      [notice = std::move(notice)] { IndexUpdateHandler::UpdateIndex(notice, false); },
      "TovraIntercept::OnOstrelResponse");
}

// Buffers handed out by the library come from its own malloc.
void TovraIntercept::FreeValue(char* value) { std::free(value); }

}  // namespace Ostrel
