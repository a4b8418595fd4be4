#pragma once

#include <cmath>
#include <cstdint>
#include <string>

#include <CLI/CLI.hpp>

#include "orv/imaging/bitmap_rasterizer.h"
#include "orv/platform/graphics.h"
#include "tools/orv/common/lengths.h"
#include "tools/orv/common/output.h"
#include "tools/orv/page/pixels.h"

/// Options, input and output shared by the page commands.

namespace orv::tool {

/// The options of all page commands.
struct PageOptions {
  std::string input;
  double dpi = 0;  ///< 0 until the page is loaded: use its own resolution
  bool json = false;

  double Millimetres(double pixels) const { return pixels * kMillimetresPerInch / dpi; }
  /// Formats two lengths with a word between them, in the chosen unit.
  std::wstring Lengths(double pixels, const wchar_t* between, double otherPixels) const;
};

void AddPageOptions(CLI::App* command, PageOptions* options, const char* input = "IN",
                    const char* meaning = "The page, a PNG image");

CLI::Option* AddDpiOption(CLI::App* command, double* dpi);

/// Loads the page. Without --dpi also sets the resolution: that of the file, or 203.
PagePointer LoadInput(PageOptions* options);

/// The dithering methods in the order of their numbers; the first one does not change a page.
struct DitherMethod {
  const char* name;
  eBitmapDitherer method;
};
inline constexpr DitherMethod kDitherMethods[] = {
    {"none", eBitmapDithererNone},
    {"floyd-steinberg", eBitmapDithererFloydSteinberg},
    {"sierra-lite", eBitmapDithererSierraLite},
    {"matrix4", eBitmapDithererMatrix4},
    {"matrix8", eBitmapDithererMatrix8},
    {"matrix16", eBitmapDithererMatrix16},
};

struct DitherOptions {
  std::string name = "floyd-steinberg";
  int threshold = 128;

  eBitmapDitherer Method() const;
};

void AddDitherOptions(CLI::App* command, DitherOptions* options);
void AddThresholdOption(CLI::App* command, int* threshold);
/// The largest distance from the highlight colour that belongs to the highlight.
void AddToleranceOption(CLI::App* command, double* tolerance);

/// A dithered copy of a page; ends the command if there is not enough memory.
PagePointer Dithered(Bitmap* page, eBitmapDitherer method, int threshold, Color colour);

/// A colour as six hexadecimal digits, with or without a leading #.
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

/// Shows progress on a terminal while it exists; only for large pages.
class Progress {
 public:
  Progress(const wchar_t* work, Bitmap* page);
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;
  ~Progress();

  void Report(int done, int all);

 private:
  const wchar_t* work_;
  bool isShown_;
  int percent_ = -1;
};

/// The result of a command, as lines of text or as members of a JSON object.
class Report {
 public:
  explicit Report(const PageOptions& options) : options_(options) { json_.BeginObject(); }

  void Text(const wchar_t* label, const char* key, const std::wstring& value);
  void Number(const wchar_t* label, const char* key, std::int64_t value);
  /// A size in pixels and millimetres.
  void Size(const wchar_t* label, const char* key, int width, int height);
  /// The size of a page.
  void PageSize(Bitmap* page);
  /// The first and last row or column, with their distances from the page's edge.
  void Range(const wchar_t* label, const char* key, int first, int last);
  /// A number of pixels and its percentage of the page.
  void Pixels(const wchar_t* label, const char* key, std::int64_t count, std::int64_t all);

  JsonWriter& json() { return json_; }
  /// A line for text output only.
  void Line(const wchar_t* label, const std::wstring& value) { table_.Add({label, value}); }

  /// Prints everything; text output is followed by `more`.
  void Finish(const std::string& more = {});

 private:
  static double Rounded(double millimetres) { return std::round(millimetres * 1000) / 1000; }

  const PageOptions& options_;
  Table table_;
  JsonWriter json_;
};

}  // namespace orv::tool
