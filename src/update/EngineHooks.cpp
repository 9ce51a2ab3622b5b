#include "update/EngineHooks.h"

#include <mutex>

namespace Ostrel {
namespace {

struct HookState {
  std::mutex mutex;
  EngineHooks::ReadyProbe readyProbe;
  EngineHooks::IndexApplier indexApplier;
};

HookState& State() {
  static HookState* state = new HookState();
  return *state;
}

}  // namespace

// Copies are taken under the lock and called outside it: the applier runs a
// whole index update.
bool EngineHooks::IsEngineReady() {
  ReadyProbe probe;
  {
    std::lock_guard<std::mutex> lock(State().mutex);
    probe = State().readyProbe;
  }
  return probe && probe();
}

void EngineHooks::ApplyIndexUpdate(const IndexUpdateHandler::IndexUpdateInfo& info) {
  IndexApplier applier;
  {
    std::lock_guard<std::mutex> lock(State().mutex);
    applier = State().indexApplier;
  }
  if (applier) applier(info);
}

void EngineHooks::Install(ReadyProbe probe, IndexApplier applier) {
  std::lock_guard<std::mutex> lock(State().mutex);
  State().readyProbe = std::move(probe);
  State().indexApplier = std::move(applier);
}

void EngineHooks::Clear() {
  std::lock_guard<std::mutex> lock(State().mutex);
  State().readyProbe = nullptr;
  State().indexApplier = nullptr;
}

}  // namespace Ostrel
