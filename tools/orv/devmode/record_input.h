#pragma once

#include <string>

#include <CLI/CLI.hpp>

#include "orv/config/config.h"
#include "orv/devmode/oemdev.h"
#include "tools/orv/common/library_use.h"
#include "tools/orv/devmode/record_text.h"

/// The records that commands read: from files and from printers. Every function ends the command
/// when it fails.

namespace orv::tool {

/// How a command reads records.
struct RecordOptions {
  std::string defaults;  ///< the printer whose defaults fill in what a text does not name
  std::string configFolder;
};

/// Adds `--defaults` and `--config-dir`.
void AddRecordOptions(CLI::App* command, RecordOptions* options);

/// A printer's defaults and, unless `config` is null, its configuration, which the library's cache
/// holds.
tagOEMDEV DefaultsOf(LibraryUse* library, const OpenPrinter& printer, const std::wstring& name,
                     const Config** config = nullptr);
/// The defaults of a printer by name.
tagOEMDEV DefaultsOf(const std::string& printer, const std::string& configFolder);

/// Reads a record from a file: its bytes, its text, or a file that encloses it, with a message that
/// says where. `*form`, unless null, says which it is.
tagOEMDEV ReadRecord(const std::string& file, const RecordOptions& options,
                     RecordForm* form = nullptr);

}  // namespace orv::tool
