#include <libdeflate.h>
#include <png.h>

#include <cerrno>
#include <csetjmp>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <memory>
#include <string>

#include "base/out_of_memory.h"
#include "orv/platform/graphics.h"
#include "orv/platform/types.h"
#include "platform/files.h"
#include "platform/opacity.h"
#include "platform/png_resolution.h"

namespace orv {
namespace {

using FilePointer = std::unique_ptr<std::FILE, int (*)(std::FILE*)>;

FilePointer OpenFile(const std::filesystem::path& path, const char* mode) {
  return {std::fopen(path.c_str(), mode), &std::fclose};
}

/// libpng reports errors by a jump to the last `setjmp`. Functions that call `setjmp` hold only
/// plain values and call no C++ code after it, so that the jump skips no destructor.
[[noreturn]] void OnError(png_structp png, png_const_charp) { png_longjmp(png, 1); }
void OnWarning(png_structp, png_const_charp) {}

class PngReader {
 public:
  explicit PngReader(std::FILE* file)
      : file_(file),
        png_(png_create_read_struct(PNG_LIBPNG_VER_STRING, nullptr, OnError, OnWarning)) {
    if (png_ != nullptr) info_ = png_create_info_struct(png_);
  }
  PngReader(const PngReader&) = delete;
  PngReader& operator=(const PngReader&) = delete;
  ~PngReader() { png_destroy_read_struct(&png_, &info_, nullptr); }

  bool IsReady() const { return info_ != nullptr; }
  png_uint_32 width() const { return png_get_image_width(png_, info_); }
  png_uint_32 height() const { return png_get_image_height(png_, info_); }
  bool HasAlpha() const { return png_get_channels(png_, info_) == 4; }

  /// The resolution in the header; nothing if it is missing or has no unit.
  std::optional<PngResolution> Resolution() const {
    png_uint_32 x = 0;
    png_uint_32 y = 0;
    int unit = PNG_RESOLUTION_UNKNOWN;
    png_get_pHYs(png_, info_, &x, &y, &unit);
    if (unit != PNG_RESOLUTION_METER) return {};
    return PngResolution{x, y};
  }

  /// Reads up to the pixels and requests blue, green, red and, if present, alpha bytes.
  bool ReadHeader() {
    if (setjmp(png_jmpbuf(png_)) != 0) return false;
    png_init_io(png_, file_);
    // The CRC of each chunk detects damage; a second checksum of the pixels takes a quarter of the
    // time.
    png_set_option(png_, PNG_IGNORE_ADLER32, PNG_OPTION_ON);
    png_read_info(png_, info_);
    png_set_expand(png_);
    png_set_strip_16(png_);
    png_set_gray_to_rgb(png_);
    png_set_bgr(png_);
    passes_ = png_set_interlace_handling(png_);
    png_read_update_info(png_, info_);
    return true;
  }

  bool ReadPixels(BYTE* first, std::ptrdiff_t stride, png_uint_32 rows) {
    if (setjmp(png_jmpbuf(png_)) != 0) return false;
    for (int pass = 0; pass < passes_; ++pass) {
      for (png_uint_32 y = 0; y < rows; ++y) png_read_row(png_, first + y * stride, nullptr);
    }
    png_read_end(png_, nullptr);
    return true;
  }

 private:
  std::FILE* file_;
  png_structp png_;
  png_infop info_ = nullptr;
  int passes_ = 1;
};

/// The compressed pixels of an image.
struct ImageData {
  std::unique_ptr<BYTE[]> bytes;
  std::size_t size = 0;
};

/// Compresses an image with one bit per pixel. For dithered planes libdeflate takes half the time
/// of zlib's fastest level, and the result is smaller. Higher levels save little. False if memory
/// runs out.
bool CompressBits(const BitmapData& data, ImageData* result) {
  const std::unique_ptr<libdeflate_compressor, void (*)(libdeflate_compressor*)> compressor(
      libdeflate_alloc_compressor(1), &libdeflate_free_compressor);
  if (compressor == nullptr) return false;
  const std::size_t rowSize = (std::size_t{data.Width} + 7) / 8;
  const std::size_t size = (1 + rowSize) * data.Height;
  const auto rows = std::make_unique_for_overwrite<BYTE[]>(size);
  BYTE* end = rows.get();
  const BYTE* row = static_cast<const BYTE*>(data.Scan0);
  for (UINT y = 0; y < data.Height; ++y, row += data.Stride) {
    *end++ = PNG_FILTER_VALUE_NONE;
    std::memcpy(end, row, rowSize);
    end += rowSize;
  }
  const std::size_t capacity = libdeflate_zlib_compress_bound(compressor.get(), size);
  result->bytes = std::make_unique_for_overwrite<BYTE[]>(capacity);
  result->size =
      libdeflate_zlib_compress(compressor.get(), rows.get(), size, result->bytes.get(), capacity);
  return true;
}

class PngWriter {
 public:
  explicit PngWriter(std::FILE* file)
      : file_(file),
        png_(png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, OnError, OnWarning)) {
    if (png_ != nullptr) info_ = png_create_info_struct(png_);
  }
  PngWriter(const PngWriter&) = delete;
  PngWriter& operator=(const PngWriter&) = delete;
  ~PngWriter() { png_destroy_write_struct(&png_, &info_); }

