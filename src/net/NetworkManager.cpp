#include "net/NetworkManager.h"

#include "host/Singleton.h"

namespace Ostrel {

NetworkManager* NetworkManager::GetInstance() { return Singleton<NetworkManager>::Get(); }

void NetworkManager::DestroyInstance() { Singleton<NetworkManager>::Destroy(); }

}  // namespace Ostrel
