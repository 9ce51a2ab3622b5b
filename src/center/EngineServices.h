// What the engine is built from.
#ifndef OSTREL_CENTER_ENGINESERVICES_H_
#define OSTREL_CENTER_ENGINESERVICES_H_

#include "host/Clock.h"
#include "host/Executor.h"
#include "host/StorageManager.h"
#include "net/IOstrelSign.h"
#include "net/NetworkManager.h"
#include "update/UpdateCheckGate.h"

namespace Ostrel {

// Which executor runs which of the engine's tasks. The library fills it from
// its task pool in one place (OThreadPoolFactory::Route); a test fills it
// with executors of its own.
struct EngineExecutors {
  Executor* startUp = nullptr;    // the start-up task "Init"
  Executor* lazyLoads = nullptr;  // loads asked for by reads and registrations
  Executor* network = nullptr;    // update checks, gateway notices and pushes
  Executor* storage = nullptr;    // storage writes of both caches
};

// None of it is owned by the engine: every service outlives it, and every
// executor takes no more work before the engine is destroyed.
struct EngineServices {
  StorageManager* storage = nullptr;
  NetworkManager* network = nullptr;
  IOstrelSign* signer = nullptr;
  EngineExecutors executors;
  // Process-wide, so that a new engine does not check for updates again
  // within the interval.
  UpdateCheckGate* updateCheckGate = nullptr;
  SystemClock systemClock = &Clock::SystemMillis;  // request time stamps
};

}  // namespace Ostrel

#endif  // OSTREL_CENTER_ENGINESERVICES_H_
