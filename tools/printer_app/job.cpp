#include "tools/printer_app/job.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "imaging/kernels.h"
#include "orv/devmode/oemdev.h"
#include "orv/platform/graphics.h"
#include "orv/text/utf8.h"
#include "platform/files.h"
#include "platform/png_resolution.h"
#include "tools/orv/page/halftone.h"
#include "tools/orv/page/options.h"
#include "tools/orv/page/pixels.h"
#include "tools/orv/page/planes.h"
#include "tools/orv/page/png_file.h"
#include "tools/printer_app/driver.h"
#include "tools/printer_app/guard.h"
#include "tools/printer_app/output.h"
#include "tools/printer_app/raster.h"
#include "tools/printer_app/record.h"

namespace orv::printer_app {
namespace {

/// A job while its pages are printed.
struct RasterJob {
  std::shared_ptr<Queue> queue;
  std::shared_ptr<const JobRecord> record;
  std::shared_ptr<PrintedLabel> label;  ///< the page that arrives
};

RasterJob* JobOf(pappl_job_t* job) { return static_cast<RasterJob*>(papplJobGetData(job)); }

/// Writes a message to the log and to the job.
constexpr auto kReport = [](pappl_job_t* job, pappl_loglevel_t level, const char* format,
                            const auto... values) {
  papplLogJob(job, level, format, values...);
  papplJobSetMessage(job, format, values...);
};

constexpr char kPng[] = "image/png";
constexpr char kUnprintable[] = "The page cannot be printed";

/// The dots of a page.
tool::Planes PlanesOf(RasterPage* page, const JobRecord& job) {
  // The merge has corrected the number: the method is not "none".
  const tool::DitherMethod& method = tool::kDitherMethods[job.record.DitheringAlgorithm];
  const tool::DitherOptions dither = {.name = method.name,
                                      .threshold = static_cast<int>(job.record.GrayTolerance)};
  if (job.isTwoColour) {
    return tool::SplitInTwoColours(page->Page().get(), job.colour, job.tolerance, dither);
  }
  const Color black(0xFF000000);
  if (const std::optional<GreyPlane> greys = page->Greys()) {
    return {tool::DitheredInTwoColours(*greys, method.method, dither.threshold, black), nullptr};
  }
  return {tool::DitheredInTwoColours(page->Page().get(), dither, black), nullptr};
}

bool StartJob(pappl_job_t* job, pappl_pr_options_t* options, pappl_device_t*) {
  return Guarded(job, kReport, kUnprintable, [&] {
    pappl_printer_t* printer = papplJobGetPrinter(job);
    UpdatePrinter(printer);
    auto state = std::make_unique<RasterJob>();
    state->queue = QueueOf(printer);
    state->record = std::make_shared<const JobRecord>(MergeJob(job, *options, state->queue.get()));
    const JobRecord& record = *state->record;
    // PAPPL sends an image once for each copy, but raster only once. SendPage makes the copies.
    options->copies = 1;
    std::string message;
    if (!record.corrections.empty()) message = "Corrected " + record.corrections;
    for (const std::string& problem : record.problems) {
      message += (message.empty() ? "" : "; ") + problem;
    }
    if (!message.empty()) kReport(job, PAPPL_LOGLEVEL_WARN, "%s", message.c_str());
    papplJobSetData(job, state.release());
    return true;
  });
}

bool StartPage(pappl_job_t* job, pappl_pr_options_t* options, pappl_device_t*, unsigned page) {
  return Guarded(job, kReport, kUnprintable, [&] {
    RasterJob* state = JobOf(job);
    // PAPPL 1.3.1 passes on pages of one bit, which the printers do not offer, with a header of its
    // own. Unlike a document's it has no media class.
    if (std::string_view(papplJobGetFormat(job)) == "image/pwg-raster" &&
        options->header.MediaClass[0] == '\0') {
      throw std::runtime_error("its raster has neither 8 bits of grey nor 24 bits of colour");
    }
    state->label = std::make_shared<PrintedLabel>();
    state->label->job = state->record;
    state->label->number = page;
    {
      const std::lock_guard lock(state->queue->mutex);
      state->label->page = std::move(state->queue->spare);
    }
    state->label->page.Start(options->header);
    return true;
  });
}

bool WriteRow(pappl_job_t* job, pappl_pr_options_t*, pappl_device_t*, unsigned y,
              const unsigned char* row) {
  JobOf(job)->label->page.SetRow(y, row);
  return true;
}

bool EndPage(pappl_job_t* job, pappl_pr_options_t*, pappl_device_t* device, unsigned) {
  return Guarded(job, kReport, kUnprintable, [&] {
    RasterJob* state = JobOf(job);
    const auto label = std::move(state->label);
    if (papplJobIsCanceled(job)) return false;
    if (!label->page.IsComplete()) throw std::runtime_error("the document ends within it");
    label->planes = PlanesOf(&label->page, *label->job);
    SendPage(job, device, *label);
    Queue& queue = *state->queue;
    const std::lock_guard lock(queue.mutex);
    const auto earlier = std::exchange(queue.last, label);
    if (earlier.use_count() == 1) queue.spare = std::move(earlier->page);
    return true;
  });
}

/// The pixels of an image without padding: grey values, or red, green and blue.
std::vector<unsigned char> PixelsOf(Bitmap* image, int depth) {
  std::vector<unsigned char> values;
  values.reserve(static_cast<std::size_t>(depth) * image->GetWidth() * image->GetHeight());
  tool::ForEachPixel(tool::PagePixels(image), [&](const unsigned char* pixel, int, int) {
    for (int i = depth; i > 0; --i) values.push_back(pixel[i - 1]);
  });
  return values;
}

/// Why an image did not load. The spool file's name means nothing to users.
std::string LoadProblem(Status status, const std::wstring& path) {
  switch (status) {
    case FileNotFound:
    case Win32Error:
      return "cannot read the image: " + ToUtf8(FileErrorText());
    case OutOfMemory:
      return "not enough memory for the image";
    default:
      return ToUtf8(tool::DescribePngFault(status, path));
  }
}

/// Whether an image that is fitted to its label can get a side without a dot. PAPPL 1.3.1 divides
/// by the sides, which ends the server. The factor is for resolutions that differ.
bool IsTooThin(int width, int height, const pappl_pr_options_t& options) {
  constexpr std::int64_t kHundredthsPerInch = 2540;
  constexpr std::int64_t kReserve = 2;
  if ((options.print_scaling & (PAPPL_SCALING_FIT | PAPPL_SCALING_AUTO_FIT)) == 0) return false;
  const pappl_media_col_t& media = options.media;
  const auto& dpi = options.header.HWResolution;
  const std::int64_t across =
      std::int64_t{media.size_width} - media.left_margin - media.right_margin;
  const std::int64_t along =
      std::int64_t{media.size_length} - media.top_margin - media.bottom_margin;
  const std::int64_t dots = std::min(across * dpi[0], along * dpi[1]) / kHundredthsPerInch;
  const auto [shorter, longer] = std::minmax(width, height);
  return longer / shorter >= dots / kReserve;
}

/// Prints a PNG image. PAPPL's own function never finishes reading a damaged one, and prints a
/// black rectangle for an image with less than 8 bits of grey, or with grey and alpha.
bool PrintPng(pappl_job_t* job, pappl_device_t* device, void*) {
  return Guarded(job, kReport, kUnprintable, [&] {
    const char* file = papplJobGetFilename(job);
    if (file == nullptr) return false;  // cancelled
    const std::wstring path = FromFileName(file);
    const std::optional<tool::PngHeader> header = tool::ReadPngHeader(path);
    if (header && std::uint64_t{header->width} * header->height > kMaxPixels) {
      throw std::runtime_error("the image is too large: " + std::to_string(header->width) + " x " +
                               std::to_string(header->height) + " pixels; the limit is " +
                               std::to_string(kMaxPixels));
    }
    tool::PagePointer image;
    if (const Status status = tool::LoadOnWhite(path, &image); status != Ok) {
      throw std::runtime_error(LoadProblem(status, path));
    }
    const std::optional<PngResolution> perMetre = ReadPngResolution(path.c_str());
    const int depth = header && header->isGrey ? 1 : 3;  // grey images print in black alone
    const std::vector<unsigned char> pixels = PixelsOf(image.get(), depth);
    const auto width = static_cast<int>(image->GetWidth());
    const auto height = static_cast<int>(image->GetHeight());
    image.reset();  // the largest one takes 400 MB
    const std::unique_ptr<pappl_pr_options_t, void (*)(pappl_pr_options_t*)> options(
        papplJobCreatePrintOptions(job, 1, depth == 3), papplJobDeletePrintOptions);
    if (IsTooThin(width, height, *options)) {
      throw std::runtime_error("the image is too thin to fit the label: " + std::to_string(width) +
                               " x " + std::to_string(height) + " pixels");
    }
    const double ppi = perMetre ? perMetre->x * kMetresPerInch : 0;
    return papplJobFilterImage(job, device, options.get(), pixels.data(), width, height, depth,
                               static_cast<int>(std::lround(ppi)), false);
  });
}

bool EndJob(pappl_job_t* job, pappl_pr_options_t*, pappl_device_t*) {
  delete JobOf(job);
  papplJobSetData(job, nullptr);
  return true;
}

}  // namespace

void AddPngFilter(pappl_system_t* system) {
  papplSystemAddMIMEFilter(system, kPng, kPng, PrintPng, nullptr);
}

void SetJobCallbacks(pappl_pr_driver_data_t* data) {
  // PAPPL prefers filters to a printer's own format to those that it has itself.
  data->format = kPng;
  data->rstartjob_cb = StartJob;
  data->rstartpage_cb = StartPage;
  data->rwriteline_cb = WriteRow;
  data->rendpage_cb = EndPage;
  data->rendjob_cb = EndJob;
}

}  // namespace orv::printer_app
