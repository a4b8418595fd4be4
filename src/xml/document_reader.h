#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "xml/cursor.h"
#include "xml/document.h"
#include "xml/file_stream.h"
#include "xml/open_names.h"
#include "xml/scanner.h"

namespace orv {

class SkippedElements;

/// An element whose end tag was not passed.
struct OpenElement {
  std::wstring name;
  std::int64_t start;  ///< of its start tag in the file
};

/// Reads a document from a file in parts. Memory holds the start tags of the open elements and of
/// the main element, followed by the text after the current position. Entries from 1 are the open
/// elements, outermost first, then the main element.
class DocumentReader {
 public:
  DocumentReader(Document& document, Cursor& cursor) : document_(document), cursor_(cursor) {}

  /// Opens a file; sets the document flags that describe its encoding.
  bool Open(const std::wstring& file);

  /// Moves forward to the next node of a set of types, 0 for all. An element must also match the
  /// first name of a path. Returns the type, or 0 after passing the rest of the parent.
  int FindForward(int types, const wchar_t* path);
  /// The data of the main element, whose content is not passed.
  std::wstring Data();
  /// Makes the main element the parent.
  void EnterElement();
  /// Skips the rest of the parent, which is about to become the main element.
  void FinishElement();

  const FileStream& File() const { return file_; }

 private:
  bool ReadMore(int* at);
  int ReadNode(ScannedNode& node, int* at);
  void SkipContent();
  void SkipElement(int element);
  void SkipElement(const ScannedNode& startTag);
  void SkipElements(SkippedElements* open);
  void EndAtFileEnd();
  void PassEndTag(int tag, int after);
  void AddMain(const ScannedNode& node);
  bool IsWanted(const ScannedNode& node, int types, const wchar_t* path) const;
  bool EndsOpenElement(int tag);
  OpenElement OpenElementAt(const ScannedNode& startTag) const {
    return {std::wstring(document_.NameAt(startTag.start + 1)), FileOffset(startTag.start)};
  }
  OpenElement OpenElementAt(int element) const {
    return {std::wstring(document_.TagName(element)), starts_[static_cast<std::size_t>(element)]};
  }
  std::int64_t FileOffset(int offset) const { return passed_ + offset; }
  void ReportLoneEndTag(int tag);
  void ReportUnended(const OpenElement& element, std::int64_t expectedEnd);

  Document& document_;
  Cursor& cursor_;
  FileStream file_;
  int next_ = 0;                ///< offset of the text that was not passed
  std::int64_t passed_ = 0;     ///< code units of the file before the text, less the tags kept
  bool hasContent_ = false;     ///< the content of the main element was not passed
  bool isParentEnded_ = false;  ///< the end tag of the parent was passed
  /// Where the start tags of the parents and of the main element were in the file, from the outside
  /// in.
  std::vector<std::int64_t> starts_;
  /// An end tag that closes an element further out, and that element. It is met again by every
  /// element in between, so it is looked up once.
  std::int64_t pendingEndTag_ = -1;
  int pendingElement_ = 0;
  /// The names of the open elements, compared case-insensitively. A name that matches none of them
  /// does not match case-sensitively either.
  OpenNames openNames_{true};
};

}  // namespace orv
