#include "tools/orv/page/png_file.h"

#include <algorithm>
#include <cstddef>
#include <filesystem>
#include <fstream>
#include <string_view>

#include "orv/imaging/bitmap_helper.h"
#include "orv/platform/types.h"
#include "orv/text/format.h"
#include "platform/files.h"

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
  char bytes[4] = {};
  std::ifstream file(ToPath(path), std::ios::binary);
  file.read(bytes, sizeof bytes);
  const std::string_view start(bytes, static_cast<std::size_t>(file.gcount()));
  if (file.eof() && start.empty()) return L"not a PNG image: it is empty";
  for (const FileKind& kind : kFileKinds) {
    if (!start.starts_with(kind.start)) continue;
    return Format(L"not a PNG image (it looks like %ls)", kind.name);
  }
  return L"not a PNG image";
}

/// A number of 32 bits in a PNG image.
std::uint32_t NumberAt(const char* bytes) {
  std::uint32_t number = 0;
  for (std::size_t i = 0; i < 4; ++i) number = number << 8 | static_cast<unsigned char>(bytes[i]);
  return number;
}

constexpr std::size_t kSignature = 8;

/// Whether a PNG image ends before its last chunk does.
bool EndsEarly(const std::wstring& path) {
  char frame[12];  // the length, the type and the check sum of a chunk; its data is in between
  std::ifstream file(ToPath(path), std::ios::binary);
  file.seekg(kSignature);
  while (file.read(frame, sizeof frame)) {
    if (std::string_view(frame + 4, 4) == "IEND") return false;
    file.seekg(NumberAt(frame), std::ios::cur);
  }
  return file.eof();
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

}  // namespace

std::optional<PngHeader> ReadPngHeader(const std::wstring& path) {
  constexpr std::string_view kStart("\x89PNG\r\n\x1A\n\0\0\0\x0DIHDR", 16);
  constexpr std::size_t kWidth = 16;
  constexpr std::size_t kHeight = 20;
  constexpr std::size_t kColourType = 25;
  constexpr int kColour = 2;  // in the colour type
  char bytes[kColourType + 1];
  std::ifstream file(ToPath(path), std::ios::binary);
  if (!file.read(bytes, sizeof bytes) || !std::string_view(bytes, kWidth).starts_with(kStart)) {
    return {};
  }
  return PngHeader{NumberAt(bytes + kWidth), NumberAt(bytes + kHeight),
                   (bytes[kColourType] & kColour) == 0};
}

Status LoadOnWhite(const std::wstring& path, PagePointer* page) {
  Bitmap* loaded = nullptr;
  const Status status = LoadPng(path.c_str(), &loaded);
  page->reset(loaded);
  if (status != Ok || loaded->GetPixelFormat() != PixelFormat32bppARGB) return status;
  *page = FlattenOnWhite(loaded);
  return *page != nullptr ? Ok : OutOfMemory;
}

std::wstring DescribePngFault(Status status, const std::wstring& path) {
  if (status == UnknownImageFormat) return WhyNotPng(path);
  const std::optional<PngHeader> header = ReadPngHeader(path);
  if (header && std::max(header->width, header->height) > std::uint32_t{kMaxSide}) {
    return Format(L"a side of the image is longer than %d pixels", kMaxSide);
  }
  return std::wstring(L"a damaged PNG image") + (EndsEarly(path) ? L": its end is missing" : L"");
}

}  // namespace orv::tool
