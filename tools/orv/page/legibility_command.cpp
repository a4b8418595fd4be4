#include <algorithm>
#include <memory>
#include <utility>
#include <vector>

#include "base/utf8.h"
#include "orv/platform/graphics.h"
#include "orv/text/format.h"
#include "tools/orv/common/commands.h"
#include "tools/orv/common/input.h"
#include "tools/orv/common/options.h"
#include "tools/orv/common/output.h"
#include "tools/orv/page/bar_report.h"
#include "tools/orv/page/bars.h"
#include "tools/orv/page/file.h"
#include "tools/orv/page/halftone.h"
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

long long Number(std::int64_t number) { return number; }

std::wstring WidthText(const WidthErrors& errors) {
  if (errors.count == 0) return L"none";
  return Format(L"%lld measured, off by %.2f dots on average, by %.1f at most",
                Number(errors.count), errors.Mean(), errors.max);
}

/// The left top corner of the bar that is damaged most.
std::pair<int, int> WorstBar(const BarCodeResult& result) {
  return result.code.PlaceOf(result.code.bars[result.worstBar].start, result.code.firstLine);
}

/// Bar codes with the same fault, and their places.
class FaultyCodes {
 public:
  explicit FaultyCodes(const wchar_t* fault) : fault_(fault) {}

  void Add(const PageOptions& options, const BarCode& code) {
    const PageArea area = code.Area();
    const std::wstring advice = BarAdvice(options, code);
    ++count_;
    places_ += L"\n  " + PlaceText(options, area.x, area.y);
    if (!advice.empty()) places_ += L", " + advice;
  }

  std::wstring Text() const {
    if (count_ == 0) return {};
    const wchar_t* const codes = count_ == 1 ? L"code is" : L"codes are";
    return Format(L"\n%d bar %ls %ls, at:", count_, codes, fault_) + places_ + L"\n";
  }

 private:
  const wchar_t* fault_;
  std::wstring places_;
  int count_ = 0;
};

/// Explains which bar codes do not scan or are not measured, and what to do.
std::string FailuresText(const PageOptions& options, const Legibility& legibility) {
  FaultyCodes pale(L"too pale to scan when dithered (use --method mixed or a darker colour)");
  FaultyCodes damaged(L"damaged and will not scan");
  FaultyCodes unmeasured(L"not measured and may not scan");
  for (const BarCodeResult& result : legibility.codes) {
    if (result.Scans()) continue;
    // Dithering leaves holes in pale bars; anything else is damage.
    const bool isPale = result.code.IsPale() && result.errors.holes > 0;
    (isPale ? pale : damaged).Add(options, result.code);
  }
  for (const BarCode& code : legibility.unmeasured) unmeasured.Add(options, code);
  return WideToUtf8(pale.Text() + damaged.Text() + unmeasured.Text());
}

void AddWidths(JsonWriter* json, const char* key, const WidthErrors& errors) {
  json->Key(key);
  json->BeginObject();
  json->Member("count", errors.count);
  json->Member("meanDots", errors.Mean());
  json->Member("greatestDots", errors.max);
  json->EndObject();
}

void AddBarCode(JsonWriter* json, const PageOptions& options, const BarCodeResult& result) {
  json->BeginObject();
  AddArea(json, options, result.code);
  json->Member("moduleDots", result.code.module);
  json->Member("symbolContrast", result.code.Contrast());
  json->Member("modulation", result.code.modulation);
  json->Member("readableLines", result.Readable());
  json->Member("scans", result.Scans());
  json->Member("mark", result.Score());
  json->Key("worstBar");
  json->BeginObject();
  const auto [x, y] = WorstBar(result);
  AddPlace(json, options, x, y);
  json->Member("damagedLines", result.worstLines);
  json->EndObject();
  json->EndObject();
}

/// The members that every measured plane has.
void AddToJson(JsonWriter* json, const PageOptions& options, const Legibility& legibility) {
  const BarErrors errors = legibility.Bars();
  json->Key("barCodes");
  json->BeginArray();
  for (const BarCodeResult& result : legibility.codes) AddBarCode(json, options, result);
  json->EndArray();
  json->Member("failedBarCodes", legibility.Failed());
  json->Key("unmeasuredBarCodes");
  json->BeginArray();
  for (const BarCode& code : legibility.unmeasured) {
    json->BeginObject();
    AddArea(json, options, code);
    json->EndObject();
  }
  json->EndArray();
  AddWidths(json, "bars", errors.bars);
  AddWidths(json, "spaces", errors.spaces);
  json->Member("holes", errors.holes);
  json->Member("spots", errors.spots);
  json->Member("brokenEdges", errors.breaks);
  json->Member("lineInk", legibility.lineInk);
  json->Member("lineErrors", legibility.lineErrors);
  json->Member("ink", legibility.ink);
  json->Member("isolatedDots", legibility.dots);
  json->Member("isolatedHoles", legibility.holes);
  json->Member("toneBlocks", legibility.blocks);
  json->Member("meanToneError", legibility.tone);
  json->Member("greatestToneError", legibility.worstTone);
  json->Member("barMark", legibility.BarScore());
  json->Member("lineMark", legibility.LineScore());
  json->Member("toneMark", legibility.ToneScore());
  json->Member("speckMark", legibility.SpeckScore());
  json->Member("loss", legibility.Loss());
}

