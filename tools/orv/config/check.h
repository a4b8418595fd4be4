#pragma once

#include <string>
#include <vector>

#include "tools/orv/config/check_rules.h"

/// Finds what is wrong in a configuration file: all of it in one go, also what the loader passes
/// over in silence.

namespace orv::tool {

inline constexpr wchar_t kNothing[] = L"nothing";
inline constexpr wchar_t kOneOfThem[] = L"one of them";

struct Finding {
  const CheckRule* rule;
  int offset;             ///< of the place in the text
  std::wstring text;      ///< what is wrong
  std::wstring allowed;   ///< what may stand there
  std::wstring proposal;  ///< what to write there instead; `kNothing` for what is to be left out
};

/// Checks a configuration's text. `fileName` is the name that the file has, without its folder;
/// empty when it has none. What keeps the text from being XML comes first, causes before what comes
/// of them, then the other findings in the order of their places; those that the file itself allows
/// are left out.
std::vector<Finding> CheckConfig(const std::wstring& text, const std::wstring& fileName);

}  // namespace orv::tool
