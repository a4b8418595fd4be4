#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "orv/xml/cursor.h"
#include "orv/xml/line_index.h"
#include "orv/xml/markup.h"
#include "xml/cursor.h"
#include "xml/document.h"
#include "xml/document_reader.h"
#include "xml/document_writer.h"
#include "xml/editor.h"

namespace orv {

/// The implementation of `CMarkup`: a document, its current place, its saved positions, and the
/// reader or writer of an open file.
struct MarkupState {
  MarkupState() { Clear(); }

  static MarkupState& Of(const CMarkup& markup) { return *markup.m_pState; }

  /// Makes this a copy of another one; nothing if either has a file open.
  void Assign(const MarkupState& other);

  bool Clear();
  bool CopyText(std::wstring_view text);
  bool TakeText(std::wstring&& text);
  /// Resets all positions, indexes the text and returns whether it is well formed.
  bool Parse();
  void ResetPositions();
  void SetFlags(int flags);

  bool FindElement(const wchar_t* path);
  bool FindChild(const wchar_t* path);
  int FindNode(int types);
  bool IntoElement();
  bool OutOfElement();
  std::wstring Data();
  bool NextDataPiece(std::wstring* piece);
  /// The current place for reading: its node or start tag is completely in memory.
  const Cursor& Here();

  bool SavePosition(const wchar_t* name, int table);
  bool RestorePosition(const wchar_t* name, int table);
  bool ReservePositions(int size, int table);

  Editor Edit() { return {document, cursor, saved, writer.get()}; }

  bool Load(const wchar_t* file);
  bool Save(const wchar_t* file);
  bool Open(const wchar_t* file, int flags);
  bool Close();

  /// The position of the first error in the result record, if it has one.
  std::optional<TextPosition> ErrorPosition() const;

  Document document;
  Place place;
  Cursor cursor{document, place};
  SavedPositions saved;
  std::unique_ptr<DocumentReader> reader;
  std::unique_ptr<DocumentWriter> writer;
  std::wstring readFile;  ///< the file read in parts to which the result record refers
};

/// The current place of a document. The reference is valid as long as the document, and follows its
/// moves.
inline const Cursor& CursorOf(const CMarkup& markup) { return MarkupState::Of(markup).Here(); }

}  // namespace orv
