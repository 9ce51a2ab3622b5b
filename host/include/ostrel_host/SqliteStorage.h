// A key-value store for the library, kept in one SQLite database file.
#ifndef OSTREL_HOST_SQLITESTORAGE_H_
#define OSTREL_HOST_SQLITESTORAGE_H_

#include <memory>
#include <mutex>
#include <string>

#include "ostrel/IOStorage.h"

struct sqlite3;
struct sqlite3_stmt;

namespace OstrelHost {

// IOStorage over one SQLite database file holding a single table
// "ostrel_records" (key TEXT PRIMARY KEY, value BLOB). Values are stored as
// their exact bytes. The database runs in WAL mode with a busy timeout, so
// another process reading the file does not make a call fail at once.
//
// Every method may be called from any thread: calls are serialised on one
// connection by an internal mutex. Save replaces an existing record; Remove
// of an absent key succeeds. Load returns a malloc'd copy that Free releases,
// or null when the key is absent or the read failed. Null keys or values are
// refused with a non-zero result. Nothing throws out of the methods.
class SqliteStorage final : public Ostrel::IOStorage {
 public:
  // Opens or creates the database at path (UTF-8) and its table. Returns
  // null on failure and, when error is given, stores SQLite's text there.
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
  // Deletes every record.
  int Clear() override;
  void Free(char* buffer) override;

 private:
  explicit SqliteStorage(sqlite3* db);
  bool Prepare(std::string* error);

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
