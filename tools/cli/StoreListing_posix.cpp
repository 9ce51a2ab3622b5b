#include "StoreListing.h"

#include <sqlite3.h>

#include <memory>

namespace OstrelCli {

bool StoreListing::Read(const std::string& path, StoreListing& listing, std::string& error) {
  sqlite3* raw = nullptr;
  const int opened = sqlite3_open_v2(path.c_str(), &raw, SQLITE_OPEN_READONLY, nullptr);
  std::unique_ptr<sqlite3, int (*)(sqlite3*)> db(raw, sqlite3_close);
  if (opened != SQLITE_OK) {
    error = raw != nullptr ? sqlite3_errmsg(raw) : sqlite3_errstr(opened);
    return false;
  }
  sqlite3_stmt* rawStatement = nullptr;
  if (sqlite3_prepare_v2(db.get(),
                         "SELECT scope, key, value FROM ostrel_scoped_records "
                         "ORDER BY scope, key",
                         -1, &rawStatement, nullptr) != SQLITE_OK) {
    error = sqlite3_errmsg(db.get());
    return false;
  }
  std::unique_ptr<sqlite3_stmt, int (*)(sqlite3_stmt*)> statement(rawStatement, sqlite3_finalize);
  StoreListing read;
  int step = SQLITE_ROW;
  while ((step = sqlite3_step(statement.get())) == SQLITE_ROW) {
    std::string columns[3];
    for (int i = 0; i < 3; ++i) {
      const void* bytes = sqlite3_column_blob(statement.get(), i);
      const int size = sqlite3_column_bytes(statement.get(), i);
      if (bytes != nullptr) columns[i].assign(static_cast<const char*>(bytes), size);
    }
    read.records.push_back(Examine(columns[0], columns[1], columns[2]));
  }
  if (step != SQLITE_DONE) {
    error = sqlite3_errmsg(db.get());
    return false;
  }
  listing = std::move(read);
  return true;
}

}  // namespace OstrelCli
