// The ready host adapters a local session runs on, chosen by platform: on
// Windows the WinHTTP client and the file store, elsewhere the libcurl
// client and an SQLite file. The one place where the tools pick them.
#ifndef OSTREL_TOOLS_SESSION_PLATFORMADAPTERS_H_
#define OSTREL_TOOLS_SESSION_PLATFORMADAPTERS_H_

#include <memory>
#include <string>

#include "ostrel/IOHttp.h"
#include "ostrel/IOStorage.h"

namespace OstrelLocal {

class PlatformAdapters {
 public:
  // Opens the store at storePath (UTF-8; an SQLite file, or the folder of
  // the file store on Windows), created when absent, and an HTTP client for
  // a server on this machine: direct (never through a proxy), a connection
  // within 2 s and a whole exchange within 10 s. Null, with the reason in
  // error, when the store cannot be opened.
  static std::unique_ptr<PlatformAdapters> Open(const std::string& storePath, std::string& error);

  // Waits for every request in flight before the client goes: the library
  // must have been torn down first.
  virtual ~PlatformAdapters() = default;

  // Owned by this object; both are safe from several threads.
  virtual Ostrel::IOStorage* storage() = 0;
  virtual Ostrel::IOHttpClient* http() = 0;

  // Ends every request in flight at once and fails every later one, so
  // that the library's teardown, which waits for its requests, does not
  // wait out a timeout. Irreversible; any thread.
  virtual void ShutdownHttp() = 0;
};

}  // namespace OstrelLocal

#endif  // OSTREL_TOOLS_SESSION_PLATFORMADAPTERS_H_
