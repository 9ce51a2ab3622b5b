// The server's list of every namespace of the application.
#ifndef OSTREL_MODEL_INDEXDO_H_
#define OSTREL_MODEL_INDEXDO_H_

#include <list>
#include <memory>
#include <string>

#include "model/CheckDO.h"
#include "model/NamespaceDO.h"

namespace Ostrel {

// Created by ParseFormJson and shared by reference counting; not changed once
// published, except for the namespaces' changed flags, which the index cache
// sets before it publishes the index.
class IndexDO : public CheckDO {
 public:
  // An empty pointer when text is not an index document; the reason has been
  // logged ("Ostrel.IndexDO", "ParseFormJson"), after the namespace parser's
  // own line when a namespace was refused.
  static std::shared_ptr<IndexDO> ParseFormJson(const std::string& text);

  // Every field set, at least one namespace, and meant for app ("*" is any
  // version). Logs "index invaild" only for
  // another application. The namespaces themselves are not checked here.
  bool CheckValid(const AppScope& app) const override;

  // Compact JSON that ParseFormJson reads back into an equal index;
  // "mergedNamespaces" is written even when empty.
  std::string ToJson() const;

  std::string appKey;
  std::string appVersion;
  std::string appIndexVersion;
  std::string versionIndexVersion;
  std::string id;
  std::string cdn;
  std::string version;
  // In document order.
  std::list<std::shared_ptr<NamespaceDO>> mergedNamespaces;
};

}  // namespace Ostrel

#endif  // OSTREL_MODEL_INDEXDO_H_
