#pragma once

#include <cstddef>
#include <cstdint>

#include "base/cpu.h"
#include "xml/trailing_copy.h"

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

/// Finds the signs of a text from left to right, a piece of the text at a time.
class SignPieces {
 public:
  /// `copy`, null for none, follows from piece to piece.
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
  /// In a piece: of a long text no more than a processor asks its memory for at once.
  static constexpr std::size_t kBlocks = 4;

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
