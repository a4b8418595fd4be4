#pragma once

#include <string_view>

#include "orv/xml/markup.h"
#include "xml/attributes.h"
#include "xml/cursor.h"
#include "xml/document.h"
#include "xml/document_writer.h"

namespace orv {

/// Edits a document at its current place. Every edit changes the text in place and keeps the index
/// the same as a new parse would make it. An edit that is refused returns false and changes
/// nothing. Positions are offsets, which stay the same when an edit moves the gap.
class Editor {
 public:
  /// `writer` is that of an open file, null for none.
  Editor(Document& document, Cursor& cursor, SavedPositions& saved, DocumentWriter* writer)
      : document_(document), cursor_(cursor), saved_(saved), writer_(writer) {}

  bool AddElement(std::wstring_view name, MCD_CSTR value, int flags);
  bool AddSubDocument(std::wstring_view markup, int flags);
  bool AddNode(int type, MCD_CSTR text, int flags);

  bool SetAttribute(bool ofChild, std::wstring_view name, MCD_CSTR value);
  bool RemoveAttribute(std::wstring_view name);
  bool SetData(MCD_CSTR value, int flags);
  bool SetChildData(MCD_CSTR value, int flags);
  bool SetContent(std::wstring_view markup);

  bool RemoveElement();
  bool RemoveChild();
  bool RemoveNode();

 private:
  /// Where new markup is inserted.
  struct InsertPlace {
    int parent = 0;
    int before = 0;  ///< the element that it follows, 0 for the first child
    int offset = 0;
    bool opensParent = false;  ///< the parent is its start tag alone
  };

  /// An attribute that is to be changed, with offsets.
  struct AttributePlace {
    int end = -1;  ///< where the tag or instruction can take another one, negative if it cannot
    bool isFound = false;
    Attribute attribute;  ///< the last one if none has the name
  };

  bool IsReading() const { return (document_.flags & CMarkup::DOC_READFILE) != 0; }
  bool CanEdit(int element) const;
  int TagClose(int element) const;

  bool BeginAdd();
  int Neighbour(bool onChildLevel) const;
  bool FindPlace(int flags, InsertPlace* place) const;
  void PlaceAtCurrent(int current, bool inserts, InsertPlace* place) const;
  bool PlaceInParent(bool inserts, InsertPlace* place) const;
  int Insert(const InsertPlace& place, std::wstring markup, int flags);
  void OpenTag(int element, std::wstring_view content);
  void FinishAdd(const InsertPlace& place, int element, int flags);

  AttributePlace FindAttribute(bool ofChild, std::wstring_view name) const;
  void ChangeTag(bool ofChild, int offset, int cut, std::wstring_view replacement);
  bool SetElementData(int element, MCD_CSTR value, int flags);
  bool SetNodeData(MCD_CSTR value);
  void ReplaceContent(int element, std::wstring_view content);
  void Remove(int element);

  void FinishEdit();
  void Reparse();
  void CheckNode();
  void DropReleasedPositions();

  Document& document_;
  Cursor& cursor_;
  SavedPositions& saved_;
  DocumentWriter* writer_;
};

}  // namespace orv
