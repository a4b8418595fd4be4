#include "tools/orv/page/legibility.h"

#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

#include "base/utf8.h"
#include "orv/text/format.h"
#include "tools/orv/page/bar_follower.h"
#include "tools/orv/page/extremes.h"
#include "tools/orv/page/pixels.h"

namespace orv::tool {
namespace {

/// Compares the ink of scan lines with the bars of a bar code.
class BarMeter {
 public:
  explicit BarMeter(BarCodeResult* result)
      : result_(result), errors_(result->errors), code_(result->code) {
    const std::vector<Bar>& bars = code_.bars;
    const double outside = std::max(2 * code_.module, 2.0);
    windows_.push_back(static_cast<int>(bars.front().start - outside));
    for (std::size_t i = 1; i < bars.size(); ++i) {
      windows_.push_back(static_cast<int>(std::lround((bars[i - 1].end + bars[i].start) / 2)));
    }
    windows_.push_back(static_cast<int>(bars.back().end + outside) + 1);
    damagedLines_.resize(bars.size());
  }

  /// `ink` is 255 where the plane has ink, and less where a line passes between ink and white.
  void Measure(const Dots& ink) {
    for (int y = code_.firstLine; y < code_.endLine; ++y) {
      ++result_->lines;
      if (MeasureLine(ink.Row(y), ink.width)) ++result_->goodLines;
    }
    const auto worst = std::max_element(damagedLines_.begin(), damagedLines_.end());
    result_->worstLines = *worst;
    result_->worstBar = static_cast<std::size_t>(worst - damagedLines_.begin());
  }

 private:
  static constexpr double kMaxWidthError = 0.75;  ///< in modules
  static constexpr double kMaxPitchError = 0.5;
  static constexpr double kHalf = 127.5;  ///< the ink at an edge

  /// The ink that the line has where one bar is expected.
  struct Found {
    double start;  ///< of the bar
    double end;
    bool isWhole;
  };

  static bool IsInk(std::uint8_t value) { return value > kHalf; }

  /// Whether the line can be read: every bar is whole, nothing else has ink, and no edge is too far
  /// from its neighbours.
  bool MeasureLine(const std::uint8_t* line, int width) {
    bool isGood = true;
    Found before = {};
    for (std::size_t i = 0; i < code_.bars.size(); ++i) {
      const Bar& bar = code_.bars[i];
      const Found found =
          FindBar(line, std::max(windows_[i], 0), std::min(windows_[i + 1], width), bar);
      const bool isBarGood =
          IsWidthGood(&errors_.bars, bar.end - bar.start, found.end - found.start) && found.isWhole;
      if (!isBarGood) ++damagedLines_[i];
      isGood = isGood && isBarGood;
      if (i > 0) {
        const Bar& last = code_.bars[i - 1];
        isGood &= IsWidthGood(&errors_.spaces, bar.start - last.end, found.start - before.end) &&
                  IsPitchGood(bar.start - last.start, found.start - before.start) &&
                  IsPitchGood(bar.end - last.end, found.end - before.end);
      }
      before = found;
    }
    return isGood;
  }

  bool IsWidthGood(WidthErrors* errors, double expected, double actual) {
    errors->Add(expected, actual);
    return std::abs(expected - actual) < kMaxWidthError * code_.module;
  }

  /// Compares the distance between two similar edges: readers of most symbologies measure that,
  /// because ink that spreads does not change it.
  bool IsPitchGood(double expected, double actual) const {
    return std::abs(expected - actual) < kMaxPitchError * code_.module;
  }

  /// Looks from `from` up to `to`, where only this bar should be.
  Found FindBar(const std::uint8_t* line, int from, int to, const Bar& bar) {
    const double middle = std::round(bar.Middle());
    Found found = {middle, middle, false};
    int parts = 0;
    int spots = 0;
    for (int x = from; x < to;) {
      const int start = static_cast<int>(std::find_if(line + x, line + to, IsInk) - line);
      const int end = static_cast<int>(std::find_if_not(line + start, line + to, IsInk) - line);
      x = end;
      if (start == end) continue;
      const Bar part = {start == from ? from : CrossingBefore(line, start, kHalf),
                        end == to ? to : CrossingBefore(line, end, kHalf)};
      if (part.start >= bar.end || part.end <= bar.start) {
        ++spots;
        continue;
      }
      if (++parts == 1) found.start = part.start;
      found.end = part.end;
    }
    errors_.spots += spots;
    errors_.holes += parts > 0 ? parts - 1 : 1;
    found.isWhole = parts == 1 && spots == 0;
    if (parts > 0) {
      constexpr double kBreak = 0.75;  ///< more than whole dots can be off
      errors_.breaks += std::abs(found.start - bar.start) > kBreak;
      errors_.breaks += std::abs(found.end - bar.end) > kBreak;
    }
    return found;
  }

