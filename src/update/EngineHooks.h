// What the update layer may ask of the engine, installed by the engine at
// construction so that this layer never includes it.
#ifndef OSTREL_UPDATE_ENGINEHOOKS_H_
#define OSTREL_UPDATE_ENGINEHOOKS_H_

#include <functional>

#include "update/IndexUpdateHandler.h"

namespace Ostrel {

class EngineHooks {
 public:
  using ReadyProbe = std::function<bool()>;
  using IndexApplier = std::function<void(const IndexUpdateHandler::IndexUpdateInfo&)>;

  // False while no engine is installed.
  static bool IsEngineReady();
  // Hands an accepted notice to the engine's index application; does nothing
  // while no engine is installed.
  static void ApplyIndexUpdate(const IndexUpdateHandler::IndexUpdateInfo& info);

  static void Install(ReadyProbe probe, IndexApplier applier);
  static void Clear();
};

}  // namespace Ostrel

#endif  // OSTREL_UPDATE_ENGINEHOOKS_H_
