#include "api/Teardown.h"

#include <mutex>

#include "host/ApiGate.h"
#include "center/ConfigCenter.h"
#include "center/OThreadPoolFactory.h"
#include "host/LogManager.h"
#include "host/StatisticsManager.h"
#include "host/StorageManager.h"
#include "net/NetworkManager.h"
#include "net/OstrelSign.h"

namespace Ostrel {
namespace {

const char kTag[] = "Ostrel.OstrelConfigImpl";

std::mutex gTeardownMutex;

}  // namespace

void TearDownLibrary() {
  if (TaskExecutor::IsWorkerThread() || ApiGate::InsideOnThisThread()) {
    LogError("DestroyIOstrelConfig", kTag,
             "DestroyIOstrelConfig refused: called from inside the library");
    return;
  }
  std::lock_guard<std::mutex> lock(gTeardownMutex);
  ApiGate::CloseAndDrain();
  // Long loops on the pool end after their current request, so that the
  // pool's shutdown below waits for one request at most.
  if (ConfigCenter* engine = ConfigCenter::PeekInstance()) engine->Stop();
  OThreadPoolFactory::DestroyInstance();
  ConfigCenter::DestroyInstance();
  OstrelSign::DestroyInstance();
  NetworkManager::DestroyInstance();
  LogManager::DestroyInstance();
  StorageManager::DestroyInstance();
  StatisticsManager::DestroyInstance();
  ApiGate::Reopen();
}

}  // namespace Ostrel
