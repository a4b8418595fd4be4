#pragma once

#include <cstddef>
#include <string>

/// The XML parsers that ours is compared with, through a common interface. `seen` is the number of
/// elements plus the code units of attribute values and text; it keeps the compiler from removing
/// the work.

namespace orv::bench {

struct PeerResult {
  bool isGood;
  std::size_t seen;
};

/// Parses into a tree, including the copy of the text that the parser needs.
PeerResult PugixmlParse(const std::string& text);
PeerResult PugixmlWideParse(const std::wstring& text);
PeerResult ExpatParse(const std::string& text);
PeerResult LibxmlParse(const std::string& text);
PeerResult RapidxmlParse(const std::string& text);

/// Parses and visits every element's name, attributes and text.
PeerResult PugixmlWalk(const std::string& text);
PeerResult PugixmlWideWalk(const std::wstring& text);

/// Parses and reads the name and the text of every property of a configuration.
PeerResult PugixmlProperties(const std::string& text);
PeerResult PugixmlWideProperties(const std::wstring& text);

}  // namespace orv::bench
