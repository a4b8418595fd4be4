#include "orv/platform/registry.h"

#include <pthread.h>
#include <pwd.h>
#include <sqlite3.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>

#include "orv/platform/letter_case.h"
#include "orv/text/utf8.h"

/// The settings store in SQLite: one file a hive. `docs/registry.md` describes the tables.
///
/// One lock guards everything here, and it is held over a fork, so that a child never inherits a
/// connection in the middle of a call. SQLite's own file locks order the processes. The rollback
/// journal is used instead of a write-ahead log because that one needs to write beside the database
/// even to read it, which users may not do to the machine's hive.

namespace orv {
namespace {

constexpr std::size_t kMaxKeyName = 255;
constexpr std::size_t kMaxValueName = 16383;
constexpr std::size_t kMaxDepth = 512;
constexpr int kBusyMilliseconds = 30000;

/// The row of the hive's root, which is always there.
constexpr sqlite3_int64 kRootKey = 1;

constexpr char kSchema[] =
    "CREATE TABLE IF NOT EXISTS keys("
    " id INTEGER PRIMARY KEY AUTOINCREMENT,"  // never used twice: a handle to a deleted key stays
                                              // so
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

enum Statement {
  kHasSchema,
  kBegin,
  kCommit,
  kRollback,
  kFindKey,
  kFindChild,
  kAddChild,
  kFindValue,
  kSetValue,
  kDeleteValue,
  kDeleteTreeValues,
  kDeleteTreeKeys,
  kListKeys,
  kListValues,
  kStatementCount,
};

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

/// A name as it is compared.
std::string Fold(const std::wstring& name) { return WideToUtf8(UpperCase(name)); }

std::wstring UpToTerminator(const std::wstring& text) { return text.substr(0, text.find(L'\0')); }

/// A prepared statement, or why it could not be prepared.
struct Prepared {
  sqlite3_stmt* statement;
  int result;
};

/// A prepared statement in use: reset when done with. One that could not be prepared gives its
/// error at the first step.
class Query {
 public:
  explicit Query(const Prepared& prepared)
      : statement_(prepared.statement), result_(prepared.result) {}
  Query(const Query&) = delete;
  Query& operator=(const Query&) = delete;
  ~Query() {
    if (statement_ == nullptr) return;
    sqlite3_reset(statement_);
    sqlite3_clear_bindings(statement_);
  }

  // Bound text and bytes are not copied: they must live until the query has run.
  Query& Bind(int index, sqlite3_int64 number) {
    sqlite3_bind_int64(statement_, index, number);
    return *this;
  }
  Query& Bind(int index, std::string_view text) {
    sqlite3_bind_text64(statement_, index, text.data(), text.size(), SQLITE_STATIC, SQLITE_UTF8);
    return *this;
  }
  Query& Bind(int index, const std::vector<BYTE>& bytes) {
    // A null pointer would bind NULL instead of an empty blob.
    sqlite3_bind_blob64(statement_, index,
                        bytes.empty() ? "" : static_cast<const void*>(bytes.data()), bytes.size(),
                        SQLITE_STATIC);
    return *this;
  }

  int Step() { return statement_ != nullptr ? sqlite3_step(statement_) : result_; }
  sqlite3_int64 Number(int column) const { return sqlite3_column_int64(statement_, column); }
  std::string_view Bytes(int column) const {
    const auto* data = static_cast<const char*>(sqlite3_column_blob(statement_, column));
    return {data, static_cast<std::size_t>(sqlite3_column_bytes(statement_, column))};
  }

 private:
  sqlite3_stmt* statement_;
  int result_;
};

/// Which file a path leads to just now.
struct FileIdentity {
  dev_t device = 0;
  ino_t inode = 0;
  bool operator==(const FileIdentity&) const = default;
};

std::optional<FileIdentity> IdentityOf(const std::string& path) {
  struct stat status {};
  if (stat(path.c_str(), &status) != 0) return std::nullopt;
  return FileIdentity{status.st_dev, status.st_ino};
}

/// One hive's file and the connection to it.
class Hive {
 public:
  explicit Hive(std::string path) : path_(std::move(path)) {}
  Hive(const Hive&) = delete;
  Hive& operator=(const Hive&) = delete;
  ~Hive() { Disconnect(); }

  const std::string& path() const { return path_; }
  /// Changes when another file is found in the place of the one that was read: rows are new then.
  int generation() const { return generation_; }