  BarCodeResult* result_;
  BarErrors& errors_;
  const BarCode& code_;
  std::vector<int> windows_;                ///< the middles of the spaces around each bar
  std::vector<std::int64_t> damagedLines_;  ///< per bar
};

/// The lines of a plane that cross the bars of a code. Pale bars are dithered: between rows their
/// holes would count half, and planes that no reader reads would scan.
Dots LinesOf(const Dots& ink, const BarCode& code) {
  return code.IsPale() ? Straightened(ink, code.part, 0) : StraightenedSmoothly(ink, code.part, 0);
}

void MeasureBars(const std::vector<BarCode>& codes, const Dots& ink, Legibility* result) {
  const bool hasTurned = std::any_of(codes.begin(), codes.end(), [](const BarCode& code) {
    return code.isTurned && code.CanMeasure();
  });
  const Dots turned = hasTurned ? Transposed(ink) : Dots{0, 0, {}};
  for (const BarCode& code : codes) {
    if (!code.CanMeasure()) {
      result->unmeasured.push_back(code);
      continue;
    }
    BarCodeResult& measured = result->codes.emplace_back();
    measured.code = code;
    const Dots& dots = code.isTurned ? turned : ink;
    BarMeter meter(&measured);
    code.IsTilted() ? meter.Measure(LinesOf(dots, code)) : meter.Measure(dots);
  }
}

/// Counts dots of ink without adjacent ink, and white dots without adjacent white.
void CountSpecks(const Dots& ink, Legibility* result) {
  const auto hasLike = [&](int x, int y) {
    for (int row = std::max(y - 1, 0); row <= std::min(y + 1, ink.height - 1); ++row) {
      for (int column = std::max(x - 1, 0); column <= std::min(x + 1, ink.width - 1); ++column) {
        if ((row != y || column != x) && ink.At(column, row) == ink.At(x, y)) return true;
      }
    }
    return false;
  };
  for (int y = 0; y < ink.height; ++y) {
    const std::uint8_t* row = ink.Row(y);
    for (int x = 0; x < ink.width; ++x) {
      const bool isInk = row[x] != 0;
      if (isInk) ++result->ink;
      // Most dots are like the one before.
      if ((x == 0 || row[x] != row[x - 1]) && !hasLike(x, y))
        ++(isInk ? result->dots : result->holes);
    }
  }
}

/// Counts the wrong dots of line art.
void CountLineErrors(const LineArt& art, const Dots& ink, Legibility* result) {
  for (int y = 0; y < ink.height; ++y) {
    for (int x = 0; x < ink.width; ++x) {
      if (!art.Has(x, y)) continue;
      result->lineInk += art.IsInk(x, y);
      result->lineErrors += art.IsInk(x, y) != (ink.At(x, y) != 0);
    }
  }
}

/// Compares the tones of blocks, without line art, which is best solid. Blocks that are all white
/// or all black in the page are skipped.
void MeasureTones(const Dots& grey, const LineArt& art, const Dots& ink, Legibility* result) {
  double sum = 0;
  for (int top = 0; top < grey.height; top += kToneBlock) {
    for (int left = 0; left < grey.width; left += kToneBlock) {
      const int bottom = std::min(top + kToneBlock, grey.height);
      const int right = std::min(left + kToneBlock, grey.width);
      double expected = 0;
      double actual = 0;
      double all = 0;
      for (int y = top; y < bottom; ++y) {
        for (int x = left; x < right; ++x) {
          if (art.Has(x, y)) continue;
          ++all;
          expected += (255 - grey.At(x, y)) / 255.0;
          actual += ink.At(x, y) != 0;
        }
      }
      if (expected == 0 || expected == all) continue;
      const double error = std::abs(actual - expected) / all;
      ++result->blocks;
      sum += error;
      if (error <= result->worstTone) continue;
      result->worstTone = error;
      result->worstX = left;
      result->worstY = top;
    }
  }
  if (result->blocks > 0) result->tone = sum / static_cast<double>(result->blocks);
}

}  // namespace

void WidthErrors::Add(double expected, double actual) {
  const double error = std::abs(actual - expected);
  ++count;
  sum += error;
  max = std::max(max, error);
}

void WidthErrors::Add(const WidthErrors& other) {
  count += other.count;
  sum += other.sum;
  max = std::max(max, other.max);
}

void BarErrors::Add(const BarErrors& other) {
  bars.Add(other.bars);
  spaces.Add(other.spaces);
  holes += other.holes;
  spots += other.spots;
  breaks += other.breaks;
}

bool BarCodeResult::Scans() const {
  constexpr double kMinReadable = 0.1;
  return Readable() >= kMinReadable;
}

double BarCodeResult::Score() const {
  WidthErrors widths = errors.bars;
  widths.Add(errors.spaces);
  return 100 * (1 - Readable() + widths.Mean() / code.module);
}

std::int64_t Legibility::Failed() const {
  return std::count_if(codes.begin(), codes.end(),
                       [](const BarCodeResult& result) { return !result.Scans(); });
}

BarErrors Legibility::Bars() const {
  BarErrors all;
  for (const BarCodeResult& result : codes) all.Add(result.errors);
  return all;
}

const BarCodeResult* Legibility::Worst() const {
  const auto worst = std::max_element(
      codes.begin(), codes.end(),
      [](const BarCodeResult& a, const BarCodeResult& b) { return a.Score() < b.Score(); });
  return worst != codes.end() ? &*worst : nullptr;
}

double Legibility::BarScore() const {
  double sum = 0;
  for (const BarCodeResult& result : codes) sum += result.Score();
  return codes.empty() ? 0 : sum / static_cast<double>(codes.size());
}

double Legibility::LineScore() const {
  return lineInk > 0 ? 100 * static_cast<double>(lineErrors) / static_cast<double>(lineInk) : 0;
}

double Legibility::SpeckScore() const {
  return ink > 0 ? 100 * static_cast<double>(dots + holes) / static_cast<double>(ink) : 0;
}

double Legibility::Loss() const {
  // Light tones consist of single dots, so specks have a small weight.
  constexpr double kSpeckWeight = 0.1;
  return 100 * static_cast<double>(Failed()) + BarScore() + LineScore() + ToneScore() +
         kSpeckWeight * SpeckScore();
}

Legibility LegibilityMeter::Measure(Bitmap* plane) const {
  const Dots ink = InkDotsOf(plane);
  Legibility result;
  MeasureBars(codes_, ink, &result);
  CountSpecks(ink, &result);
  CountLineErrors(art_, ink, &result);
  MeasureTones(grey_, art_, ink, &result);
  return result;
}

std::string ScoresText(const Legibility& legibility) {
  return WideToUtf8(Format(L"bars %.1f lines %.1f tone %.1f", legibility.BarScore(),
                           legibility.LineScore(), legibility.ToneScore()));
}

std::wstring CodesText(const Legibility& legibility) {
  const auto measured = static_cast<int>(legibility.codes.size());
  const auto unmeasured = static_cast<int>(legibility.unmeasured.size());
  if (measured + unmeasured == 0) return L"none";
  std::wstring text = Format(L"%d found", measured + unmeasured);
  if (unmeasured > 0) text += Format(L", %d not measured", unmeasured);
  if (measured == 0) return text;
  const auto failed = static_cast<int>(legibility.Failed());
  const wchar_t* const verb = failed == 1 ? L"does" : L"do";
  if (unmeasured == 0) {
    return text + (failed == 0 ? L", all of them scan"
                               : Format(L", %d of them %ls not scan", failed, verb));
  }
  if (failed > 0)
    return text + Format(L", %d of the other %d %ls not scan", failed, measured, verb);
  return text + (measured == 1 ? L", the other one scans" : L", the others scan");
}

}  // namespace orv::tool
