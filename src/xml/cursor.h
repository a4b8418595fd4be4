#pragma once

#include <map>
#include <string>
#include <string_view>
#include <unordered_map>

#include "orv/xml/cursor.h"
#include "orv/xml/markup.h"
#include "xml/attributes.h"
#include "xml/document.h"
#include "xml/element_index.h"
#include "xml/references.h"
#include "xml/scanner.h"

namespace orv {

using detail::Place;

/// Where attributes are read.
struct TagText {
  std::wstring_view text;
  int nameStart = -1;  ///< the address of the tag name or target, negative for none
  int shift = 0;       ///< the addresses of the attributes less their offsets
};

/// Reads a document at a place. The public class, the configuration loader and the checker all use
/// it. Nothing here allocates, except functions that return a `std::wstring` and those that decode
/// into a buffer. Views are valid until the document or the buffer changes.
class PlaceReader {
 public:
  /// The place is not copied.
  PlaceReader(const Document& document, const Place& place) : document_(document), place_(place) {}

  const Document& Doc() const { return document_; }
  const Place& Get() const { return place_; }
  int Parent() const { return place_.parent; }
  /// The main element; 0 for none.
  int Main() const { return place_.main; }
  int Child() const { return place_.child; }
  int NodeType() const { return place_.nodeType; }
  int NodeOffset() const { return place_.nodeOffset; }
  int NodeLength() const { return place_.nodeLength; }
  int NodeEnd() const { return place_.nodeOffset + place_.nodeLength; }
  bool IsElement() const { return place_.main != 0 && place_.nodeType == CMarkup::NODE_ELEMENT; }
  /// Whether the place is a node that is not an element.
  bool IsOtherNode() const { return place_.nodeType > CMarkup::NODE_ELEMENT; }

  /// The tag name of the main element, or the name of another node.
  std::wstring_view TagName() const;
  /// The tag of the main (child) element, or the processing instruction at the place, if it is in
  /// memory.
  TagText Tag(bool ofChild) const {
    const int element = ofChild ? place_.child : IsElement() ? place_.main : 0;
    if (element == 0) return ofChild ? TagText() : Instruction();
    const int start = document_[element].start;
    if (start < 0) return {};  // the tag is already in the file that is being written
    return {document_.TextOfTag(start + 1), start + 1, start - document_.OffsetOf(start)};
  }
  /// An attribute of the main (child) element or of a processing instruction, with its offsets. If
  /// it does not exist, `attribute` is the last attribute, if any.
  bool FindAttribute(bool ofChild, std::wstring_view name, Attribute* attribute) const;
  /// The value of an attribute: a view of the text if nothing has to be decoded, otherwise of
  /// `*buffer`. False if there is no such attribute.
  bool Attrib(std::wstring_view name, std::wstring* buffer, std::wstring_view* value) const {
    Attribute attribute;
    if (!FindAttribute(false, name, &attribute)) return false;
    *value = ValueOf(attribute, buffer);
    return true;
  }
  /// The decoded value of an attribute of the main (child) element; empty for none.
  std::wstring AttribValue(bool ofChild, std::wstring_view name) const;
  /// The attribute with an index; false, with the outputs unchanged, for none.
  bool NthAttrib(int index, std::wstring* name, std::wstring* value) const;
  /// The data of the main element or node, decoded like a value.
  std::wstring_view Data(std::wstring* buffer) const {
    return IsElement() ? document_.Data(place_.main, buffer) : *buffer = Data();
  }
  std::wstring Data() const;
  /// The data as written: a view with null data for an element whose content is more than one run
  /// of text.
  std::wstring_view RawData() const;
  /// The markup of the main element or node.
  std::wstring_view Markup() const;

  /// The offset of the main element or node, and of the main element's content; -1 for none.
  int Offset() const;
  int ContentOffset() const;

  // --- Walking the entries ---

  /// The first child with a tag name, which contains no code unit that could end it; 0 for none.
  int FirstChild(int element, std::wstring_view tagName) const {
    return FirstNamed(document_[element].child, tagName);
  }
  /// The next sibling with a tag name; 0 for none.
  int NextSibling(int element, std::wstring_view tagName) const {
    return FirstNamed(document_[element].next, tagName);
  }

 protected:
  int NodeAddress() const { return document_.AddressOf(place_.nodeOffset); }

 private:
  TagText Instruction() const;
  int FirstNamed(int element, std::wstring_view tagName) const;
  std::wstring_view NodeMarkup() const {
    return document_.Range(NodeAddress(), NodeAddress() + place_.nodeLength);
  }
  std::wstring_view NodeData() const { return orv::NodeData(place_.nodeType, NodeMarkup()); }
  std::wstring_view ValueOf(const Attribute& attribute, std::wstring* buffer) const {
    if (attribute.isPlain && !NormalizesWhitespace(document_.flags)) return attribute.value;
    UnescapeText(attribute.value, document_.flags, buffer);
    return *buffer;
  }

  const Document& document_;
  const Place& place_;
};

/// Moves a place in a document. Without a match the place does not change.
class Cursor : public PlaceReader {
 public:
  Cursor(const Document& document, Place& place) : PlaceReader(document, place), place_(place) {}
  Cursor(const Cursor&) = delete;
  Cursor& operator=(const Cursor&) = delete;

  void Set(const Place& place) { place_ = place; }
  void Set(int parent, int main, int child) {
    place_ = {parent, main, child, main != 0 ? CMarkup::NODE_ELEMENT : CMarkup::NODE_NONE, 0, 0};
  }
  /// Makes a node the current one. It follows the main element, or is the first node of the parent.
  void SetNode(int type, int offset, int length) {
    place_.nodeType = type;
    place_.nodeOffset = offset;
    place_.nodeLength = length;
  }

  /// Moves to the next element that the first name of a path matches; any element if it is empty.
  bool FindElement(const wchar_t* path);
  /// Moves the child position likewise.
  bool FindChild(const wchar_t* path);
  /// Moves to the next node of a set of types and returns its type, 0 for none.
  int FindNode(int types);
  bool IntoElement();
  bool OutOfElement();

 private:
  int FindAmong(int parent, int after, const wchar_t* path) const;
  int NextNodeAddress() const;

  Place& place_;
};

/// Positions saved under names, in numbered tables.
class SavedPositions {
 public:
  struct Entry {
    int parent;
    int main;
    int child;
  };
  using Table = std::unordered_map<std::wstring, Entry>;

  void Clear() { tables_.clear(); }
  Table& At(int number) { return tables_[number]; }
  template <class Visitor>
  void ForEach(Visitor visit) {
    for (auto& [number, table] : tables_) {
      for (auto& [name, entry] : table) visit(entry);
    }
  }
  /// Removes every entry for which `isGone` is true.
  template <class Predicate>
  void RemoveIf(Predicate isGone) {
    for (auto& [number, table] : tables_) {
      std::erase_if(table, [&](const auto& saved) { return isGone(saved.second); });
    }
  }

 private:
  std::map<int, Table> tables_;
};

}  // namespace orv