  bool IsReady() const { return info_ != nullptr; }

  /// `compressed` replaces the pixels of `data` unless it is empty.
  bool Write(const BitmapData& data, const ImageData& compressed, int depth, int colourType,
             const png_color* palette, int paletteSize, const PngResolution* resolution) {
    if (setjmp(png_jmpbuf(png_)) != 0) return false;
    png_init_io(png_, file_);
    png_set_IHDR(png_, info_, data.Width, data.Height, depth, colourType, PNG_INTERLACE_NONE,
                 PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    if (paletteSize > 0) png_set_PLTE(png_, info_, palette, paletteSize);
    if (resolution != nullptr) {
      png_set_pHYs(png_, info_, resolution->x, resolution->y, PNG_RESOLUTION_METER);
    }
    png_write_info(png_, info_);
    if (compressed.size > 0) {
      png_write_chunk(png_, kImageData, compressed.bytes.get(), compressed.size);
      png_write_chunk(png_, kImageEnd, nullptr, 0);
      return true;
    }
    png_set_bgr(png_);
    const BYTE* row = static_cast<const BYTE*>(data.Scan0);
    for (UINT y = 0; y < data.Height; ++y, row += data.Stride) png_write_row(png_, row);
    png_write_end(png_, nullptr);
    return true;
  }

 private:
  static constexpr png_byte kImageData[] = {'I', 'D', 'A', 'T'};
  static constexpr png_byte kImageEnd[] = {'I', 'E', 'N', 'D'};

  std::FILE* file_;
  png_structp png_;
  png_infop info_ = nullptr;
};

/// Why an image could not be read: `Win32Error` with the reason in `errno`, which the caller reads
/// next, or `wrongBytes`. A folder has the wrong bytes.
Status ReadFailure(std::FILE* file, Status wrongBytes) {
  return std::ferror(file) != 0 && errno != EISDIR ? Win32Error : wrongBytes;
}

/// Why a file could not be opened.
Status OpenFailure() { return errno == ENOENT || errno == ENOTDIR ? FileNotFound : Win32Error; }

/// Reads the first bytes of a file, which must be those of a PNG image, and returns to its start.
Status CheckSignature(std::FILE* file) {
  BYTE signature[8] = {};
  const std::size_t count = std::fread(signature, 1, sizeof signature, file);
  if (count != sizeof signature || png_sig_cmp(signature, 0, sizeof signature) != 0) {
    return ReadFailure(file, UnknownImageFormat);
  }
  return std::fseek(file, 0, SEEK_SET) == 0 ? Ok : Win32Error;
}

Status Load(const wchar_t* path, Bitmap** bitmap) {
  const FilePointer file = OpenFile(ToPath(path), "rb");
  if (file == nullptr) return OpenFailure();
  if (const Status status = CheckSignature(file.get()); status != Ok) return status;
  PngReader reader(file.get());
  if (!reader.IsReady()) return OutOfMemory;
  if (!reader.ReadHeader()) return ReadFailure(file.get(), GenericError);
  const PixelFormat format = reader.HasAlpha() ? PixelFormat32bppARGB : PixelFormat24bppRGB;
  auto result = std::make_unique<Bitmap>(static_cast<INT>(reader.width()),
                                         static_cast<INT>(reader.height()), format);
  if (const Status status = result->GetLastStatus(); status != Ok) return status;
  BitmapData data;
  if (const Status status = result->LockBits(nullptr, ImageLockModeWrite, format, &data);
      status != Ok) {
    return status;
  }
  const bool isRead = reader.ReadPixels(static_cast<BYTE*>(data.Scan0), data.Stride, data.Height);
  const Status status = isRead ? Ok : ReadFailure(file.get(), GenericError);
  const bool dropAlpha = isRead && reader.HasAlpha() && IsOpaque(data);
  result->UnlockBits(&data);
  if (!isRead) return status;
  if (dropAlpha) {
    result.reset(result->Clone(0, 0, static_cast<INT>(result->GetWidth()),
                               static_cast<INT>(result->GetHeight()), PixelFormat24bppRGB));
    if (result == nullptr) return OutOfMemory;
  }
  *bitmap = result.release();
  return Ok;
}

/// Encodes a bitmap to the file that `open` opens, without exceptions. Without a resolution the
/// file stores none.
template <typename Open>
Status Save(Bitmap* bitmap, const Open& open, const PngResolution* resolution) {
  PixelFormat format = bitmap->GetPixelFormat();
  if (format == PixelFormat32bppRGB) format = PixelFormat24bppRGB;
  const bool isIndexed = bitmap->GetPaletteSize() > 0;
  const int depth = isIndexed ? format >> 8 & 0xFF : 8;
  const int colourType = isIndexed                        ? PNG_COLOR_TYPE_PALETTE
                         : format == PixelFormat32bppARGB ? PNG_COLOR_TYPE_RGB_ALPHA
                                                          : PNG_COLOR_TYPE_RGB;
  png_color colours[256];
  int colourCount = 0;
  if (isIndexed) {
    alignas(ColorPalette) BYTE block[sizeof(ColorPalette) + 256 * sizeof(ARGB)] = {};
    auto* palette = reinterpret_cast<ColorPalette*>(block);
    bitmap->GetPalette(palette, sizeof block);
    colourCount = static_cast<int>(palette->Count);
    for (int i = 0; i < colourCount; ++i) {
      const Color entry(palette->Entries[i]);
      colours[i] = {entry.GetRed(), entry.GetGreen(), entry.GetBlue()};
    }
  }

  BitmapData data;
  if (const Status status = bitmap->LockBits(nullptr, ImageLockModeRead, format, &data);
      status != Ok) {
    return status;
  }
  const auto write = [&] {
    ImageData compressed;
    if (depth == 1 && !CompressBits(data, &compressed)) return OutOfMemory;
    FilePointer file = open();
    if (file == nullptr) return Win32Error;
    PngWriter writer(file.get());
    const bool isWritten = writer.IsReady() && writer.Write(data, compressed, depth, colourType,
                                                            colours, colourCount, resolution);
    return std::fclose(file.release()) == 0 && isWritten ? Ok : Win32Error;
  };
  const Status status = OrOutOfMemory(OutOfMemory, write);
  bitmap->UnlockBits(&data);
  return status;
}

/// A file in memory. Its bytes are complete when it is closed.
struct MemoryFile {
  char* bytes = nullptr;
  std::size_t size = 0;

