#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "orv/platform/cpu.h"

namespace orv {

/// Units that are looked at together.
inline constexpr std::size_t kSignBlock = 64;

/// Lists the signs of markup (`<`, `>` and both quotes) in `blocks` blocks of text: their offsets,
/// counted from `first`, in order. Returns their number. May write sixteen offsets more than
/// there are units, which mean nothing.
using SignFinder = std::size_t (*)(const wchar_t* text, std::size_t blocks, std::uint32_t first,
                                   std::uint32_t* signs);

/// The finder for an instruction set; all give the same offsets.
SignFinder SignFinderFor(CpuLevel level);

/// Copies a text in the wake of something that reads it, so that a text beyond the processor's
/// caches comes out of memory once and not twice. Whatever happens, the copy is whole at the end.
class TrailingCopy {
 public:
  /// `to` is empty, has room for all of `from`, and is no part of it.
  TrailingCopy(std::wstring_view from, std::wstring* to) : from_(from), to_(to) {}
  TrailingCopy(const TrailingCopy&) = delete;
  TrailingCopy& operator=(const TrailingCopy&) = delete;
  ~TrailingCopy() { To(from_.size()); }

  /// Goes on up to an offset of the text.
  void To(std::size_t offset) {
    const std::size_t copied = to_->size();
    if (offset > copied) to_->append(from_, copied, offset - copied);
  }

 private:
  std::wstring_view from_;
  std::wstring* to_;
};

/// Finds the signs of a text from left to right, a piece of the text at a time.
class SignPieces {
 public:
  /// With a copy, that follows from piece to piece.
  SignPieces(const wchar_t* text, int length, TrailingCopy* copy)
      : find_(SignFinderFor(ActiveCpuLevel())), text_(text), length_(length), copy_(copy) {}

  struct Piece {
    const std::uint32_t* next;
    const std::uint32_t* end;
  };

  /// The signs of the next piece that has any. At the end of the text a piece with its length as
  /// the only sign, again and again.
  Piece More();

  /// Goes on looking at `offset`, from where the next piece will begin.
  void SkipTo(int offset) { found_ = offset; }

  /// Up to where signs were looked for.
  int Found() const { return found_; }

 private:
  static constexpr std::size_t kBlocks = 8;

  SignFinder find_;
  const wchar_t* text_;
  int length_;
  TrailingCopy* copy_;
  int found_ = 0;
  std::uint32_t signs_[kBlocks * kSignBlock + 16];
};

/// Takes the signs one after the other. Meant to live in registers: it holds no more than its place
/// in a piece.
class SignCursor {
 public:
  explicit SignCursor(SignPieces& pieces) : pieces_(pieces), piece_(pieces.More()) {}

  /// The offset of the next sign; the text's length when there is none.
  int Next() {
    if (piece_.next == piece_.end) piece_ = pieces_.More();
    return static_cast<int>(*piece_.next++);
  }

  /// Goes on with the signs at `offset` and behind it, which is not before what was taken last.
  void SkipTo(int offset) {
    if (offset >= pieces_.Found()) {
      pieces_.SkipTo(offset);
      piece_ = pieces_.More();
    }
    while (piece_.next != piece_.end && static_cast<int>(*piece_.next) < offset) ++piece_.next;
  }

 private:
  SignPieces& pieces_;
  SignPieces::Piece piece_;
};

}  // namespace orv
