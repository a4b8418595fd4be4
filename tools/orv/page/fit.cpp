#include "tools/orv/page/fit.h"

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstddef>
#include <vector>

#include "orv/imaging/bitmap_helper.h"
#include "orv/platform/types.h"
#include "orv/text/format.h"
#include "tools/orv/common/options.h"
#include "tools/orv/common/output.h"
#include "tools/orv/page/pale.h"
#include "tools/orv/page/png_file.h"

namespace orv::tool {
namespace {

/// The positions that a new position covers, from `first` on, and how much of each.
struct Cover {
  int first;
  std::vector<double> shares;
};

std::vector<Cover> CoversOf(int oldCount, int newCount) {
  const double step = double{1} * oldCount / newCount;
  std::vector<Cover> covers;
  for (int i = 0; i < newCount; ++i) {
    const double from = i * step;
    const double to = std::min<double>((i + 1) * step, oldCount);
    Cover cover{static_cast<int>(from), {}};
    for (int at = cover.first; at < to; ++at) {
      cover.shares.push_back((std::min<double>(to, at + 1) - std::max<double>(from, at)) / step);
    }
    covers.push_back(std::move(cover));
  }
  return covers;
}

/// The means of a row's pixels, three channels for every cover.
std::vector<double> MeansOf(const unsigned char* row, const std::vector<Cover>& covers) {
  std::vector<double> means;
  means.reserve(3 * covers.size());
  for (const Cover& cover : covers) {
    double sums[3] = {};
    const unsigned char* pixel = row + std::ptrdiff_t{3} * cover.first;
    for (const double share : cover.shares) {
      for (double& sum : sums) sum += share * *pixel++;
    }
    means.insert(means.end(), std::begin(sums), std::end(sums));
  }
  return means;
}

double Scaled(UINT count, double from, double to) {
  return std::max(std::round(count * to / from), 1.0);
}

}  // namespace

void AddWhiteOption(CLI::App* command, FitOptions* options) {
  command
      ->add_option("--white", options->white,
                   "Pixels whose red, green and blue are all at least this are paper, 1 to 255")
      ->check(InRange(1, 255))
      ->type_name("LEVEL")
      ->capture_default_str();
}

void AddFitOptions(CLI::App* command, FitOptions* options) {
  AddWhiteOption(command, options);
  AddResolutionOption(command, "--to-dpi", &options->toDpi,
                      "Resamples the page to the dots per inch of the print head")
      ->default_str("that of the page");
}

PagePointer LoadFitted(PageOptions* page, const FitOptions& options) {
  PagePointer loaded = LoadInput(page);
  if (options.white < 255) WhitenFrom(loaded.get(), options.white);
  if (options.toDpi.x == 0) return loaded;
  if (page->dpiSource == DpiSource::kDefault) {
    Fail(kUsage, L"--to-dpi requires the page's resolution: add --dpi");
  }
  constexpr double kMaxPixels = INT_MAX / 3;  // of a 24-bit bitmap
  const double width = Scaled(loaded->GetWidth(), page->dpi.x, options.toDpi.x);
  const double height = Scaled(loaded->GetHeight(), page->dpi.y, options.toDpi.y);
  if (width * height > kMaxPixels || std::max(width, height) > kMaxSide) {
    Fail(kUsage, L"--to-dpi makes the page too large");
  }
  page->dpi = options.toDpi;
  page->dpiSource = DpiSource::kTarget;
  return Resampled(loaded.get(), static_cast<int>(width), static_cast<int>(height));
}

PagePointer Resampled(Bitmap* page, int width, int height) {
  PagePointer result(BitmapHelper::CreateBitmap(width, height, PixelFormat24bppRGB));
  if (result == nullptr) Fail(kUnreadable, L"not enough memory to resample the page");
  const PagePixels from(page);
  const PagePixels to(result.get());
  const std::vector<Cover> columns = CoversOf(from.width(), width);
  const std::vector<Cover> rows = CoversOf(from.height(), height);
  std::vector<double> means;
  int row = -1;  // whose means these are
  std::vector<double> sums(3 * columns.size());
  for (int y = 0; y < height; ++y) {
    std::fill(sums.begin(), sums.end(), 0.5);  // rounds
    int next = rows[static_cast<std::size_t>(y)].first;
    for (const double share : rows[static_cast<std::size_t>(y)].shares) {
      if (row != next) means = MeansOf(from.Row(next), columns);
      row = next++;
      for (std::size_t i = 0; i < sums.size(); ++i) sums[i] += share * means[i];
    }
    std::transform(sums.begin(), sums.end(), to.Row(y),
                   [](double sum) { return static_cast<unsigned char>(std::min(sum, 255.0)); });
  }
  return result;
}

void AddPaleInk(Report* report, std::int64_t pale, std::int64_t ink) {
  constexpr std::int64_t kNegligible = 1000;  // one in so many dots
  report->json().Member("paleInk", pale);
  if (pale * kNegligible < ink || pale == 0) return;
  report->Line(L"pale ink",
               CountText(pale, L"pixel") +
                   Format(L", %.2f %% of the ink, %ls %d or paler; --white %d makes %ls paper",
                          100.0 * static_cast<double>(pale) / static_cast<double>(ink),
                          pale == 1 ? L"is" : L"are", kPale, kPale, pale == 1 ? L"it" : L"them"));
}

}  // namespace orv::tool
