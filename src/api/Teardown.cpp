#include "api/Teardown.h"

#include "api/EngineRoot.h"
#include "center/OThreadPoolFactory.h"
#include "host/ApiGate.h"
#include "host/LogManager.h"
#include "host/Mutex.h"
#include "host/StatisticsManager.h"
#include "host/StorageManager.h"
#include "net/NetworkManager.h"
#include "net/OstrelSign.h"

namespace Ostrel {
namespace {

constexpr LogTag kTag("Ostrel.OstrelConfigImpl");

Mutex gTeardownMutex;

}  // namespace

void TearDownLibrary() {
  if (TaskExecutor::IsWorkerThread() || ApiGate::InsideOnThisThread()) {
    LogError("DestroyIOstrelConfig", kTag,
             "DestroyIOstrelConfig refused: called from inside the library");
    return;
  }
  MutexLock lock(&gTeardownMutex);
  ApiGate::CloseAndDrain();
  // Long loops on the pool end after their current request, so that the
  // pool's shutdown below waits for one request at most.
  if (ConfigCenter* engine = EngineRoot::Peek()) engine->Stop();
  // The pool stops before the engine goes (no task outlives what it
  // touches) and is freed after it (the engine posts to its executors
  // until then; a stopped executor refuses).
  if (OThreadPoolFactory* pool = OThreadPoolFactory::PeekInstance()) pool->Shutdown();
  EngineRoot::Destroy();
  OThreadPoolFactory::DestroyInstance();
  OstrelSign::DestroyInstance();
  NetworkManager::DestroyInstance();
  LogManager::DestroyInstance();
  StorageManager::DestroyInstance();
  StatisticsManager::DestroyInstance();
  ApiGate::Reopen();
}

}  // namespace Ostrel
