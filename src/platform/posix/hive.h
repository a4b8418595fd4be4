#pragma once

#include <sqlite3.h>
#include <sys/types.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "orv/platform/registry.h"
#include "orv/platform/types.h"
#include "platform/posix/descriptor.h"
#include "platform/registry_cache.h"

/// One hive of the settings store: an SQLite file, whose tables `docs/registry.md` describes. Not
/// thread-safe; the registry holds the lock.

namespace orv {

/// The row of a hive's root key, which always exists.
inline constexpr sqlite3_int64 kRootKey = 1;

/// The statements that the registry runs; hive.cpp lists the parameters of each.
enum Statement {
  kHasSchema,
  kBeginRead,
  kBeginWrite,
  kCommit,
  kRollback,
  kFindKey,
  kFindChild,
  kAddChild,
  kSetValue,
  kDeleteValue,
  kDeleteTreeValues,
  kDeleteTreeKeys,
  kListKeys,
  kListSubKeys,
  kListSubKeysWithoutStamps,
  kListValues,
  kStatementCount,
};

/// The system error code for an SQLite result.
LONG ErrorOf(int sqliteResult);

class Hive;

/// What a thread asks of the store in one go: a `RegistrySnapshot`, or a call without one.
struct Request {
  std::uint64_t number = 0;  ///< above 0 if several calls belong to it
  std::chrono::steady_clock::duration waited{};
  std::array<const Hive*, 2> locked{};  ///< stayed locked until the time was up

  static Request& OfThread();

  /// For how long a request waits for locked files, in all; tests change it, and
  /// `KeepRegistryUnchanged` shortens it.
  static constexpr std::chrono::milliseconds kMaxWait{10000};
  static inline std::chrono::milliseconds s_maxWait = kMaxWait;
};

/// A prepared statement, or the reason why it could not be prepared.
struct Prepared {
  sqlite3_stmt* statement;
  int result;
};

/// Runs a prepared statement and resets it at the end of the scope. If it could not be prepared,
/// the first step returns that error.
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

  // Bound text and bytes are not copied: they must outlive the query.
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

/// When a file was last changed, by the system's clock, in nanoseconds.
using ChangeTime = std::int64_t;

/// The content of a key as of one read.
struct KeyContent {
  struct Value {
    std::string folded;
    NamedRegistryValue named;
  };
  bool isThere = false;
  std::vector<Value> values;  ///< ordered by folded name
  std::vector<std::wstring> subKeys;
};

/// The key that a path leads to.
struct PathEnd {
  LONG result = ERROR_SUCCESS;
  sqlite3_int64 row = 0;
  std::size_t depth = 0;
};

/// A transaction of a hive. The destructor rolls it back unless it was committed, also when an
/// exception is thrown.
class Transaction {
 public:
  Transaction(Hive* hive, Statement begin);
  Transaction(const Transaction&) = delete;
  Transaction& operator=(const Transaction&) = delete;
  ~Transaction();

  /// The result of beginning the transaction.
  LONG result() const { return result_; }
  LONG Commit();

 private:
  Hive* hive_;
  LONG result_;
  bool isOpen_;
};

/// A hive's file, the connection to it, and a cache of what was read. Before each use of the cache,
/// one `stat` shows whether the path leads to the same file and when that was changed. If the time
/// is new, or not reliable, the file header is read as well; every write changes it. Neither needs
/// locks or queries.
///
/// A change time is reliable if, under the lock that excludes writers, the header matched the cache
/// and the change was at least 100 ms ago, and if the clock has been set by less than 50 ms since
/// then. Later writes then set another time, because the clock advances at least every 10 ms. Only
/// file systems that use the system's clock with a resolution below a millisecond qualify.
class Hive {
 public:
  explicit Hive(std::string path) : path_(std::move(path)), version_(NewVersion()) {}
  Hive(const Hive&) = delete;
  Hive& operator=(const Hive&) = delete;
  ~Hive() { Disconnect(); }

  /// Changes when another file replaces the one that was read: row ids are new then.
  int generation() const { return generation_; }

  /// Makes the connection usable for reading. Returns `ERROR_FILE_NOT_FOUND` if nothing was ever
  /// written. All reads with the same request number above 0 check the file only once.
  LONG PrepareRead(std::uint64_t request = 0);

  /// Runs `work()`, which uses the file. If the file stays locked until the request's time is up,
  /// the rest of the request fails at once.
  template <typename Work>
  LONG InRequest(Work work) const {
    Request& request = Request::OfThread();
    if (std::ranges::count(request.locked, this) != 0) return ERROR_BUSY;
    const LONG result = work();
    if (result == ERROR_BUSY && request.number != 0) {
      request.locked[request.locked[0] == nullptr ? 0 : 1] = this;
    }
    return result;
  }

  /// Makes the connection usable for writing; creates folder, file and tables if missing.
  LONG PrepareWrite();

