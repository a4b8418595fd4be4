#pragma once

#include <pappl/pappl.h>

#include <string>

/// Devices that PAPPL does not have: `orvdir:///PATH`, a folder that receives files, and
/// `file:///PATH`, a file or a printer's special file, to which the pages are appended.

namespace orv::printer_app {

/// Adds the schemes to PAPPL's.
void AddDevices();

/// The folder that an `orvdir` URI names; empty for a URI of another scheme.
std::string FolderOf(const char* uri);
/// Stores a file as a whole; false, with the reason in `*problem`, if that is not possible.
bool StoreFile(const std::string& path, const std::string& bytes, std::string* problem);

}  // namespace orv::printer_app
