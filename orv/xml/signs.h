#pragma once

#include <cstddef>
#include <cstdint>

#include "orv/platform/cpu.h"

namespace orv {

/// Units that are looked at together.
inline constexpr std::size_t kSignBlock = 64;

/// Lists the signs of markup (`<`, `>` and both quotes) in `blocks` blocks of text: their offsets,
/// counted from `first`, in order. Returns their number. May write eight offsets more than there
/// are units, which mean nothing.
using SignFinder = std::size_t (*)(const wchar_t* text, std::size_t blocks, std::uint32_t first,
                                   std::uint32_t* signs);

/// The finder for an instruction set; all give the same offsets.
SignFinder SignFinderFor(CpuLevel level);

/// The signs of a text from left to right, found a piece of the text at a time.
class SignStream {
 public:
  SignStream(const wchar_t* text, int length)
      : find_(SignFinderFor(ActiveCpuLevel())), text_(text), length_(length) {}

  /// The offset of the next sign; the text's length when there is none.
  int Next() {
    while (next_ == count_) {
      if (found_ >= length_) return length_;
      FindMore();
    }
    return static_cast<int>(signs_[next_++]);
  }

  /// Goes on with the signs at `offset` and behind it, which is not before what was taken last.
  void SkipTo(int offset);

 private:
  static constexpr std::size_t kBlocks = 8;

  void FindMore();

  SignFinder find_;
  const wchar_t* text_;
  int length_;
  int found_ = 0;  ///< up to where signs were looked for
  std::size_t next_ = 0;
  std::size_t count_ = 0;
  std::uint32_t signs_[kBlocks * kSignBlock + 8];
};

}  // namespace orv
