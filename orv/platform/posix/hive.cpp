#include "orv/platform/posix/hive.h"

#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <optional>

/// The rollback journal is used instead of a write-ahead log because that one needs to write beside
/// the database even to read it, which users may not do to the machine's hive.

namespace orv {
namespace {

constexpr int kBusyMilliseconds = 30000;

/// An id is never used twice, so that a handle to a deleted key stays one.
constexpr char kSchema[] =
    "CREATE TABLE IF NOT EXISTS keys("
    " id INTEGER PRIMARY KEY AUTOINCREMENT,"
    " parent INTEGER NOT NULL,"
    " folded TEXT NOT NULL,"
    " name TEXT NOT NULL,"
    " UNIQUE(parent, folded));"
    "CREATE TABLE IF NOT EXISTS key_values("
    " key INTEGER NOT NULL,"
    " folded TEXT NOT NULL,"
    " name TEXT NOT NULL,"
    " type INTEGER NOT NULL,"
    " data BLOB NOT NULL,"
    " PRIMARY KEY(key, folded)) WITHOUT ROWID;"
    "INSERT OR IGNORE INTO keys(id, parent, folded, name) VALUES(1, 0, '', '');";

/// ?1 and everything below it.
#define ORV_TREE                                                                        \
  "WITH RECURSIVE tree(id) AS (SELECT ?1 UNION ALL SELECT keys.id FROM keys JOIN tree " \
  "ON keys.parent = tree.id) "

constexpr const char* kSql[kStatementCount] = {
    "SELECT 1 FROM sqlite_master WHERE name = 'key_values'",
    "BEGIN IMMEDIATE",
    "COMMIT",
    "ROLLBACK",
    "SELECT 1 FROM keys WHERE id = ?1",
    "SELECT id FROM keys WHERE parent = ?1 AND folded = ?2",
    "INSERT INTO keys(parent, folded, name) VALUES(?1, ?2, ?3)",
    "SELECT type, data FROM key_values WHERE key = ?1 AND folded = ?2",
    "INSERT INTO key_values(key, folded, name, type, data) VALUES(?1, ?2, ?3, ?4, ?5) "
    "ON CONFLICT(key, folded) DO UPDATE SET type = excluded.type, data = excluded.data",
    "DELETE FROM key_values WHERE key = ?1 AND folded = ?2",
    ORV_TREE "DELETE FROM key_values WHERE key IN (SELECT id FROM tree)",
    ORV_TREE "DELETE FROM keys WHERE id IN (SELECT id FROM tree) AND id <> ?2",
    "SELECT name FROM keys WHERE parent = ?1 ORDER BY folded",
    "SELECT name FROM key_values WHERE key = ?1 ORDER BY folded",
};
#undef ORV_TREE

std::optional<FileIdentity> IdentityOf(const std::string& path) {
  struct stat status {};
  if (stat(path.c_str(), &status) != 0) return std::nullopt;
  return FileIdentity{status.st_dev, status.st_ino};
}

}  // namespace

LONG ErrorOf(int sqliteResult) {
  switch (sqliteResult & 0xFF) {
    case SQLITE_OK:
    case SQLITE_ROW:
    case SQLITE_DONE:
      return ERROR_SUCCESS;
    case SQLITE_PERM:
    case SQLITE_READONLY:
    case SQLITE_CANTOPEN:
    case SQLITE_AUTH:
      return ERROR_ACCESS_DENIED;
    case SQLITE_BUSY:
    case SQLITE_LOCKED:
      return ERROR_BUSY;
    case SQLITE_NOMEM:
      return ERROR_NOT_ENOUGH_MEMORY;
    case SQLITE_FULL:
      return ERROR_DISK_FULL;
    case SQLITE_CORRUPT:
    case SQLITE_NOTADB:
    case SQLITE_ERROR:
      return ERROR_BADDB;
    default:
      return ERROR_REGISTRY_IO_FAILED;
  }
}

LONG Hive::PrepareRead() {
  if (path_.empty()) return ERROR_FILE_NOT_FOUND;
  const std::optional<FileIdentity> current = IdentityOf(path_);
  // An open connection keeps its file's number from being used for another file.
  const bool isSameFile = database_ != nullptr && current == identity_;
  if (isSameFile && owner_ == getpid()) return ERROR_SUCCESS;
  Disconnect();
  if (!isSameFile) ++generation_;
  if (!current) return ERROR_FILE_NOT_FOUND;
  return Connect(SQLITE_OPEN_READWRITE);
}

LONG Hive::PrepareWrite() {
  if (path_.empty()) return ERROR_PATH_NOT_FOUND;
  const LONG result = PrepareRead();
  if (result != ERROR_FILE_NOT_FOUND) return result;
  std::error_code ignored;  // opening reports what cannot be made
  std::filesystem::create_directories(std::filesystem::path(path_).parent_path(), ignored);
  return Connect(SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE);
}

Prepared Hive::Prepare(Statement statement) {
  sqlite3_stmt*& prepared = statements_[statement];
  int result = SQLITE_OK;
  if (prepared == nullptr) {
    result = sqlite3_prepare_v3(database_, kSql[statement], -1, SQLITE_PREPARE_PERSISTENT,
                                &prepared, nullptr);
  }
  return {prepared, result};
}

LONG Hive::Run(Statement statement) { return ErrorOf(Query(Prepare(statement)).Step()); }

LONG Hive::Connect(int flags) {
  int result = sqlite3_open_v2(path_.c_str(), &database_, flags | SQLITE_OPEN_NOMUTEX, nullptr);
  LONG error = ErrorOf(result);
  owner_ = getpid();
  if (error == ERROR_SUCCESS) {
    sqlite3_busy_timeout(database_, kBusyMilliseconds);
    if ((flags & SQLITE_OPEN_CREATE) != 0) {
      error = CreateTables();
    } else {
      result = Query(Prepare(kHasSchema)).Step();
      // A file without tables is one that another process is about to fill, or was cut off from
      // filling.
      error = result == SQLITE_DONE ? ERROR_FILE_NOT_FOUND : ErrorOf(result);
    }
  }
  const std::optional<FileIdentity> identity = IdentityOf(path_);
  if (error == ERROR_SUCCESS && !identity) error = ERROR_FILE_NOT_FOUND;
  if (error != ERROR_SUCCESS) {
    Disconnect();
    return error;
  }
  identity_ = *identity;
  return ERROR_SUCCESS;
}

LONG Hive::CreateTables() {
  LONG error = Run(kBegin);
  if (error != ERROR_SUCCESS) return error;
  error = ErrorOf(sqlite3_exec(database_, kSchema, nullptr, nullptr, nullptr));
  if (error == ERROR_SUCCESS) error = Run(kCommit);
  if (error != ERROR_SUCCESS) Run(kRollback);
  return error;
}

void Hive::Disconnect() {
  // What a fork carried over belongs to the parent: closing it here could release the parent's
  // file locks.
  if (owner_ == getpid()) {
    for (sqlite3_stmt* statement : statements_) sqlite3_finalize(statement);
    sqlite3_close_v2(database_);
  }
  statements_.fill(nullptr);
  database_ = nullptr;
}

}  // namespace orv
