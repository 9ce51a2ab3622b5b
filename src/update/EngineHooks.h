// What the update layer may ask of the engine, installed by the engine at
// construction so that this layer never includes it.
#ifndef OSTREL_UPDATE_ENGINEHOOKS_H_
#define OSTREL_UPDATE_ENGINEHOOKS_H_

#include <functional>

namespace Ostrel {

class EngineHooks {
 public:
  using ReadyProbe = std::function<bool()>;

  // False while no engine is installed.
  static bool IsEngineReady();

  static void InstallReadyProbe(ReadyProbe probe);
  static void Clear();
};

}  // namespace Ostrel

#endif  // OSTREL_UPDATE_ENGINEHOOKS_H_
