#pragma once

#include "orv/devmode/oemdev.h"
#include "orv/logging/logger.h"
#include "orv/platform/export.h"
#include "orv/platform/types.h"

class ConfigsCache;

extern "C" {

/// Carries out the driver's device-mode requests:
///
///     OEMDMPARAM param{};
///     param.cbSize = sizeof(param);
///     param.hPrinter = printer;
///     param.pOEMDMOut = &record;
///     if (hrOEMDevMode(logger, cache, printerName, OEMDM_DEFAULT, &param) == S_OK) Use(record);
///
/// `mode` is one of `OEMDM_SIZE`, `OEMDM_DEFAULT`, `OEMDM_CONVERT` and `OEMDM_MERGE`; the members
/// of `param` are used as the driver interface defines them, and all requests but the size need a
/// printer whose configuration loads. `cache` may be null: the configuration is then loaded for
/// this call alone. Returns `S_OK`, or `E_FAIL` with the thread's last error
/// `ERROR_INVALID_PARAMETER`, also if memory runs out; the output record is unspecified after a
/// failure.
///
/// A merge applies the stock item or paper size that the application asks for to both output
/// records, and then corrects the private one to what the printer allows. The sizes of the two can
/// differ afterwards. Stock items that cannot be read are like none; only the log says so. Any
/// thread may call, but merges with a public input record use the session's object
/// (session_data.h): one of them at a time.
ORV_EXPORT HRESULT hrOEMDevMode(CLoggerClient* logger, ConfigsCache* cache,
                                const wchar_t* printerName, DWORD mode, OEMDMPARAM* param);

/// Makes a record safe to print with: writes its header and replaces every value that the printer
/// does not offer by a fixed fallback. One warning line names all of them; it is lost if memory
/// runs out. A null `config` skips the checks. Always returns `TRUE`.
ORV_EXPORT BOOL EnsureValidOEMDevmode(CLoggerClient* logger, const Config* config, tagOEMDEV* dev);

}  // extern "C"
