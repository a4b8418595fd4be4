#pragma once

/// Error diffusion in SIMD vectors of 16-bit lanes, one image row per lane. Every row lags three
/// pixels after the row above it, so all errors from above are known one step before they are
/// needed, and each step handles one pixel of all rows. The rows of several vectors form a strip;
/// the errors that its last row passes down are kept for the next strip. Two kinds of blocks have
/// faster paths: black-and-white blocks that no error reaches, and white blocks.

#include <memory>
#include <new>

#include "imaging/vector_pixels.h"

namespace orv {
namespace {

constexpr int kLanes = 8 * kHalves;    ///< rows per vector
constexpr int kVectors = 4 / kHalves;  ///< vectors in a strip: their steps overlap in the pipeline
constexpr int kStripRows = kLanes * kVectors;
constexpr int kLag = 3;

/// Thresholds in this range keep errors within 16 bits: an error stays between min(threshold - 255,
/// 0) and max(threshold - 1, 0), widened downwards to a multiple of four, and the sum of a pixel's
/// shares is at most 16 times as large.
constexpr int kMinThreshold = -1500;
constexpr int kMaxThreshold = 1700;

/// Step numbers of wider images would exceed 16 bits.
constexpr int kMaxWidth = 32000;

/// `left` is the error of the pixel to the left. The others are errors in the row above: upper
/// right, above, upper left.
struct VectorFloydSteinberg {
  static Vec Sum(Vec left, Vec upperRight, Vec above, Vec upperLeft) {
    const Vec fromAbove =
        Add16(Add16(Mul16(upperRight, Set16(3)), Mul16(above, Set16(5))), upperLeft);
    return ShiftArithmetic16<4>(Add16(Sub16(ShiftLeft16<3>(left), left), fromAbove));
  }
};

struct VectorSierraLite {
  static Vec Sum(Vec left, Vec upperRight, Vec above, Vec) {
    return Add16(ShiftArithmetic16<1>(left),
                 Add16(ShiftArithmetic16<2>(upperRight), ShiftArithmetic16<2>(above)));
  }
};

/// Transposes the 8 x 8 lanes of each half.
inline void Transpose(Vec (&v)[8]) {
  Vec a[8];
  for (int i = 0; i < 4; ++i) {
    a[i] = UnpackLow16(v[2 * i], v[2 * i + 1]);
    a[i + 4] = UnpackHigh16(v[2 * i], v[2 * i + 1]);
  }
  Vec b[8];
  for (int i = 0; i < 8; i += 4) {
    b[i] = UnpackLow32(a[i], a[i + 1]);
    b[i + 1] = UnpackHigh32(a[i], a[i + 1]);
    b[i + 2] = UnpackLow32(a[i + 2], a[i + 3]);
    b[i + 3] = UnpackHigh32(a[i + 2], a[i + 3]);
  }
  for (int i = 0; i < 2; ++i) {
    v[4 * i] = UnpackLow64(b[4 * i], b[4 * i + 2]);
    v[4 * i + 1] = UnpackHigh64(b[4 * i], b[4 * i + 2]);
    v[4 * i + 2] = UnpackLow64(b[4 * i + 1], b[4 * i + 3]);
    v[4 * i + 3] = UnpackHigh64(b[4 * i + 1], b[4 * i + 3]);
  }
}

template <typename Method>
class StripDiffuser {
 public:
  /// `carry` must have `CarrySize(width)` entries, zeroed before the first band.
  StripDiffuser(const PixelPlane& plane, int threshold, Ink ink, std::int16_t* carry)
      : plane_(plane),
        ink_(InkBlock(ink)),
        isInkBlack_(ink.blue == 0 && ink.green == 0 && ink.red == 0),
        keepsBlackAndWhite_(threshold >= 1 && threshold <= 255),
        limit_(Set16(threshold - 1)),
        carry_(carry + kCarryFront) {
    for (int i = 0; i < kVectors; ++i) {
      alignas(32) std::int16_t columns[kLanes];
      for (int lane = 0; lane < kLanes; ++lane) {
        columns[lane] = static_cast<std::int16_t>(-kLag * (i * kLanes + lane));
      }
      columns_[i] = LoadAll(columns);
    }
  }