/// Adds lines about the bars of all bar codes.
void AddBars(Report* report, const PageOptions& options, const Legibility& legibility) {
  report->Line(L"bar codes", CodesText(legibility));
  const BarCodeResult* const worst = legibility.Worst();
  if (worst == nullptr) return;
  const BarErrors errors = legibility.Bars();
  report->Line(L"bars", WidthText(errors.bars));
  report->Line(L"spaces", WidthText(errors.spaces));
  report->Line(L"damage", CountText(errors.holes, L"hole") + L" in bars, " +
                              CountText(errors.spots, L"spot") + L" in spaces, " +
                              CountText(errors.breaks, L"broken edge"));
  const PageArea area = worst->code.Area();
  report->Line(L"worst code",
               PlaceText(options, area.x, area.y) +
                   Format(L", modules of %.2f dots, symbol contrast %.0f %%, modulation %.0f %%, "
                          L"%.0f %% of the lines can be read",
                          worst->code.module, 100 * worst->code.Contrast(),
                          100 * worst->code.modulation, 100 * worst->Readable()));
  if (worst->worstLines == 0) return;
  const auto [x, y] = WorstBar(*worst);
  report->Line(L"its worst bar",
               PlaceText(options, x, y) + Format(L", damaged on %lld of %lld lines",
                                                 Number(worst->worstLines), Number(worst->lines)));
}

/// Reports the legibility of one plane.
void Evaluate(const PageOptions& options, Bitmap* plane, const LegibilityOptions& legibility) {
  const std::wstring path = ToWide(legibility.source);
  PagePointer source = LoadPage(path);
  if (source->GetWidth() != plane->GetWidth() || source->GetHeight() != plane->GetHeight()) {
    Fail(kFindings, InputName(path) + L" differs in size from the plane");
  }
  const LegibilityMeter meter(source.get());
  source.reset();  // a large page takes much memory
  const Legibility found = meter.Measure(plane);
  Report report(options);
  report.PageSize(plane);
  AddBars(&report, options, found);
  report.Line(L"line art", Format(L"%lld of %lld dots of text, lines and bars %ls wrong",
                                  Number(found.lineErrors), Number(found.lineInk),
                                  found.lineErrors == 1 ? L"is" : L"are"));
  report.Line(L"isolated", CountText(found.dots, L"dot") + L" and " +
                               CountText(found.holes, L"hole") + L" in " +
                               CountText(found.ink, L"dot") + L" of ink");
  report.Line(L"tone", found.blocks == 0
                           ? L"none"
                           : CountText(found.blocks, L"block") +
                                 Format(L", off by %.2f %% on average, by %.1f %% at most (at %ls)",
                                        100 * found.tone, 100 * found.worstTone,
                                        LengthsText(options.Columns(found.worstX), L", ",
                                                    options.Rows(found.worstY))
                                            .c_str()));
  report.Line(L"scores",
              Format(L"bars %.2f, lines %.2f, tone %.2f, specks %.2f: %.2f in all, 0 is best",
                     found.BarScore(), found.LineScore(), found.ToneScore(), found.SpeckScore(),
                     found.Loss()));
  AddToJson(&report.json(), options, found);
  report.Finish(FailuresText(options, found));
}

/// A method and the legibility of the page dithered with it.
struct Candidate {
  std::string name;
  Legibility legibility;
};

/// Evaluates every method; the best one comes first.
std::vector<Candidate> EvaluateMethods(Bitmap* page, int threshold) {
  std::vector<Candidate> candidates;
  const std::vector<std::string> names = MethodNames();
  Progress progress(L"Trying methods");
  const LegibilityMeter meter(page);
  DitherOptions options;
  options.threshold = threshold;
  for (std::size_t i = 1; i < names.size(); ++i) {  // the first one leaves no plane
    progress.Report(static_cast<int>(i), static_cast<int>(names.size()));
    options.name = names[i];
    const PagePointer plane = Dithered(page, options, Color(0xFF000000));
    candidates.push_back({names[i], meter.Measure(plane.get())});
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
  Table table({L"METHOD", L"SCAN", L"BARS", L"LINES", L"TONE", L"SPECKS", L"IN ALL"});
  for (const auto& [name, legibility] : candidates) {
    report.json().BeginObject();
    report.json().Member("method", ToWide(name));
    AddToJson(&report.json(), options, legibility);
    report.json().EndObject();
    const auto all = static_cast<std::int64_t>(legibility.codes.size());
    table.Add({ToWide(name),
               Format(L"%lld of %lld", Number(all - legibility.Failed()), Number(all)),
               Format(L"%.2f", legibility.BarScore()), Format(L"%.2f", legibility.LineScore()),
               Format(L"%.2f", legibility.ToneScore()), Format(L"%.2f", legibility.SpeckScore()),
               Format(L"%.2f", legibility.Loss())});
  }
  report.json().EndArray();
  report.Finish("\n" + table.TakeText() + FailuresText(options, candidates.front().legibility));
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
      "Finds the bar codes of the page and reads them on the plane line by line: widths, holes in "
      "bars,\n"
      "spots in spaces, broken edges. Counts wrong dots of text, lines and bars. Measures the "
      "tones "
      "of\n"
      "the rest in blocks of 16 x 16 dots. Scores are percentages, 0 is best; in the total, specks "
      "count\n"
      "one tenth, and each bar code that does not scan adds 100.\n"
      "JSON: page; barCodes with place, size, bars, turned, tiltDegrees, inverse, moduleDots,\n"
      "symbolContrast, modulation, readableLines, scans, mark and worstBar; failedBarCodes;\n"
      "unmeasuredBarCodes with place, size, bars, turned, tiltDegrees and inverse; bars and "
      "spaces\n"
      "with count, meanDots, greatestDots;\n"
      "holes, spots, brokenEdges, lineInk, lineErrors, ink, isolatedDots, isolatedHoles, "
      "toneBlocks,\n"
      "meanToneError, greatestToneError, barMark, lineMark, toneMark, speckMark, loss. With "
      "--recommend:\n"
      "page, recommended, and methods with method and the same members.\n"
      "Examples:\n"
      "  orv page dither label.png -o - | orv page legibility - --source label.png\n"
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
