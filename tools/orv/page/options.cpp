#include "tools/orv/page/options.h"

#include <algorithm>
#include <cstring>
#include <optional>

#include "orv/text/format.h"
#include "tools/orv/common/options.h"
#include "tools/orv/common/output.h"
#include "tools/orv/page/file.h"

namespace orv::tool {
namespace {

constexpr double kCommonDpi = 203;

/// Parses a length in pixels: a number with the suffix px, or another length.
std::optional<double> ParsePixels(std::string_view text, double dpi) {
  const bool isPixels = text.ends_with("px");
  if (isPixels) text.remove_suffix(2);
  if (isPixels && (text.ends_with("mm") || text.ends_with("in"))) return {};  // two units
  const std::optional<double> number = ParseMillimetres(text);
  return isPixels || !number ? number : *number * dpi / kMillimetresPerInch;
}

/// The sources of a resolution, in the order of `DpiSource`, as text and JSON have them.
constexpr const wchar_t* kDpiSources[] = {L"--dpi", L"file", L"printer", L"default", L"--to-dpi"};

/// A whole number of dots per inch, or two with an x between them.
std::optional<Resolution> ParseDpi(const std::string& text) {
  const auto parse = [](const std::string& number) {
    int dpi = 0;
    const bool isDpi = CLI::detail::lexical_cast(number, dpi) && dpi >= 1 && dpi <= kMaxDpi;
    return isDpi ? static_cast<double>(dpi) : 0;
  };
  const std::size_t middle = text.find('x');
  const Resolution dpi = {parse(text.substr(0, middle)),
                          parse(middle == text.npos ? text : text.substr(middle + 1))};
  if (dpi.x == 0 || dpi.y == 0) return {};
  return dpi;
}

}  // namespace

void AddPageOptions(CLI::App* command, PageOptions* options, const char* input,
                    const char* meaning) {
  AddInputFile(command, input, &options->input, meaning)->required();
  AddDpiOption(command, &options->dpi);
  AddInchFlag(command);
  AddJsonFlag(command, &options->json);
}

CLI::Option* AddResolutionOption(CLI::App* command, const char* name, Resolution* dpi,
                                 const std::string& meaning) {
  return command
      ->add_option_function<std::string>(
          name, [dpi](const std::string& text) { *dpi = ParseDpi(text).value_or(Resolution()); },
          meaning + ", 1 to 100000; 203x300 if they differ along rows and columns")
      ->check(CLI::Validator(
          [](std::string& text) {
            return ParseDpi(text)
                       ? std::string()
                       : "not a resolution of 1 to 100000, such as 203 or 203x300: " + text;
          },
          ""))
      ->type_name("N");
}

CLI::Option* AddDpiOption(CLI::App* command, Resolution* dpi) {
  return AddResolutionOption(command, "--dpi", dpi, "Dots per inch of the page, for lengths")
      ->default_str("that of the image, or 203");
}

std::optional<Resolution> PageOptions::KnownDpi() const {
  return dpiSource == DpiSource::kDefault ? std::nullopt : std::optional(dpi);
}

std::wstring PageOptions::DpiText() const {
  const std::wstring text =
      dpi.x == dpi.y ? Format(L"%.6g dpi", dpi.x) : Format(L"%.6g x %.6g dpi", dpi.x, dpi.y);
  return text + Format(L" (%ls)", kDpiSources[static_cast<int>(dpiSource)]);
}

std::wstring LengthsText(const Span& one, const wchar_t* between, const Span& other) {
  return ShowsInches()
             ? Format(L"%.2f%ls%.2f in", one.pixels / one.dpi, between, other.pixels / other.dpi)
             : Format(L"%.1f%ls%.1f mm", one.Millimetres(), between, other.Millimetres());
}

PagePointer LoadInput(PageOptions* options, const std::optional<Resolution>& printer) {
  const std::wstring path = ToWide(options->input);
  std::optional<Resolution>& stored = options->stored;
  PagePointer page = LoadPage(path, &stored);
  if (options->dpi.x != 0) return page;
  options->dpiSource = printer  ? DpiSource::kPrinter
                       : stored ? DpiSource::kFile
                                : DpiSource::kDefault;
  options->dpi = printer.value_or(stored.value_or(Resolution{kCommonDpi, kCommonDpi}));
  return page;
}

CLI::Option* AddThresholdOption(CLI::App* command, int* threshold) {
  return command
      ->add_option("--threshold", *threshold, "Lowest grey value that becomes white, 0 to 255")
      ->check(InRange(0, 255))
      ->capture_default_str();
}

void AddToleranceOption(CLI::App* command, double* tolerance) {
  command
      ->add_option("--tolerance", *tolerance,
                   "Largest distance from the colour that belongs to the highlight, 0 to 100")
      ->check(CLI::Validator(
          [](std::string& text) {
            double value = -1;
            const bool isTolerance =
                CLI::detail::lexical_cast(text, value) && value >= 0 && value <= 100;
            return isTolerance ? std::string() : "not a distance of 0 to 100: " + text;
          },
          "DISTANCE"))
      ->capture_default_str();
}

PagePointer Dithered(Bitmap* page, eBitmapDitherer method, int threshold, Color colour) {
  PagePointer dithered(BitmapRasterizer::Dither(page, method, threshold, colour));
  if (dithered == nullptr) Fail(kUnreadable, L"not enough memory to dither the page");
  return dithered;
}

CLI::Validator IsColour() {
  return CLI::Validator(
      [](std::string& text) {
        const std::size_t start = text.starts_with('#') ? 1 : 0;
        const bool isColour =
            text.size() == start + 6 &&
            text.find_first_not_of("0123456789abcdefABCDEF", start) == std::string::npos;
        return isColour ? std::string() : "not a colour such as E02020: " + text;
      },
      "RRGGBB");
}

CLI::Option* AddColourOption(CLI::App* command, std::string* colour, const char* help) {
  return command->add_option("--colour", *colour, help)
      ->check(IsColour())
      ->check(CLI::Validator(
          [](std::string& text) {
            const bool isWhite = ToColour(text).GetValue() == 0xFFFFFFFF;
            return isWhite ? text + " is white, the colour of the paper" : std::string();
          },
          ""));
}

Color ToColour(const std::string& text) {
  const std::size_t start = text.starts_with('#') ? 1 : 0;
  return Color(0xFF000000 |
               static_cast<std::uint32_t>(std::stoul(text.substr(start), nullptr, 16)));
}

void AddViewOptions(CLI::App* command, ViewOptions* view) {
  command
      ->add_option(
          "--crop", view->crop,
          "The part of the page to show: its left and top edge, width and height, in mm, or "
          "with the suffix in or px")
      ->check(NotEmpty("an area"))
      ->type_name("X,Y,WIDTH,HEIGHT");
  command->add_option("--zoom", view->zoom, "Pixels per dot on each side, 1 to 64")
      ->check(InRange(1, 64))
      ->type_name("N")
      ->capture_default_str();
}

PageArea ViewOptions::Area(const PageOptions& options, int pageWidth, int pageHeight) const {
  if (crop.empty()) return {0, 0, pageWidth, pageHeight};
  double edges[4] = {};
  std::size_t count = 0;
  std::string_view rest = crop;
  bool isRight = true;
  while (isRight && count < 4) {
    const std::size_t comma = std::min(rest.find(','), rest.size());
    const std::optional<double> length =
        ParsePixels(rest.substr(0, comma), count % 2 == 0 ? options.dpi.x : options.dpi.y);
    isRight = length.has_value() && (comma < rest.size()) == (count < 3);
    edges[count++] = length.value_or(0);
    rest.remove_prefix(std::min(comma + 1, rest.size()));
  }
  if (!isRight || edges[2] <= 0 || edges[3] <= 0) {
    Fail(kUsage,
         L"--crop takes four lengths such as 10,5,40,30 or 80px,40px,320px,240px: " + ToWide(crop));
  }
  const auto inside = [](double pixels, int most) {
    return static_cast<int>(std::lround(std::clamp(pixels, 0.0, static_cast<double>(most))));
  };
  const int left = inside(edges[0], pageWidth);
  const int top = inside(edges[1], pageHeight);
  const PageArea area = {left, top, inside(edges[0] + edges[2], pageWidth) - left,
                         inside(edges[1] + edges[3], pageHeight) - top};
  if (area.width <= 0 || area.height <= 0) {
    Fail(kUsage, L"--crop leaves no pixel of the page: " + ToWide(crop));
  }
  return area;
}

void Report::Text(const wchar_t* label, const char* key, const std::wstring& value) {
  table_.Add({label, value});
  json_.Member(key, value);
}

void Report::Number(const wchar_t* label, const char* key, std::int64_t value) {
  table_.Add({label, Format(L"%lld", static_cast<long long>(value))});
  json_.Member(key, value);
}

void Report::Size(const wchar_t* label, const char* key, int width, int height) {
  table_.Add({label, SizeText(width, height)});
  json_.Key(key);
  AddSize(width, height);
  json_.EndObject();
}

void Report::PageSize(Bitmap* page) {
  const auto width = static_cast<int>(page->GetWidth());
  const auto height = static_cast<int>(page->GetHeight());
  Line(L"page", SizeText(width, height) + L" at " + options_.DpiText());
  json_.Key("page");
  AddSize(width, height);
  json_.Member("dpiX", options_.dpi.x);
  json_.Member("dpiY", options_.dpi.y);
  json_.Member("dpiSource", kDpiSources[static_cast<int>(options_.dpiSource)]);
  json_.EndObject();
}

std::wstring Report::SizeText(int width, int height) const {
  return Format(L"%d x %d pixels, ", width, height) +
         LengthsText(options_.Columns(width), L" x ", options_.Rows(height));
}

void Report::AddSize(int width, int height) {
  json_.BeginObject();
  json_.Member("width", width);
  json_.Member("height", height);
  json_.Member("widthMm", Rounded(options_.Columns(width).Millimetres()));
  json_.Member("heightMm", Rounded(options_.Rows(height).Millimetres()));
}

void Report::Columns(int first, int last) {
  Range(L"columns", "columns", first, options_.Columns(first), options_.Columns(last + 1));
}

void Report::Rows(int first, int last) {
  Range(L"rows", "rows", first, options_.Rows(first), options_.Rows(last + 1));
}

void Report::Range(const wchar_t* label, const char* key, int first, const Span& start,
                   const Span& end) {
  const int last = static_cast<int>(end.pixels) - 1;
  Line(label, Format(L"%d to %d, ", first, last) + LengthsText(start, L" to ", end));
  json_.Key(key);
  json_.BeginObject();
  json_.Member("first", first);
  json_.Member("last", last);
  json_.Member("firstMm", Rounded(start.Millimetres()));
  json_.Member("endMm", Rounded(end.Millimetres()));
  json_.EndObject();
}

void Report::Pixels(const wchar_t* label, const char* key, std::int64_t count, std::int64_t all) {
  const double share = all > 0 ? 100.0 * static_cast<double>(count) / static_cast<double>(all) : 0;
  table_.Add({label, CountText(count, L"pixel") + Format(L", %.2f %%", share)});
  json_.Member(key, count);
}

void Report::Finish(const std::string& more) {
  json_.EndObject();
  Print(options_.json ? json_.Text() : table_.TakeText() + more);
}

}  // namespace orv::tool