  /// Number of errors per row, with space on both sides for the columns outside the image that a
  /// strip's steps touch.
  static std::size_t CarrySize(int width) {
    return static_cast<std::size_t>(kCarryFront + width + kCarryBack);
  }

  void Run() {
    for (int y = 0; y < plane_.height; y += kStripRows) RunStrip(y);
  }

 private:
  /// The errors that the next step uses: of the pixel to the left and of three pixels above.
  struct State {
    Vec error[kVectors];
    Vec upperRight[kVectors];
    Vec above[kVectors];
    Vec upperLeft[kVectors];
  };

  static constexpr int kSpan = kLag * (kStripRows - 1);  ///< the lag of the last row
  static constexpr int kCarryFront = kSpan + kBlock;
  static constexpr int kCarryBack = kSpan + 2 * kBlock;

  void RunStrip(int y) {
    rows_ = plane_.height - y < kStripRows ? plane_.height - y : kStripRows;
    first_ = plane_.Row(y);
    for (int i = 0; i < kVectors; ++i) {
      state_.error[i] = state_.upperRight[i] = state_.above[i] = state_.upperLeft[i] = Zero();
    }
    state_.upperRight[0] = ShiftLanesUp(Zero(), LoadHalf(carry_ + 1 - 7));
    state_.above[0] = ShiftLanesUp(Zero(), LoadHalf(carry_ - 7));
    for (int step = 0; step < plane_.width + kSpan; step += kBlock) {
      if (rows_ == kStripRows && step >= kSpan && step + kBlock <= plane_.width) {
        for (int row = 0; row < kStripRows; ++row) {
          pixels_[row] = PixelAt(row, step - kLag * row);
          // More streams than the hardware prefetcher tracks.
          _mm_prefetch(pixels_[row] + 4 * kBlockBytes, _MM_HINT_T0);
        }
        RunBlock<false>(step);
      } else {
        RunEdgeBlock(step);
      }
    }
  }

  std::uint8_t* PixelAt(int row, int x) const { return first_ + row * plane_.stride + 3 * x; }

  /// Runs a block in which some rows are wholly or partly outside the image; these work on copies.
  void RunEdgeBlock(int step) {
    std::uint8_t copies[kStripRows][kBlockBytes] = {};
    struct {
      std::uint8_t* pixel;
      std::size_t offset;
      std::size_t size;
    } parts[kStripRows];
    for (int row = 0; row < kStripRows; ++row) {
      const int x = step - kLag * row;
      const int begin = x < 0 ? -x : 0;
      const int end = plane_.width - x < kBlock ? plane_.width - x : kBlock;
      if (row >= rows_ || begin >= end) {
        parts[row] = {nullptr, 0, 0};
        pixels_[row] = copies[row];
      } else if (end - begin == kBlock) {
        parts[row] = {nullptr, 0, 0};
        pixels_[row] = PixelAt(row, x);
      } else {
        parts[row] = {PixelAt(row, x + begin), static_cast<std::size_t>(3 * begin),
                      static_cast<std::size_t>(3 * (end - begin))};
        pixels_[row] = copies[row];
        std::memcpy(copies[row] + parts[row].offset, parts[row].pixel, parts[row].size);
      }
    }
    RunBlock<true>(step);
    for (int row = 0; row < rows_; ++row) {
      if (parts[row].size == 0) continue;
      std::memcpy(parts[row].pixel, copies[row] + parts[row].offset, parts[row].size);
    }
  }

