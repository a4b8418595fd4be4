#include "platform/posix/hive.h"

#include <linux/magic.h>
#include <sys/stat.h>
#include <sys/statfs.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <ctime>
#include <filesystem>
#include <span>
#include <thread>
#include <tuple>

#include "base/utf8.h"
#include "platform/processes.h"

/// The rollback journal is used instead of a write-ahead log because the latter needs write access
/// to the folder even for reading, which users do not have for the machine hive.

namespace orv {
namespace {

/// Waits before SQLite tries again to lock the file. Returns 0 if the request's time is up. The
/// pauses are short: writers that follow each other closely leave the file free only for moments.
/// After a while they are longer, because the attempts of a hundred waiting processes would take
/// the processor from the one that writes. They do not grow: otherwise the process that has waited
/// longest would try least often.
int WaitForLock(void*, int) {
  using std::chrono::milliseconds;
  constexpr milliseconds kShortPause(1);
  constexpr milliseconds kPause(5);
  constexpr milliseconds kSoon(10);
  Request& request = Request::OfThread();
  if (request.waited >= Request::s_maxWait) return 0;
  const auto start = std::chrono::steady_clock::now();
  std::this_thread::sleep_for(request.waited < kSoon ? kShortPause : kPause);
  request.waited += std::chrono::steady_clock::now() - start;
  return 1;
}

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

/// What later versions have added to the tables.
///
/// The triggers give a key a new stamp when its values change, whichever version changes them.
/// Stamps are random, so that they identify values even if an older file replaces the file.
#define ORV_TRIGGER(event, row)                    \
  "CREATE TRIGGER stamp_on_" event " AFTER " event \
  " ON key_values BEGIN "                          \
  "UPDATE keys SET stamp = random() WHERE id = " row ".key; END;"
constexpr char kUpgrade[] =
    "ALTER TABLE keys ADD COLUMN stamp INTEGER NOT NULL DEFAULT 0;" ORV_TRIGGER("insert", "NEW")
        ORV_TRIGGER("update", "NEW") ORV_TRIGGER("delete", "OLD");
#undef ORV_TRIGGER

/// The key ?1 and everything below it.
#define ORV_TREE                                                                        \
  "WITH RECURSIVE tree(id) AS (SELECT ?1 UNION ALL SELECT keys.id FROM keys JOIN tree " \
  "ON keys.parent = tree.id) "

constexpr const char* kSql[kStatementCount] = {
    "SELECT name = 'key_values' FROM sqlite_master ORDER BY 1 DESC",
    "BEGIN",
    "BEGIN IMMEDIATE",
    "COMMIT",
    "ROLLBACK",
    "SELECT 1 FROM keys WHERE id = ?1",
    "SELECT id FROM keys WHERE parent = ?1 AND folded = ?2",
    "INSERT INTO keys(parent, folded, name) VALUES(?1, ?2, ?3)",
    // NOLINTNEXTLINE(bugprone-suspicious-missing-comma): one statement in two lines.
    "INSERT INTO key_values(key, folded, name, type, data) VALUES(?1, ?2, ?3, ?4, ?5) "
    "ON CONFLICT(key, folded) DO UPDATE SET type = excluded.type, data = excluded.data",
    "DELETE FROM key_values WHERE key = ?1 AND folded = ?2",
    ORV_TREE "DELETE FROM key_values WHERE key IN (SELECT id FROM tree)",
    ORV_TREE "DELETE FROM keys WHERE id IN (SELECT id FROM tree) AND id <> ?2",
    "SELECT name FROM keys WHERE parent = ?1 ORDER BY folded",
    "SELECT id, name, stamp FROM keys WHERE parent = ?1 ORDER BY folded",
    "SELECT id, name, 0 FROM keys WHERE parent = ?1 ORDER BY folded",
    "SELECT folded, name, type, data FROM key_values WHERE key = ?1 ORDER BY folded",
};
#undef ORV_TREE

/// For how long a file must not have changed before its change time is relied on.
constexpr ChangeTime kRest = 100'000'000;
/// By how much the clock may be set in the meantime; less than `kRest`, so that times still
/// increase.
constexpr ChangeTime kMaxSetBack = kRest / 2;

/// Wraps around for times that no clock has, but a damaged or foreign file system may.
ChangeTime NanosecondsOf(const timespec& time) {
  return static_cast<ChangeTime>(static_cast<std::uint64_t>(time.tv_sec) * 1'000'000'000 +
                                 static_cast<std::uint64_t>(time.tv_nsec));
}

/// The system's clocks.
struct Clocks {
  ChangeTime now;      ///< of the clock that file systems use
  ChangeTime advance;  ///< by which it is ahead of the monotonic clock

