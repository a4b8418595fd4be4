#pragma once

#include <string>
#include <vector>

/// Where the program looks for the configuration files of printers.

namespace orv::tool {

/// The folders, in this order: only `given` if it is not empty; otherwise that of ORV_CONFIG_DIR,
/// the program's own, and `share/orv/configurations` beside the program's folder.
std::vector<std::wstring> ConfigFolders(const std::wstring& given);

/// The first of the folders that has a file of this name; empty if none has. A file that cannot be
/// examined counts as found: reading it gives the reason.
std::wstring FolderWith(const std::wstring& fileName, const std::vector<std::wstring>& folders);

/// The command that examines a printer with the files of `given`, if it is not empty, for messages.
std::wstring DoctorCommand(const std::wstring& printer, const std::wstring& given);

/// "FOLDER, FOLDER or FOLDER", for messages.
std::wstring AnyOf(const std::vector<std::wstring>& folders);

}  // namespace orv::tool