  MemoryFile() = default;
  MemoryFile(const MemoryFile&) = delete;
  MemoryFile& operator=(const MemoryFile&) = delete;
  ~MemoryFile() { std::free(bytes); }
};

}  // namespace

Status LoadPng(const wchar_t* path, Bitmap** bitmap) {
  *bitmap = nullptr;
  return OrOutOfMemory(OutOfMemory, [=] { return Load(path, bitmap); });
}

std::optional<PngResolution> ReadPngResolution(const wchar_t* path) {
  const FilePointer file = OpenFile(ToPath(path), "rb");
  if (file == nullptr) return {};
  PngReader reader(file.get());
  if (!reader.IsReady() || !reader.ReadHeader()) return {};
  return reader.Resolution();
}

Status SavePng(Bitmap* bitmap, const wchar_t* path) {
  return OrOutOfMemory(OutOfMemory, [=] {
    const std::filesystem::path file = ToPath(path);
    const auto open = [&file] { return OpenFile(file, "wb"); };
    return Save(bitmap, open, nullptr);
  });
}

Status EncodePng(Bitmap* bitmap, const std::optional<PngResolution>& resolution,
                 std::string* bytes) {
  return OrOutOfMemory(OutOfMemory, [&] {
    MemoryFile memory;
    const auto open = [&memory] {
      return FilePointer(open_memstream(&memory.bytes, &memory.size), &std::fclose);
    };
    const Status status = Save(bitmap, open, resolution ? &*resolution : nullptr);
    // Writing to memory fails only if memory runs out, which closing can show too.
    const bool isLost = status == Ok && memory.bytes == nullptr;
    if (isLost || status == Win32Error) return OutOfMemory;
    if (status == Ok) bytes->assign(memory.bytes, memory.size);
    return status;
  });
}

}  // namespace orv
