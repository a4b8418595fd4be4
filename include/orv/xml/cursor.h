#pragma once

#include <iterator>
#include <memory>
#include <string>
#include <string_view>

#include "orv/xml/markup.h"

/// Reading a document without copies: a cursor of its own, and views of the text.
///
///     const CMarkup doc(L"<list><item state='new'>a &amp; b</item></list>");
///     std::wstring buffer;
///     for (CMarkupCursor cursor(doc); cursor.NextElem();) {
///       Use(cursor.GetTagName(), cursor.GetData(&buffer));
///       for (const CMarkupAttrib& attrib : cursor.GetAttribs()) {
///         Use(attrib.strName, attrib.GetValue(&buffer));
///       }
///     }
///     CMarkupCursor list(doc);
///     list.FindElem(L"list");
///     for (const CMarkupChild& item : CMarkupChildren(list, L"item", L"state")) {
///       Use(item.strValue, item.strData);
///     }

class CMarkupCursor;

// Not part of the interface: what the classes below are made of.
namespace orv {
class ChildReader;
class Document;

namespace detail {

/// The positions of a cursor: numbers of elements in the index, 0 for none, and the current node if
/// that is not an element.
struct Place {
  int parent = 0;      ///< the element around the main position
  int main = 0;        ///< the current element, or the last one before the current node
  int child = 0;       ///< the current child of the main element
  int nodeType = 0;    ///< a node type of `CMarkup`
  int nodeOffset = 0;  ///< of a node that is not an element
  int nodeLength = 0;  ///< of a node that is not an element
};

/// Where the attributes of a tag are read, and what is known of the code units there.
struct TagPlace {
  const wchar_t* text = nullptr;   ///< what offsets are counted from
  const wchar_t* end = nullptr;    ///< of the text
  const wchar_t* next = nullptr;   ///< the next attribute; null after the last one
  const wchar_t* block = nullptr;  ///< the code units that the masks are about
  unsigned nameEnds = 0;           ///< those that may end a name
  unsigned valueEnds = 0;          ///< those that may end a value
};

}  // namespace detail
}  // namespace orv

/// An attribute.
struct ORV_EXPORT CMarkupAttrib {
  /// The name.
  std::wstring_view strName;

  /// The value as written, without its quotes.
  std::wstring_view strRawValue;

  /// The offset of the name in the document.
  int nOffset = 0;

  /// Whether the value is the same as written.
  bool bIsPlain = true;

  /// The flags of the document.
  int nFlags = 0;

  /// The value, decoded like `CMarkup::GetAttrib` does: a view of the text, or of the buffer if
  /// something had to be decoded.
  std::wstring_view GetValue(std::wstring* pstrBuffer) const {
    return bIsPlain ? strRawValue : Decode(pstrBuffer);
  }

  /// The same, but always in the buffer.
  std::wstring_view Decode(std::wstring* pstrBuffer) const;
};

/// The attributes of an element or the pseudo-attributes of a processing instruction, for a
/// range-based `for`. A value without a name is left out.
class ORV_EXPORT CMarkupAttribs {
 public:
  /// Moves through the attributes.
  class ORV_EXPORT Iterator {
   public:
    /// Not part of the interface: `CMarkupAttribs` calls it.
    Iterator(const orv::Document* pDocument, int nElement, int nNodeOffset, int nNodeLength);

    /// The current attribute.
    const CMarkupAttrib& operator*() const { return m_attrib; }
    const CMarkupAttrib* operator->() const { return &m_attrib; }

    /// Moves to the next attribute.
    Iterator& operator++();

    /// Whether the iterator is past the last attribute.
    bool operator==(std::default_sentinel_t) const { return m_place.next == nullptr; }

   private:
    CMarkupAttrib m_attrib;
    orv::detail::TagPlace m_place;
  };

  /// The range.
  Iterator begin() const { return {m_pDocument, m_nElement, m_nNodeOffset, m_nNodeLength}; }
  std::default_sentinel_t end() const { return {}; }

 private:
  friend class CMarkupCursor;

  CMarkupAttribs(const orv::Document* pDocument, const orv::detail::Place& place)
      : m_pDocument(pDocument),
        m_nElement(place.nodeType == CMarkup::NODE_ELEMENT ? place.main : 0),
        m_nNodeOffset(place.nodeOffset),
        m_nNodeLength(place.nodeType == CMarkup::NODE_PROCESSING_INSTRUCTION ? place.nodeLength
                                                                             : 0) {}

