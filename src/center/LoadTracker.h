// Which namespaces are loading, queued for a lazy load, waiting, or due to be
// loaded again.
#ifndef OSTREL_CENTER_LOADTRACKER_H_
#define OSTREL_CENTER_LOADTRACKER_H_

#include <cstdint>
#include <map>
#include <memory>
#include <set>
#include <string>

#include "host/Mutex.h"
#include "model/NamespaceDO.h"

namespace Ostrel {

// Each table has its own mutex, held only for one find, insert, erase or copy;
// none is held while another is taken.
class LoadTracker {
 public:
  // True when nameSpace is loading; otherwise, when mark is true, marks it as
  // loading since now.
  bool CheckLoading(const std::string& nameSpace, bool mark);

  // Marks ns as loading and answers true; when it is loading already, asks
  // the loader that holds the mark to run once more when it finishes (so the
  // request is not lost), keeping the newest descriptor asked for, and
  // answers false. One step, so that the holder cannot finish in between.
  bool MarkLoadingOrRequestReload(const std::shared_ptr<NamespaceDO>& ns);
  // Clears the loading mark, unless a reload was requested meanwhile: then
  // the mark stays (with a new start time), the request is consumed, its
  // descriptor goes to *requested and the answer is true.
  bool FinishLoading(const std::string& nameSpace, std::shared_ptr<NamespaceDO>* requested);

  // At most one queued lazy load per namespace. True when nameSpace was not
  // queued and now is.
  bool MarkLazyQueued(const std::string& nameSpace);
  void ClearLazyQueued(const std::string& nameSpace);

  // Namespaces asked for before they could be served, and failed downloads.
  void AddWaiting(const std::string& nameSpace);
  void RemoveWaiting(const std::string& nameSpace);
  std::set<std::string> Waiting();

 private:
  Mutex loadingMutex_;
  std::map<std::string, int64_t> loadingNamespaces_ GUARDED_BY(loadingMutex_);
  std::map<std::string, std::shared_ptr<NamespaceDO>> reloadRequested_ GUARDED_BY(loadingMutex_);

  Mutex queuedMutex_;
  std::set<std::string> lazyQueued_ GUARDED_BY(queuedMutex_);

  Mutex waitingMutex_;
  std::set<std::string> waitingNamespaces_ GUARDED_BY(waitingMutex_);
};

}  // namespace Ostrel

#endif  // OSTREL_CENTER_LOADTRACKER_H_