  /// Runs eight steps. At an edge, errors of columns outside the image are cleared.
  template <bool atEdge>
  void RunBlock(int step) {
    if (IsQuiet(step)) {
      if (keepsBlackAndWhite_ && IsBlackAndWhite()) {
        PaintBlackAndWhite();
        StoreHalf(carry_ + step - kSpan, Half{});
        return;
      }
    } else if (IsWhite() && RunWhiteBlock(step)) {
      return;
    }

    Vec grey[kVectors][8];
    Vec fraction[kVectors][8];
    for (int i = 0; i < kVectors; ++i) {
      for (int row = 0; row < 8; ++row) {
        std::uint8_t* const* pixel = &pixels_[i * kLanes + row];
        const GreySums sums = SumGrey(LoadBlock(pixel[0], pixel[8 * (kHalves - 1)]));
        const Vec whole = WholeGrey(sums);
        // Twice the grey value, plus one if it is not whole.
        const Vec isWhole = Equal16(sums.low, Mul16(whole, Opaque(Set16(1000))));
        grey[i][row] = Add16(Add16(whole, whole), Add16(isWhole, Set16(1)));
      }
      Transpose(grey[i]);
      for (int s = 0; s < 8; ++s) {
        fraction[i][s] = And(grey[i][s], Set16(1));
        grey[i][s] = ShiftRight16<1>(grey[i][s]);
      }
    }

    // grey[i][s] becomes the mask of white pixels of step s.
    const Vec limit = limit_;
    state_ = RunSteps(
        step, [&](int i, int s, Vec sum) __attribute__((always_inline)) {
          // Truncation towards zero rounds a negative value with a fraction up.
          const Vec floor = Add16(grey[i][s], sum);
          const Vec value = Add16(floor, And(ShiftRight16<15>(floor), fraction[i][s]));
          const Vec white = Greater16(value, limit);
          grey[i][s] = white;
          const Vec error = Sub16(value, And(white, Set16(255)));
          if constexpr (atEdge) return And(error, IsInside(step + s, i));
          return error;
        });

    for (int i = 0; i < kVectors; ++i) {
      Transpose(grey[i]);
      for (int row = 0; row < 8; ++row) {
        std::uint8_t* const* pixel = &pixels_[i * kLanes + row];
        PaintBlock(pixel[0], pixel[8 * (kHalves - 1)], grey[i][row], ink_.head, ink_.tail);
      }
    }
  }

  /// Runs eight steps over white pixels inside the image: a pixel's error is then the sum of what
  /// its neighbours pass on. Returns false, with nothing changed, if one of them does not stay
  /// white.
  bool RunWhiteBlock(int step) {
    Vec least = Zero();
    const State state = RunSteps(
        step, [&](int, int, Vec sum) __attribute__((always_inline)) {
          least = Min16(least, sum);
          return sum;
        });
    if (SignBits8(Greater16(Add16(least, Set16(255)), limit_)) != kAllSignBits8) return false;
    state_ = state;
    return true;
  }

  /// Advances the errors by eight steps. `errorOf(i, s, sum)` returns those of vector i in step s,
  /// whose pixels receive `sum` from their neighbours.
  template <typename ErrorOf>
  State RunSteps(int step, const ErrorOf& errorOf) {
    // A copy, because stores through the carry's pointer could change members.
    State state = state_;
    std::int16_t* carry = carry_ + step;
#pragma GCC unroll 8
    for (int s = 0; s < 8; ++s) {
      Vec next[kVectors];
      next[0] = ShiftLanesUp(state.error[0], LoadHalf(carry + s + 2 - 7));
      for (int i = 1; i < kVectors; ++i) next[i] = ShiftLanesUp(state.error[i], state.error[i - 1]);
      for (int i = 0; i < kVectors; ++i) {
        const Vec sum =
            Method::Sum(state.error[i], state.upperRight[i], state.above[i], state.upperLeft[i]);
        state.error[i] = errorOf(i, s, sum);
        state.upperLeft[i] = state.above[i];
        state.above[i] = state.upperRight[i];
        state.upperRight[i] = next[i];
      }
      carry[s - kSpan] =
          static_cast<std::int16_t>(_mm_extract_epi16(LastHalf(state.error[kVectors - 1]), 7));
    }
    return state;
  }

  /// Whether no error reaches the next eight steps.
  bool IsQuiet(int step) const {
    Vec any = Load(carry_ + step + 2, carry_ + step + 2);
    for (int i = 0; i < kVectors; ++i) {
      any = Or(Or(any, Or(state_.error[i], state_.upperRight[i])),
               Or(state_.above[i], state_.upperLeft[i]));
    }
    return SignBits8(Equal8(any, Zero())) == kAllSignBits8;
  }

  bool IsWhite() const {
    return ForEachVectorOfPixels([](int, int, std::uint8_t* first, std::uint8_t* second) {
      const PixelBlock pixels = LoadBlock(first, second);
      return SignBits8(Equal8(And(pixels.head, pixels.tail), Set8(255))) == kAllSignBits8;
    });
  }

