#pragma once

#include <string>

#include "xml/names.h"

/// The node scanner: splits a text into nodes, one for each call.

namespace orv {

/// Results of the scanner other than the node types of `CMarkup`.
enum ScanResult : int {
  kScanEndTag = 0,
  kScanError = -1,
  kScanEnd = -2,
};

/// The scanner's cursor over a text.
struct TokenPos {
  int start = 0;  ///< of the last node
  int end = -1;   ///< its last code unit, -1 for none
  int next = 0;   ///< where the next node begins
  const wchar_t* text = nullptr;
  int flags = 0;   ///< the document's flags
  int length = 0;  ///< of the text, which may contain zero code units
  int passed = 0;  ///< code units of a file before the text, added to offsets in result entries
};

/// A node.
struct NodePos {
  int type = 0;  ///< a node type of `CMarkup`, or a `ScanResult`
  int start = 0;
  int length = 0;
  int flags = 0;        ///< `ELEM_EMPTY` or 0
  bool hitEnd = false;  ///< the node reaches the end of the text: more text could change it
  std::wstring result;  ///< the result entries of `kScanError`
};

/// Scans the node at `token.next`, moves the cursor past it and returns its type. Takes time linear
/// in the node.
int ScanNode(TokenPos& token, NodePos& node);

/// Whether the quote at offset `quote` opens a value in the tag at `tag`: only a quote after an
/// equals sign does.
inline bool OpensValue(const wchar_t* text, int tag, int quote) {
  int before = quote - 1;
  while (before > tag && IsWhiteSpace(text[before])) --before;
  return text[before] == L'=';
}

}  // namespace orv
