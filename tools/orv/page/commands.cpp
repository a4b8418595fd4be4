#include <algorithm>
#include <cstdint>
#include <optional>
#include <utility>

#include "orv/imaging/bitmap_helper.h"
#include "orv/platform/graphics.h"
#include "orv/text/format.h"
#include "tools/orv/common/commands.h"
#include "tools/orv/common/options.h"
#include "tools/orv/common/output.h"
#include "tools/orv/page/bar_report.h"
#include "tools/orv/page/file.h"
#include "tools/orv/page/fit.h"
#include "tools/orv/page/halftone.h"
#include "tools/orv/page/options.h"
#include "tools/orv/page/pale.h"
#include "tools/orv/page/pixels.h"
#include "tools/orv/page/planes.h"
#include "tools/orv/page/trap.h"

namespace orv::tool {
namespace {

/// The rectangle that contains all ink; invalid on a page without ink.
struct Bounds {
  int firstColumn = -1;
  int firstRow = -1;
  int lastColumn = -1;
  int lastRow = -1;

  bool IsValid() const { return lastRow >= 0; }
  int Width() const { return lastColumn - firstColumn + 1; }
  int Height() const { return lastRow - firstRow + 1; }
};

Bounds BoundsOf(Bitmap* bits) {
  return {BitmapHelper::GetFirstContentColumn1BPP(bits), BitmapHelper::GetFirstContentRow1BPP(bits),
          BitmapHelper::GetLastContentColumn1BPP(bits), BitmapHelper::GetLastContentRow1BPP(bits)};
}

void AddBounds(Report* report, const Bounds& bounds) {
  if (!bounds.IsValid()) {
    report->json().Key("content");
    report->json().Null();
    return;
  }
  report->Size(L"content", "content", bounds.Width(), bounds.Height());
  report->Columns(bounds.firstColumn, bounds.lastColumn);
  report->Rows(bounds.firstRow, bounds.lastRow);
}

void AddMonoCommand(CLI::App* group) {
  CLI::App* command = group->add_subcommand(
      "mono", "Reduce a page to one bit per pixel: everything except pure white is ink");
  const auto options = std::make_shared<PageOptions>();
  const auto fit = std::make_shared<FitOptions>();
  const auto output = std::make_shared<std::string>();
  AddPageOptions(command, options.get());
  AddOutputFile(command, "-o,--output,OUT", output.get(), "The one-bit PNG image to write")
      ->required();
  AddFitOptions(command, fit.get());
  command->footer(
      "Examples:\n"
      "  orv page mono label.png -o label-mono.png --white 250\n"
      "  orv page mono - -o - < label.png > label-mono.png");
  command->callback([=] {
    const GraphicsSession graphics;
    const PagePointer page = LoadFitted(options.get(), *fit);
    const PagePointer bits = OneBitOf(page.get());
    PageFiles files(options->KnownDpi(), {ToWide(options->input)});
    files.Add(bits.get(), ToWide(*output));
    files.Finish();
    Report report(*options);
    report.PageSize(page.get());
    const std::int64_t ink = CountInk(bits.get());
    report.Pixels(L"ink", "ink", ink, PixelCount(page.get()));
    AddPaleInk(&report, CountPale(page.get()), ink);
    report.Text(L"written", "output", ToWide(*output));
    report.Finish();
  });
}

void AddDitherCommand(CLI::App* group) {
  CLI::App* command =
      group->add_subcommand("dither", "Dither a page to white and the colour of one print head");
  const auto options = std::make_shared<PageOptions>();
  const auto fit = std::make_shared<FitOptions>();
  const auto dither = std::make_shared<DitherOptions>();
  const auto output = std::make_shared<std::string>();
  const auto colour = std::make_shared<std::string>("000000");
  AddPageOptions(command, options.get());
  AddOutputFile(command, "-o,--output,OUT", output.get(), "The PNG image to write")->required();
  AddDitherOptions(command, dither.get());
  AddFitOptions(command, fit.get());
  AddColourOption(command, colour.get(), "The print colour")->capture_default_str();
  command->footer(
      "--method none writes the page before dithering: with --white, --to-dpi, --gamma and\n"
      "--dot-gain.\n"
      "Examples:\n"
      "  orv page dither photo.png -o dots.png\n"
      "  orv page dither photo.png -o dots.png --method matrix8 --colour E02020\n"
      "  orv page dither photo.png -o dots.png --dpi 203 --to-dpi 300 --method blue-noise "
      "--dot-gain "
      "15");
  command->callback([=] {
    const GraphicsSession graphics;
    const PagePointer page = LoadFitted(options.get(), *fit);
    const PagePointer dithered = DitheredInTwoColours(page.get(), *dither, ToColour(*colour));
    const std::int64_t pale = CountPaleInk(page.get(), dithered.get());
    PageFiles files(options->KnownDpi(), {ToWide(options->input)});
    files.Add(dithered.get(), ToWide(*output));
    files.Finish();
    Report report(*options);
    report.PageSize(page.get());
    const std::int64_t ink = CountInk(dithered.get());
    report.Pixels(L"ink", "ink", ink, PixelCount(page.get()));
    AddPaleInk(&report, pale, ink);
    if (IsMixed(*dither)) AddBarAdvice(&report, *options, page.get());
    report.Text(L"written", "output", ToWide(*output));
    report.Finish();
  });
}

struct SplitOptions {
  std::string colour;
  double tolerance = 0.1;
  std::optional<int> overlap;
  std::string background;
  std::string highlight;
  std::string preview;
};

/// Reports the edges between the planes.
void AddEdges(Report* report, const PlaneEdges& edges) {
  const auto number = [](std::int64_t count) { return static_cast<long long>(count); };
  std::wstring text = L"none";
  if (edges.Count() > 0) {
    text = Format(L"%lld between black and colour: ", number(edges.Count())) +
           CountText(edges.gaps, L"gap");
    if (edges.gaps > 0) text += L" of up to " + CountText(edges.maxGap, L"dot");
    text += Format(L", %lld touch, %lld overlap", number(edges.touching), number(edges.overlaps));
    if (edges.overlaps > 0) {
      text += L" by ";
      if (edges.minOverlap < edges.maxOverlap) text += Format(L"%d to ", edges.minOverlap);
      text += CountText(edges.maxOverlap, L"dot");
    }
  }
  report->Line(L"edges", text);
  JsonWriter& json = report->json();
  json.Key("edges");
  json.BeginObject();
  json.Member("count", edges.Count());
  json.Member("gaps", edges.gaps);
  json.Member("maxGapDots", edges.maxGap);
  json.Member("touching", edges.touching);
  json.Member("overlaps", edges.overlaps);
  json.Member("minOverlapDots", edges.minOverlap);
  json.Member("maxOverlapDots", edges.maxOverlap);
  json.EndObject();
}

void AddSplitCommand(CLI::App* group) {
  CLI::App* command = group->add_subcommand(
      "split", "Split a page for a printer with a black and a coloured print head");
  const auto options = std::make_shared<PageOptions>();
  const auto fit = std::make_shared<FitOptions>();
  const auto dither = std::make_shared<DitherOptions>();
  const auto split = std::make_shared<SplitOptions>();
  AddPageOptions(command, options.get());
  AddDitherOptions(command, dither.get());
  AddFitOptions(command, fit.get());
  AddColourOption(command, &split->colour, "The second print colour")->required();
  AddToleranceOption(command, &split->tolerance);
  command
      ->add_option("--overlap", split->overlap,
                   "Extends the coloured plane by this many dots under black ink, 0 to 8, and "
                   "reports gaps and overlaps between the planes")
      ->check(InRange(0, 8))
      ->type_name("DOTS");
  AddOutputFile(command, "--background", &split->background, "The PNG image of the black plane")
      ->required();
  AddOutputFile(command, "--highlight", &split->highlight, "The PNG image of the coloured plane")
      ->required();
  AddOutputFile(command, "--preview", &split->preview,
                "A PNG image to write of both planes on white paper");
  command->footer(
      "Examples:\n"
      "  orv page split label.png --colour E02020 --background black.png --highlight red.png\n"
      "  orv page split label.png --colour E02020 --tolerance 0.47 --method matrix8 \\\n"
      "    --overlap 2 --background black.png --highlight red.png --preview preview.png");
  command->callback([=] {
    const GraphicsSession graphics;
    const PagePointer page = LoadFitted(options.get(), *fit);
    std::optional<Progress> progress(std::in_place, L"Splitting the page");
    // Previews and edges need planes of 24 bits.
    const bool isWhole = split->overlap || !split->preview.empty();
    const Color ink = ToColour(split->colour);
    Planes planes =
        isWhole ? SplitPage(page.get(), ink, split->tolerance, *dither, split->overlap.value_or(0))
                : SplitInTwoColours(page.get(), ink, split->tolerance, *dither);
    PagePointer preview;
    if (!split->preview.empty()) preview = PreviewOf(planes);
    const std::int64_t pale =
        CountPaleInk(page.get(), planes.background.get(), planes.highlight.get());
    std::optional<PlaneEdges> edges;
    if (split->overlap) {
      edges = FindEdges(PagePixels(planes.background.get()), PagePixels(planes.highlight.get()));
    }
    planes = {To1Bpp(std::move(planes.background)), To1Bpp(std::move(planes.highlight))};
    PageFiles files(options->KnownDpi(), {ToWide(options->input)});
    files.Add(planes.background.get(), ToWide(split->background));
    progress->Report(1, 3);
    files.Add(planes.highlight.get(), ToWide(split->highlight));
    progress->Report(2, 3);
    if (preview != nullptr) files.Add(preview.get(), ToWide(split->preview));
    files.Finish();
    progress.reset();  // before anything is printed
    Report report(*options);
    report.PageSize(page.get());
    const std::int64_t all = PixelCount(page.get());
    const std::int64_t black = CountInk(planes.background.get());
    const std::int64_t colour = CountInk(planes.highlight.get());
    report.Pixels(L"background ink", "backgroundInk", black, all);
    report.Pixels(L"highlight ink", "highlightInk", colour, all);
    AddPaleInk(&report, pale, black + colour);
    if (edges) AddEdges(&report, *edges);
    if (IsMixed(*dither)) AddBarAdvice(&report, *options, page.get());
    report.Text(L"background", "background", ToWide(split->background));
    report.Text(L"highlight", "highlight", ToWide(split->highlight));
    if (!split->preview.empty()) report.Text(L"preview", "preview", ToWide(split->preview));
    report.Finish();
  });
}

void AddBoundsCommand(CLI::App* group) {
  CLI::App* command = group->add_subcommand(
      "bounds", "Find the part of a page with ink: everything except pure white");
  const auto options = std::make_shared<PageOptions>();
  const auto fit = std::make_shared<FitOptions>();
  AddPageOptions(command, options.get());
  AddWhiteOption(command, fit.get());
  command->footer(
      "Examples:\n"
      "  orv page bounds label.png --dpi 300 --white 250\n"
      "  orv page mono label.png -o - | orv page bounds - --inch");
  command->callback([=] {
    const GraphicsSession graphics;
    const PagePointer page = LoadFitted(options.get(), *fit);
    const PagePointer bits = OneBitOf(page.get());
    const Bounds bounds = BoundsOf(bits.get());
    Report report(*options);
    report.PageSize(page.get());
    AddBounds(&report, bounds);
    AddPaleInk(&report, CountPale(page.get()), CountInk(bits.get()));
    report.Finish(bounds.IsValid() ? "" : "The page is white.\n");
  });
}

void AddCompareCommand(CLI::App* group) {
  CLI::App* command = group->add_subcommand(
      "compare", "Compare two pages pixel by pixel; exits with 1 if they differ");
  const auto options = std::make_shared<PageOptions>();
  const auto other = std::make_shared<std::string>();
  AddPageOptions(command, options.get());
  AddInputFile(command, "OTHER", other.get(), "The page to compare with")->required();
  command->footer(
      "Examples:\n"
      "  orv page compare before.png after.png\n"
      "  orv page dither before.png -o - | orv page compare - after.png --json");
  command->callback([=] {
    const GraphicsSession graphics;
    const PagePointer first = LoadInput(options.get());
    const PagePointer second = LoadPage(ToWide(*other));
    Report report(*options);
    report.PageSize(first.get());
    if (first->GetWidth() != second->GetWidth() || first->GetHeight() != second->GetHeight()) {
      report.Size(L"other page", "other", static_cast<int>(second->GetWidth()),
                  static_cast<int>(second->GetHeight()));
      report.json().Member("equal", false);
      report.Finish("The pages differ in size.\n");
      tool::Finish(kFindings);
    }

    const bool isInkEqual = BitmapHelper::Are1BPPBitmapsEqual(OneBitOf(first.get()).get(),
                                                              OneBitOf(second.get()).get()) != 0;
    std::int64_t count = 0;
    Bounds bounds;
    {
      const PagePixels pixels(second.get());
      ForEachPixel(PagePixels(first.get()), [&](const unsigned char* pixel, int x, int y) {
        if (std::equal(pixel, pixel + 3, pixels.Row(y) + 3 * x)) return;
        if (count++ == 0) bounds = {x, y, x, y};
        bounds.firstColumn = std::min(bounds.firstColumn, x);
        bounds.lastColumn = std::max(bounds.lastColumn, x);
        bounds.lastRow = y;
      });
    }
    report.Pixels(L"different", "different", count, PixelCount(first.get()));
    report.Text(L"ink", "ink", isInkEqual ? L"the same" : L"different");
    if (bounds.IsValid()) {
      report.Columns(bounds.firstColumn, bounds.lastColumn);
      report.Rows(bounds.firstRow, bounds.lastRow);
    }
    report.json().Member("equal", count == 0);
    report.Finish(count == 0 ? "The pages are equal.\n" : "The pages differ.\n");
    if (count != 0) tool::Finish(kFindings);
  });
}

}  // namespace

void AddPageCommands(CLI::App* program) {
  CLI::App* group =
      program->add_subcommand("page", "Prepare page images for print heads, as PNG files");
  group->require_subcommand(1);
  group->footer(
      "The path - is standard input or output. If a page goes to standard output, the results go "
      "to\n"
      "standard error.\n"
      "Examples:\n"
      "  orv page bounds label.png\n"
      "  orv page explain label.png --colour E02020 --suggest\n"
      "  orv page split label.png --colour E02020 --tolerance 0.47 --background black.png \\\n"
      "    --highlight red.png --preview preview.png");
  AddMonoCommand(group);
  AddDitherCommand(group);
  AddPageThresholdCommand(group);
  AddSplitCommand(group);
  AddBoundsCommand(group);
  AddCompareCommand(group);
  AddPageExplainCommand(group);
  AddPagePreviewCommand(group);
  AddPageMethodsCommand(group);
  AddPageLegibilityCommand(group);
}

}  // namespace orv::tool
