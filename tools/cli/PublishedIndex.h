// Which namespaces the server publishes for the app, read from its current
// index, so that a read of one it does not publish ends at once instead of
// waiting for a download that will never come.
#ifndef OSTREL_TOOLS_CLI_PUBLISHEDINDEX_H_
#define OSTREL_TOOLS_CLI_PUBLISHEDINDEX_H_

#include <optional>
#include <set>
#include <string>

#include "LocalSession.h"

namespace OstrelCli {

// Stateless; used on the CLI's main thread, as the session is.
class PublishedIndex {
 public:
  // The names the app's current index lists: its notice from
  // /admin/notice, then the index it names. Empty when the app has nothing
  // published; nullopt when the server did not answer or the index could not
  // be read.
  static std::optional<std::set<std::string>> Namespaces(OstrelLocal::LocalSession& session);

  // The names in an index document's "mergedNamespaces"; nullopt when it is
  // not such a document.
  static std::optional<std::set<std::string>> Parse(const std::string& indexJson);
};

}  // namespace OstrelCli

#endif  // OSTREL_TOOLS_CLI_PUBLISHEDINDEX_H_
