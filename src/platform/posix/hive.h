#pragma once

#include <sqlite3.h>
#include <sys/types.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "orv/platform/registry.h"
#include "orv/platform/types.h"

/// One hive of the settings store: an SQLite file, `docs/registry.md` describes its tables. Nothing
/// here locks; the registry above does.

namespace orv {

/// The row of a hive's root key, which is always there.
inline constexpr sqlite3_int64 kRootKey = 1;

/// The statements that the registry runs; each names its parameters in hive.cpp.
enum Statement {
  kHasSchema,
  kBeginRead,
  kBegin,
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
  kListValues,
  kStatementCount,
};

/// The system error code for what SQLite returned.
LONG ErrorOf(int sqliteResult);

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

/// A key as one read found it.
struct KeyContent {
  struct Value {
    std::string folded;
    NamedRegistryValue named;
  };
  bool isThere = false;
  std::vector<Value> values;  ///< in the order of their folded names
  std::vector<std::wstring> subKeys;
};

/// Where a path leads to.
struct PathEnd {
  LONG result = ERROR_SUCCESS;
  sqlite3_int64 row = 0;
  std::size_t depth = 0;
};

class Hive;

/// A transaction of a hive; one that is not committed is undone with the object, also when what
/// was to be done in it throws.
class Transaction {
 public:
  Transaction(Hive* hive, Statement begin);
  Transaction(const Transaction&) = delete;
  Transaction& operator=(const Transaction&) = delete;
  ~Transaction();

  /// Whether it could begin.
  LONG result() const { return result_; }
  LONG Commit();

 private:
  Hive* hive_;
  LONG result_;
  bool isOpen_;
};

/// One hive's file, the connection to it, and what was read from it. Reading a key again costs one
/// look at the file's header instead of locks and queries; a write by anybody shows there.
class Hive {
 public:
  explicit Hive(std::string path) : path_(std::move(path)) {}
  Hive(const Hive&) = delete;
  Hive& operator=(const Hive&) = delete;
  ~Hive() { Disconnect(); }

  /// Changes when another file is found in the place of the one that was read: rows are new then.
  int generation() const { return generation_; }

  /// Makes the connection usable for reading. `ERROR_FILE_NOT_FOUND` when nothing was ever written.
  /// The reads of one request, which has a number of its own above 0, look at the file only once.
  LONG PrepareRead(std::uint64_t request = 0);

  /// Makes the connection usable for writing, with file, folder and tables.
  LONG PrepareWrite();

  /// Drops what was read and kept.
  void Forget();

  sqlite3* database() const { return database_; }

  /// Ends a transaction, whatever becomes of it, by rolling it back. A connection that cannot even
  /// do that is closed, which does: what was kept of it is dropped, the caller gets the error that
  /// led here, and the next call opens the file anew, where whoever comes first undoes what is
  /// left.
  void RollBack();

  /// A statement ready to be bound and run; prepared once a connection.
  Prepared Prepare(Statement statement);
  /// Runs a statement without parameters to its end.
  LONG Run(Statement statement);

  /// What a key holds, read as a whole and kept as long as nobody writes to the file. The content
  /// is good until the next call of a function that is not const.
  LONG ReadKey(sqlite3_int64 row, const KeyContent** content);
  /// Where a path from a key leads to, kept likewise: `walk()` finds it out with queries.
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
    return paths_[{row, path}] = end;
  }

 private:
  /// The bytes of the file that every write to it changes.
  using FileState = std::array<std::uint8_t, 16>;
  /// Reads them; none when the file is written in a way that leaves them as they are.
  std::optional<FileState> ReadState() const;
  /// Runs queries that all see one state of the file, and forgets what was read of an older one.
  template <typename Work>
  LONG ReadTogether(Work work) {
    Transaction transaction(this, kBeginRead);
    LONG result = transaction.result();
    if (result != ERROR_SUCCESS) return result;
    result = work();
    // Asked while the queries still keep every writer waiting. At any other time the state could be
    // that of a write which is cut off and undone, and come back with another write.
    const std::optional<FileState> state = ReadState();
    if (state != keptAt_ || keys_.size() + paths_.size() >= kMostKept) Forget();
    keptAt_ = state;
    const LONG ended = transaction.Commit();
    return result != ERROR_SUCCESS ? result : ended;
  }
  LONG Connect(int flags);
  LONG CreateTables();
  void Disconnect();

  std::string path_;
  sqlite3* database_ = nullptr;
  pid_t owner_ = 0;        ///< the process that opened the connection
  FileIdentity identity_;  ///< the file that it reads
  int generation_ = 0;
  std::array<sqlite3_stmt*, kStatementCount> statements_{};

  /// Keys and paths that are kept at most: far more than the library reads.
  static constexpr std::size_t kMostKept = 4096;
  std::uint64_t request_ = 0;        ///< the one that looked at the file last
  std::optional<FileState> keptAt_;  ///< the file's state when the rest was read
  std::unordered_map<sqlite3_int64, KeyContent> keys_;
  std::map<std::pair<sqlite3_int64, std::wstring>, PathEnd> paths_;
};

}  // namespace orv
