#include "host/Settings.h"

#include <mutex>

namespace Ostrel {
namespace {

struct SettingsState {
  std::mutex mutex;
  std::shared_ptr<const Settings> current = std::make_shared<const Settings>();
  std::string appIndexVersion = "0";
  std::string versionIndexVersion = "0";
};

// Never destroyed: library threads may still read settings while the process
// exits, and the state owns nothing but memory.
SettingsState& State() {
  static SettingsState* state = new SettingsState();
  return *state;
}

}  // namespace

std::shared_ptr<const Settings> EngineSettings::Current() {
  SettingsState& state = State();
  std::lock_guard<std::mutex> lock(state.mutex);
  return state.current;
}

void EngineSettings::Replace(const Settings& settings) {
  auto next = std::make_shared<const Settings>(settings);
  SettingsState& state = State();
  std::lock_guard<std::mutex> lock(state.mutex);
  state.current = std::move(next);
}

void EngineSettings::Reset() {
  auto empty = std::make_shared<const Settings>();
  SettingsState& state = State();
  std::lock_guard<std::mutex> lock(state.mutex);
  state.current = std::move(empty);
  state.appIndexVersion = "0";
  state.versionIndexVersion = "0";
}

std::string EngineSettings::IndexIdentity() {
  SettingsState& state = State();
  std::lock_guard<std::mutex> lock(state.mutex);
  return state.current->appKey + "|" + state.current->appVersion + "|" +
         state.appIndexVersion + "|" + state.versionIndexVersion;
}

void EngineSettings::SetIndexVersions(const std::string& appIndexVersion,
                                      const std::string& versionIndexVersion) {
  SettingsState& state = State();
  std::lock_guard<std::mutex> lock(state.mutex);
  state.appIndexVersion = appIndexVersion;
  state.versionIndexVersion = versionIndexVersion;
}

}  // namespace Ostrel
