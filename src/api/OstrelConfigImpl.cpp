#include "api/OstrelConfigImpl.h"

#include <cstdlib>
#include <cstring>
#include <exception>
#include <new>
#include <string>
#include <string_view>

#include "host/ApiGate.h"
#include "api/CString.h"
#include "api/OConfig.h"
#include "api/EngineRoot.h"
#include "host/LogManager.h"
#include "host/StatisticsManager.h"
#include "host/StorageManager.h"
#include "model/KeyHash.h"
#include "net/NetworkManager.h"
#include "update/TovraIntercept.h"

namespace Ostrel {
namespace {

constexpr LogTag kTag("Ostrel.OstrelConfigImpl");
const char kPushServerId[] = "ostrel";

// Handed out when no interceptor can be allocated; never deleted.
TovraIntercept gSpareIntercept(&EngineRoot::RelayGatewayNotice);

std::string ToString(const char* text) { return text == nullptr ? std::string() : text; }

// Runs body behind the gate; any exception becomes fallback plus a log line.
template <typename Result, typename Body>
Result Guarded(const char* method, Result fallback, Body body) {
  ApiGate::Pass pass;
  if (!pass.open()) return fallback;
  try {
    return body();
  } catch (const std::exception& e) {
    LogError(method, kTag, std::string("failed: ") + e.what());
  } catch (...) {
    LogError(method, kTag, "failed");
  }
  return fallback;
}

// A lookup that falls back to a copy of defaultValue when it finds nothing,
// throws, or meets the library in teardown: a read always answers.
template <typename Lookup>
char* LookupOrDefault(const char* method, const char* defaultValue, Lookup lookup) {
  std::string value;
  if (Guarded(method, false, [&] { return lookup(value); })) return CopyToCString(value);
  return DuplicateCString(defaultValue);
}

// A read found no document, or no engine yet: creates the engine and asks
// for a load. Out of the read's hit path, and so is its handler.
void ReportReadMiss(std::string_view nameSpace) {
  try {
    EngineRoot::Engine()->OnLookupMiss(nameSpace);
  } catch (const std::exception& e) {
    LogError("getConfig", kTag, std::string("failed: ") + e.what());
  } catch (...) {
    LogError("getConfig", kTag, "failed");
  }
}

template <typename Body>
void GuardedVoid(const char* method, Body body) {
  Guarded(method, 0, [&] {
    body();
    return 0;
  });
}

}  // namespace

// The facade has no state, so one object in static storage serves every
// generation of the engine: a host that kept the pointer across teardown
// still reaches a valid object.
OstrelConfigImpl* OstrelConfigImpl::GetInstance() {
  static OstrelConfigImpl instance;
  return &instance;
}

bool OstrelConfigImpl::init(IOConfig* config) {
  return Guarded("init", false, [&] {
    if (config == nullptr) {
      LogError("Init", LogTag("Ostrel.ConfigCenter"), "init start , input param error");
      return false;
    }
    // IOConfig objects come only from CreateIOConfig.
    return EngineRoot::Engine()->Init(static_cast<OConfig*>(config)->ToSettings());
  });
}

char* OstrelConfigImpl::getConfig(const char* nameSpace, const char* key,
                                  const char* defaultValue) {
  return ReadConfig(nameSpace, key, defaultValue);
}

char* OstrelConfigImpl::ReadConfig(const char* nameSpace, const char* key,
                                   const char* defaultValue) {
  if (nameSpace == nullptr || key == nullptr) return nullptr;
  {
    // The hit path is written out here, inline and without a handler, as a
    // call or a landing pad costs a measurable share of a read: nothing on
    // it throws. The value is copied straight from the cached document,
    // inside the pass that keeps it alive.
    ApiGate::Pass pass;
    if (pass.open()) {
      const ConfigCenter* engine = EngineRoot::Peek();
      const std::string_view name(nameSpace, NameLength(nameSpace));
      std::string_view value;
      const ConfigCache::ValueLookup found =
          engine == nullptr
              ? ConfigCache::ValueLookup::kNoDocument
              : engine->PeekConfigValue(name, std::string_view(key, NameLength(key)), &value);
      if (found == ConfigCache::ValueLookup::kFound) {
        char* copy = static_cast<char*>(std::malloc(value.size() + 1));
        if (copy == nullptr) return nullptr;
        std::memcpy(copy, value.data(), value.size());
        copy[value.size()] = '\0';
        return copy;
      }
      if (found == ConfigCache::ValueLookup::kNoDocument) ReportReadMiss(name);
    }
  }
  return DuplicateCString(defaultValue);
}

bool OstrelConfigImpl::forceCheckUpdate() {
  GuardedVoid("forceCheckUpdate", [] { EngineRoot::Engine()->ForceCheckUpdate(); });
  return true;
}

char* OstrelConfigImpl::getConfigs(const char* nameSpace, int* count) {
  if (count != nullptr) *count = 0;
  return Guarded("getConfigs", static_cast<char*>(nullptr), [&]() -> char* {
    int pairs = 0;
    char* packed = EngineRoot::Engine()->GetConfigObj(ToString(nameSpace), &pairs);
    if (count != nullptr) *count = packed == nullptr ? 0 : pairs;
    return packed;
  });
}

char* OstrelConfigImpl::getCustomConfig(const char* nameSpace, const char* defaultValue) {
  return LookupOrDefault("getCustomConfig", defaultValue, [&](std::string& content) {
    return EngineRoot::Engine()->GetConfigObj(ToString(nameSpace), content);
  });
}

void OstrelConfigImpl::registerListener(const char* nameSpace, IOConfigListener* listener) {
  GuardedVoid("registerListener", [&] {
    EngineRoot::Engine()->RegisterListener(ToString(nameSpace), listener);
  });
}

void OstrelConfigImpl::unregisterListener(const char* nameSpace, IOConfigListener* listener) {
  GuardedVoid("unregisterListener", [&] {
    EngineRoot::Engine()->UnregisterListener(ToString(nameSpace), listener);
  });
}

void OstrelConfigImpl::unregisterListeners(const char* nameSpace) {
  GuardedVoid("unregisterListeners",
              [&] { EngineRoot::Engine()->UnregisterListeners(ToString(nameSpace)); });
}

void OstrelConfigImpl::setHttpClient(IOHttpClient* client) {
  GuardedVoid("setHttpClient", [&] { NetworkManager::GetInstance()->SetHttpClient(client); });
}

void OstrelConfigImpl::setStatistics(IOStatistics* statistics) {
  GuardedVoid("setStatistics",
              [&] { StatisticsManager::GetInstance()->SetStatistics(statistics); });
}

void OstrelConfigImpl::setStorage(IOStorage* storage) {
  GuardedVoid("setStorage", [&] { StorageManager::GetInstance()->SetStorage(storage); });
}

void OstrelConfigImpl::installLogger(IOLog* logger) {
  GuardedVoid("installLogger", [&] { LogManager::GetInstance()->SetLogger(logger); });
}

void OstrelConfigImpl::changeLogLevel(int level) {
  GuardedVoid("changeLogLevel", [&] { LogManager::GetInstance()->SetLevel(level); });
}

// Not gated: releasing memory touches no engine state and must work even
// while the library is being torn down.
void OstrelConfigImpl::freeConfigValue(char* value) { FreeCString(value); }

// Not gated: hosts call the interceptor without testing it, so even during
// teardown they get one. It holds no state, and its calls pass the gate
// themselves.
IOIntercept* OstrelConfigImpl::getIntercept() {
  IOIntercept* intercept = new (std::nothrow) TovraIntercept(&EngineRoot::RelayGatewayNotice);
  return intercept != nullptr ? intercept : &gSpareIntercept;
}

// Not gated, like freeConfigValue: the interceptor is the host's object.
void OstrelConfigImpl::releaseIntercept(IOIntercept* intercept) {
  if (intercept != &gSpareIntercept) delete intercept;
}

void OstrelConfigImpl::PeskUpdateNamespace(const char* serverId, const char* dataId,
                                           char* data, int dataLength) {
  (void)dataId;
  GuardedVoid("PeskUpdateNamespace", [&] {
    // The message need not be NUL-terminated: take exactly dataLength bytes.
    std::string message;
    if (data != nullptr && dataLength > 0) message.assign(data, static_cast<size_t>(dataLength));
    const char* kMethod = "PeskUpdateNamespace";
    LogInfo(kMethod, kTag, "PeskUpdateNamespace:" + message);
    const std::string server = ToString(serverId);
    if (server != kPushServerId) {
      LogError(kMethod, kTag, "PeskUpdateNamespace: server id is not ostrel, but" + server);
      return;
    }
    if (!EngineRoot::Engine()->PostPushedNamespace(std::move(message))) {
      LogError(kMethod, kTag, "PeskUpdateNamespace: ostrel did not init yet!!!");
    }
  });
}

}  // namespace Ostrel