  /// Makes the connection usable for reading. `ERROR_FILE_NOT_FOUND` when nothing was ever written.
  LONG PrepareRead() {
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

  /// Makes the connection usable for writing, with file, folder and tables.
  LONG PrepareWrite() {
    if (path_.empty()) return ERROR_PATH_NOT_FOUND;
    const LONG result = PrepareRead();
    if (result != ERROR_FILE_NOT_FOUND) return result;
    std::error_code ignored;  // opening reports what cannot be made
    std::filesystem::create_directories(std::filesystem::path(path_).parent_path(), ignored);
    return Connect(SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE);
  }

  sqlite3* database() const { return database_; }

  /// A statement ready to be bound and run; prepared once a connection.
  Prepared Prepare(Statement statement) {
    sqlite3_stmt*& prepared = statements_[statement];
    int result = SQLITE_OK;
    if (prepared == nullptr) {
      result = sqlite3_prepare_v3(database_, kSql[statement], -1, SQLITE_PREPARE_PERSISTENT,
                                  &prepared, nullptr);
    }
    return {prepared, result};
  }
  LONG Run(Statement statement) { return ErrorOf(Query(Prepare(statement)).Step()); }

 private:
  LONG Connect(int flags) {
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

  LONG CreateTables() {
    LONG error = Run(kBegin);
    if (error != ERROR_SUCCESS) return error;
    error = ErrorOf(sqlite3_exec(database_, kSchema, nullptr, nullptr, nullptr));
    if (error == ERROR_SUCCESS) error = Run(kCommit);
    if (error != ERROR_SUCCESS) Run(kRollback);
    return error;
  }

  void Disconnect() {
    // What a fork carried over belongs to the parent: closing it here could release the parent's
    // file locks.
    if (owner_ == getpid()) {
      for (sqlite3_stmt* statement : statements_) sqlite3_finalize(statement);
      sqlite3_close_v2(database_);
    }
    statements_.fill(nullptr);
    database_ = nullptr;
  }

  std::string path_;
  sqlite3* database_ = nullptr;
  pid_t owner_ = 0;
  FileIdentity identity_;
  int generation_ = 0;
  std::array<sqlite3_stmt*, kStatementCount> statements_{};
};

/// An open key.
struct KeyHandle {
  std::shared_ptr<Hive> hive;  ///< the store that it was opened in stays its own
  int generation = 0;          ///< of the hive when it gave the row
  sqlite3_int64 row = kRootKey;
  bool writable = false;
  std::size_t depth = 0;
};

struct Store {
  std::mutex lock;
  std::string folder;  ///< what `ORV_REGISTRY_DIR` held when the hives were found
  std::shared_ptr<Hive> user;
  std::shared_ptr<Hive> machine;
  std::unordered_map<std::uintptr_t, KeyHandle> handles;
  std::uintptr_t nextHandle = 0x100;
};

/// Lives for ever: keys may be closed by destructors that run after the library's own.
Store& TheStore() {
  static Store* const store = [] {
    auto* made = new Store;
    pthread_atfork([] { TheStore().lock.lock(); }, [] { TheStore().lock.unlock(); },
                   [] { TheStore().lock.unlock(); });
    return made;
  }();
  return *store;
}

std::string Variable(const char* name) {
  const char* value = std::getenv(name);
  return value != nullptr ? value : "";
}

/// The user's data folder as the desktop's base directory rules give it; empty when the user has no
/// home.
std::string UserDataFolder() {
  // A relative path there is to be ignored.
  std::string folder = Variable("XDG_DATA_HOME");
  if (folder.starts_with('/')) return folder;
  folder = Variable("HOME");
  if (!folder.starts_with('/')) {
    std::array<char, 4096> buffer;
    passwd entry{};
    passwd* found = nullptr;
    if (getpwuid_r(getuid(), &entry, buffer.data(), buffer.size(), &found) != 0 ||
        found == nullptr || found->pw_dir == nullptr || found->pw_dir[0] != '/') {
      return {};
    }
    folder = found->pw_dir;
  }
  return folder + "/.local/share";
}

/// Finds the hives' files, anew when the environment names another folder.
void LocateHives(Store* store) {
  const std::string folder = Variable("ORV_REGISTRY_DIR");
  if (store->user != nullptr && folder == store->folder) return;
  store->folder = folder;
  std::string userFolder = folder;
  std::string machineFolder = folder;
  if (folder.empty()) {
    userFolder = UserDataFolder();
    if (!userFolder.empty()) userFolder += "/orv";
    machineFolder = "/var/lib/orv";
  }
  store->user = std::make_shared<Hive>(userFolder.empty() ? "" : userFolder + "/user.sqlite");
  store->machine = std::make_shared<Hive>(machineFolder + "/machine.sqlite");
}

/// The open key behind a handle; none when the handle is not one.
std::optional<KeyHandle> Resolve(Store* store, HKEY key) {
  if (key == HKEY_CURRENT_USER || key == HKEY_LOCAL_MACHINE) {
    LocateHives(store);
    return KeyHandle{key == HKEY_CURRENT_USER ? store->user : store->machine, 0, kRootKey, true, 0};
  }
  const auto found = store->handles.find(reinterpret_cast<std::uintptr_t>(key));
  if (found == store->handles.end()) return std::nullopt;
  return found->second;
}

/// Whether the key that a handle stands for is still there.
LONG CheckKey(const KeyHandle& key) {
  if (key.row == kRootKey) return ERROR_SUCCESS;
  if (key.generation != key.hive->generation()) return ERROR_KEY_DELETED;
  const int found = Query(key.hive->Prepare(kFindKey)).Bind(1, key.row).Step();
  return found == SQLITE_DONE ? ERROR_KEY_DELETED : ErrorOf(found);
}

/// Runs `work(key)` on a key for reading. `ERROR_FILE_NOT_FOUND` from a store without a file.
template <typename Work>
LONG Read(HKEY handle, Work work) {
  Store& store = TheStore();
  const std::lock_guard guard(store.lock);
  const std::optional<KeyHandle> key = Resolve(&store, handle);
  if (!key) return ERROR_INVALID_HANDLE;
  LONG result = key->hive->PrepareRead();
  if (result == ERROR_FILE_NOT_FOUND && key->row != kRootKey) return ERROR_KEY_DELETED;
  if (result == ERROR_SUCCESS) result = CheckKey(*key);
  return result != ERROR_SUCCESS ? result : work(&store, *key);
}

enum class MissingFile { kCreate, kReport };

/// Runs `work(key)` on a key in one transaction, which is undone when the work fails.
template <typename Work>
LONG Write(HKEY handle, MissingFile missingFile, Work work) {
  Store& store = TheStore();
  const std::lock_guard guard(store.lock);
  const std::optional<KeyHandle> key = Resolve(&store, handle);
  if (!key) return ERROR_INVALID_HANDLE;
  Hive& hive = *key->hive;
  LONG result = missingFile == MissingFile::kCreate ? hive.PrepareWrite() : hive.PrepareRead();
  if (result != ERROR_SUCCESS) return result;
  result = hive.Run(kBegin);
  if (result != ERROR_SUCCESS) return result;
  result = CheckKey(*key);
  if (result == ERROR_SUCCESS) result = work(&store, *key);
  if (result == ERROR_SUCCESS) result = hive.Run(kCommit);
  if (result != ERROR_SUCCESS) hive.Run(kRollback);
  return result;
}

/// Splits a path at its backslashes; those at the end, or two in a row, add nothing.
std::vector<std::wstring> SplitPath(const std::wstring& path) {
  std::vector<std::wstring> names;
  std::size_t start = 0;
  while (start < path.size()) {
    const std::size_t end = std::min(path.find(L'\\', start), path.size());
    if (end > start) names.push_back(path.substr(start, end - start));
    start = end + 1;
  }
  return names;
}

/// Walks from a key down a path, making the keys that are missing when `create`.
LONG Descend(const std::wstring& path, bool create, KeyHandle* key) {
  for (const std::wstring& name : SplitPath(UpToTerminator(path))) {
    if (name.size() > kMaxKeyName || ++key->depth > kMaxDepth) return ERROR_INVALID_PARAMETER;
    const std::string folded = Fold(name);
    {
      Query find(key->hive->Prepare(kFindChild));
      const int found = find.Bind(1, key->row).Bind(2, folded).Step();
      if (found == SQLITE_ROW) {
        key->row = find.Number(0);
        continue;
      }
      if (found != SQLITE_DONE) return ErrorOf(found);
    }
    if (!create) return ERROR_FILE_NOT_FOUND;
    const std::string spelled = WideToUtf8(name);
    const int added = Query(key->hive->Prepare(kAddChild))
                          .Bind(1, key->row)
                          .Bind(2, folded)
                          .Bind(3, spelled)
                          .Step();
    if (added != SQLITE_DONE) return ErrorOf(added);
    key->row = sqlite3_last_insert_rowid(key->hive->database());
  }
  return ERROR_SUCCESS;
}

HKEY AddHandle(Store* store, KeyHandle key) {
  key.generation = key.hive->generation();
  const std::uintptr_t handle = store->nextHandle;
  store->nextHandle += 4;
  // The predefined handles are far away, but a process may live long.
  if (store->nextHandle == 0x80000000) store->nextHandle = 0x100000000;
  store->handles.emplace(handle, std::move(key));
  return reinterpret_cast<HKEY>(handle);
}

LONG ListNames(HKEY handle, Statement statement, std::vector<std::wstring>* names) {
  names->clear();
  const LONG result = Read(handle, [&](Store*, const KeyHandle& key) {
    Query list(key.hive->Prepare(statement));
    list.Bind(1, key.row);
    int row;
    while ((row = list.Step()) == SQLITE_ROW) names->push_back(Utf8ToWide(list.Bytes(0)));
    return ErrorOf(row);
  });
  // The root of a hive that was never written is empty.
  return result == ERROR_FILE_NOT_FOUND ? ERROR_SUCCESS : result;
}

}  // namespace

LONG RegistryKey::Open(HKEY parent, const std::wstring& path, RegistryAccess access) {
  Close();
  return Read(parent, [&](Store* store, KeyHandle key) {
    const LONG result = Descend(path, false, &key);
    if (result == ERROR_SUCCESS) {
      key.writable = access == RegistryAccess::kReadWrite;
      key_ = AddHandle(store, std::move(key));
    }
    return result;
  });
}

LONG RegistryKey::Create(HKEY parent, const std::wstring& path) {
  Close();
  HKEY made = nullptr;
  const LONG result = Write(parent, MissingFile::kCreate, [&](Store* store, KeyHandle key) {
    const LONG descended = Descend(path, true, &key);
    if (descended == ERROR_SUCCESS) {
      key.writable = true;
      made = AddHandle(store, std::move(key));
    }
    return descended;
  });
  key_ = made;
  if (result != ERROR_SUCCESS) Close();
  return result;
}

void RegistryKey::Close() {
  if (key_ != nullptr) {
    Store& store = TheStore();
    const std::lock_guard guard(store.lock);
    store.handles.erase(reinterpret_cast<std::uintptr_t>(key_));
  }
  key_ = nullptr;
}

LONG GetRegistryValue(HKEY key, const std::wstring& name, RegistryValue* value) {
  *value = {};
  const std::string folded = Fold(UpToTerminator(name));
  return Read(key, [&](Store*, const KeyHandle& open) {
    Query find(open.hive->Prepare(kFindValue));
    const int found = find.Bind(1, open.row).Bind(2, folded).Step();
    if (found == SQLITE_DONE) return ERROR_FILE_NOT_FOUND;
    if (found != SQLITE_ROW) return ErrorOf(found);
    const std::string_view bytes = find.Bytes(1);
    value->type = static_cast<DWORD>(find.Number(0));
    value->data.assign(bytes.begin(), bytes.end());
    return ERROR_SUCCESS;
  });
}

LONG SetRegistryValue(HKEY key, const std::wstring& name, const RegistryValue& value) {
  const std::wstring valueName = UpToTerminator(name);
  if (valueName.size() > kMaxValueName) return ERROR_INVALID_PARAMETER;
  const std::string folded = Fold(valueName);
  const std::string spelled = WideToUtf8(valueName);
  return Write(key, MissingFile::kCreate, [&](Store*, const KeyHandle& open) {
    if (!open.writable) return ERROR_ACCESS_DENIED;
    return ErrorOf(Query(open.hive->Prepare(kSetValue))
                       .Bind(1, open.row)
                       .Bind(2, folded)
                       .Bind(3, spelled)
                       .Bind(4, value.type)
                       .Bind(5, value.data)
                       .Step());
  });
}

LONG DeleteRegistryValue(HKEY key, const std::wstring& name) {
  const std::string folded = Fold(UpToTerminator(name));
  return Write(key, MissingFile::kReport, [&](Store*, const KeyHandle& open) {
    if (!open.writable) return ERROR_ACCESS_DENIED;
    const int done =
        Query(open.hive->Prepare(kDeleteValue)).Bind(1, open.row).Bind(2, folded).Step();
    if (done != SQLITE_DONE) return ErrorOf(done);
    return sqlite3_changes(open.hive->database()) != 0 ? ERROR_SUCCESS : ERROR_FILE_NOT_FOUND;
  });
}

LONG DeleteRegistryTree(HKEY parent, const std::wstring& path) {
  return Write(parent, MissingFile::kReport, [&](Store*, KeyHandle key) {
    const sqlite3_int64 parentRow = key.row;
    const LONG result = Descend(path, false, &key);
    if (result != ERROR_SUCCESS) return result;
    // Without a path the key itself stays, empty.
    const bool staysItself = key.row == parentRow;
    if (staysItself && !key.writable) return ERROR_ACCESS_DENIED;
    const int done = Query(key.hive->Prepare(kDeleteTreeValues)).Bind(1, key.row).Step();
    if (done != SQLITE_DONE) return ErrorOf(done);
    return ErrorOf(Query(key.hive->Prepare(kDeleteTreeKeys))
                       .Bind(1, key.row)
                       .Bind(2, staysItself ? key.row : 0)
                       .Step());
  });
}

LONG ListRegistryKeys(HKEY key, std::vector<std::wstring>* names) {
  return ListNames(key, kListKeys, names);
}

LONG ListRegistryValues(HKEY key, std::vector<std::wstring>* names) {
  return ListNames(key, kListValues, names);
}

}  // namespace orv
