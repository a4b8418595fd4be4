#pragma once

#include <string>
#include <vector>

namespace orv::tool {

/// Something that keeps a text from being well formed.
struct XmlFault {
  int offset;
  std::wstring text;
  std::wstring allowed;   ///< what may stand there
  std::wstring proposal;  ///< what to write there instead; "nothing" for what is to be left out
};

/// The faults that the result record of a parse tells of: causes before what comes of them, and
/// each kind in the order of places.
std::vector<XmlFault> FaultsOf(const std::wstring& result);

}  // namespace orv::tool
