#pragma once

#include <cmath>
#include <cstdint>
#include <optional>
#include <string>

#include <CLI/CLI.hpp>

#include "orv/imaging/bitmap_rasterizer.h"
#include "orv/platform/graphics.h"
#include "tools/orv/common/lengths.h"
#include "tools/orv/common/output.h"
#include "tools/orv/common/progress.h"  // IWYU pragma: export
#include "tools/orv/page/pixels.h"

/// Options, input and output shared by the page commands.

namespace orv::tool {

/// The source of a page's resolution.
enum class DpiSource { kOption, kFile, kPrinter, kDefault, kTarget };

/// A number of columns or of rows, and its length.
struct Span {
  double pixels;
  double dpi;

  double Millimetres() const { return pixels * kMillimetresPerInch / dpi; }
};

/// The options of all page commands.
struct PageOptions {
  std::string input;
  Resolution dpi;  ///< 0 until the page is loaded: use its own resolution
  DpiSource dpiSource = DpiSource::kOption;
  std::optional<Resolution> stored;  ///< in the file, once the page is loaded
  bool json = false;

  Span Columns(double pixels) const { return {pixels, dpi.x}; }
  Span Rows(double pixels) const { return {pixels, dpi.y}; }
  /// The resolution for files made from the page; nothing if it is only assumed.
  std::optional<Resolution> KnownDpi() const;
  /// The resolution and its source, such as "203 x 300 dpi (file)".
  std::wstring DpiText() const;
};

/// Millimetres for JSON, rounded to a thousandth.
inline double Rounded(double millimetres) { return std::round(millimetres * 1000) / 1000; }

/// Formats two lengths with a word between them, in the chosen unit.
std::wstring LengthsText(const Span& one, const wchar_t* between, const Span& other);

void AddPageOptions(CLI::App* command, PageOptions* options, const char* input = "IN",
                    const char* meaning = "The page, a PNG image");

/// An option for a resolution: N, or XxY for pixels that are not square.
CLI::Option* AddResolutionOption(CLI::App* command, const char* name, Resolution* dpi,
                                 const std::string& meaning);
/// `--dpi N`.
CLI::Option* AddDpiOption(CLI::App* command, Resolution* dpi);

/// Loads the page. Without --dpi also sets the resolution: the printer's if it is known, else that
/// of the file, or 203.
PagePointer LoadInput(PageOptions* options, const std::optional<Resolution>& printer = {});

/// The library's dithering methods in the order of their numbers; the first one does not change a
/// page.
struct DitherMethod {
  const char* name;
  eBitmapDitherer method;
  bool hasThreshold;
};
inline constexpr DitherMethod kDitherMethods[] = {
    {"none", eBitmapDithererNone, false},
    {"floyd-steinberg", eBitmapDithererFloydSteinberg, true},
    {"sierra-lite", eBitmapDithererSierraLite, true},
    {"matrix4", eBitmapDithererMatrix4, false},
    {"matrix8", eBitmapDithererMatrix8, false},
    {"matrix16", eBitmapDithererMatrix16, false},
};

CLI::Option* AddThresholdOption(CLI::App* command, int* threshold);
/// The largest distance from the highlight colour that belongs to the highlight.
void AddToleranceOption(CLI::App* command, double* tolerance);

/// A dithered copy of a page; ends the command if there is not enough memory.
PagePointer Dithered(Bitmap* page, eBitmapDitherer method, int threshold, Color colour);

/// A colour as six hexadecimal digits, with or without a leading #.
/// Refuses white, which is the paper.
CLI::Option* AddColourOption(CLI::App* command, std::string* colour, const char* help);
/// Checks such a text.
CLI::Validator IsColour();
Color ToColour(const std::string& text);

/// A part of a page, in pixels.
struct PageArea {
  int x;
  int y;
  int width;
  int height;
};

/// `--crop X,Y,WIDTH,HEIGHT` and `--zoom N`.
struct ViewOptions {
  std::string crop;
  int zoom = 1;

  /// The cropped area, clipped to the page; ends the command when it is invalid or empty.
  PageArea Area(const PageOptions& options, int pageWidth, int pageHeight) const;
};

void AddViewOptions(CLI::App* command, ViewOptions* view);

/// The result of a command, as lines of text or as members of a JSON object.
class Report {
 public:
  explicit Report(const PageOptions& options) : options_(options) { json_.BeginObject(); }

  void Text(const wchar_t* label, const char* key, const std::wstring& value);
  void Number(const wchar_t* label, const char* key, std::int64_t value);
  /// A size in pixels and millimetres.
  void Size(const wchar_t* label, const char* key, int width, int height);
  /// The size of a page, its resolution and the source of that.
  void PageSize(Bitmap* page);
  /// The first and last column or row, with their distances from the page's edge.
  void Columns(int first, int last);
  void Rows(int first, int last);
  /// A number of pixels and its percentage of the page.
  void Pixels(const wchar_t* label, const char* key, std::int64_t count, std::int64_t all);

  JsonWriter& json() { return json_; }
  /// A line for text output only.
  void Line(const wchar_t* label, const std::wstring& value) { table_.Add({label, value}); }

  /// Prints everything; text output is followed by `more`.
  void Finish(const std::string& more = {});

 private:
  std::wstring SizeText(int width, int height) const;
  void AddSize(int width, int height);
  void Range(const wchar_t* label, const char* key, int first, const Span& start, const Span& end);

  const PageOptions& options_;
  Table table_;
  JsonWriter json_;
};

}  // namespace orv::tool
