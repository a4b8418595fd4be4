#pragma once

#include <string>
#include <utility>
#include <vector>

#include "orv/platform/export.h"
#include "orv/platform/types.h"

/// The settings store: the registry on Windows, elsewhere one SQLite file for the user hive and one
/// for the machine hive, with the same rules (names compare without regard to case, sub-keys and
/// values enumerate in name order, several processes may use it at once). Roots are
/// `HKEY_CURRENT_USER` and `HKEY_LOCAL_MACHINE`; paths separate their keys with backslashes. Every
/// function returns a system error code, `ERROR_SUCCESS` when it did its work; without memory it
/// throws `std::bad_alloc`, and nothing is written.

namespace orv {

/// What a key is opened for.
enum class RegistryAccess { kRead, kReadWrite };

/// A key that is closed with its owner.
class ORV_EXPORT RegistryKey {
 public:
  RegistryKey() = default;
  /// Takes over a key that is open.
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
  /// Closes the key; without one it does nothing.
  void Close();

  /// The open key, null for none; this object keeps it.
  HKEY get() const { return key_; }

 private:
  HKEY key_ = nullptr;
};

/// A value's type (`REG_SZ`, …) and bytes. Text is UTF-16LE with its terminator, in both homes.
struct ORV_EXPORT RegistryValue {
  DWORD type = 0;          ///< `REG_SZ` and others
  std::vector<BYTE> data;  ///< as the registry stores it

  /// A `REG_SZ` of a text, and a `REG_DWORD` of a number.
  static RegistryValue FromText(const std::wstring& text);
  static RegistryValue FromNumber(DWORD number);

  /// The text of a `REG_SZ` value up to its first terminator; empty for any other type.
  std::wstring Text() const;
  /// The number of a `REG_DWORD` value of four bytes into `*number`; false for any other value.
  bool Number(DWORD* number) const;
};

/// A value with the name that it was first given.
struct NamedRegistryValue {
  std::wstring name;    ///< empty for the default value of a key
  RegistryValue value;  ///< its type and bytes
};

/// Reads, sets or deletes the value of a name, letter case apart. These and the functions below
/// return a system error code; of what is not there it is `ERROR_FILE_NOT_FOUND`.
ORV_EXPORT LONG GetRegistryValue(HKEY key, const std::wstring& name, RegistryValue* value);
ORV_EXPORT LONG SetRegistryValue(HKEY key, const std::wstring& name, const RegistryValue& value);
ORV_EXPORT LONG DeleteRegistryValue(HKEY key, const std::wstring& name);
/// Deletes the key at `path` below `parent` with everything under it.
ORV_EXPORT LONG DeleteRegistryTree(HKEY parent, const std::wstring& path);
/// The names of all sub-keys of `key`, in name order.
ORV_EXPORT LONG ListRegistryKeys(HKEY key, std::vector<std::wstring>* names);
/// All values of `key`, in name order: the cheap way to read more than one.
ORV_EXPORT LONG ListRegistryValues(HKEY key, std::vector<NamedRegistryValue>* values);

/// One look at the settings store for one request: what this thread reads while the object lives is
/// as the store was at the first read, unless this process changes it. Saves looking anew with
/// every read whether another process has written; the Windows registry answers without that.
class ORV_EXPORT RegistryRequest {
 public:
  RegistryRequest();
  RegistryRequest(const RegistryRequest&) = delete;
  RegistryRequest& operator=(const RegistryRequest&) = delete;
  ~RegistryRequest();
};

}  // namespace orv
