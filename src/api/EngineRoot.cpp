#include "api/EngineRoot.h"

#include "center/OThreadPoolFactory.h"
#include "net/OstrelSign.h"

namespace Ostrel {
namespace {

// Never destroyed: the rate limit of update checks holds for the whole
// process, across teardowns.
UpdateCheckGate& ProcessUpdateCheckGate() {
  static UpdateCheckGate* gate = new UpdateCheckGate(&Clock::SystemMillis);
  return *gate;
}

}  // namespace

ConfigCenter* EngineRoot::CreateEngine() {
  return Singleton<ConfigCenter>::GetOrCreate([] {
    EngineServices services;
    services.storage = StorageManager::GetInstance();
    services.network = NetworkManager::GetInstance();
    services.signer = OstrelSign::GetInstance();
    services.executors = OThreadPoolFactory::GetInstance()->Route();
    services.updateCheckGate = &ProcessUpdateCheckGate();
    return new ConfigCenter(services);
  });
}

void EngineRoot::ForgetUpdateCheckForTest() { ProcessUpdateCheckGate().Forget(); }

bool EngineRoot::RelayGatewayNotice(std::string notice) {
  return Engine()->PostGatewayNotice(std::move(notice));
}

}  // namespace Ostrel
