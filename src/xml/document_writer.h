#pragma once

#include <string>
#include <vector>

#include "xml/cursor.h"
#include "xml/document.h"
#include "xml/element_index.h"
#include "xml/file_stream.h"

namespace orv {

/// Writes a document to a file in parts, while it is being edited. Memory holds the markup after
/// what was written; the index holds the open elements and the current one.
class DocumentWriter {
 public:
  DocumentWriter(Document& document, Cursor& cursor) : document_(document), cursor_(cursor) {}

  bool Create(const std::wstring& file) { return file_.OpenToWrite(file); }
  /// Continues a file; a missing one is created.
  bool Append(const std::wstring& file) { return file_.OpenToAppend(file); }

  /// Whether memory holds so much complete markup that it should be written.
  bool IsFull() const;
  /// Writes the markup before the place where markup is added next, and drops it from memory. The
  /// start tag of the current element stays in memory, or its end tag if the start tag is written;
  /// so does the start tag of a parent that is not opened yet.
  bool WriteCompleted();
  bool Flush() { return WriteCompleted() && file_.Flush(); }
  /// Writes the remaining text and closes the file. Returns false if the file is incomplete.
  bool Finish();

  const FileStream& File() const { return file_; }

 private:
  bool HasStartTag(int element) const { return document_[element].StartTagLength() > kWrittenTag; }
  bool KeepsMain() const { return !cursor_.IsOtherNode() && cursor_.Main() != 0; }
  int CompletedEnd() const;
  std::vector<ElementEntry> OpenElements() const;
  void KeepOpenElements(std::vector<ElementEntry> kept, int written);

  Document& document_;
  Cursor& cursor_;
  FileStream file_;
};

}  // namespace orv
