#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "xml/cursor.h"
#include "xml/document.h"
#include "xml/file_stream.h"
#include "xml/open_names.h"
#include "xml/references.h"
#include "xml/scanner.h"

namespace orv {

class SkippedElements;

/// An element whose end tag was not passed.
struct OpenElement {
  std::wstring name;
  std::int64_t start;  ///< of its start tag in the file
};

/// A place between two parts of a file, and its offset in the text. Copying it does not throw.
struct TextPlace {
  std::int64_t offset;
  std::shared_ptr<const StreamPlace> place;
};

/// A range of the text of a file that can be read again, in parts.
struct FileRange {
  std::int64_t start;  ///< moves as the range is read
  std::int64_t end;
  TextPlace from;  ///< where the next part begins
};

/// The start tag of an open element or of the main element.
struct KeptTag {
  std::int64_t start;  ///< where it is in the file
  /// The part after the head of a tag that was passed over, and the length of the head.
  std::optional<FileRange> rest;
  int head;
};

/// The data of a node that is read in pieces: first a text, then a range of the file.
struct DataPieces {
  std::wstring text;
  std::size_t taken = 0;  ///< code units of the text that were read
  std::optional<FileRange> rest = {};
  std::optional<TextUnescaper> unescaper = {};  ///< for text
  std::wstring carried = {};  ///< half a surrogate pair that begins the next piece
};

/// Reads a document from a file in parts. Memory holds the start tags of the open elements and of
/// the main element, followed by the text after the current position. Entries from 1 are the open
/// elements, outermost first, then the main element.
///
/// A node that is longer than a part is passed over: only its head, which contains its name, stays
/// in memory. If it becomes the current node, the rest is read again on request. If the file cannot
/// be read twice, such a node is kept in memory.
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
  /// The next piece of the data of the main element or node; false at its end. The content of an
  /// element is passed up to its first child.
  bool NextDataPiece(std::wstring* piece);
  /// Reads the rest of a current node or start tag that was passed over.
  void CompleteNode();
  /// Makes the main element the parent.
  void EnterElement();
  /// Skips the rest of the parent, which is about to become the main element.
  void FinishElement();

  /// Where the node that was read last begins and ends in the file, in code units.
  std::int64_t NodeStart() const { return nodeStart_; }
  std::int64_t NodeEnd() const { return nodeEnd_; }

  const FileStream& File() const { return file_; }

 private:
  bool ReadMore(int* at);
  int ReadNode(ScannedNode& node, int* at, int stored, const wchar_t* path = L"");
  int HeadOf(const ScannedNode& node, int at, int stored, const wchar_t* path) const;
  void PassOver(ScannedNode& node, int head, int* at);
  void DropText(int start, int end);
  void DropPlaces();
  std::optional<FileRange> RestOf(const ScannedNode& node) const;
  bool ReadRange(FileRange* range, std::wstring* text);
  void ReportFailure();
  DataPieces PiecesOf(int type, std::wstring_view markup, std::optional<FileRange> rest) const;
  bool NextPiece(DataPieces* pieces, std::wstring* piece);
  bool PassTextOfElement();
  KeptTag& MainTag() { return tags_[static_cast<std::size_t>(cursor_.Main())]; }
  void SkipContent();
  void SkipElement(int element);
  void SkipElement(const ScannedNode& startTag);
  void SkipElements(SkippedElements* open);
  void EndAtFileEnd();
  void PassEndTag(int tag, int after);
  void ReserveMain();
  void AddMain(const ScannedNode& node);
  bool IsWanted(int tag, int types, const wchar_t* path) const;
  bool EndsOpenElement(int tag);
  OpenElement OpenElementAt(const ScannedNode& startTag) const {
    return {std::wstring(document_.NameAt(startTag.start + 1)), nodeStart_};
  }
  OpenElement OpenElementAt(int element) const {
    return {std::wstring(document_.TagName(element)),
            tags_[static_cast<std::size_t>(element)].start};
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
  bool isFailureReported_ = false;
  std::int64_t nodeStart_ = 0;  ///< where the last node read begins and ends in the file
  std::int64_t nodeEnd_ = 0;
  std::vector<TextPlace> places_;     ///< the first one is not after the last node read
  std::vector<KeptTag> tags_;         ///< of the parents from the outside in, then the main element
  std::optional<FileRange> rest_;     ///< of the current node, if it was passed over
  std::optional<DataPieces> pieces_;  ///< of the current node, or of a node in the main element
  /// An end tag that closes an element further out, and that element. It is met again by every
  /// element in between, so it is looked up once.
  std::int64_t pendingEndTag_ = -1;
  int pendingElement_ = 0;
  /// The names of the open elements, compared case-insensitively. A name that matches none of them
  /// does not match case-sensitively either.
  OpenNames openNames_{true};
};

}  // namespace orv
