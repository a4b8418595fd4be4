#pragma once

#include <string>

#include "xml/names.h"

/// The node scanner: splits a text into nodes, one a call.

namespace orv {

/// What the scanner finds besides the node types of `CMarkup`.
enum ScanResult : int {
  kScanEndTag = 0,
  kScanError = -1,
  kScanEnd = -2,
};

/// The scanner's cursor over a text.
struct TokenPos {
  int start = 0;  ///< of the node scanned last
  int end = -1;   ///< its last unit, -1 for none
  int next = 0;   ///< where the next node begins
  const wchar_t* text = nullptr;
  int flags = 0;   ///< the document's flags
  int length = 0;  ///< of the text, which may hold zero units
  int passed = 0;  ///< units of a file in front of the text; entries count from the file's start
};

/// What the scanner found.
struct NodePos {
  int type = 0;  ///< a node type of `CMarkup`, or a `ScanResult`
  int start = 0;
  int length = 0;
  int flags = 0;        ///< `ELEM_EMPTY` or 0
  bool hitEnd = false;  ///< the node runs to the end of the text: more text could change it
  std::wstring result;  ///< the result entries of syntax errors, for `kScanError`
};

/// Scans the node at `token.next` and moves the cursor past it; returns its type. Takes time
/// proportional to the node.
int ScanNode(TokenPos& token, NodePos& node);

/// Whether a quote at offset `quote` of a tag that begins at `tag` opens a value: only one that
/// follows an equals sign does.
inline bool OpensValue(const wchar_t* text, int tag, int quote) {
  int before = quote - 1;
  while (before > tag && IsWhiteSpace(text[before])) --before;
  return text[before] == L'=';
}

}  // namespace orv
