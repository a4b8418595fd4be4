#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "orv/platform/export.h"
#include "orv/platform/types.h"

/// The settings store: the registry on Windows; on Linux one SQLite file for the user hive and one
/// for the machine hive, with the same rules (names compare case-insensitively, sub-keys and values
/// enumerate in name order, several processes may use it at once). The roots are
/// `HKEY_CURRENT_USER` and `HKEY_LOCAL_MACHINE`; paths separate their keys with backslashes.
/// Functions report errors as `orv/platform/types.h` describes; one that throws has written
/// nothing. `ERROR_FILE_NOT_FOUND` alone means that something is missing; a store that cannot be
/// read gives another error. Example:
///
///     orv::RegistryKey settings;
///     if (settings.Create(HKEY_CURRENT_USER, L"Software\\Vendor") == ERROR_SUCCESS) {
///       orv::SetRegistryValue(settings.get(), L"Copies", orv::RegistryValue::FromNumber(2));
///     }

namespace orv {

/// The access for which a key is opened.
enum class RegistryAccess { kRead, kReadWrite };

/// An owned key, closed by the destructor.
class ORV_EXPORT RegistryKey {
 public:
  RegistryKey() = default;

  /// Takes ownership of an open key.
  explicit RegistryKey(HKEY key) : key_(key) {}
  RegistryKey(RegistryKey&& other) noexcept : key_(std::exchange(other.key_, nullptr)) {}
  RegistryKey& operator=(RegistryKey&& other) noexcept {
    std::swap(key_, other.key_);
    return *this;
  }
  ~RegistryKey() { Close(); }

  /// Opens an existing key below `parent`.
  LONG Open(HKEY parent, const std::wstring& path, RegistryAccess access);

  /// Opens a key below `parent` for reading and writing, creating it and its parents if missing.
  LONG Create(HKEY parent, const std::wstring& path);

  /// Closes the key; does nothing without one.
  void Close();

  /// The open key, which this object keeps; null without one.
  HKEY get() const { return key_; }

 private:
  HKEY key_ = nullptr;
};

/// A value's type (`REG_SZ`, …) and bytes. Text is UTF-16LE with its terminator on both platforms.
struct ORV_EXPORT RegistryValue {
  DWORD type = 0;          ///< `REG_SZ` and others
  std::vector<BYTE> data;  ///< as the registry stores it

  /// Makes a `REG_SZ` value from a text, or a `REG_DWORD` value from a number.
  static RegistryValue FromText(const std::wstring& text);
  static RegistryValue FromNumber(DWORD number);

  /// The text of a `REG_SZ` value up to its first terminator; empty for any other type.
  std::wstring Text() const;

  /// Reads a `REG_DWORD` value of four bytes into `*number`. Returns false for any other value.
  bool Number(DWORD* number) const;
};

/// A value, and its name as first written.
struct NamedRegistryValue {
  std::wstring name;    ///< empty for the default value of a key
  RegistryValue value;  ///< its type and bytes
};

/// Reads, sets or deletes the value with a name, compared case-insensitively. These and the
/// functions below return a system error code, `ERROR_FILE_NOT_FOUND` if the value or key is
/// missing.
ORV_EXPORT LONG GetRegistryValue(HKEY key, const std::wstring& name, RegistryValue* value);
ORV_EXPORT LONG SetRegistryValue(HKEY key, const std::wstring& name, const RegistryValue& value);
ORV_EXPORT LONG DeleteRegistryValue(HKEY key, const std::wstring& name);

/// Deletes the key at `path` below `parent` with everything under it.
ORV_EXPORT LONG DeleteRegistryTree(HKEY parent, const std::wstring& path);

/// Lists the names of all sub-keys of `key`, in name order.
ORV_EXPORT LONG ListRegistryKeys(HKEY key, std::vector<std::wstring>* names);

/// Lists all values of `key`, in name order. Cheaper than reading several values one by one.
ORV_EXPORT LONG ListRegistryValues(HKEY key, std::vector<NamedRegistryValue>* values);

/// A sub-key with its values.
struct RegistrySubKey {
  std::wstring name;                       ///< as first written; for writing also a path
  std::vector<NamedRegistryValue> values;  ///< in name order
};

/// Reads all sub-keys of `key` with their values, in name order. `WriteRegistryKeys` and this one
/// work together: a sub-key that it writes is read as before or as after, never in between. On
/// Windows sub-keys without values are left out, because that is how a new one looks in between.
ORV_EXPORT LONG ReadRegistryKeys(HKEY key, std::vector<RegistrySubKey>* subKeys);

/// Creates the sub-keys of `key` that are missing, and sets their values; other values are kept.
/// On Linux all are written in one transaction, or none. The Windows registry has no transactions:
/// there each sub-key is complete or unchanged for `ReadRegistryKeys`, also if the process is
/// killed, and a failure leaves the sub-keys before it written. For this, the value "Revision" of a
/// sub-key holds all its new values while they are written one by one, and then a number that
/// changes with each write. A sub-key without any value is one that has only just been created, and
/// is not read.
ORV_EXPORT LONG WriteRegistryKeys(HKEY key, std::span<const RegistrySubKey> subKeys);

/// A change of the settings store.
struct RegistryChange {
  /// What changes; a key is deleted with everything below it.
  enum class Kind { kMakeKey, kDeleteKey, kSetValue, kDeleteValue };
  Kind kind;            ///< what this one changes
  HKEY root;            ///< `HKEY_CURRENT_USER` or `HKEY_LOCAL_MACHINE`
  std::wstring path;    ///< of the key below its root
  std::wstring name;    ///< of the value; empty is the key's default value
  RegistryValue value;  ///< the one to set
};

/// Makes changes in their order. Keys are created if they are missing, except by `kDeleteKey`;
/// deleting what is missing does nothing. If a change fails, `*failed` is its index.
/// On Linux all changes of a hive are one transaction, and a failure leaves both hives as they
/// were; only if writing the second file fails at the very end, the first one is changed. The
/// Windows registry has no transactions: there a failure leaves the changes before it made.
ORV_EXPORT LONG ChangeRegistry(std::span<const RegistryChange> changes, std::size_t* failed);

/// The name of a hive's store for messages: its file on Linux, the root's name on Windows.
ORV_EXPORT std::wstring RegistryStoreName(HKEY hive);

/// A store that could not be read.
struct RegistryFailure {
  LONG error = ERROR_SUCCESS;  ///< a system error code
  std::wstring store;          ///< for messages: as `RegistryStoreName` names it, or the spooler
};

/// One request to the settings store. While the object exists, this thread checks only at its first
/// read whether another process has written, and then relies on what this process has read before.
/// A key that it has not read yet is read as the store has it by then, and after a write, also one
/// of another thread, the next read checks again. All waits for stores that other processes have
/// locked take at most ten seconds together; a store that stays locked fails with `ERROR_BUSY`, and
/// so do its later reads and writes in this request, at once. Without such an object each call is a
/// request. On Windows it has no effect.
class ORV_EXPORT RegistrySnapshot {
 public:
  RegistrySnapshot();
  RegistrySnapshot(const RegistrySnapshot&) = delete;
  RegistrySnapshot& operator=(const RegistrySnapshot&) = delete;
  ~RegistrySnapshot();
};

}  // namespace orv
