#pragma once

#include <string>
#include <vector>

#include "tools/orv/check_rules.h"

/// Finds what is wrong in a configuration file: all of it in one go, also what the loader passes
/// over in silence.

namespace orv::tool {

struct Finding {
  const CheckRule* rule;
  int offset;             ///< of the place in the text
  std::wstring text;      ///< what is wrong
  std::wstring allowed;   ///< what may stand there; empty where the text says it
  std::wstring proposal;  ///< what to write there instead; empty where only the author knows
};

/// Checks a configuration's text. `fileName` is the name that the file has, without its folder;
/// empty when it has none. The findings are in the order of their places, without those that the
/// file itself allows.
std::vector<Finding> CheckConfig(const std::wstring& text, const std::wstring& fileName);

}  // namespace orv::tool
