#include "tools/orv/page/file.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <filesystem>
#include <string_view>

#include "orv/imaging/bitmap_helper.h"
#include "orv/platform/types.h"
#include "orv/text/format.h"
#include "platform/files.h"
#include "platform/letter_case.h"
#include "platform/new_file.h"
#include "platform/png_resolution.h"
#include "tools/orv/common/input.h"
#include "tools/orv/common/options.h"
#include "tools/orv/common/output.h"

namespace orv::tool {
namespace {

/// The first bytes of files that are mistaken for PNG images.
struct FileKind {
  std::string_view start;
  const wchar_t* name;
};
constexpr FileKind kFileKinds[] = {
    {"\xFF\xD8\xFF", L"a JPEG image"},
    {"GIF8", L"a GIF image"},
    {"BM", L"a BMP image"},
    {"II*", L"a TIFF image"},
    {"MM", L"a TIFF image"},
    {"%PDF", L"a PDF document"},
    {"RIFF", L"a WebP image"},
    {"\x89PNG", L"a damaged PNG image"},
};

std::wstring WhyNotPng(const std::wstring& path) {
  std::error_code ignored;
  if (std::filesystem::is_directory(ToPath(path), ignored)) return L"a folder, not a PNG image";
  std::string start;
  constexpr std::size_t kMaxStart = 4;
  if (ReadFile(path, &start, 0, kMaxStart) && start.empty()) return L"not a PNG image: it is empty";
  for (const FileKind& kind : kFileKinds) {
    if (!start.starts_with(kind.start)) continue;
    return Format(L"not a PNG image (it looks like %ls)", kind.name);
  }
  return L"not a PNG image";
}

/// A number of 32 bits in a PNG image, whose size the caller has checked.
std::uint64_t NumberAt(const std::string& bytes, std::uint64_t at) {
  std::uint64_t number = 0;
  for (std::size_t i = 0; i < 4; ++i) {
    number = number << 8 | static_cast<unsigned char>(bytes[at + i]);
  }
  return number;
}

/// Whether a side of a PNG image is longer than can be read.
bool IsTooLong(const std::wstring& path) {
  constexpr std::size_t kWidth = 16;
  constexpr std::size_t kHeight = 20;
  std::string bytes;
  if (!ReadFile(path, &bytes, 0, kHeight + 4) || bytes.size() < kHeight + 4) return false;
  return std::max(NumberAt(bytes, kWidth), NumberAt(bytes, kHeight)) > kMaxSide;
}

/// Whether a PNG image ends before its last chunk does.
bool EndsEarly(const std::wstring& path) {
  constexpr std::size_t kSignature = 8;
  constexpr std::size_t kFrame = 12;  // the length, the type and the check sum of a chunk
  std::string bytes;
  if (!ReadFile(path, &bytes)) return false;
  for (std::uint64_t at = kSignature; at + kFrame <= bytes.size();) {
    if (bytes.compare(at + 4, 4, "IEND") == 0) return false;
    at += kFrame + NumberAt(bytes, at);
  }
  return true;
}

/// Explains why the file at `path`, which the user calls `name`, did not load.
std::wstring Explain(Status status, const std::wstring& path, const std::wstring& name) {
  switch (status) {
    case FileNotFound: {
      std::string bytes;
      ReadFile(path, &bytes, 0, 1);  // for its reason
      return CannotRead(name);
    }
    case Win32Error:
      return L"cannot read " + name + L": " + FileErrorText();
    case UnknownImageFormat:
      return name + L": " + WhyNotPng(path);
    case OutOfMemory:
      return L"not enough memory for " + name;
    default:
      if (IsTooLong(path)) {
        return name + Format(L": a side of the image is longer than %d pixels", kMaxSide);
      }
      return name + L": a damaged PNG image" + (EndsEarly(path) ? L": its end is missing" : L"");
  }
}

std::uint32_t ToPerMetre(double dpi) {
  return static_cast<std::uint32_t>(std::lround(dpi / kMetresPerInch));
}

/// A whole number of dots per inch if the file's whole number of dots per metre may mean that.
/// Writers round it or cut it off.
double ToDpi(std::uint32_t perMetre) {
  const double dpi = std::round(perMetre * kMetresPerInch);
  const std::uint32_t rounded = ToPerMetre(dpi);
  return perMetre == rounded || perMetre + 1 == rounded ? dpi : perMetre * kMetresPerInch;
}

/// A 24-bit copy of a 32-bit page with alpha, blended onto white.
PagePointer FlattenOnWhite(Bitmap* page) {
  const INT width = static_cast<INT>(page->GetWidth());
  const INT height = static_cast<INT>(page->GetHeight());
  PagePointer flat(BitmapHelper::CreateBitmap(width, height, PixelFormat24bppRGB));
  const Rect all(0, 0, width, height);
  BitmapData from;
  if (flat == nullptr ||
      page->LockBits(&all, ImageLockModeRead, PixelFormat32bppARGB, &from) != Ok) {
    return nullptr;
  }
  {
    const PagePixels to(flat.get());
    for (int y = 0; y < height; ++y) {
      const auto* source = static_cast<const BYTE*>(from.Scan0) + std::ptrdiff_t{y} * from.Stride;
      unsigned char* target = to.Row(y);
      for (int x = 0; x < width; ++x, source += 4, target += 3) {
        for (int i = 0; i < 3; ++i) {
          const int shade = source[i] * source[3] + 255 * (255 - source[3]);
          target[i] = static_cast<unsigned char>((shade + 127) / 255);
        }
      }
    }
  }
  page->UnlockBits(&from);
  return flat;
}

/// Whether two paths are the same file. Files that do not exist yet are compared by folder and
/// name, case-insensitively, because some file systems ignore case.
bool IsSamePlace(const std::wstring& one, const std::wstring& other) {
  const auto folder = [](const std::filesystem::path& path) {
    std::error_code error;
    return std::filesystem::absolute(path, error).parent_path();
  };
  const std::filesystem::path first = ReplacedPath(one);
  const std::filesystem::path second = ReplacedPath(other);
  std::error_code error;
  return (IsStandardOutput(one) && IsStandardOutput(other)) ||
         std::filesystem::equivalent(ToPath(one), ToPath(other), error) ||
         (EqualIgnoringCase(FileNameOf(FromPath(first)), FileNameOf(FromPath(second))) &&
          std::filesystem::equivalent(folder(first), folder(second), error));
}

/// The resolution in the file at `path`, unless it is one that programs write as a default, or one
/// that no device has.
std::optional<Resolution> StoredResolution(const std::wstring& path) {
  const std::optional<PngResolution> perMetre = ReadPngResolution(path.c_str());
  if (!perMetre) return {};
  const Resolution dpi = {ToDpi(perMetre->x), ToDpi(perMetre->y)};
  const bool isScreen = dpi.x == dpi.y && (dpi.x == 72 || dpi.x == 96);
  if (isScreen || std::min(dpi.x, dpi.y) < 1 || std::max(dpi.x, dpi.y) > kMaxDpi) return {};
  return dpi;
}

}  // namespace

PagePointer LoadPage(const std::wstring& path, std::optional<Resolution>* stored) {
  Bitmap* loaded = nullptr;
  const InputFile file(path);
  if (const Status status = LoadPng(file.path().c_str(), &loaded); status != Ok) {
    Fail(kUnreadable, Explain(status, file.path(), InputName(path)));
  }
  PagePointer page(loaded);
  if (page->GetPixelFormat() == PixelFormat32bppARGB) page = FlattenOnWhite(page.get());
  if (page == nullptr) Fail(kUnreadable, Explain(OutOfMemory, file.path(), InputName(path)));
  if (stored != nullptr) *stored = StoredResolution(file.path());
  return page;
}

Status EncodePage(Bitmap* page, const std::optional<Resolution>& resolution, std::string* bytes) {
  const PagePointer reduced = ReduceToTwoColours(page);
  if (reduced != nullptr) page = reduced.get();
  std::optional<PngResolution> perMetre;
  if (resolution) perMetre = {ToPerMetre(resolution->x), ToPerMetre(resolution->y)};
  return EncodePng(page, perMetre, bytes);
}

std::string PngOf(Bitmap* page, const std::optional<Resolution>& resolution) {
  std::string bytes;
  if (const Status status = EncodePage(page, resolution, &bytes); status != Ok) {
    Fail(kUnreadable, status == OutOfMemory ? L"not enough memory for the image"
                                            : L"the image cannot be encoded as PNG");
  }
  return bytes;
}

void RefuseInputs(const std::vector<std::wstring>& inputs, const std::wstring& output) {
  for (const std::wstring& input : inputs) {
    if (!input.empty() && input != kStandardStream && IsSamePlace(input, output)) {
      Fail(kUsage, L"the output would replace the input: " + output);
    }
  }
}

void PageFiles::Add(Bitmap* page, const std::wstring& path) {
  for (const OutputFile& earlier : files_) {
    if (IsSamePlace(earlier.path(), path)) {
      Fail(kUsage, L"two outputs have the same file: " + path);
    }
  }
  RefuseInputs(inputs_, path);
  RequireReplaceable(path);
  if (!files_.emplace_back(path).Write(PngOf(page, resolution_))) {
    Fail(kUnreadable, CannotWrite(path));
  }
}

void PageFiles::Finish() {
  // Streams and devices first: writing them can fail; the files need only be moved.
  for (const bool isReplaced : {false, true}) {
    for (OutputFile& file : files_) {
      if (file.IsReplaced() != isReplaced) continue;
      if (!file.Commit()) Fail(kUnreadable, CannotWrite(file.path()));
      PrintDetail(L"wrote " + PathName(file.path()));
    }
  }
  files_.clear();
}

}  // namespace orv::tool
