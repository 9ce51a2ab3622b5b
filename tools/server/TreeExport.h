// Writes published resources into a folder at the paths a CDN serves them
// from, <folder>/<resourceId>, so that any static web server can take the
// downloads off ostrel-server.
#ifndef OSTREL_TOOLS_SERVER_TREEEXPORT_H_
#define OSTREL_TOOLS_SERVER_TREEEXPORT_H_

#include <map>
#include <set>
#include <string>
#include <vector>

namespace OstrelServer {

// Not thread-safe: the publisher calls it from one publication at a time.
class TreeExport {
 public:
  explicit TreeExport(std::string folder);

  // Writes every resource (id -> body) not written before, each through a
  // temporary file renamed into place, so that a server never sends half a
  // file; then removes the files of earlier resources that are gone from
  // resources. Files this object did not write are left alone. Returns one
  // line per failure; a resource that failed is tried again next time.
  std::vector<std::string> Write(const std::map<std::string, std::string>& resources);

 private:
  const std::string folder_;
  std::set<std::string> written_;  // resource ids whose file is in place
};

}  // namespace OstrelServer

#endif  // OSTREL_TOOLS_SERVER_TREEEXPORT_H_
