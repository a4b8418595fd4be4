#pragma once

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "base/block_size.h"

namespace orv {

class TrailingCopy;
struct ScanCursor;

/// Flag bits of an element's entry, above the level in the same word.
enum ElementFlags : std::uint32_t {
  kElementEmpty = 0x10000,       ///< the start tag ended with `/>`
  kElementDeleted = 0x20000,     ///< released: the entry is on the chain of deleted entries
  kElementFirst = 0x80000,       ///< the first child of its parent
  kElementUnended = 0x100000,    ///< no end tag: the element is its start tag alone
  kElementIllData = 0x200000,    ///< a lone end tag or a syntax error is in the content
  kElementIllFormed = 0x800000,  ///< on the entry that a parse ran under: it found an error
};

/// The start tag length of an open element whose start tag is already written to a file; no real
/// tag is that short. Such an element starts as far before the text.
inline constexpr int kWrittenTag = 1;

/// The entry of an element: its range in the text and its links to other entries, where 0 means
/// none. Offsets and entry numbers are `int`, because a document has fewer than 2^31 code units.
struct ElementEntry {
  static constexpr std::uint32_t kLevelMask = 0xFFFF;
  static constexpr int kStartTagBits = 22;
  static constexpr int kMaxStartTag = (1 << kStartTagBits) - 1;
  /// An end tag's length is stored modulo this: 1,024.
  static constexpr int kEndTagModulus = 1 << (32 - kStartTagBits);

  int start;                 ///< address of the start tag's `<`, see `Document`
  int length;                ///< up to the end of the end tag, or of the start tag if there is none
  std::uint32_t tagLengths;  ///< low 22 bits the start tag's length, high 10 the end tag's
  std::uint32_t levelFlags;  ///< low 16 bits the level, above them `ElementFlags`
  int parent;
  int child;     ///< the first child
  int next;      ///< the next sibling
  int previous;  ///< the previous sibling; of a first child, the last sibling

  bool Has(ElementFlags flag) const { return (levelFlags & flag) != 0; }
  std::uint32_t Level() const { return levelFlags & kLevelMask; }
  int StartTagLength() const { return static_cast<int>(tagLengths & kMaxStartTag); }
  int EndTagLength() const { return static_cast<int>(tagLengths >> kStartTagBits); }

  /// Kept for compatibility: the length of the end tag is stored modulo `kEndTagModulus`. A start
  /// tag length that exceeds its bits is cut; the content offset is then unknown.
  void SetTagLengths(int startTag, int endTag) {
    tagLengths = static_cast<std::uint32_t>(std::min(startTag, kMaxStartTag)) |
                 static_cast<std::uint32_t>(endTag) << kStartTagBits;
  }
  bool IsStartTagCut() const { return StartTagLength() == kMaxStartTag; }
  void SetStartTagLength(int units) { SetTagLengths(units, EndTagLength()); }
  void SetEndTagLength(int units) { SetTagLengths(StartTagLength(), units); }

  int End() const { return start + length; }
  int ContentStart() const { return start + StartTagLength(); }
  int ContentEnd() const { return End() - EndTagLength(); }
  /// Whether the element has no content because it is its start tag alone, or no known content.
  bool IsTagOnly() const { return StartTagLength() == length || IsStartTagCut(); }
  /// The previous sibling; 0 for a first child.
  int Before() const { return Has(kElementFirst) ? 0 : previous; }
};

static_assert(sizeof(ElementEntry) == 32);

/// The entries of a document's elements, in segments of usually 65,536. Entry 0 belongs to the
/// document itself. Entries never move between segments: an entry number stays valid while the
/// index grows, but a reference does not.
class ElementIndex {
 public:
  static constexpr int kSegmentBits = BlockSize(16, 2);
  static constexpr int kSegmentEntries = 1 << kSegmentBits;

  ElementEntry& operator[](int entry) const {
    return segments_[static_cast<unsigned>(entry) >> kSegmentBits].get()[entry & kSlotMask];
  }

  /// The number of entries in use, entry 0 and released entries included.
  int Count() const { return count_; }
  /// The number of entries that memory is allocated for.
  int Capacity() const { return capacity_; }

  /// Drops all entries but entry 0, which is cleared, and allocates at least `capacity`.
  void Reset(int capacity);

  /// Drops the entries from `count` on; their memory is kept.
  void Truncate(int count) { count_ = count; }

  /// Returns the next unused entry; its content is undefined.
  int Add() {
    if (count_ >= capacity_) Grow(capacity_ + capacity_ / 2 + 1);
    return count_++;
  }

  /// Puts an entry on the chain of deleted ones and returns what was its next sibling.
  int Release(int entry);

  /// Makes room for a number of entries: so many calls of `Add` do not throw.
  void Reserve(int entries) {
    while (capacity_ - count_ < entries) {
      Grow(std::max(count_ + entries, capacity_ + capacity_ / 2 + 1));
    }
  }

  /// Allocates at least `capacity` entries, but starts at most one new segment: a larger request is
  /// cut at the end of that segment.
  void Grow(int capacity);

  /// Frees unused memory, except for some room to grow, if it exceeds a quarter of what is used.
  void Trim();

  /// Makes this a copy of another index.
  void Assign(const ElementIndex& other);

  /// Frees every entry.
  void Clear();

 private:
  static constexpr int kSlotMask = kSegmentEntries - 1;

  struct FreeEntries {
    void operator()(ElementEntry* entries) const { std::free(entries); }
  };
  using Segment = std::unique_ptr<ElementEntry, FreeEntries>;

  Segment& SegmentAt(int number) { return segments_.data()[number]; }

  std::vector<Segment> segments_;
  int capacity_ = 0;
  int count_ = 1;
  int deleted_ = 0;  ///< the head of the chain of deleted entries
};

/// What is not well formed in an indexed text.
struct IndexFaults {
  int unended = 0;             ///< elements without an end tag
  bool hasLoneEndTag = false;  ///< an end tag without an element; there may be several
  bool hasSyntaxError = false;

  bool HasAny() const { return unended > 0 || hasLoneEndTag || hasSyntaxError; }
};

/// Adds the entries of the elements of one text, from the cursor's place to its end, as children of
/// the entry `base`, which has none. Errors go to `result`, and in short to `faults`. Returns the
/// first element, 0 for none. Takes time linear in the text, whatever it contains. `copy`, which
/// may be null, is a copy of this text and advances with the parse.
int IndexElements(ElementIndex& elements, int base, const ScanCursor& scan, std::wstring& result,
                  IndexFaults* faults, TrailingCopy* copy = nullptr);

}  // namespace orv
