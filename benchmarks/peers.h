#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

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

/// A parsed document, which the peer's type derives from.
struct PeerDocument {
  virtual ~PeerDocument() = default;
};
std::unique_ptr<PeerDocument> PugixmlLoad(const std::string& text);
std::unique_ptr<PeerDocument> PugixmlWideLoad(const std::wstring& text);

/// What is done with each child of the root, from the first one to the last, or once for each
/// value.
enum class Edit { kSetAttribute, kSetData, kAppend, kInsertFirst, kRemove };

/// Changes a document and returns its text.
std::string PugixmlEdit(PeerDocument& doc, Edit edit, const std::vector<std::string>& values);
std::wstring PugixmlWideEdit(PeerDocument& doc, Edit edit, const std::vector<std::wstring>& values);

/// Reads a file in parts, up to the first element with a name if that is not empty. `seen` is the
/// number of elements.
PeerResult ExpatReadFile(const std::string& file, const std::string& name);

}  // namespace orv::bench
