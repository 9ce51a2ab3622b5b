#include "ostrel_host/SqliteStorage.h"

#include <sqlite3.h>

#include <cstdlib>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <system_error>

namespace OstrelHost {
namespace {

constexpr int kBusyTimeoutMs = 5000;
constexpr int kFailed = 1;
constexpr int kWarning = 2;
constexpr char kTag[] = "OstrelHost.SqliteStorage";

constexpr char kSchema[] =
    "CREATE TABLE IF NOT EXISTS ostrel_scoped_records ("
    " scope TEXT NOT NULL,"
    " key TEXT NOT NULL,"
    " value BLOB NOT NULL,"
    " PRIMARY KEY (scope, key)"
    ") WITHOUT ROWID";
// The unscoped table of earlier versions, whose records belong to the
// default scope.
constexpr char kMigration[] =
    "BEGIN IMMEDIATE;"
    "INSERT OR IGNORE INTO ostrel_scoped_records (scope, key, value)"
    " SELECT '', key, value FROM ostrel_records;"
    "DROP TABLE ostrel_records;"
    "COMMIT";

// Resets a statement when the call that used it ends, whichever way.
class StatementScope {
 public:
  explicit StatementScope(sqlite3_stmt* statement) : statement_(statement) {}
  ~StatementScope() {
    sqlite3_reset(statement_);
    sqlite3_clear_bindings(statement_);
  }
  StatementScope(const StatementScope&) = delete;
  StatementScope& operator=(const StatementScope&) = delete;

