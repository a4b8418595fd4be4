#include "tools/printer_app/job.h"

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <memory>
#include <new>
#include <stdexcept>
#include <string>
#include <utility>

#include "imaging/dithering.h"
#include "imaging/kernels.h"
#include "imaging/pixels.h"
#include "orv/devmode/oemdev.h"
#include "orv/imaging/bitmap_helper.h"
#include "orv/imaging/bitmap_rasterizer.h"
#include "orv/platform/graphics.h"
#include "orv/platform/registry.h"
#include "orv/platform/types.h"
#include "tools/orv/page/halftone.h"
#include "tools/orv/page/options.h"
#include "tools/orv/page/pixels.h"
#include "tools/orv/page/planes.h"
#include "tools/printer_app/driver.h"
#include "tools/printer_app/guard.h"
#include "tools/printer_app/output.h"
#include "tools/printer_app/raster.h"
#include "tools/printer_app/record.h"

namespace orv::printer_app {
namespace {

/// A job while its pages are printed.
struct RasterJob {
  JobRecord record;
  RasterPage page;
  std::shared_ptr<Queue> queue;
  int copies = 1;
  unsigned pages = 0;  ///< printed so far
};

RasterJob* JobOf(pappl_job_t* job) { return static_cast<RasterJob*>(papplJobGetData(job)); }

bool FailJob(pappl_job_t* job, const std::string& problem) {
  papplLogJob(job, PAPPL_LOGLEVEL_ERROR, "%s", problem.c_str());
  papplJobSetMessage(job, "%s", problem.c_str());
  return false;
}

/// Runs the body of a callback.
template <typename Body>
bool GuardedJob(pappl_job_t* job, const Body& body) {
  return Guarded(body, [job](const char* reason) {
    papplLogJob(job, PAPPL_LOGLEVEL_ERROR, "The page cannot be printed: %s", reason);
    papplJobSetMessage(job, "The page cannot be printed: %s", reason);
  });
}

/// The dots of a page in black. Its bands are dithered one at a time, because they stay in the
/// processor's caches.
tool::PagePointer BlackDots(const RasterPage& page, const tool::DitherMethod& method,
                            int threshold) {
  tool::PagePointer bits(
      BitmapHelper::CreateBitmap(page.width(), page.height(), PixelFormat1bppIndexed));
  if (bits == nullptr) throw std::bad_alloc();
  {
    const LockedBits locked(bits.get(), ImageLockModeWrite, PixelFormat1bppIndexed);
    if (!locked.IsLocked()) throw std::bad_alloc();
    const auto stride = std::ptrdiff_t{3} * page.width();
    const int rows = BandRowsFor(page.width());
    const auto pixels =
        std::make_unique_for_overwrite<BYTE[]>(static_cast<std::size_t>(stride * rows));
    DiffusionErrors errors;
    for (int y = 0; y < page.height(); y += rows) {
      const PixelPlane band = {pixels.get(), stride, page.width(),
                               std::min(rows, page.height() - y)};
      for (int row = 0; row < band.height; ++row) {
        page.CopyRow(static_cast<unsigned>(y + row), band.Row(row));
      }
      if (!DitherBand(band, method.method, threshold, {0, 0, 0}, &errors)) throw std::bad_alloc();
      const int bitStride = locked.data()->Stride;
      ActiveImagingKernels().monochrome(
          band, static_cast<BYTE*>(locked.data()->Scan0) + std::ptrdiff_t{y} * bitStride,
          bitStride);
    }
  }
  tool::ColourBits(bits.get(), Color(0xFF000000));
  return bits;
}

/// The dots of a page.
tool::Planes PlanesOf(RasterPage* page, const JobRecord& job) {
  const auto* method = std::ranges::find(
      tool::kDitherMethods, static_cast<eBitmapDitherer>(job.record.DitheringAlgorithm),
      &tool::DitherMethod::method);
  if (method == std::end(tool::kDitherMethods)) {
    throw std::runtime_error("the dithering method is unknown");
  }
  const auto threshold = static_cast<int>(job.record.GrayTolerance);
  const tool::DitherOptions dither = {.name = method->name, .threshold = threshold};
  if (job.isTwoColour) {
    return tool::SplitInTwoColours(page->Page().get(), job.colour, job.tolerance, dither);
  }
  if (method->method == eBitmapDithererNone) {
    return {tool::To1Bpp(page->Page()), nullptr};
  }
  return {BlackDots(*page, *method, threshold), nullptr};
}

bool StartJob(pappl_job_t* job, pappl_pr_options_t* options, pappl_device_t*) {
  return GuardedJob(job, [&] {
    pappl_printer_t* printer = papplJobGetPrinter(job);
    const RegistrySnapshot snapshot;
    UpdatePrinter(printer);
    auto state = std::make_unique<RasterJob>();
    state->queue = QueueOf(printer);
    state->record = MergeJob(printer, *options);
    // PAPPL sends an image once for each copy, but raster only once. SendPage makes the copies.
    state->copies = std::exchange(options->copies, 1);
    const JobRecord& record = state->record;
    std::string message;
    if (!record.corrections.empty()) message = "Corrected " + record.corrections;
    for (const std::string& problem : record.problems) {
      message += (message.empty() ? "" : "; ") + problem;
    }
    if (!message.empty()) {
      papplLogJob(job, PAPPL_LOGLEVEL_WARN, "%s", message.c_str());
      papplJobSetMessage(job, "%s", message.c_str());
    }
    papplJobSetData(job, state.release());
    return true;
  });
}

bool StartPage(pappl_job_t* job, pappl_pr_options_t* options, pappl_device_t*, unsigned) {
  return GuardedJob(job, [&] {
    std::string problem;
    RasterPage& page = JobOf(job)->page;
    {
      Queue& queue = *JobOf(job)->queue;
      const std::lock_guard lock(queue.mutex);
      page = std::move(queue.spare);
    }
    return page.Start(options->header, &problem) || FailJob(job, problem);
  });
}

bool WriteRow(pappl_job_t* job, pappl_pr_options_t*, pappl_device_t*, unsigned y,
              const unsigned char* row) {
  JobOf(job)->page.SetRow(y, row);
  return true;
}

bool EndPage(pappl_job_t* job, pappl_pr_options_t*, pappl_device_t* device, unsigned) {
  return GuardedJob(job, [&] {
    RasterJob* state = JobOf(job);
    if (papplJobIsCanceled(job)) return false;
    if (!state->page.IsComplete()) return FailJob(job, "the document ends within a page");
    const char* name = papplJobGetName(job);
    auto label = std::make_shared<PrintedLabel>(PrintedLabel{.jobId = papplJobGetID(job),
                                                             .jobName = name != nullptr ? name : "",
                                                             .number = ++state->pages,
                                                             .copies = state->copies,
                                                             .job = state->record,
                                                             .page = std::move(state->page),
                                                             .planes = {}});
    label->planes = PlanesOf(&label->page, label->job);
    std::string problem;
    if (!SendPage(device, papplPrinterGetDeviceURI(papplJobGetPrinter(job)), *label, &problem)) {
      return FailJob(job, problem);
    }
    Queue& queue = *state->queue;
    const std::lock_guard lock(queue.mutex);
    queue.last.swap(label);
    if (label.use_count() == 1) queue.spare = std::move(label->page);
    return true;
  });
}

bool EndJob(pappl_job_t* job, pappl_pr_options_t*, pappl_device_t*) {
  delete JobOf(job);
  papplJobSetData(job, nullptr);
  return true;
}

}  // namespace

void SetJobCallbacks(pappl_pr_driver_data_t* data) {
  data->rstartjob_cb = StartJob;
  data->rstartpage_cb = StartPage;
  data->rwriteline_cb = WriteRow;
  data->rendpage_cb = EndPage;
  data->rendjob_cb = EndJob;
}

}  // namespace orv::printer_app
