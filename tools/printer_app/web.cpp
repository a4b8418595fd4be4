#include "tools/printer_app/web.h"

#include <array>
#include <cstdio>
#include <memory>
#include <mutex>
#include <utility>

#include "orv/platform/graphics.h"
#include "orv/text/utf8.h"
#include "platform/files.h"
#include "platform/modules.h"
#include "tools/orv/common/output.h"
#include "tools/orv/page/canvas.h"
#include "tools/orv/page/file.h"
#include "tools/orv/page/legibility.h"
#include "tools/orv/page/options.h"
#include "tools/orv/page/pixels.h"
#include "tools/orv/page/planes.h"
#include "tools/printer_app/driver.h"
#include "tools/printer_app/guard.h"
#include "tools/printer_app/raster.h"
#include "tools/printer_app/record.h"

namespace orv::printer_app {
namespace {

/// What the path of the picture has after that of its page.
constexpr char kPicture[] = ".png";

/// Requests for labels run one at a time, because they use the same bitmaps.
std::mutex labelMutex;

/// The inks on white paper, with rulers.
std::string PictureOf(PrintedLabel* label) {
  const std::lock_guard lock(labelMutex);
  const auto& [black, highlight] = label->planes;
  const tool::PageArea all = {0, 0, static_cast<int>(black->GetWidth()),
                              static_cast<int>(black->GetHeight())};
  const tool::Resolution& dpi = label->page.resolution();
  return tool::PngOf(tool::DrawView(black.get(), highlight.get(), all, 1, dpi, false).Take().get(),
                     dpi);
}

/// Text of a client or a file: control characters, which HTML does not allow, as escapes.
std::string Shown(const std::string& text) { return tool::Printable(FromUtf8(text)); }

void AddRow(pappl_client_t* client, const char* title, const std::string& text) {
  papplClientHTMLPrintf(client,
                        "<tr><th scope=\"row\">%s</th><td style=\"overflow-wrap: anywhere\">%s</td>"
                        "</tr>\n",
                        title, Shown(text).c_str());
}

/// A row with the scores of a plane, compared with what was dithered to it.
void AddScores(pappl_client_t* client, const char* plane, tool::PagePointer source, Bitmap* dots) {
  const tool::LegibilityMeter meter(source.get());
  source.reset();  // the largest page takes 400 MB
  const tool::Legibility scores = meter.Measure(dots);
  AddRow(client, plane,
         tool::ScoresText(scores) + " (0 is best); bar codes: " + ToUtf8(tool::CodesText(scores)));
}

void AddAllScores(pappl_client_t* client, PrintedLabel* label) {
  const std::lock_guard lock(labelMutex);
  tool::PagePointer page = label->page.Page();
  const auto& [black, highlight] = label->planes;
  if (highlight == nullptr) return AddScores(client, "Black", std::move(page), black.get());
  const JobRecord& job = *label->job;
  tool::Planes sources = tool::SplitPage(page.get(), job.colour, job.tolerance, {.name = "none"});
  AddScores(client, "Black", std::move(sources.background), black.get());
  AddScores(client, "Highlight", std::move(sources.highlight), highlight.get());
}

/// What the doctor command prints about a printer, and why it fails.
std::string DoctorText(const std::string& printer) {
  std::wstring program;
  GetModulePath(nullptr, &program);
  const auto inQuotes = [](const std::string& word) {
    std::string quoted = "'";
    for (const char letter : word) quoted += letter == '\'' ? "'\\''" : std::string(1, letter);
    return quoted + "' ";
  };
  // It returns 1 if it finds an error.
  const std::string command = inQuotes(ToPath(program).string()) + kDoctorCommand + " -- " +
                              inQuotes(printer) +
                              "2>&1 || test $? -eq 1 || echo 'The checks were not completed.'";
  const std::unique_ptr<FILE, int (*)(FILE*)> output(popen(command.c_str(), "r"), pclose);
  if (output == nullptr) return "The checks cannot be run: " + ToUtf8(FileErrorText());
  std::string text;
  std::array<char, 4096> part;
  while (fgets(part.data(), part.size(), output.get()) != nullptr) text += part.data();
  return text;
}

void WriteLabel(pappl_client_t* client, PrintedLabel* label) {
  const JobRecord& job = *label->job;
  papplClientHTMLPrintf(client, "<p>Job %d: %s</p>\n", job.id, Shown(job.name).c_str());
  papplClientHTMLPuts(client,
                      "<p><img src=\"label.png\" alt=\"the label with rulers in millimetres\" "
                      "style=\"max-width: 100%; height: auto\"></p>\n");
  papplClientHTMLPuts(client, "<table class=\"list\">\n");
  AddAllScores(client, label);
  AddRow(client, "Corrections", job.corrections.empty() ? "none" : job.corrections);
  for (const std::string& problem : job.problems) AddRow(client, "Problem", problem);
  papplClientHTMLPuts(client, "</table>\n");
}

/// Runs `body(queue, label)` for the printer of a request and its last label, which may be null.
/// Does not use PAPPL's printer, because another request may delete that.
template <typename Body>
bool Answer(pappl_client_t* client, const Body& body) {
  if (!papplClientHTMLAuthorize(client)) return true;
  return Guarded(client, papplLogClient, "The label cannot be shown", [&] {
    const std::shared_ptr<Queue> queue = QueueOfPage(papplClientGetURI(client), kPicture);
    if (queue == nullptr) {
      return papplClientRespond(client, HTTP_STATUS_NOT_FOUND, nullptr, nullptr, 0, 0);
    }
    std::unique_lock lock(queue->mutex);
    const std::shared_ptr<PrintedLabel> label = queue->last;
    lock.unlock();
    return body(*queue, label.get());
  });
}

bool ShowPage(pappl_client_t* client, void*) {
  return Answer(client, [&](const Queue& queue, PrintedLabel* label) {
    const std::string checks = DoctorText(queue.printer);
    if (!papplClientRespond(client, HTTP_STATUS_OK, nullptr, "text/html", 0, 0)) return false;
    const std::string name = Shown(queue.printer);
    papplClientHTMLHeader(client, ("Last Label - " + name).c_str(), 0);
    papplClientHTMLPrintf(client,
                          "<div class=\"content\" lang=\"en\" style=\"overflow-wrap: break-word\">"
                          "<div class=\"row\"><div class=\"col-12\">\n"
                          "<h1 class=\"title\"><a href=\"./\">%s</a>: Last Label</h1>\n",
                          name.c_str());
    if (label != nullptr) {
      WriteLabel(client, label);
    } else {
      papplClientHTMLPuts(client, "<p>No label was printed since the server started.</p>\n");
    }
    papplClientHTMLPuts(client, "<h2>Checks</h2><pre>");
    papplClientHTMLEscape(client, tool::PrintableLines(FromUtf8(checks)).c_str(), 0);
    papplClientHTMLPuts(client, "</pre></div></div></div>\n");
    papplClientHTMLFooter(client);
    return true;
  });
}

bool ShowPicture(pappl_client_t* client, void*) {
  return Answer(client, [&](const Queue&, PrintedLabel* label) {
    if (label == nullptr) {
      return papplClientRespond(client, HTTP_STATUS_NOT_FOUND, nullptr, nullptr, 0, 0);
    }
    const std::string png = PictureOf(label);
    if (!papplClientRespond(client, HTTP_STATUS_OK, nullptr, "image/png", 0, png.size())) {
      return false;
    }
    http_t* http = papplClientGetHTTP(client);
    return httpWrite2(http, png.data(), png.size()) >= 0 && httpFlushWrite(http) >= 0;
  });
}

}  // namespace

std::string AddWebPages(pappl_printer_t* printer) {
  std::array<char, 256> path;
  papplPrinterGetPath(printer, "label", path.data(), path.size());
  pappl_system_t* system = papplPrinterGetSystem(printer);
  papplSystemAddResourceCallback(system, path.data(), "text/html", ShowPage, nullptr);
  papplSystemAddResourceCallback(system, (path.data() + std::string(kPicture)).c_str(), "image/png",
                                 ShowPicture, nullptr);
  papplPrinterAddLink(printer, "Last Label", path.data(),
                      PAPPL_LOPTIONS_NAVIGATION | PAPPL_LOPTIONS_STATUS);
  return path.data();
}

}  // namespace orv::printer_app
