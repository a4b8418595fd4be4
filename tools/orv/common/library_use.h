#pragma once

#include <initializer_list>
#include <string>
#include <vector>

#include "orv/config/configs_cache.h"
#include "orv/logging/logger.h"
#include "orv/platform/registry.h"
#include "orv/platform/types.h"

/// Uses the library as the driver's modules do.

namespace orv::tool {

/// Logs under the program's name and holds the configuration cache while it lives. Printers'
/// configuration files are in one of the `ConfigFolders` of `configFolder`.
class LibraryUse {
 public:
  explicit LibraryUse(const std::wstring& configFolder = {});
  LibraryUse(const LibraryUse&) = delete;
  LibraryUse& operator=(const LibraryUse&) = delete;
  ~LibraryUse();

  /// Lets the library find the configuration file of a printer, and returns its path. If no folder
  /// has the file, that is the first one.
  std::wstring FindConfigFile(HANDLE printer);
  /// The folders that it searches.
  const std::vector<std::wstring>& folders() const { return folders_; }

  CLoggerClient* client() { return &client_; }
  ConfigsCache* cache() { return cache_; }

 private:
  CLoggerClient client_;
  std::vector<std::wstring> folders_;
  ConfigsCache* cache_;
  std::wstring shownDetail_;  ///< of the last search
};

/// The part " in STORE" of a message about an error: the first of these hives that cannot be read
/// because of it. Empty if it is not an error of theirs.
std::wstring FailingStore(std::initializer_list<HKEY> hives, LONG error);

/// The part " in STORE" of a message about a hive that could not be written; empty where a store
/// has the name of its hive.
std::wstring StorePart(HKEY hive);

/// The end of a message about a hive that could not be written: that only the administrator may, if
/// that is why, and what the user can do `instead`. Otherwise empty.
std::wstring AdministratorHint(HKEY hive, LONG error, const std::wstring& instead);

/// Ends the command because stock items cannot be read from the settings store.
[[noreturn]] void FailToReadItems(const RegistryFailure& failure);

/// The end of a message about an unknown printer: "; did you mean NAME?", or nothing.
std::wstring DidYouMeanPrinter(const std::wstring& name);

/// An open printer. The constructor ends the command if the printer does not exist (`kFindings`) or
/// cannot be opened (`kUnreadable`).
class OpenPrinter {
 public:
  explicit OpenPrinter(const std::wstring& name);
  OpenPrinter(const OpenPrinter&) = delete;
  OpenPrinter& operator=(const OpenPrinter&) = delete;
  ~OpenPrinter();

  HANDLE get() const { return handle_; }

 private:
  HANDLE handle_;
};

}  // namespace orv::tool