  static std::optional<Clocks> Read() {
    timespec now{};
    timespec steady{};
    if (clock_gettime(CLOCK_REALTIME_COARSE, &now) != 0 ||
        clock_gettime(CLOCK_MONOTONIC_COARSE, &steady) != 0) {
      return std::nullopt;
    }
    return Clocks{NanosecondsOf(now), NanosecondsOf(now) - NanosecondsOf(steady)};
  }
};

/// Whether a file system takes change times from this system's clock.
bool HasSystemTimes(const std::string& path) {
  constexpr unsigned long kSystems[] = {EXT4_SUPER_MAGIC, XFS_SUPER_MAGIC, BTRFS_SUPER_MAGIC,
                                        F2FS_SUPER_MAGIC, TMPFS_MAGIC,     OVERLAYFS_SUPER_MAGIC};
  struct statfs status {};
  return statfs(path.c_str(), &status) == 0 &&
         std::ranges::count(kSystems, static_cast<unsigned long>(status.f_type)) != 0;
}

/// Whether a file last changed at least `kRest` ago. False for times in whole milliseconds: the
/// file system's resolution may be too low.
bool IsRested(ChangeTime changed, const Clocks& clocks) {
  constexpr ChangeTime kMillisecond = 1'000'000;
  return changed % kMillisecond != 0 && changed <= clocks.now - kRest;
}

/// Finds out which file a path leads to, and when it was changed.
LONG Identify(const std::string& path, FileIdentity* identity, ChangeTime* changed) {
  struct stat status {};
  if (stat(path.c_str(), &status) == 0) {
    *identity = FileIdentity(status);
    *changed = NanosecondsOf(status.st_ctim);
    return ERROR_SUCCESS;
  }
  switch (errno) {
    case ENOENT:
    case ENOTDIR:
      return ERROR_FILE_NOT_FOUND;
    case EACCES:
      return ERROR_ACCESS_DENIED;
    default:
      return ERROR_REGISTRY_IO_FAILED;
  }
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

Request& Request::OfThread() {
  thread_local Request request;
  return request;
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
  const bool isOwn = owner_ == CurrentProcessId();
  if (request != 0 && request == request_ && isOwn) return ERROR_SUCCESS;
  FileIdentity current;
  ChangeTime changed = 0;
  const LONG identified = Identify(path_, &current, &changed);
  if (identified == ERROR_FILE_NOT_FOUND) NoteMissing();
  if (identified != ERROR_SUCCESS) return identified;
  // An open connection prevents its file's inode number from being reused.
  const bool isSameFile = database_ != nullptr && current == identity_;
  if (isSameFile && isOwn && !IsReliable(changed)) CheckState(changed);
  if (!isSameFile || !isOwn || database_ == nullptr) {
    if (const LONG error = Reconnect(isSameFile); error != ERROR_SUCCESS) return error;
  }
  request_ = request;
  return ERROR_SUCCESS;
}

bool Hive::IsReliable(ChangeTime changed) const {
  if (changed != restedSince_) return false;
  const std::optional<Clocks> clocks = Clocks::Read();
  if (!clocks) return false;
  const ChangeTime setBy = clocks->advance - clockAdvance_;  // how far the clock was set since then
  return -kMaxSetBack < setBy && setBy < kMaxSetBack;
}

void Hive::CheckState(ChangeTime changed) {
  restedSince_.reset();
  const std::optional<FileState> state = ReadState();
  if (!state || state != keptAt_) return Forget();
  const std::optional<Clocks> clocks = Clocks::Read();
  if (!hasSystemTimes_ || !clocks || !IsRested(changed, *clocks)) return;
  // Without the lock, a write could be in progress that has set the change time, but has not
  // changed the header yet. A locked file is not waited for: it is checked again next time.
  sqlite3_busy_handler(database_, nullptr, nullptr);
  ReadTogether([&] {
    const LONG locked = FindKey(kRootKey);
    FileIdentity current;
    ChangeTime now = 0;
    const bool isUnchanged = locked == ERROR_SUCCESS && ReadState() == state &&
                             Identify(path_, &current, &now) == ERROR_SUCCESS &&
                             current == identity_ && now == changed;
    if (isUnchanged) {
      restedSince_ = changed;
      clockAdvance_ = clocks->advance;
    }
    return locked;
  });
  if (database_ != nullptr) sqlite3_busy_handler(database_, WaitForLock, nullptr);
}

void Hive::NoteMissing() {
  if (isMissing_) return;
  Disconnect();
  ++generation_;
  isMissing_ = true;
}

LONG Hive::PrepareWrite() {
  if (!s_mayChange) return ERROR_ACCESS_DENIED;
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

LONG Hive::FindKey(sqlite3_int64 row) {
  const int found = Query(Prepare(kFindKey)).Bind(1, row).Step();
  return found == SQLITE_DONE ? ERROR_KEY_DELETED : ErrorOf(found);
}

LONG Hive::ReadKey(sqlite3_int64 row, const KeyContent** content) {
  auto known = keys_.find(row);
  if (known == keys_.end()) {
    KeyContent read;
    const LONG error = ReadTogether([&] {
      const LONG isThere = FindKey(row);
      if (isThere == ERROR_KEY_DELETED) return ERROR_SUCCESS;
      if (isThere != ERROR_SUCCESS) return isThere;
      read.isThere = true;
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
    // Replacing only one could replace the parent of all that are read, again and again.
    if (keys_.size() >= kMaxCached) keys_.clear();
    known = keys_.emplace(row, std::move(read)).first;
  }
  *content = &known->second;
  return ERROR_SUCCESS;
}

LONG Hive::ReadSubKeys(sqlite3_int64 row, const KnownStamps& known,
                       std::vector<StampedSubKey>* subKeys) {
  return ReadTogether([&] {
    if (const LONG error = FindKey(row); error != ERROR_SUCCESS) return error;
    Query keys(Prepare(HasStamps() ? kListSubKeys : kListSubKeysWithoutStamps));
    keys.Bind(1, row);
    int found;
    while ((found = keys.Step()) == SQLITE_ROW) {
      StampedSubKey& subKey = subKeys->emplace_back();
      subKey.subKey.name = Utf8ToWide(keys.Bytes(1));
      subKey.stamp = static_cast<RegistryStamp>(keys.Number(2));
      subKey.isKnown = subKey.stamp != 0 && known.contains(subKey.stamp);
      if (subKey.isKnown) continue;
      Query values(Prepare(kListValues));
      values.Bind(1, keys.Number(0));
      while ((found = values.Step()) == SQLITE_ROW) {
        const std::string_view bytes = values.Bytes(3);
        subKey.subKey.values.push_back(
            {Utf8ToWide(values.Bytes(1)),
             {static_cast<DWORD>(values.Number(2)), {bytes.begin(), bytes.end()}}});
      }
      if (found != SQLITE_DONE) return ErrorOf(found);
    }
    return ErrorOf(found);
  });
}

LONG Hive::Upgrade() {
  if (HasStamps()) return ERROR_SUCCESS;
  return ErrorOf(sqlite3_exec(database_, kUpgrade, nullptr, nullptr, nullptr));
}

bool Hive::HasStamps() {
  const int found = Query(Prepare(kListSubKeys)).Bind(1, kRootKey).Step();
  return found == SQLITE_ROW || found == SQLITE_DONE;
}

std::optional<Hive::FileState> Hive::ReadState() const {
  // Fields of the database header. Byte 18: the versions of the write and read formats, both 1 with
  // a rollback journal. Byte 24: what every write changes, beginning with the change counter;
  // SQLite compares these bytes to find out whether its cached pages are current.
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

std::uint64_t Hive::NewVersion() {
  static std::atomic<std::uint64_t> s_last{0};
  return ++s_last;
}

void Hive::Forget() {
  version_ = NewVersion();
  keys_.clear();
  paths_.clear();
  keptAt_.reset();
  restedSince_.reset();
}

LONG Hive::Reconnect(bool isSameFile) {
  // Without a connection the file may have been replaced by another with the same inode number.
  if (!isSameFile || database_ == nullptr) ++generation_;
  Disconnect();
  return Connect(s_mayChange ? SQLITE_OPEN_READWRITE : SQLITE_OPEN_READONLY);
}

LONG Hive::Connect(int flags) {
  constexpr int kMaxAttempts = 100;
  for (int attempt = 0; attempt < kMaxAttempts; ++attempt) {
    const LONG error = ConnectOnce(flags);
    // If another file has replaced the opened one before it was identified, `identity_` is that of
    // a file that is not read.
    int isReplaced = 0;
    if (error == ERROR_SUCCESS) {
      sqlite3_file_control(database_, nullptr, SQLITE_FCNTL_HAS_MOVED, &isReplaced);
    }
    if (isReplaced == 0) return error;
    Disconnect();
  }
  return ERROR_BUSY;
}

LONG Hive::ConnectOnce(int flags) {
  LONG error =
      ErrorOf(sqlite3_open_v2(path_.c_str(), &database_, flags | SQLITE_OPEN_NOMUTEX, nullptr));
  owner_ = CurrentProcessId();
  if (error == ERROR_SUCCESS) {
    sqlite3_busy_handler(database_, WaitForLock, nullptr);
    error = (flags & SQLITE_OPEN_CREATE) != 0 ? CreateTables() : CheckTables();
  }
  ChangeTime ignored = 0;
  if (error == ERROR_SUCCESS) error = Identify(path_, &identity_, &ignored);
  hasSystemTimes_ = HasSystemTimes(path_);
  isMissing_ = false;
  if (error != ERROR_SUCCESS) Disconnect();
  return error;
}

LONG Hive::CheckTables() {
  Query tables(Prepare(kHasSchema));
  const int found = tables.Step();
  // A file without tables is one that another process is about to initialize, or was killed while
  // initializing.
  if (found == SQLITE_DONE) return ERROR_FILE_NOT_FOUND;
  if (found != SQLITE_ROW) return ErrorOf(found);
  return tables.Number(0) != 0 ? ERROR_SUCCESS : ERROR_BADDB;
}

LONG Hive::CreateTables() {
  Transaction transaction(this, kBeginWrite);
  if (transaction.result() != ERROR_SUCCESS) return transaction.result();
  LONG error = ErrorOf(sqlite3_exec(database_, kSchema, nullptr, nullptr, nullptr));
  if (error == ERROR_SUCCESS) error = Upgrade();
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
  if (owner_ == CurrentProcessId()) {
    for (sqlite3_stmt* statement : statements_) sqlite3_finalize(statement);
    sqlite3_close_v2(database_);
  }
  statements_.fill(nullptr);
  database_ = nullptr;
  request_ = 0;
  Forget();
}

}  // namespace orv