  /// Drops the cache.
  void Forget();

  /// Changes whenever the file may have another content than before.
  std::uint64_t version() const { return version_; }

  /// Adds what later versions of the store have to the file, in a transaction.
  LONG Upgrade();

  /// False in a process that must not change anything: files are opened only for reading.
  static inline bool s_mayChange = true;

  sqlite3* database() const { return database_; }
  const std::string& path() const { return path_; }

  /// Ends a transaction by rolling it back. If even that fails, the connection is closed, which
  /// also rolls back: the cache is dropped, the caller gets the original error, and the next call
  /// opens the file again, where the first connection recovers the journal.
  void RollBack();

  /// A statement ready to be bound and run; prepared once per connection.
  Prepared Prepare(Statement statement);
  /// Runs a statement without parameters to its end.
  LONG Run(Statement statement);

  /// Returns `ERROR_KEY_DELETED` if the key is missing.
  LONG FindKey(sqlite3_int64 row);
  /// Reads a key as a whole, and caches it until the file is written. The content is valid until
  /// the next call of a function that is not const.
  LONG ReadKey(sqlite3_int64 row, const KeyContent** content);
  /// Reads the sub-keys of a key, all from the same state of the file. Values are read only for
  /// sub-keys whose stamp is not in `known`.
  LONG ReadSubKeys(sqlite3_int64 row, const KnownStamps& known,
                   std::vector<StampedSubKey>* subKeys);
  /// Finds the key that a path leads to, with the same caching: `walk()` finds it with queries.
  template <typename Walk>
  PathEnd ReadPath(sqlite3_int64 row, const std::wstring& path, Walk walk) {
    const auto known = paths_.find({row, path});
    if (known != paths_.end()) return known->second;
    PathEnd end;
    const LONG error = ReadTogether([&] {
      end = walk();
      return end.result == ERROR_FILE_NOT_FOUND ? ERROR_SUCCESS : end.result;
    });
    if (error != ERROR_SUCCESS) return {error};
    if (paths_.size() >= kMaxCached) paths_.erase(std::prev(paths_.end()));
    return paths_[{row, path}] = end;
  }

 private:
  /// The bytes of the file header that every write changes.
  using FileState = std::array<std::uint8_t, 16>;
  /// Reads them; returns nothing if the file's format leaves them unchanged by writes.
  std::optional<FileState> ReadState() const;
  /// Runs queries that all see one state of the file. Drops the cache if it is from an older state.
  template <typename Work>
  LONG ReadTogether(Work work) {
    Transaction transaction(this, kBeginRead);
    LONG result = transaction.result();
    if (result != ERROR_SUCCESS) return result;
    result = work();
    // Read while the queries still hold the lock that excludes writers. At any other time the state
    // could be that of an interrupted write, which is rolled back and could recur with another
    // write.
    const std::optional<FileState> state = ReadState();
    if (state != keptAt_ && (keptAt_ || !keys_.empty() || !paths_.empty())) Forget();
    keptAt_ = state;
    const LONG ended = transaction.Commit();
    return result != ERROR_SUCCESS ? result : ended;
  }
  /// Whether a change time shows that the file has not changed since it was relied on.
  bool IsReliable(ChangeTime changed) const;
  /// Drops the cache unless the file header is still that of the cache. Relies on the change time
  /// from now on if the file has rested.
  void CheckState(ChangeTime changed);
  /// No two versions of any hive are the same.
  static std::uint64_t NewVersion();
  void NoteMissing();
  LONG Reconnect(bool isSameFile);
  LONG Connect(int flags);
  LONG ConnectOnce(int flags);
  LONG CheckTables();
  /// Whether the file has the stamps; older ones get them with the next write.
  bool HasStamps();
  LONG CreateTables();
  void Disconnect();

  std::string path_;
  sqlite3* database_ = nullptr;
  DWORD owner_ = 0;        ///< the process that opened the connection
  FileIdentity identity_;  ///< the file that it reads
  int generation_ = 0;
  std::array<sqlite3_stmt*, kStatementCount> statements_{};

  /// Maximum number of cached keys, and of paths. One more key replaces all, one more path another.
  static constexpr std::size_t kMaxCached = 4096;
  bool isMissing_ = false;  ///< there was no file at the last check
  std::uint64_t version_;
  std::uint64_t request_ = 0;              ///< the last one that checked the file
  std::optional<FileState> keptAt_;        ///< the file's state when the rest was read
  bool hasSystemTimes_ = false;            ///< the file system has the system's change times
  std::optional<ChangeTime> restedSince_;  ///< the change time that shows that state
  ChangeTime clockAdvance_ = 0;            ///< `Clocks::advance` when that time was found reliable
  std::unordered_map<sqlite3_int64, KeyContent> keys_;
  std::map<std::pair<sqlite3_int64, std::wstring>, PathEnd> paths_;
};

}  // namespace orv
