#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "orv/config/config.h"
#include "orv/config/configs_cache.h"
#include "orv/logging/logger.h"
#include "orv/platform/types.h"

/// Loads configuration files and returns the record, or the reason for the failure.

namespace orv {

/// Replaces the digest while the digest is computed.
inline constexpr wchar_t kDigestPlaceholder[] = L"{{sha256}}";

/// From this version on the device part has another format and is not read.
inline constexpr std::int32_t kFirstVersionWithoutDevice = 13;

/// Why a configuration did not load.
enum class LoadFailure {
  kNone,
  kInvalidPrinter,  ///< the handle does not belong to a printer
  kUnreadable,      ///< no such file, an empty one, or one that cannot be decrypted
  kOutOfMemory,     ///< memory ran out while the file was read or decrypted
  kMalformed,       ///< not well-formed XML
  kInvalid,         ///< a section is missing or wrong
};

struct LoadResult {
  Config* config = nullptr;       ///< null after a failure
  std::unique_ptr<Config> owned;  ///< owns `config` when no cache is used
  LoadFailure failure = LoadFailure::kNone;
  CString detail;     ///< the error of the parser or the reader, of a malformed or invalid file
  std::wstring path;  ///< of a printer's file, set by `LoadPrinterConfig`
};

/// Receives the steps of a load as they happen, so that their log lines keep their order among
/// those of the readers.
class LoadObserver {
 public:
  virtual ~LoadObserver() = default;
  /// The spooler does not describe the printer, whose driver name therefore counts as empty.
  virtual void OnUndescribedPrinter(DWORD error) = 0;
  virtual void OnTextRead() = 0;
  virtual void OnDocumentParsed() = 0;
  virtual void OnRecordRead() = 0;
  /// The digest that the file states is not the computed one. The file loads all the same.
  virtual void OnDigestMismatch(const std::wstring& path, const CString& stated,
                                const CString& computed) = 0;
  virtual void OnFailure(LoadFailure failure, const std::wstring& path, const CString& detail) = 0;
};

/// Loads the file at `path`, or takes its record from the cache, which may be null. The readers log
/// unknown properties under `client`.
LoadResult LoadConfigFile(const std::wstring& path, ConfigsCache* cache, CLoggerClient* client,
                          LoadObserver* observer);

/// Loads a printer's file: the one named after its driver in the folder of the client's module.
LoadResult LoadPrinterConfig(HANDLE printer, ConfigsCache* cache, CLoggerClient* client,
                             LoadObserver* observer);

/// Whether a handle can belong to a printer.
bool IsPrinterHandle(HANDLE printer);
/// The name, without folder, of the configuration file for a driver.
std::wstring ConfigFileName(std::wstring_view driverName);

}  // namespace orv
