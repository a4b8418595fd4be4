#pragma once

#include "orv/devmode/oemdev.h"
#include "orv/logging/logger.h"
#include "orv/platform/export.h"
#include "orv/platform/types.h"

class ConfigsCache;

extern "C" {

/// Answers the driver's device-mode requests. `mode` is one of `OEMDM_SIZE`, `OEMDM_DEFAULT`,
/// `OEMDM_CONVERT` and `OEMDM_MERGE`; the members of `param` are used as the driver interface
/// defines them, and all but the size request need a printer whose configuration loads. Returns
/// `S_OK`, or `E_FAIL` with the thread's last error `ERROR_INVALID_PARAMETER`, also without memory;
/// after a failure the output record holds nothing to rely on. A merge makes the output record and
/// the public output record agree with the printer, its stock items and the application's public
/// record. Any thread may call, but merges with a public input record use the session's object
/// (session_data.h): one of them at a time.
ORV_EXPORT HRESULT hrOEMDevMode(CLoggerClient* logger, ConfigsCache* cache,
                                const wchar_t* printerName, DWORD mode, OEMDMPARAM* param);

/// Makes a record safe to print with: stamps its header and replaces every value that the printer
/// does not offer by a fixed fallback, all of them named in one warning line. Always returns
/// `TRUE`. A null `config` skips the checks. A warning that there is no memory for is lost.
ORV_EXPORT BOOL EnsureValidOEMDevmode(CLoggerClient* logger, const Config* config, tagOEMDEV* dev);

}  // extern "C"
