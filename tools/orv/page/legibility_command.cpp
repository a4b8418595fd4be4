#include <algorithm>
#include <memory>
#include <vector>

#include "orv/imaging/bitmap_rasterizer.h"
#include "orv/platform/graphics.h"
#include "orv/text/format.h"
#include "tools/orv/common/commands.h"
#include "tools/orv/common/options.h"
#include "tools/orv/common/output.h"
#include "tools/orv/page/file.h"
#include "tools/orv/page/legibility.h"
#include "tools/orv/page/options.h"
#include "tools/orv/page/pixels.h"

/// `orv page legibility`.

namespace orv::tool {
namespace {

struct LegibilityOptions {
  std::string source;
  bool recommends = false;
  int threshold = 128;
};

std::wstring WidthText(const WidthErrors& errors) {
  if (errors.count == 0) return L"none";
  return Format(L"%lld measured, off by %.2f dots on average, by %.1f at most",
                static_cast<long long>(errors.count), errors.Mean(), errors.max);
}

void AddWidths(JsonWriter* json, const char* key, const WidthErrors& errors) {
  json->Key(key);
  json->BeginObject();
  json->Member("count", errors.count);
  json->Member("meanDots", errors.Mean());
  json->Member("greatestDots", errors.max);
  json->EndObject();
}

/// The members that every measured plane has.
void AddToJson(JsonWriter* json, const Legibility& legibility) {
  AddWidths(json, "bars", legibility.bars);
  AddWidths(json, "spaces", legibility.spaces);
  json->Member("ink", legibility.ink);
  json->Member("isolatedDots", legibility.dots);
  json->Member("isolatedHoles", legibility.holes);
  json->Member("toneBlocks", legibility.blocks);
  json->Member("meanToneError", legibility.tone);
  json->Member("greatestToneError", legibility.worstTone);
  json->Member("widthMark", legibility.WidthScore());
  json->Member("toneMark", legibility.ToneScore());
  json->Member("speckMark", legibility.SpeckScore());
  json->Member("loss", legibility.Loss());
}

/// Reports the legibility of one plane.
void Evaluate(const PageOptions& options, Bitmap* plane, const LegibilityOptions& legibility) {
  const std::wstring path = ToWide(legibility.source);
  const PagePointer source = LoadPage(path);
  if (source->GetWidth() != plane->GetWidth() || source->GetHeight() != plane->GetHeight()) {
    Fail(kFindings, path + L" differs in size from the plane");
  }
  const Legibility found = MeasureLegibility(source.get(), plane);
  Report report(options);
  report.PageSize(plane);
  report.Line(L"bars", WidthText(found.bars));
  report.Line(L"spaces", WidthText(found.spaces));
  report.Line(
      L"isolated",
      Format(L"%lld dots and %lld holes in %lld dots of ink", static_cast<long long>(found.dots),
             static_cast<long long>(found.holes), static_cast<long long>(found.ink)));
  report.Line(
      L"tone",
      found.blocks == 0
          ? L"none"
          : Format(L"%lld blocks, off by %.2f %% on average, by %.1f %% at most "
                   L"(at %ls)",
                   static_cast<long long>(found.blocks), 100 * found.tone, 100 * found.worstTone,
                   LengthsText(options.Columns(found.worstX), L", ", options.Rows(found.worstY))
                       .c_str()));
  report.Line(L"scores",
              Format(L"width %.2f, tone %.2f, specks %.2f: %.2f in all, 0 is best",
                     found.WidthScore(), found.ToneScore(), found.SpeckScore(), found.Loss()));
  AddToJson(&report.json(), found);
  report.Finish();
}

/// A method and the legibility of the page dithered with it.
struct Candidate {
  const char* name;
  Legibility legibility;
};

/// Evaluates every method; the best one comes first.
std::vector<Candidate> EvaluateMethods(Bitmap* page, int threshold) {
  std::vector<Candidate> candidates;
  Progress progress(L"Trying methods", page);
  for (const auto& [name, method, hasThreshold] : kDitherMethods) {
    progress.Report(static_cast<int>(candidates.size()),
                    static_cast<int>(std::size(kDitherMethods)));
    if (method == eBitmapDithererNone) continue;  // leaves no plane
    const PagePointer plane = Dithered(page, method, threshold, Color(0xFF000000));
    candidates.push_back({name, MeasureLegibility(page, plane.get())});
  }
  std::stable_sort(candidates.begin(), candidates.end(),
                   [](const Candidate& a, const Candidate& b) {
                     return a.legibility.Loss() < b.legibility.Loss();
                   });
  return candidates;
}

/// Names the best method, and shows how the others do.
void Recommend(const PageOptions& options, Bitmap* page, int threshold) {
  const std::vector<Candidate> candidates = EvaluateMethods(page, threshold);
  Report report(options);
  report.PageSize(page);
  report.Text(L"recommended", "recommended", ToWide(candidates.front().name));
  report.json().Key("methods");
  report.json().BeginArray();
  Table table({L"METHOD", L"WIDTH", L"TONE", L"SPECKS", L"IN ALL"});
  for (const auto& [name, legibility] : candidates) {
    report.json().BeginObject();
    report.json().Member("method", ToWide(name));
    AddToJson(&report.json(), legibility);
    report.json().EndObject();
    table.Add({ToWide(name), Format(L"%.2f", legibility.WidthScore()),
               Format(L"%.2f", legibility.ToneScore()), Format(L"%.2f", legibility.SpeckScore()),
               Format(L"%.2f", legibility.Loss())});
  }
  report.json().EndArray();
  report.Finish("\n" + table.TakeText());
}

}  // namespace

void AddPageLegibilityCommand(CLI::App* group) {
  CLI::App* command = group->add_subcommand(
      "legibility", "Measure how legible a plane of a page is, or find the best method");
  const auto options = std::make_shared<PageOptions>();
  const auto legibility = std::make_shared<LegibilityOptions>();
  AddPageOptions(
      command, options.get(), "PLANE",
      "A plane, in which everything except white is ink, or the page for --recommend; a PNG image");
  CLI::Option* const source =
      AddInputFile(command, "--source", &legibility->source, "The page that the plane was made of");
  CLI::Option* const recommend =
      command
          ->add_flag("--recommend", legibility->recommends,
                     "Dither the page with every method and find the best one")
          ->excludes(source);
  AddThresholdOption(command, &legibility->threshold)->needs(recommend);
  command->footer(
      "Bars and spaces are measured where edges are sharp, tones in blocks of 16 x 16 dots. "
      "Scores\n"
      "are percentages, 0 is best; in the total, specks count one tenth.\n"
      "JSON: page; bars and spaces with count, meanDots, greatestDots; ink, isolatedDots,\n"
      "isolatedHoles, toneBlocks, meanToneError, greatestToneError, widthMark, toneMark, "
      "speckMark,\n"
      "loss. With --recommend: page, recommended, and methods with method and the same members.\n"
      "Examples:\n"
      "  orv page dither label.png - | orv page legibility - --source label.png\n"
      "  orv page legibility label.png --recommend");
  command->callback([=] {
    const GraphicsSession graphics;
    if (!legibility->recommends && legibility->source.empty()) {
      Fail(kUsage, L"--source or --recommend is required (see orv page legibility --help)");
    }
    const PagePointer page = LoadInput(options.get());
    if (legibility->recommends) {
      Recommend(*options, page.get(), legibility->threshold);
    } else {
      Evaluate(*options, page.get(), *legibility);
    }
  });
}

}  // namespace orv::tool
