#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "orv/config/config_loader.h"
#include "orv/config/configs_cache.h"
#include "orv/logging/logger.h"
#include "orv/platform/types.h"

/// Loads configuration files with an observer of the steps.

namespace orv {

/// Replaces the digest while the digest is computed.
inline constexpr wchar_t kDigestPlaceholder[] = L"{{sha256}}";

/// From this version on the device part has another format and is not read.
inline constexpr std::int32_t kFirstVersionWithoutDevice = 13;

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

/// Why a printer's file is not known: the spooler's error.
std::wstring UndescribedPrinterText(DWORD error);
/// Whether a handle can belong to a printer.
bool IsPrinterHandle(HANDLE printer);
/// The name, without folder, of the configuration file for a driver.
std::wstring ConfigFileName(std::wstring_view driverName);

}  // namespace orv