  /// Whether every pixel is black or white, so that none leaves an error. Pixels outside the image
  /// count as black.
  bool IsBlackAndWhite() const {
    const Vec firstOfHead = Indexes(0, 0, 0, 3, 3, 3, 6, 6, 6, 9, 9, 9, 12, 12, 12, 15);
    const Vec firstOfTail = Indexes(0, 1, 1, 1, 4, 4, 4, 7, 7, 7, 10, 10, 10, 13, 13, 13);
    return ForEachVectorOfPixels([&](int, int, std::uint8_t* first, std::uint8_t* second) {
      // In a black or white pixel, all bytes follow the sign of the first one.
      const PixelBlock pixels = LoadBlock(first, second);
      const Vec head = Shuffle(Greater8(Zero(), pixels.head), firstOfHead);
      const Vec tail = Shuffle(Greater8(Zero(), pixels.tail), firstOfTail);
      return SignBits8(And(Equal8(head, pixels.head), Equal8(tail, pixels.tail))) == kAllSignBits8;
    });
  }

  void PaintBlackAndWhite() const {
    if (isInkBlack_) return;
    ForEachVectorOfPixels([&](int, int, std::uint8_t* first, std::uint8_t* second) {
      const PixelBlock pixels = LoadBlock(first, second);
      Store(first, second, Or(pixels.head, ink_.head));
      Store(first + 8, second + 8, Or(pixels.tail, ink_.tail));
      return true;
    });
  }

  /// Calls `work(i, row, first, second)` for the block's pixels in the rows `row` of each half of
  /// vector i, until it returns false. Returns its last result.
  template <typename Work>
  bool ForEachVectorOfPixels(const Work& work) const {
    for (int i = 0; i < kVectors; ++i) {
      for (int row = 0; row < 8; ++row) {
        std::uint8_t* const* pixels = &pixels_[i * kLanes + row];
        if (!work(i, row, pixels[0], pixels[8 * (kHalves - 1)])) return false;
      }
    }
    return true;
  }

  /// A mask of the lanes whose column at this step is inside the image.
  Vec IsInside(int step, int vector) const {
    const Vec x = Add16(Set16(step), columns_[vector]);
    return And(Greater16(x, Set16(-1)), Greater16(Set16(plane_.width), x));
  }

  PixelPlane plane_;
  PixelBlock ink_;
  bool isInkBlack_;
  bool keepsBlackAndWhite_;  ///< black and white pixels without errors do not change
  Vec limit_;
  Vec columns_[kVectors];  ///< each lane's column in step 0
  std::int16_t* carry_;    ///< errors of the last row of the strip above, by column

  int rows_ = 0;                   ///< the strip's rows inside the image
  std::uint8_t* first_ = nullptr;  ///< the strip's first pixel
  std::uint8_t* pixels_[kStripRows] = {};
  State state_;
};

template <typename Method>
bool DiffuseRows(const PixelPlane& plane, int threshold, Ink ink, DiffusionErrors* errors,
                 bool (*plain)(const PixelPlane&, int, Ink, DiffusionErrors*)) {
  static_assert(kBandRows % kStripRows == 0);
  if (threshold < kMinThreshold || threshold > kMaxThreshold || plane.width > kMaxWidth) {
    return plain(plane, threshold, ink, errors);
  }
  if (errors->vector == nullptr) {
    errors->vector.reset(new (std::nothrow)
                             std::int16_t[StripDiffuser<Method>::CarrySize(plane.width)]());
    if (errors->vector == nullptr) return false;
  }
  StripDiffuser<Method>(plane, threshold, ink, errors->vector.get()).Run();
  return true;
}

bool FloydSteinberg(const PixelPlane& plane, int threshold, Ink ink, DiffusionErrors* errors) {
  return DiffuseRows<VectorFloydSteinberg>(plane, threshold, ink, errors,
                                           kPlainKernels.floydSteinberg);
}

bool SierraLite(const PixelPlane& plane, int threshold, Ink ink, DiffusionErrors* errors) {
  return DiffuseRows<VectorSierraLite>(plane, threshold, ink, errors, kPlainKernels.sierraLite);
}

}  // namespace
}  // namespace orv
