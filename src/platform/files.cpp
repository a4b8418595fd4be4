#include "platform/files.h"

namespace orv {

std::wstring FileNameOf(const std::wstring& path) {
  // The name of a path that ends with a separator is its last component, with that separator.
  const std::wstring separators = kPathSeparator == L'/' ? L"/" : L"\\/:";
  for (std::size_t at = path.size(); at-- > 0;) {
    const bool isSeparator = separators.find(path[at]) != std::wstring::npos;
    if (isSeparator && at + 1 < path.size() &&
        separators.find(path[at + 1]) == std::wstring::npos) {
      return path.substr(at + 1);
    }
  }
  return path;
}

}  // namespace orv
