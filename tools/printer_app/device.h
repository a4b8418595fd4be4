#pragma once

#include <string>

/// The device that PAPPL does not have: `orvdir:///PATH`, a folder that receives files.

namespace orv::printer_app {

/// Adds the scheme to PAPPL's.
void AddFolderDevice();

/// The folder that an `orvdir` URI names; empty for a URI of another scheme.
std::string FolderOf(const char* uri);
/// Stores a file as a whole; false, with the reason in `*problem`, if that is not possible.
bool StoreFile(const std::string& path, const std::string& bytes, std::string* problem);

}  // namespace orv::printer_app
