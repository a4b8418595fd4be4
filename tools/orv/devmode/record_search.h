#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "orv/devmode/oemdev.h"

/// Finds private records in the files that contain them: a public record with the private one after
/// it, a registry file, the spooler's files.

namespace orv::tool {

struct RecordSearch {
  std::optional<tagOEMDEV> record;   ///< the first one
  std::vector<std::wstring> places;  ///< of all, such as "at byte 220"; that of `record` first
  std::wstring content;              ///< without any: what the bytes are
};

/// Finds every record whose header has the size and the signature, at any offset. In a registry
/// file it searches the values; those named like the printer, or below a key of its name, come
/// first.
RecordSearch FindRecords(std::string_view bytes, const std::wstring& printer = {});

}  // namespace orv::tool
