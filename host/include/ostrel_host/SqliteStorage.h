// A key-value store for the library, kept in one SQLite database file.
#ifndef OSTREL_HOST_SQLITESTORAGE_H_
#define OSTREL_HOST_SQLITESTORAGE_H_

#include <memory>
#include <mutex>
#include <string>

#include "ostrel/IOLog.h"
#include "ostrel/IOStorage.h"

struct sqlite3;
struct sqlite3_stmt;

namespace OstrelHost {

struct SqliteStorageOptions {
  // The records of one scope never meet another's: two applications or two
  // environments that share a file each open it with a scope of their own
  // (their app key and environment, say). Clear deletes the scope's records
  // only. Empty: the default scope.
  std::string scope;
  // Told of each failure (the method, the key and SQLite's own text) and of
  // a damaged file moved aside. Not owned; must outlive the store. Null:
  // silent.
  Ostrel::IOLog* log = nullptr;
};

// IOStorage over one SQLite database file holding a single table
// "ostrel_scoped_records" (scope TEXT, key TEXT, value BLOB; the pair scope
// and key is the primary key). Values are stored as their exact bytes. The
// database runs in WAL mode with a busy timeout, so another process reading
// the file does not make a call fail at once. Records of the earlier
// unscoped table "ostrel_records" move into the default scope at open.
//
// A damaged file heals: Open runs SQLite's quick integrity check, and when
// the file is not a database or fails the check, it is renamed to
// "<path>.corrupt-<UTC time, as 20260102T030405Z>" (with its WAL file, as
// "<that name>-wal"), a new empty database takes its place, and one warning
// goes to the log. The store is a cache: losing it costs a download; failing
// every start would cost the service.
//
// Every method may be called from any thread: calls are serialised on one
// connection by an internal mutex. Save replaces an existing record; Remove
// of an absent key succeeds. Load returns a malloc'd copy that Free releases,
// or null when the key is absent or the read failed. Null keys or values are
// refused with a non-zero result. Nothing throws out of the methods.
class SqliteStorage final : public Ostrel::IOStorage {
 public:
  // Opens or creates the database at path (UTF-8) and its table, healing a
  // damaged file as above. Returns null on failure and, when error is
  // given, stores SQLite's text there.
  static std::unique_ptr<SqliteStorage> Open(const std::string& path,
                                             const SqliteStorageOptions& options,
                                             std::string* error = nullptr);
  // The default scope, no log.
  static std::unique_ptr<SqliteStorage> Open(const std::string& path,
                                             std::string* error = nullptr);

  SqliteStorage(const SqliteStorage&) = delete;
  SqliteStorage& operator=(const SqliteStorage&) = delete;
  // Closes the database. The library must no longer hold the store
  // (DestroyIOstrelConfig has returned, or setStorage(nullptr)).
  ~SqliteStorage();

  int Save(const char* key, const char* value) override;
  char* Load(const char* key) override;
  int Remove(const char* key) override;
  // Never called by the library; returns 0.
  int Reserved() override;
  // Deletes every record of the scope.
  int Clear() override;
  void Free(char* buffer) override;

 private:
  SqliteStorage(sqlite3* db, const SqliteStorageOptions& options);
  // One attempt at Open; *damaged tells a file to move aside from any
  // other failure.
  static std::unique_ptr<SqliteStorage> OpenOnce(const std::string& path,
                                                 const SqliteStorageOptions& options,
                                                 std::string* error, bool* damaged);
  bool Prepare(std::string* error);
  // Runs a prepared write to its end; SQLite's text on failure.
  std::string Step(sqlite3_stmt* statement);
  void LogFailure(const char* method, const std::string& text) const;

  // Constant after construction.
  const std::string scope_;
  Ostrel::IOLog* const log_;  // not owned

  std::mutex mutex_;
  // Owned; closed by the destructor. The connection and its statements are
  // guarded by mutex_.
  sqlite3* const db_;
  sqlite3_stmt* save_ = nullptr;
  sqlite3_stmt* load_ = nullptr;
  sqlite3_stmt* remove_ = nullptr;
  sqlite3_stmt* clear_ = nullptr;
};

}  // namespace OstrelHost

#endif  // OSTREL_HOST_SQLITESTORAGE_H_
