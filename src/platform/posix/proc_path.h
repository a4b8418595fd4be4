#pragma once

#include <string_view>

namespace orv {

/// A path of a program or a mapped file as /proc shows it, without the mark for a file that has
/// been deleted or replaced since: it is still the same program.
inline std::string_view WithoutDeletedMark(std::string_view path) {
  constexpr std::string_view kDeleted = " (deleted)";
  if (path.ends_with(kDeleted)) path.remove_suffix(kDeleted.size());
  return path;
}

}  // namespace orv
