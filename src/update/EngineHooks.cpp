#include "update/EngineHooks.h"

#include <mutex>

namespace Ostrel {
namespace {

struct HookState {
  std::mutex mutex;
  EngineHooks::ReadyProbe readyProbe;
};

HookState& State() {
  static HookState* state = new HookState();
  return *state;
}

}  // namespace

bool EngineHooks::IsEngineReady() {
  EngineHooks::ReadyProbe probe;
  {
    std::lock_guard<std::mutex> lock(State().mutex);
    probe = State().readyProbe;
  }
  return probe && probe();
}

void EngineHooks::InstallReadyProbe(ReadyProbe probe) {
  std::lock_guard<std::mutex> lock(State().mutex);
  State().readyProbe = std::move(probe);
}

void EngineHooks::Clear() {
  std::lock_guard<std::mutex> lock(State().mutex);
  State().readyProbe = nullptr;
}

}  // namespace Ostrel
