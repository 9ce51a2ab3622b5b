// The process's engine and what it is built from.
#ifndef OSTREL_API_ENGINEROOT_H_
#define OSTREL_API_ENGINEROOT_H_

#include "center/ConfigCenter.h"
#include "host/Singleton.h"

namespace Ostrel {

// The one place that reaches for the process-wide services (the managers,
// the signing object, the task pool) and hands them to the engine. Only
// src/api and teardown use it.
class EngineRoot {
 public:
  // The engine, created with the process's services on first use. Inline:
  // every host read passes here.
  static ConfigCenter* Engine() {
    if (ConfigCenter* engine = Singleton<ConfigCenter>::Peek()) return engine;
    return CreateEngine();
  }
  // The engine if it exists; never creates one.
  static ConfigCenter* Peek() { return Singleton<ConfigCenter>::Peek(); }
  // Teardown: the pool must have stopped taking work.
  static void Destroy() { Singleton<ConfigCenter>::Destroy(); }

  // Where gateway interceptors relay notices: the engine of the moment.
  static bool RelayGatewayNotice(std::string notice);

  // The process's update checks are limited to one per interval, across
  // teardowns. Tests that play several processes in one let the next check
  // pass as a process's first.
  static void ForgetUpdateCheckForTest();

 private:
  static ConfigCenter* CreateEngine();
};

}  // namespace Ostrel

#endif  // OSTREL_API_ENGINEROOT_H_
