#include "tools/printer_app/job.h"

#include <memory>
#include <mutex>
#include <string>
#include <utility>

#include "orv/devmode/oemdev.h"
#include "orv/platform/graphics.h"
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
  std::shared_ptr<Queue> queue;
  std::shared_ptr<const JobRecord> record;
  std::shared_ptr<PrintedLabel> label;  ///< the page that arrives
  unsigned pages = 0;                   ///< printed so far
};

RasterJob* JobOf(pappl_job_t* job) { return static_cast<RasterJob*>(papplJobGetData(job)); }

/// Writes a message to the log and to the job.
constexpr auto kReport = [](pappl_job_t* job, pappl_loglevel_t level, const char* format,
                            const auto... values) {
  papplLogJob(job, level, format, values...);
  papplJobSetMessage(job, format, values...);
};

bool FailJob(pappl_job_t* job, const std::string& problem) {
  kReport(job, PAPPL_LOGLEVEL_ERROR, "%s", problem.c_str());
  return false;
}

constexpr char kUnprintable[] = "The page cannot be printed";

/// The dots of a page.
tool::Planes PlanesOf(RasterPage* page, const JobRecord& job) {
  const std::unique_ptr<Bitmap> pixels = page->Page();
  const tool::DitherOptions dither = {
      .name = tool::kDitherMethods[job.record.DitheringAlgorithm].name,  // which the merge corrects
      .threshold = static_cast<int>(job.record.GrayTolerance)};
  if (job.isTwoColour) {
    return tool::SplitInTwoColours(pixels.get(), job.colour, job.tolerance, dither);
  }
  return {tool::DitheredInTwoColours(pixels.get(), dither, Color(0xFF000000)), nullptr};
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

bool StartPage(pappl_job_t* job, pappl_pr_options_t* options, pappl_device_t*, unsigned) {
  return Guarded(job, kReport, kUnprintable, [&] {
    RasterJob* state = JobOf(job);
    state->label = std::make_shared<PrintedLabel>();
    state->label->job = state->record;
    {
      const std::lock_guard lock(state->queue->mutex);
      state->label->page = std::move(state->queue->spare);
    }
    std::string problem;
    return state->label->page.Start(options->header, &problem) || FailJob(job, problem);
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
    if (!label->page.IsComplete()) return FailJob(job, "the document ends within a page");
    label->number = ++state->pages;
    label->planes = PlanesOf(&label->page, *label->job);
    std::string problem;
    if (!SendPage(device, papplPrinterGetDeviceURI(papplJobGetPrinter(job)), *label, &problem)) {
      return FailJob(job, problem);
    }
    Queue& queue = *state->queue;
    const std::lock_guard lock(queue.mutex);
    const auto earlier = std::exchange(queue.last, label);
    if (earlier.use_count() == 1) queue.spare = std::move(earlier->page);
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
