#pragma once

#include <string>
#include <vector>

/// Finds what is wrong in a configuration file: all of it in one go, also what the loader passes
/// over in silence.

namespace orv::tool {

enum class Severity {
  kError,    ///< the file does not load
  kWarning,  ///< the file loads, and probably not as it was meant
};

struct Finding {
  Severity severity;
  const wchar_t* rule;  ///< a short name that does not change, such as "unknown-property"
  int offset;           ///< of the place in the text
  std::wstring text;    ///< what is wrong, and what is allowed or what to write instead
};

/// Checks a configuration's text. `fileName` is the name that the file has, without its folder. The
/// findings are in the order of their places.
std::vector<Finding> CheckConfig(const std::wstring& text, const std::wstring& fileName);

}  // namespace orv::tool
