#include "tools/orv/page/trap.h"

#include <algorithm>
#include <cstddef>
#include <vector>

namespace orv::tool {
namespace {

/// The darkest of the values up to `reach` places before and after each; `step` apart.
void SpreadLine(unsigned char* first, std::ptrdiff_t step, int count, int reach,
                std::vector<unsigned char>* line) {
  line->resize(static_cast<std::size_t>(count));
  for (int i = 0; i < count; ++i) (*line)[static_cast<std::size_t>(i)] = first[i * step];
  for (int i = 0; i < count; ++i) {
    const auto from = line->begin() + std::max(i - reach, 0);
    const auto to = line->begin() + std::min(i + reach + 1, count);
    first[i * step] = *std::min_element(from, to);
  }
}

/// The inks of a dot: the sum of these.
enum Inks { kNone = 0, kBlack = 1, kColour = 2, kBoth = 3 };

/// Follows the dots of a row or column and finds the edges in it: from one ink alone to the other.
class EdgeFinder {
 public:
  void Add(Inks inks, PlaneEdges* edges) {
    if (inks != inks_) EndRun(inks);
    ++length_;
    if (inks == kNone) ++paper_;
    if (inks == kBoth) ++overlap_;
    if (!IsAlone(inks) || length_ != kSolid) return;
    const Inks other = inks == kBlack ? kColour : kBlack;
    if (solid_ != other || paper_ + overlap_ > kMaxMiddle) return;
    if (paper_ > 0) {
      edges->AddGap(paper_);
    } else if (overlap_ > 0) {
      edges->AddOverlap(overlap_);
    } else {
      ++edges->touching;
    }
  }

 private:
  static constexpr int kSolid = 3;
  static constexpr int kMaxMiddle = 16;

  static bool IsAlone(Inks inks) { return inks == kBlack || inks == kColour; }

  void EndRun(Inks next) {
    if (IsAlone(inks_)) {
      solid_ = length_ >= kSolid ? inks_ : kNone;
      paper_ = overlap_ = 0;
    }
    inks_ = next;
    length_ = 0;
  }

  Inks inks_ = kNone;
  int length_ = 0;
  Inks solid_ = kNone;  ///< the last ink alone, if its run was solid
  int paper_ = 0;       ///< dots since then
  int overlap_ = 0;
};

}  // namespace

void SpreadUnder(const PagePixels& highlight, const PagePixels& black, int dots) {
  const int width = highlight.width();
  const int height = highlight.height();
  std::vector<unsigned char> spread;
  spread.reserve(static_cast<std::size_t>(width) * static_cast<std::size_t>(height));
  ForEachPixel(highlight,
               [&](const unsigned char* pixel, int, int) { spread.push_back(pixel[0]); });
  std::vector<unsigned char> line;
  for (int y = 0; y < height; ++y) {
    SpreadLine(spread.data() + std::ptrdiff_t{y} * width, 1, width, dots, &line);
  }
  for (int x = 0; x < width; ++x) SpreadLine(spread.data() + x, width, height, dots, &line);
  auto value = spread.begin();
  ForEachPixel(highlight, [&](unsigned char* pixel, int x, int y) {
    const bool isBlack = !IsWhite(black.Row(y) + std::ptrdiff_t{3} * x);
    if (isBlack) std::fill_n(pixel, 3, *value);
    ++value;
  });
}

void PlaneEdges::AddGap(int dots) {
  ++gaps;
  maxGap = std::max(maxGap, dots);
}

void PlaneEdges::AddOverlap(int dots) {
  minOverlap = overlaps == 0 ? dots : std::min(minOverlap, dots);
  maxOverlap = std::max(maxOverlap, dots);
  ++overlaps;
}

PlaneEdges FindEdges(const PagePixels& black, const PagePixels& colour) {
  PlaneEdges edges;
  std::vector<EdgeFinder> columns(static_cast<std::size_t>(black.width()));
  for (int y = 0; y < black.height(); ++y) {
    EdgeFinder row;
    const unsigned char* one = black.Row(y);
    const unsigned char* other = colour.Row(y);
    for (EdgeFinder& column : columns) {
      const auto inks =
          static_cast<Inks>((IsWhite(one) ? kNone : kBlack) + (IsWhite(other) ? kNone : kColour));
      row.Add(inks, &edges);
      column.Add(inks, &edges);
      one += 3;
      other += 3;
    }
  }
  return edges;
}

}  // namespace orv::tool
