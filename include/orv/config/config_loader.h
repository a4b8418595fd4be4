#pragma once

#include <memory>
#include <string>

#include "orv/config/config.h"
#include "orv/config/configs_cache.h"
#include "orv/logging/logger.h"
#include "orv/platform/export.h"
#include "orv/platform/types.h"

/// Loads printer configuration files as `CConfigParser::Load` does, and returns why one does not
/// load:
///
///     const orv::LoadResult loaded = orv::LoadConfigFile(path, nullptr, logger);
///     if (loaded.config != nullptr) {
///       Use(loaded.config->device.label.widthMax);
///     } else {
///       std::fprintf(stderr, "%s\n", orv::ToUtf8(orv::LoadFailureText(loaded)).c_str());
///     }

namespace orv {

/// Why a configuration did not load.
enum class LoadFailure {
  kNone,
  kInvalidPrinter,  ///< a null handle or `INVALID_HANDLE_VALUE`
  kUnreadable,      ///< no such file, an empty one, or one that cannot be decrypted; also a spooler
                    ///< that cannot be read
  kOutOfMemory,     ///< memory ran out while the file was read or decrypted
  kMalformed,       ///< not well-formed XML
  kInvalid,         ///< a section is missing or wrong
};

/// A loaded configuration, or the reason for the failure.
struct LoadResult {
  /// Null after a failure. Owned by the cache if one is given, otherwise by `owned`.
  Config* config = nullptr;
  std::unique_ptr<Config> owned;             ///< owns `config` when no cache is used
  LoadFailure failure = LoadFailure::kNone;  ///< what kind of failure
  CString detail;     ///< the reason why the file cannot be read, or the parser's or reader's error
  std::wstring path;  ///< the printer's file; empty when loaded by path
};

/// Loads the file at `path`, or takes its record from the cache, which may be null. The client
/// writes the steps and failures to the log; null is allowed. Any thread may call. Throws only
/// `std::bad_alloc`.
ORV_EXPORT LoadResult LoadConfigFile(const std::wstring& path, ConfigsCache* cache,
                                     CLoggerClient* client);

/// Loads a printer's file in the same way: the one named after its driver in the folder of the
/// client's module.
ORV_EXPORT LoadResult LoadPrinterConfig(HANDLE printer, ConfigsCache* cache, CLoggerClient* client);

/// Describes a failure in English for people, without the path, such as "the configuration cannot
/// be read: no such file or folder"; empty if nothing failed.
ORV_EXPORT std::wstring LoadFailureText(const LoadResult& result);

}  // namespace orv
