#pragma once

#include <algorithm>
#include <cstdint>

namespace orv {

/// Flag bits of an element's record, above the level in the same word.
enum ElemFlags : std::uint32_t {
  ELEM_EMPTY = 0x10000,       ///< the start tag ended with `/>`
  ELEM_DELETED = 0x20000,     ///< released: the record waits on the chain of deleted ones
  ELEM_FIRST = 0x80000,       ///< the first child of its parent
  ELEM_UNENDED = 0x100000,    ///< no end tag: the element is its start tag alone
  ELEM_ILLDATA = 0x200000,    ///< a lone end tag or a syntax error lies in the content
  ELEM_ILLFORMED = 0x800000,  ///< on the record a parse ran under: something was wrong
};

/// The start tag's length of an open element whose start tag is in a file already; no tag is so
/// short.
inline constexpr std::uint32_t kWrittenTag = 1;

/// Where an element lies in the text and among the others. Indices name records; 0 is none.
struct ElemPos {
  static constexpr std::uint32_t kLevelMask = 0xFFFF;
  static constexpr int kStartTagBits = 22;
  static constexpr std::uint32_t kStartTagMask = (1u << kStartTagBits) - 1;

  std::uint32_t start;       ///< offset of the start tag's `<`
  std::uint32_t length;      ///< to one past the end tag; the start tag alone when there is none
  std::uint32_t tagLengths;  ///< low 22 bits the start tag's length, high 10 the end tag's
  std::uint32_t levelFlags;  ///< low 16 bits the level, above them `ElemFlags`
  std::uint32_t parent;
  std::uint32_t child;     ///< the first child
  std::uint32_t next;      ///< the next sibling
  std::uint32_t previous;  ///< the previous sibling; of a first child, the last of its siblings

  std::uint32_t Level() const { return levelFlags & kLevelMask; }
  std::uint32_t StartTagLength() const { return tagLengths & kStartTagMask; }
  std::uint32_t EndTagLength() const { return tagLengths >> kStartTagBits; }

  /// Kept for compatibility: the end tag's length is stored modulo what its bits hold. A start
  /// tag's that is too great for its bits is cut: nobody knows then where the content begins.
  void SetTagLengths(std::uint32_t startTag, std::uint32_t endTag) {
    tagLengths = std::min(startTag, kStartTagMask) | endTag << kStartTagBits;
  }
  bool IsStartTagCut() const { return StartTagLength() == kStartTagMask; }
  void SetStartTagLength(std::uint32_t units) { SetTagLengths(units, EndTagLength()); }
  void SetEndTagLength(std::uint32_t units) { SetTagLengths(StartTagLength(), units); }

  std::uint32_t End() const { return start + length; }
  std::uint32_t ContentStart() const { return start + StartTagLength(); }
  std::uint32_t ContentEnd() const { return End() - EndTagLength(); }
  /// Whether the element has no content because it is its start tag alone, or none to be found.
  bool IsTagOnly() const { return StartTagLength() == length || IsStartTagCut(); }
};

static_assert(sizeof(ElemPos) == 32);

}  // namespace orv
