#include "platform/posix/hive.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <span>
#include <tuple>

#include "base/utf8.h"

/// The rollback journal is used instead of a write-ahead log because the latter needs write access
/// to the folder even for reading, which users do not have for the machine hive.

namespace orv {
namespace {

constexpr int kBusyMilliseconds = 30000;

/// Ids are never reused, so a handle to a deleted key stays invalid.
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

/// The key ?1 and everything below it.
#define ORV_TREE                                                                        \
  "WITH RECURSIVE tree(id) AS (SELECT ?1 UNION ALL SELECT keys.id FROM keys JOIN tree " \
  "ON keys.parent = tree.id) "

constexpr const char* kSql[kStatementCount] = {
    "SELECT 1 FROM sqlite_master WHERE name = 'key_values'",
    "BEGIN",
    "BEGIN IMMEDIATE",
    "COMMIT",
    "ROLLBACK",
    "SELECT 1 FROM keys WHERE id = ?1",
    "SELECT id FROM keys WHERE parent = ?1 AND folded = ?2",
    "INSERT INTO keys(parent, folded, name) VALUES(?1, ?2, ?3)",
    "INSERT INTO key_values(key, folded, name, type, data) VALUES(?1, ?2, ?3, ?4, ?5) "
    "ON CONFLICT(key, folded) DO UPDATE SET type = excluded.type, data = excluded.data",
    "DELETE FROM key_values WHERE key = ?1 AND folded = ?2",
    ORV_TREE "DELETE FROM key_values WHERE key IN (SELECT id FROM tree)",
    ORV_TREE "DELETE FROM keys WHERE id IN (SELECT id FROM tree) AND id <> ?2",
    "SELECT name FROM keys WHERE parent = ?1 ORDER BY folded",
    "SELECT id, name FROM keys WHERE parent = ?1 ORDER BY folded",
    "SELECT folded, name, type, data FROM key_values WHERE key = ?1 ORDER BY folded",
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

Transaction::Transaction(Hive* hive, Statement begin)
    : hive_(hive), result_(hive->Run(begin)), isOpen_(result_ == ERROR_SUCCESS) {}

Transaction::~Transaction() {
  if (isOpen_) hive_->RollBack();
}

LONG Transaction::Commit() {
  result_ = hive_->Run(kCommit);
  isOpen_ = result_ != ERROR_SUCCESS;
  return result_;
}

LONG Hive::PrepareRead(std::uint64_t request) {
  if (path_.empty()) return ERROR_FILE_NOT_FOUND;
  if (request != 0 && request == request_ && owner_ == getpid()) return ERROR_SUCCESS;
  const std::optional<FileIdentity> current = IdentityOf(path_);
  // An open connection prevents its file's inode number from being reused.
  const bool isSameFile = database_ != nullptr && current == identity_;
  if (isSameFile && owner_ == getpid()) {
    const std::optional<FileState> state = ReadState();
    if (!state || state != keptAt_) Forget();
  } else {
    Disconnect();
    if (!isSameFile) ++generation_;
    if (!current) return ERROR_FILE_NOT_FOUND;
    const LONG error = Connect(SQLITE_OPEN_READWRITE);
    if (error != ERROR_SUCCESS) return error;
  }
  request_ = request;
  return ERROR_SUCCESS;
}

LONG Hive::PrepareWrite() {
  if (path_.empty()) return ERROR_PATH_NOT_FOUND;
  const LONG result = PrepareRead();
  if (result != ERROR_FILE_NOT_FOUND) return result;
  std::error_code ignored;  // opening the file reports the error
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

LONG Hive::ReadKey(sqlite3_int64 row, const KeyContent** content) {
  auto known = keys_.find(row);
  if (known == keys_.end()) {
    KeyContent read;
    const LONG error = ReadTogether([&] {
      {
        const int found = Query(Prepare(kFindKey)).Bind(1, row).Step();
        if (found == SQLITE_DONE) return ERROR_SUCCESS;
        if (found != SQLITE_ROW) return ErrorOf(found);
        read.isThere = true;
      }
      Query values(Prepare(kListValues));
      values.Bind(1, row);
      int found;
      while ((found = values.Step()) == SQLITE_ROW) {
        const std::string_view bytes = values.Bytes(3);
        read.values.push_back(
            {std::string(values.Bytes(0)),
             {Utf8ToWide(values.Bytes(1)),
              {static_cast<DWORD>(values.Number(2)), {bytes.begin(), bytes.end()}}}});
      }
      if (found != SQLITE_DONE) return ErrorOf(found);
      Query keys(Prepare(kListKeys));
      keys.Bind(1, row);
      while ((found = keys.Step()) == SQLITE_ROW) read.subKeys.push_back(Utf8ToWide(keys.Bytes(0)));
      return ErrorOf(found);
    });
    if (error != ERROR_SUCCESS) return error;
    known = keys_.emplace(row, std::move(read)).first;
  }
  *content = &known->second;
  return ERROR_SUCCESS;
}

LONG Hive::ReadSubKeys(sqlite3_int64 row, std::vector<RegistrySubKey>* subKeys) {
  return ReadTogether([&] {
    Query keys(Prepare(kListSubKeys));
    keys.Bind(1, row);
    int found;
    while ((found = keys.Step()) == SQLITE_ROW) {
      RegistrySubKey& subKey = subKeys->emplace_back();
      subKey.name = Utf8ToWide(keys.Bytes(1));
      Query values(Prepare(kListValues));
      values.Bind(1, keys.Number(0));
      while ((found = values.Step()) == SQLITE_ROW) {
        const std::string_view bytes = values.Bytes(3);
        subKey.values.push_back(
            {Utf8ToWide(values.Bytes(1)),
             {static_cast<DWORD>(values.Number(2)), {bytes.begin(), bytes.end()}}});
      }
      if (found != SQLITE_DONE) return ErrorOf(found);
    }
    return ErrorOf(found);
  });
}

std::optional<Hive::FileState> Hive::ReadState() const {
  // The database header from byte 18: the write and read formats (1 each with a rollback journal);
  // from byte 24: what every write changes, beginning with the change counter. SQLite compares the
  // same bytes to find out whether its cached pages are current.
  constexpr int kFormats = 18;
  constexpr int kState = 24;
  std::array<std::uint8_t, kState - kFormats + std::tuple_size_v<FileState>> header{};
  sqlite3_file* file = nullptr;
  if (sqlite3_file_control(database_, nullptr, SQLITE_FCNTL_FILE_POINTER, &file) != SQLITE_OK ||
      file->pMethods == nullptr ||
      file->pMethods->xRead(file, header.data(), header.size(), kFormats) != SQLITE_OK ||
      header[0] != 1 || header[1] != 1) {
    return std::nullopt;
  }
  FileState state;
  std::ranges::copy(std::span(header).last(state.size()), state.begin());
  return state;
}

void Hive::Forget() {
  keys_.clear();
  paths_.clear();
  keptAt_.reset();
}

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
      // A file without tables is one that another process is about to initialize, or was killed
      // while initializing.
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
  Transaction transaction(this, kBegin);
  if (transaction.result() != ERROR_SUCCESS) return transaction.result();
  const LONG error = ErrorOf(sqlite3_exec(database_, kSchema, nullptr, nullptr, nullptr));
  return error == ERROR_SUCCESS ? transaction.Commit() : error;
}

void Hive::RollBack() {
  if (sqlite3_get_autocommit(database_) != 0) return;  // a severe error has already rolled it back
  Run(kRollback);
  if (sqlite3_get_autocommit(database_) == 0) Disconnect();
}

void Hive::Disconnect() {
  // A connection inherited over a fork belongs to the parent: closing it here could release the
  // parent's file locks.
  if (owner_ == getpid()) {
    for (sqlite3_stmt* statement : statements_) sqlite3_finalize(statement);
    sqlite3_close_v2(database_);
  }
  statements_.fill(nullptr);
  database_ = nullptr;
  request_ = 0;
  Forget();
}

}  // namespace orv
