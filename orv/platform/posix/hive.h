#pragma once

#include <sqlite3.h>
#include <sys/types.h>

#include <array>
#include <string>
#include <string_view>
#include <vector>

#include "orv/platform/types.h"

/// One hive of the settings store: an SQLite file, `docs/registry.md` describes its tables. Nothing
/// here locks; the registry above does.

namespace orv {

/// The row of a hive's root key, which is always there.
inline constexpr sqlite3_int64 kRootKey = 1;

/// The statements that the registry runs; each names its parameters in hive.cpp.
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

/// One hive's file and the connection to it.
class Hive {
 public:
  explicit Hive(std::string path) : path_(std::move(path)) {}
  Hive(const Hive&) = delete;
  Hive& operator=(const Hive&) = delete;
  ~Hive() { Disconnect(); }

  /// Changes when another file is found in the place of the one that was read: rows are new then.
  int generation() const { return generation_; }

  /// Makes the connection usable for reading. `ERROR_FILE_NOT_FOUND` when nothing was ever written.
  LONG PrepareRead();

  /// Makes the connection usable for writing, with file, folder and tables.
  LONG PrepareWrite();

  sqlite3* database() const { return database_; }

  /// A statement ready to be bound and run; prepared once a connection.
  Prepared Prepare(Statement statement);
  /// Runs a statement without parameters to its end.
  LONG Run(Statement statement);

 private:
  LONG Connect(int flags);
  LONG CreateTables();
  void Disconnect();

  std::string path_;
  sqlite3* database_ = nullptr;
  pid_t owner_ = 0;        ///< the process that opened the connection
  FileIdentity identity_;  ///< the file that it reads
  int generation_ = 0;
  std::array<sqlite3_stmt*, kStatementCount> statements_{};
};

}  // namespace orv
