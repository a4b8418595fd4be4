#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "base/block_size.h"
#include "base/cpu.h"

namespace orv {

/// Code units that a scanner handles at once.
inline constexpr std::size_t kDelimiterBlock = 64;

/// Lists the delimiters of markup (`<`, `>` and both quotes) in `blocks` blocks of text: their
/// offsets, counted from `first`, in order. Returns their number. May write up to sixteen
/// meaningless offsets beyond one for each code unit.
using DelimiterScanner = std::size_t (*)(const wchar_t* text, std::size_t blocks,
                                         std::uint32_t first, std::uint32_t* offsets);

/// The scanner for an instruction set; all return the same offsets.
DelimiterScanner DelimiterScannerFor(CpuLevel level);

/// Copies a text in step with a pass over it, so that a text larger than the CPU caches is read
/// from memory only once. The destructor completes the copy.
class TrailingCopy {
 public:
  /// `to` is empty, has capacity for all of `from`, and does not overlap it.
  TrailingCopy(std::wstring_view from, std::wstring* to) : from_(from), to_(to) {}
  TrailingCopy(const TrailingCopy&) = delete;
  TrailingCopy& operator=(const TrailingCopy&) = delete;
  ~TrailingCopy() { AdvanceTo(from_.size()); }

  /// Copies up to an offset of the text.
  void AdvanceTo(std::size_t offset) {
    const std::size_t copied = to_->size();
    if (offset > copied) to_->append(from_, copied, offset - copied);
  }

 private:
  std::wstring_view from_;
  std::wstring* to_;
};

/// Scans a text from left to right and returns its delimiters in batches.
class DelimiterBatches {
 public:
  /// `copy`, which may be null, advances with the scan.
  DelimiterBatches(const wchar_t* text, int length, TrailingCopy* copy)
      : scan_(DelimiterScannerFor(ActiveCpuLevel())), text_(text), length_(length), copy_(copy) {}

  struct Batch {
    const std::uint32_t* next;
    const std::uint32_t* end;
  };

  /// The next batch that is not empty. At the end of the text, a batch with the length of the text
  /// as its only offset, any number of times.
  Batch Next();

  /// Continues the scan at `offset`.
  void SkipTo(int offset) { scanned_ = offset; }

  /// The offset up to which the text is scanned.
  int Scanned() const { return scanned_; }

 private:
  /// Blocks per batch; bounded by the outstanding cache misses a core supports.
  static constexpr std::size_t kBlocks = BlockSize<std::size_t>(4, 1);

  DelimiterScanner scan_;
  const wchar_t* text_;
  int length_;
  TrailingCopy* copy_;
  int scanned_ = 0;
  std::uint32_t offsets_[kBlocks * kDelimiterBlock + 16];
};

/// Iterates over the delimiters of a text. Small enough to be kept in registers.
class DelimiterCursor {
 public:
  explicit DelimiterCursor(DelimiterBatches& batches) : batches_(batches), batch_(batches.Next()) {}

  /// The offset of the next delimiter; the length of the text when there is none.
  int Next() {
    if (batch_.next == batch_.end) batch_ = batches_.Next();
    return static_cast<int>(*batch_.next++);
  }

  /// Continues with the first delimiter at or after `offset`, which is not before the last one
  /// returned.
  void SkipTo(int offset) {
    if (offset >= batches_.Scanned()) batches_.SkipTo(offset);
    while (batch_.next != batch_.end && static_cast<int>(*batch_.next) < offset) ++batch_.next;
  }

 private:
  DelimiterBatches& batches_;
  DelimiterBatches::Batch batch_;
};

}  // namespace orv
