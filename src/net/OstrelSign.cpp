#include "net/OstrelSign.h"

#include "host/Singleton.h"

namespace Ostrel {

IOstrelSign* OstrelSign::GetInstance() {
  return Singleton<IOstrelSign>::GetOrCreate([] { return CreatePlatformSign().release(); });
}

IOstrelSign* OstrelSign::Peek() { return Singleton<IOstrelSign>::Peek(); }

void OstrelSign::DestroyInstance() {
  if (IOstrelSign* instance = Peek()) instance->Release();
  Singleton<IOstrelSign>::Destroy();
}

}  // namespace Ostrel
