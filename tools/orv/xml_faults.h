#pragma once

#include <string>
#include <vector>

namespace orv::tool {

/// Something that keeps a text from being well formed.
struct XmlFault {
  int offset;
  std::wstring text;
};

/// The faults that the result record of a parse tells of, in its order.
std::vector<XmlFault> FaultsOf(const std::wstring& result);

}  // namespace orv::tool
