#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>

#include "orv/platform/cpu.h"

namespace orv {

/// Where the signs of markup stand in a piece of text: one bit a unit.
struct MaskWord {
  std::uint64_t less;     ///< `<`
  std::uint64_t greater;  ///< `>`
  std::uint64_t quote;    ///< either quote
};

/// Fills the words for `words` times 64 units.
using MaskFiller = void (*)(const wchar_t* text, std::size_t words, MaskWord* masks);

/// The filler for an instruction set; all give the same bits.
MaskFiller MaskFillerFor(CpuLevel level);

/// Finds the signs of markup in a text from left to right, marking a window of it at a time.
class MarkupMasks {
 public:
  MarkupMasks(const wchar_t* text, int length)
      : fill_(MaskFillerFor(ActiveCpuLevel())), text_(text), length_(length) {}

  /// The offset of the first such sign at `from` or behind it; the text's length when there is
  /// none.
  int NextLess(int from) {
    return Next(from, [](const MaskWord& word) { return word.less; });
  }
  int NextGreater(int from) {
    return Next(from, [](const MaskWord& word) { return word.greater; });
  }
  int NextQuote(int from) {
    return Next(from, [](const MaskWord& word) { return word.quote; });
  }
  int NextGreaterOrQuote(int from) {
    return Next(from, [](const MaskWord& word) { return word.greater | word.quote; });
  }

 private:
  static constexpr int kWords = 16;
  static constexpr int kWindow = kWords * 64;

  template <class Select>
  int Next(int from, Select select) {
    for (;;) {
      if (from >= length_) return length_;
      // A window behind the one at hand, or before it, is not there yet.
      if (static_cast<unsigned>(from - base_) >= static_cast<unsigned>(filled_)) Mark(from);
      int word = (from - base_) >> 6;
      std::uint64_t bits = select(masks_[word]) & (~std::uint64_t{0} << ((from - base_) & 63));
      const int words = filled_ >> 6;
      while (bits == 0 && ++word < words) bits = select(masks_[word]);
      if (bits != 0) return base_ + word * 64 + std::countr_zero(bits);
      from = base_ + filled_;
    }
  }

  void Mark(int from);

  MaskFiller fill_;
  const wchar_t* text_;
  int length_;
  int base_ = 0;    ///< offset of the window
  int filled_ = 0;  ///< units marked in it, a multiple of 64
  MaskWord masks_[kWords];
};

}  // namespace orv
