#include "tools/printer_app/job.h"

#include <memory>
#include <new>
#include <string>
#include <utility>

#include "orv/imaging/bitmap_helper.h"
#include "orv/imaging/bitmap_rasterizer.h"
#include "tools/orv/page/pixels.h"
#include "tools/printer_app/driver.h"
#include "tools/printer_app/output.h"
#include "tools/printer_app/raster.h"
#include "tools/printer_app/record.h"

namespace orv::printer_app {
namespace {

/// A job while its pages are printed.
struct RasterJob {
  JobRecord record;
  RasterPage page;
  unsigned pages = 0;  ///< printed so far
};

RasterJob* JobOf(pappl_job_t* job) { return static_cast<RasterJob*>(papplJobGetData(job)); }

/// Runs the body of a callback: exceptions must not reach PAPPL.
template <typename Body>
bool Guarded(pappl_job_t* job, const Body& body) {
  try {
    return body();
  } catch (const std::exception& error) {
    papplLogJob(job, PAPPL_LOGLEVEL_ERROR, "The page cannot be printed: %s", error.what());
    papplJobSetMessage(job, "The page cannot be printed: %s", error.what());
  }
  return false;
}

bool FailJob(pappl_job_t* job, const std::string& problem) {
  papplLogJob(job, PAPPL_LOGLEVEL_ERROR, "%s", problem.c_str());
  papplJobSetMessage(job, "%s", problem.c_str());
  return false;
}

/// The dots of a page; without a background if there is not enough memory.
tool::Planes PlanesOf(Bitmap* page, const JobRecord& job) {
  const auto method = static_cast<eBitmapDitherer>(job.record.DitheringAlgorithm);
  const auto threshold = static_cast<int>(job.record.GrayTolerance);
  Bitmap* black = nullptr;
  Bitmap* highlight = nullptr;
  if (job.isTwoColour) {
    Color colour = job.colour;
    BitmapHelper::SplitImage(page, colour, job.tolerance, method, threshold, &black, &highlight);
  } else {
    black = BitmapRasterizer::Dither(page, method, threshold);
  }
  tool::Planes planes = {tool::PagePointer(black), tool::PagePointer(highlight)};
  for (tool::PagePointer* plane : {&planes.background, &planes.highlight}) {
    if (*plane != nullptr) *plane = tool::To1Bpp(std::move(*plane));
  }
  return planes;
}

bool StartJob(pappl_job_t* job, pappl_pr_options_t* options, pappl_device_t*) {
  return Guarded(job, [&] {
    pappl_printer_t* printer = papplJobGetPrinter(job);
    UpdatePrinter(printer);
    auto state = std::make_unique<RasterJob>();
    state->record = MergeJob(printer, *options);
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
  return Guarded(job, [&] {
    std::string problem;
    return JobOf(job)->page.Start(options->header, &problem) || FailJob(job, problem);
  });
}

bool WriteRow(pappl_job_t* job, pappl_pr_options_t*, pappl_device_t*, unsigned y,
              const unsigned char* row) {
  JobOf(job)->page.SetRow(y, row);
  return true;
}

bool EndPage(pappl_job_t* job, pappl_pr_options_t* options, pappl_device_t* device, unsigned) {
  return Guarded(job, [&] {
    RasterJob* state = JobOf(job);
    if (papplJobIsCanceled(job)) return false;
    if (!state->page.IsComplete()) return FailJob(job, "the document ends within a page");
    pappl_printer_t* printer = papplJobGetPrinter(job);
    const char* name = papplJobGetName(job);
    auto label = std::make_shared<PrintedLabel>(PrintedLabel{papplJobGetID(job),
                                                             name != nullptr ? name : "",
                                                             state->record,
                                                             std::move(state->page),
                                                             {}});
    label->planes = PlanesOf(label->page.Page().get(), label->job);
    if (label->planes.background == nullptr) return FailJob(job, "there is not enough memory");
    const OutputPage page = {label->jobId,       ++state->pages,     options->copies,
                             label->page.dpiX(), label->page.dpiY(), label->job,
                             label->planes};
    std::string problem;
    if (!SendPage(device, papplPrinterGetDeviceURI(printer), page, &problem)) {
      return FailJob(job, problem);
    }
    Queue& queue = QueueOf(printer);
    const std::lock_guard lock(queue.mutex);
    queue.last = std::move(label);
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
