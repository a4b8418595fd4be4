#pragma once

#include <string>
#include <vector>

namespace orv::tool {

/// A fault that makes a text not well-formed.
struct XmlFault {
  int offset;
  std::wstring text;
  std::wstring allowed;   ///< what is allowed there
  std::wstring proposal;  ///< what to write instead; "nothing" to remove it
};

/// The faults in the result document of a parse: causes before consequences, each kind in the order
/// of the text.
std::vector<XmlFault> FaultsOf(const std::wstring& result);

}  // namespace orv::tool