  const orv::Document* m_pDocument;
  int m_nElement;  ///< 0 for a processing instruction, or for none
  int m_nNodeOffset;
  int m_nNodeLength;  ///< of a processing instruction
};

/// A cursor of a document. It has the positions of `CMarkup` and moves like it, but does not move
/// the document. It returns views of the text, or of a buffer of the caller; a view of a buffer is
/// valid until the buffer is used again. Any change to the document invalidates the cursor and its
/// views, even an edit at the document's own positions. While a file is open, a cursor reads only
/// what is in memory.
class ORV_EXPORT CMarkupCursor {
 public:
  /// Starts at the top level of a document, without a main position.
  explicit CMarkupCursor(const CMarkup& doc);

  /// Returns a cursor at the positions of a document.
  static CMarkupCursor At(const CMarkup& doc);

  /// Moves `doc`, which must be the document of this cursor, to the cursor's positions.
  void MoveTo(CMarkup& doc) const;

  /// Moves to the next element in document order: the first child, else the next sibling of the
  /// element or of its nearest ancestor that has one. False at the end, with the positions
  /// unchanged.
  bool NextElem();

  /// These move like the functions of `CMarkup`.
  bool FindElem(MCD_CSTR szName = nullptr);
  bool FindChildElem(MCD_CSTR szName = nullptr);
  int FindNode(int nType = 0);
  bool IntoElem();
  bool OutOfElem();
  void ResetPos();
  void ResetMainPos();
  void ResetChildPos();

  /// The type of the node at the main position, 0 for none.
  int GetNodeType() const { return m_place.nodeType; }

  /// The name of the main element or node, see `CMarkup::GetTagName`.
  std::wstring_view GetTagName() const;

  /// The attributes of the main element or processing instruction; none for other nodes.
  CMarkupAttribs GetAttribs() const { return {m_pDocument, m_place}; }

  /// The value of an attribute, decoded; false if it does not exist.
  bool GetAttrib(std::wstring_view strName, std::wstring* pstrBuffer,
                 std::wstring_view* pstrValue) const;

  /// The data of the main element or node, decoded.
  std::wstring_view GetData(std::wstring* pstrBuffer) const;

  /// The data as written. Null for an element whose content is more than one run of text.
  std::wstring_view GetRawData() const;

  /// The markup between the main element's tags, and that of the main element or node. After an
  /// edit inside the element, the first call takes time linear in the text.
  std::wstring_view GetContent() const;
  std::wstring_view GetMarkup() const;

  /// Offsets in the document; -1 if the thing does not exist.
  int GetOffset() const;
  int GetContentOffset() const;

 private:
  friend class CMarkupChildren;

  const orv::Document* m_pDocument;
  orv::detail::Place m_place;
};

/// A child element.
struct CMarkupChild {
  /// The value of the attribute, decoded; empty without the attribute.
  std::wstring_view strValue;

  /// The data, decoded.
  std::wstring_view strData;
};

/// The children of an element that have a given name, each with the value of one attribute and its
/// data. Faster than a cursor for many similar children, such as properties. Only one pass is
/// possible; each step invalidates what the previous one returned.
class ORV_EXPORT CMarkupChildren {
 public:
  /// Moves through the children.
  class ORV_EXPORT Iterator {
   public:
    /// Not part of the interface: `CMarkupChildren` calls it.
    explicit Iterator(orv::ChildReader* pReader);

    /// The current child.
    const CMarkupChild& operator*() const { return m_child; }
    const CMarkupChild* operator->() const { return &m_child; }

    /// Moves to the next child.
    Iterator& operator++();

    /// Whether the iterator is past the last child.
    bool operator==(std::default_sentinel_t) const { return m_pReader == nullptr; }

   private:
    orv::ChildReader* m_pReader;
    CMarkupChild m_child;
  };

  /// The children of the main element.
  CMarkupChildren(const CMarkupCursor& cursor, std::wstring_view strName,
                  std::wstring_view strAttrib);
  ~CMarkupChildren();
  CMarkupChildren(const CMarkupChildren&) = delete;
  CMarkupChildren& operator=(const CMarkupChildren&) = delete;

  /// The range.
  Iterator begin() const { return Iterator(m_pReader.get()); }
  std::default_sentinel_t end() const { return {}; }

 private:
  std::wstring m_strOpening;
  std::unique_ptr<orv::ChildReader> m_pReader;
};