 private:
  sqlite3_stmt* const statement_;
};

// A file that is no database, or whose pages are broken, cannot heal in
// place; any other failure (locked, unreadable, full disk) is no reason to
// throw the file away.
bool IsDamage(int code) {
  const int primary = code & 0xff;
  return primary == SQLITE_CORRUPT || primary == SQLITE_NOTADB;
}

bool Exec(sqlite3* db, const char* sql, std::string* error, bool* damaged) {
  char* message = nullptr;
  const int code = sqlite3_exec(db, sql, nullptr, nullptr, &message);
  if (code == SQLITE_OK) return true;
  *error = message != nullptr ? message : sqlite3_errmsg(db);
  *damaged = IsDamage(code);
  sqlite3_free(message);
  // A transaction left open by a failed step ends when Open closes the
  // connection it gave up on.
  return false;
}

// The first line of SQLite's quick integrity check: "ok" for a sound file.
bool QuickCheck(sqlite3* db, std::string* error, bool* damaged) {
  sqlite3_stmt* check = nullptr;
  int code = sqlite3_prepare_v2(db, "PRAGMA quick_check(1)", -1, &check, nullptr);
  if (code == SQLITE_OK) code = sqlite3_step(check);
  std::string verdict;
  if (code == SQLITE_ROW) {
    const unsigned char* text = sqlite3_column_text(check, 0);
    verdict = text != nullptr ? reinterpret_cast<const char*>(text) : "";
  } else {
    verdict = sqlite3_errmsg(db);
  }
  sqlite3_finalize(check);
  if (code == SQLITE_ROW && verdict == "ok") return true;
  *error = verdict;
  *damaged = code == SQLITE_ROW || IsDamage(code);
  return false;
}

bool HasLegacyTable(sqlite3* db) {
  sqlite3_stmt* query = nullptr;
  const bool found =
      sqlite3_prepare_v2(db,
                         "SELECT 1 FROM sqlite_master WHERE type = 'table' AND"
                         " name = 'ostrel_records'",
                         -1, &query, nullptr) == SQLITE_OK &&
      sqlite3_step(query) == SQLITE_ROW;
  sqlite3_finalize(query);
  return found;
}

std::string UtcStamp() {
  const std::time_t now = std::time(nullptr);
  std::tm utc{};
  gmtime_r(&now, &utc);
  char stamp[32];
  std::strftime(stamp, sizeof stamp, "%Y%m%dT%H%M%SZ", &utc);
  return stamp;
}

// Renames the damaged file, and its WAL file, which belongs to it alone and
// would otherwise be replayed into the new database. The shared-memory
// index is rebuilt by SQLite. Returns the new name; empty on failure.
std::string MoveAside(const std::string& path, std::string* error) {
  const std::string target = path + ".corrupt-" + UtcStamp();
  std::error_code failure;
  std::filesystem::rename(path, target, failure);
  if (failure) {
    *error = "cannot move " + path + " aside: " + failure.message();
    return std::string();
  }
  std::error_code ignored;
  if (std::filesystem::exists(path + "-wal", ignored)) {
    std::filesystem::rename(path + "-wal", target + "-wal", ignored);
  }
  std::filesystem::remove(path + "-shm", ignored);
  return target;
}

}  // namespace

std::unique_ptr<SqliteStorage> SqliteStorage::Open(const std::string& path, std::string* error) {
  return Open(path, SqliteStorageOptions(), error);
}

std::unique_ptr<SqliteStorage> SqliteStorage::Open(const std::string& path,
                                                   const SqliteStorageOptions& options,
                                                   std::string* error) {
  try {
    std::string reason;
    bool damaged = false;
    std::unique_ptr<SqliteStorage> storage = OpenOnce(path, options, &reason, &damaged);
    if (!storage && damaged) {
      const std::string movedTo = MoveAside(path, &reason);
      if (!movedTo.empty()) {
        if (options.log != nullptr) {
          const std::string text =
              path + " is damaged (" + reason + "); moved to " + movedTo + ", starting empty";
          options.log->Log(kWarning, kTag, "Open", text.c_str());
        }
        storage = OpenOnce(path, options, &reason, &damaged);
      }
    }
    if (!storage && error != nullptr) *error = reason;
    return storage;
  } catch (...) {
    if (error != nullptr) *error = "out of memory";
    return nullptr;
  }
}

std::unique_ptr<SqliteStorage> SqliteStorage::OpenOnce(const std::string& path,
                                                       const SqliteStorageOptions& options,
                                                       std::string* error, bool* damaged) {
  *damaged = false;
  sqlite3* db = nullptr;
  // The connection is serialised by the store's own mutex, so SQLite's
  // per-connection locking would only add cost.
  const int flags = SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX;
  const int opened = sqlite3_open_v2(path.c_str(), &db, flags, nullptr);
  // From here on the store owns db, even when opening failed (SQLite then
  // still hands out a handle that carries the error and must be closed).
  std::unique_ptr<SqliteStorage> storage(new SqliteStorage(db, options));
  if (opened != SQLITE_OK) {
    *error = db != nullptr ? sqlite3_errmsg(db) : sqlite3_errstr(opened);
    return nullptr;
  }
  sqlite3_busy_timeout(db, kBusyTimeoutMs);
  // WAL lets readers in other processes work beside the writer. A file
  // system without shared memory keeps the old journal, which only costs
  // concurrency, so the mode's answer is not checked.
  if (!QuickCheck(db, error, damaged) || !Exec(db, "PRAGMA journal_mode=WAL", error, damaged) ||
      !Exec(db, "PRAGMA synchronous=NORMAL", error, damaged) ||
      !Exec(db, kSchema, error, damaged) ||
      (HasLegacyTable(db) && !Exec(db, kMigration, error, damaged)) ||
      !storage->Prepare(error)) {
    return nullptr;
  }
  return storage;
}

SqliteStorage::SqliteStorage(sqlite3* db, const SqliteStorageOptions& options)
    : scope_(options.scope), log_(options.log), db_(db) {}

SqliteStorage::~SqliteStorage() {
  sqlite3_finalize(save_);
  sqlite3_finalize(load_);
  sqlite3_finalize(remove_);
  sqlite3_finalize(clear_);
  sqlite3_close_v2(db_);
}

bool SqliteStorage::Prepare(std::string* error) {
  struct {
    sqlite3_stmt** statement;
    const char* sql;
  } const statements[] = {
      {&save_,
       "INSERT OR REPLACE INTO ostrel_scoped_records (scope, key, value) VALUES (?1, ?2, ?3)"},
      {&load_, "SELECT value FROM ostrel_scoped_records WHERE scope = ?1 AND key = ?2"},
      {&remove_, "DELETE FROM ostrel_scoped_records WHERE scope = ?1 AND key = ?2"},
      {&clear_, "DELETE FROM ostrel_scoped_records WHERE scope = ?1"},
  };
  for (const auto& entry : statements) {
    if (sqlite3_prepare_v2(db_, entry.sql, -1, entry.statement, nullptr) != SQLITE_OK) {
      *error = sqlite3_errmsg(db_);
      return false;
    }
  }
  return true;
}

std::string SqliteStorage::Step(sqlite3_stmt* statement) {
  return sqlite3_step(statement) == SQLITE_DONE ? std::string() : sqlite3_errmsg(db_);
}

void SqliteStorage::LogFailure(const char* method, const std::string& text) const {
  if (log_ != nullptr) log_->Log(kWarning, kTag, method, text.c_str());
}

int SqliteStorage::Save(const char* key, const char* value) {
  if (key == nullptr || value == nullptr) return kFailed;
  std::string failure;
  try {
    {
      std::lock_guard<std::mutex> lock(mutex_);
      StatementScope scope(save_);
      // SQLITE_STATIC: the strings outlive the statement's use in this call.
      // A binding that fails (a value past SQLite's size limit) leaves a
      // null, which the table's NOT NULL refuses at the step.
      sqlite3_bind_text(save_, 1, scope_.c_str(), -1, SQLITE_STATIC);
      sqlite3_bind_text(save_, 2, key, -1, SQLITE_STATIC);
      sqlite3_bind_blob64(save_, 3, value, std::strlen(value), SQLITE_STATIC);
      failure = Step(save_);
    }
    // Logged outside the lock: the logger is the host's.
    if (failure.empty()) return 0;
    LogFailure("Save", std::string(key) + ": " + failure);
  } catch (...) {
    // Only the failure's text could not be kept; the call still failed.
  }
  return kFailed;
}

char* SqliteStorage::Load(const char* key) {
  if (key == nullptr) return nullptr;
  std::string failure;
  try {
    {
      std::lock_guard<std::mutex> lock(mutex_);
      StatementScope scope(load_);
      sqlite3_bind_text(load_, 1, scope_.c_str(), -1, SQLITE_STATIC);
      sqlite3_bind_text(load_, 2, key, -1, SQLITE_STATIC);
      const int code = sqlite3_step(load_);
      if (code == SQLITE_ROW) {
        const void* bytes = sqlite3_column_blob(load_, 0);
        const size_t size = static_cast<size_t>(sqlite3_column_bytes(load_, 0));
        auto* copy = static_cast<char*>(std::malloc(size + 1));
        if (copy == nullptr) return nullptr;
        if (size > 0) std::memcpy(copy, bytes, size);
        copy[size] = '\0';
        return copy;
      }
      // SQLITE_DONE: no such record, which is no failure.
      if (code != SQLITE_DONE) failure = sqlite3_errmsg(db_);
    }
    if (!failure.empty()) LogFailure("Load", std::string(key) + ": " + failure);
  } catch (...) {
    // Only the failure's text could not be kept; the call still failed.
  }
  return nullptr;
}

int SqliteStorage::Remove(const char* key) {
  if (key == nullptr) return kFailed;
  std::string failure;
  try {
    {
      std::lock_guard<std::mutex> lock(mutex_);
      StatementScope scope(remove_);
      sqlite3_bind_text(remove_, 1, scope_.c_str(), -1, SQLITE_STATIC);
      sqlite3_bind_text(remove_, 2, key, -1, SQLITE_STATIC);
      failure = Step(remove_);
    }
    if (failure.empty()) return 0;
    LogFailure("Remove", std::string(key) + ": " + failure);
  } catch (...) {
    // Only the failure's text could not be kept; the call still failed.
  }
  return kFailed;
}

int SqliteStorage::Reserved() { return 0; }

int SqliteStorage::Clear() {
  std::string failure;
  try {
    {
      std::lock_guard<std::mutex> lock(mutex_);
      StatementScope scope(clear_);
      sqlite3_bind_text(clear_, 1, scope_.c_str(), -1, SQLITE_STATIC);
      failure = Step(clear_);
    }
    if (failure.empty()) return 0;
    LogFailure("Clear", "scope \"" + scope_ + "\": " + failure);
  } catch (...) {
    // Only the failure's text could not be kept; the call still failed.
  }
  return kFailed;
}

void SqliteStorage::Free(char* buffer) { std::free(buffer); }

}  // namespace OstrelHost
