// What a signed request needs of the engine, taken when the request is made.
#ifndef OSTREL_NET_REQUESTCONTEXT_H_
#define OSTREL_NET_REQUESTCONTEXT_H_

#include <memory>
#include <string>

#include "host/Clock.h"
#include "host/Settings.h"
#include "net/IOstrelSign.h"
#include "net/NetworkManager.h"

namespace Ostrel {

struct RequestContext {
  NetworkManager* network = nullptr;  // not owned
  IOstrelSign* signer = nullptr;      // not owned
  // The init settings the request is made under; never null.
  std::shared_ptr<const Settings> settings = std::make_shared<const Settings>();
  // The index identity sent as "o-user-info":
  // <appKey>|<appVersion>|<appIndexVersion>|<versionIndexVersion>.
  std::string userInfo;
  SystemClock now = &Clock::SystemMillis;  // for the request's time stamp
};

}  // namespace Ostrel

#endif  // OSTREL_NET_REQUESTCONTEXT_H_
