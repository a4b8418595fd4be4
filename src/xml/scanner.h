#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "orv/xml/markup.h"
#include "xml/names.h"

/// The node scanner: splits a text into nodes, one for each call.

namespace orv {

/// Results of the scanner other than the node types of `CMarkup`.
enum ScanResult : int {
  kScanEndTag = 0,
  kScanError = -1,
  kScanEnd = -2,
};

/// Text is a node of one of two types.
inline constexpr int kTextTypes = CMarkup::NODE_TEXT | CMarkup::NODE_WHITESPACE;

/// The scanner's cursor over a text.
struct ScanCursor {
  int next = 0;  ///< where the next node begins
  const wchar_t* text = nullptr;
  int flags = 0;   ///< the document's flags
  int length = 0;  ///< of the text, which may contain zero code units
  /// Code units of a file before the text, added to offsets in result entries.
  std::int64_t passed = 0;

  /// A cursor at the start of a text.
  static ScanCursor Of(std::wstring_view text) {
    return {.text = text.data(), .length = static_cast<int>(text.size())};
  }
  std::wstring_view Text() const { return {text, text + length}; }
};

/// How a scan that reached the end of the text inside a node continues when there is more text.
struct ScanState {
  enum class Rest { kUnknown, kText, kStartTag, kDocumentType, kClosing };

  Rest rest = Rest::kUnknown;  ///< what is scanned; unknown until the text holds its opening
  std::int64_t start = 0;      ///< of the node; negative if it precedes the text
  /// Offset up to which the text was scanned; what precedes it may be dropped.
  int scanned = 0;
  int type = 0;                    ///< the type of the node once it is complete
  std::wstring_view closing = {};  ///< what is searched for first; empty for nothing
  const wchar_t* typeName = L"";   ///< of the node, for an error
  int brackets = 0;                ///< open brackets of a document type
  wchar_t lastUnit = 0;            ///< the last code unit of the scanned part of a tag
  wchar_t lastSolid = 0;           ///< the last one that is not white space
  std::size_t resultSize = 0;      ///< the size of the result entries about the scanned part
};

/// A node that the scanner found.
struct ScannedNode {
  int type = 0;  ///< a node type of `CMarkup`, or a `ScanResult`
  int start = 0;
  int length = 0;
  bool isEmptyElement = false;  ///< the start tag ended with `/>`
  bool hitEnd = false;          ///< the node reaches the end of the text: more text could change it
  std::wstring result;          ///< the result entries of `kScanError`
  ScanState state;              ///< if `hitEnd`

  /// The markup of the node in the text that was scanned.
  std::wstring_view In(std::wstring_view text) const {
    return text.substr(static_cast<std::size_t>(start), static_cast<std::size_t>(length));
  }
};

/// Scans the node at `scan.next`, moves the cursor past it and returns its type. Takes time linear
/// in the node.
int ScanNode(ScanCursor& scan, ScannedNode& node);

/// Continues the scan of a node that reached the end of the text, after text was appended, and
/// text before `node.state.scanned` possibly removed. The caller adjusts that offset and
/// `node.state.start`. `node.start` may stay: the node ends at `node.start + node.length`.
int ContinueNode(ScanCursor& scan, ScannedNode& node);

/// The number of code units around the data of a node.
struct NodeDelimiters {
  std::size_t opening = 0;
  std::size_t closing = 0;
};
NodeDelimiters DelimitersOf(int type);

/// The data of a node as written: without the delimiters of a comment or CDATA section.
std::wstring_view NodeData(int type, std::wstring_view markup);

/// Whether a quote opens a value in the tag that begins at `tag`: only one after an equals sign
/// does.
inline bool OpensValue(const wchar_t* tag, const wchar_t* quote) {
  if (quote[-1] == L'=') return true;
  const wchar_t* before = quote - 1;
  while (before > tag && IsWhiteSpace(*before)) --before;
  return *before == L'=';
}

}  // namespace orv
