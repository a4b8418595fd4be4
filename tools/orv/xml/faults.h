#pragma once

#include <string>
#include <vector>

#include "orv/xml/markup.h"

namespace orv::tool {

/// A fault that makes a text not well-formed.
struct XmlFault {
  int offset;
  std::wstring text;
  std::wstring allowed;   ///< what is allowed there
  std::wstring proposal;  ///< what to write instead; "nothing" to remove it
};

/// The faults of a document that the library does not accept: causes before consequences, each kind
/// in the order of the text. Faults that only follow from another one are left out.
std::vector<XmlFault> FaultsOf(const CMarkup& doc);

/// Everything that XML 1.0 and its namespaces forbid in a text, also what the library accepts;
/// causes before consequences.
std::vector<XmlFault> StrictFaultsOf(std::wstring_view text);

}  // namespace orv::tool
