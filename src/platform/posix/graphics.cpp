#include "orv/platform/graphics.h"

#include <sys/mman.h>

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <new>
#include <utility>

#include "orv/platform/lock.h"
#include "orv/platform/types.h"

#if defined(__SANITIZE_ADDRESS__)
#define ORV_ADDRESS_SANITIZER 1
#elif defined(__has_feature)
#define ORV_ADDRESS_SANITIZER __has_feature(address_sanitizer)
#else
#define ORV_ADDRESS_SANITIZER 0
#endif

namespace {

int BitsPerPixel(PixelFormat format) { return format >> 8 & 0xFF; }

bool IsSupported(PixelFormat format) {
  constexpr PixelFormat kFormats[] = {PixelFormat1bppIndexed, PixelFormat8bppIndexed,
                                      PixelFormat24bppRGB, PixelFormat32bppRGB,
                                      PixelFormat32bppARGB};
  return std::find(std::begin(kFormats), std::end(kFormats), format) != std::end(kFormats);
}

/// Bytes of a row in `format`, padded to four; above INT_MAX if the width is too large for a
/// bitmap.
std::int64_t StrideOf(INT width, PixelFormat format) {
  return (static_cast<std::int64_t>(width) * BitsPerPixel(format) + 31) / 32 * 4;
}

/// Black and white; for 8 bits, the 256 greys.
std::vector<ARGB> DefaultPalette(PixelFormat format) {
  std::vector<ARGB> palette;
  if (format != PixelFormat1bppIndexed && format != PixelFormat8bppIndexed) return palette;
  const ARGB count = ARGB{1} << BitsPerPixel(format);
  for (ARGB i = 0; i < count; ++i) palette.push_back(0xFF000000 | i * 255 / (count - 1) * 0x010101);
  return palette;
}

ARGB ReadPixel(const BYTE* row, INT x, PixelFormat format, const std::vector<ARGB>& palette) {
  switch (format) {
    case PixelFormat1bppIndexed:
      return palette[row[x / 8] >> (7 - x % 8) & 1];
    case PixelFormat8bppIndexed:
      return row[x] < palette.size() ? palette[row[x]] : 0xFF000000;
    case PixelFormat24bppRGB:
      return Color::MakeARGB(255, row[x * 3 + 2], row[x * 3 + 1], row[x * 3]);
    case PixelFormat32bppRGB:
      return Color::MakeARGB(255, row[x * 4 + 2], row[x * 4 + 1], row[x * 4]);
    default:
      return Color::MakeARGB(row[x * 4 + 3], row[x * 4 + 2], row[x * 4 + 1], row[x * 4]);
  }
}

BYTE NearestEntry(ARGB argb, const std::vector<ARGB>& palette) {
  const Color wanted(argb);
  std::size_t nearest = 0;
  int least = INT_MAX;
  for (std::size_t i = 0; i < palette.size(); ++i) {
    const Color entry(palette[i]);
    const int red = entry.GetRed() - wanted.GetRed();
    const int green = entry.GetGreen() - wanted.GetGreen();
    const int blue = entry.GetBlue() - wanted.GetBlue();
    const int distance = red * red + green * green + blue * blue;
    if (distance >= least) continue;
    least = distance;
    nearest = i;
  }
  return static_cast<BYTE>(nearest);
}

void WritePixel(BYTE* row, INT x, PixelFormat format, const std::vector<ARGB>& palette, ARGB argb) {
  const Color colour(argb);
  switch (format) {
    case PixelFormat1bppIndexed: {
      const BYTE bit = static_cast<BYTE>(0x80 >> x % 8);
      row[x / 8] = static_cast<BYTE>(NearestEntry(argb, palette) != 0 ? row[x / 8] | bit
                                                                      : row[x / 8] & ~bit);
      return;
    }
    case PixelFormat8bppIndexed:
      row[x] = NearestEntry(argb, palette);
      return;
    case PixelFormat32bppRGB:
    case PixelFormat32bppARGB:
      row[x * 4 + 3] = format == PixelFormat32bppARGB ? colour.GetAlpha() : 0;
      row += x;  // the colour bytes begin at 4 x in the row
      [[fallthrough]];
    default:
      row[x * 3] = colour.GetBlue();
      row[x * 3 + 1] = colour.GetGreen();
      row[x * 3 + 2] = colour.GetRed();
  }
}

/// Memory for pixels. Large bitmaps request huge pages, which saves most of the cost of the first
/// access to fresh memory.
BYTE* AllocateBlock(std::size_t size) {
  constexpr std::size_t kLargePage = std::size_t{2} << 20;
  if (size < 2 * kLargePage) return static_cast<BYTE*>(std::malloc(size));
  size = (size + kLargePage - 1) / kLargePage * kLargePage;
  void* pixels = std::aligned_alloc(kLargePage, size);
  if (pixels != nullptr) madvise(pixels, size, MADV_HUGEPAGE);
  return static_cast<BYTE*>(pixels);
}

/// The memory of deleted bitmaps, for the next ones of the same size. A driver makes the same
/// planes page after page; the heap returns their memory to the system in between, and each page
/// then costs a fault per 4 KiB.
class DeletedPixels {
 public:
  /// A kept block of this size, or null.
  BYTE* Take(std::size_t size) {
    if (!IsKept(size) || !lock_.try_lock()) return nullptr;
    Block* const block = Find(size);
    BYTE* const pixels = block != nullptr ? std::exchange(*block, {}).pixels : nullptr;
    lock_.unlock();
    return pixels;
  }

  /// Keeps a block, or frees it. One of the kept blocks makes room.
  void Return(BYTE* pixels, std::size_t size) {
    if (IsKept(size) && lock_.try_lock()) {
      if (!isClosed_) {
        Block* const free = Find(0);
        Block* const block = free != nullptr ? free : &blocks_[next_];
        if (free == nullptr) next_ = (next_ + 1) % std::size(blocks_);
        pixels = std::exchange(*block, {pixels, size}).pixels;
      }
      lock_.unlock();
    }
    std::free(pixels);
  }

  /// Frees all blocks, and keeps no more if `isLast`. Returns whether there were any.
  bool Free(bool isLast) {
    if (!lock_.try_lock()) return false;
    isClosed_ = isClosed_ || isLast;
    bool isFreed = false;
    for (Block& block : blocks_) {
      isFreed = isFreed || block.size != 0;
      std::free(std::exchange(block, {}).pixels);
    }
    lock_.unlock();
    return isFreed;
  }

 private:
  struct Block {
    BYTE* pixels = nullptr;
    std::size_t size = 0;
  };

  /// Returns a block of this size, or null. Empty slots have the size 0.
  Block* Find(std::size_t size) {
    const auto found = std::find_if(std::begin(blocks_), std::end(blocks_),
                                    [&](const Block& block) { return block.size == size; });
    return found != std::end(blocks_) ? found : nullptr;
  }

  /// Whether blocks of a size are kept: not small ones, for which the heap does the same, and none
  /// that are worth more as free memory. The address sanitizer must see every release.
  static bool IsKept(std::size_t size) {
#if ORV_ADDRESS_SANITIZER
    return size == 0;
#else
    constexpr std::size_t kMinSize = std::size_t{64} << 10;
    constexpr std::size_t kMaxSize = std::size_t{32} << 20;  // a label of 100 x 150 mm at 600 dpi
    return size >= kMinSize && size <= kMaxSize;
#endif
  }

  orv::Lock lock_;  // never waited for, so that a forked process can go on
  Block blocks_[3];
  std::size_t next_ = 0;
  bool isClosed_ = false;
};

// Without a destructor: other threads may delete bitmaps while the process ends.
constinit DeletedPixels deletedPixels;

/// Runs when the library is unloaded, and at the end of the process.
[[gnu::destructor]] void FreeDeletedPixels() { deletedPixels.Free(true); }

BYTE* AllocatePixels(std::size_t size) {
  BYTE* pixels = deletedPixels.Take(size);
  if (pixels == nullptr) pixels = AllocateBlock(size);
  if (pixels == nullptr && deletedPixels.Free(false)) pixels = AllocateBlock(size);
  return pixels;
}

struct PixelArea {
  BYTE* first;
  INT stride;
  INT x;  ///< column of the area's left edge
  PixelFormat format;
  const std::vector<ARGB>* palette;
};

void CopyPixels(const PixelArea& from, const PixelArea& to, INT width, INT height) {
  const int bits = BitsPerPixel(from.format);
  const bool wholeBytes = bits % 8 == 0 || (from.x % 8 == 0 && to.x % 8 == 0 && width % 8 == 0);
  const bool same = from.format == to.format && wholeBytes && *from.palette == *to.palette;
  const auto bytes = [bits](INT pixels) {
    return static_cast<std::size_t>(pixels) * static_cast<std::size_t>(bits) / 8;
  };
  for (INT y = 0; y < height; ++y) {
    const BYTE* source = from.first + static_cast<std::ptrdiff_t>(y) * from.stride;
    BYTE* target = to.first + static_cast<std::ptrdiff_t>(y) * to.stride;
    if (same) {
      std::memcpy(target + bytes(to.x), source + bytes(from.x), bytes(width));
      continue;
    }
    for (INT x = 0; x < width; ++x) {
      WritePixel(target, to.x + x, to.format, *to.palette,
                 ReadPixel(source, from.x + x, from.format, *from.palette));
    }
  }
}

}  // namespace

/// What `UnlockBits` needs to write a converted copy back.
struct Bitmap::Conversion {
  Rect rect;
  UINT flags;
  PixelFormat format;
  INT stride;
  std::vector<ARGB> palette;
  std::vector<BYTE> copy;
};

Bitmap::Bitmap(INT width, INT height, PixelFormat format)
    : Bitmap(width, height, format, Fill::kZero) {}

Bitmap::Bitmap(INT width, INT height, PixelFormat format, Fill fill) : format_(format) {
  if (width <= 0 || height <= 0 || !IsSupported(format)) {
    lastStatus_ = InvalidParameter;
    return;
  }
  const std::int64_t stride = StrideOf(width, format);
  if (stride > INT_MAX / height) {
    lastStatus_ = OutOfMemory;
    return;
  }
  const std::size_t size = static_cast<std::size_t>(stride) * static_cast<std::size_t>(height);
  try {
    palette_ = DefaultPalette(format);
    pixels_ = owned_ = AllocatePixels(size);
  } catch (const std::bad_alloc&) {
  }
  if (pixels_ == nullptr) {
    palette_.clear();
    lastStatus_ = OutOfMemory;
    return;
  }
  if (fill == Fill::kZero) std::memset(pixels_, 0, size);
  width_ = width;
  height_ = height;
  stride_ = static_cast<INT>(stride);
}

Bitmap::Bitmap(INT width, INT height, INT stride, PixelFormat format, BYTE* first)
    : format_(format) {
  if (width <= 0 || height <= 0 || !IsSupported(format) || first == nullptr || stride % 4 != 0 ||
      std::abs(std::int64_t{stride}) < StrideOf(width, format)) {
    lastStatus_ = InvalidParameter;
    return;
  }
  try {
    palette_ = DefaultPalette(format);
  } catch (const std::bad_alloc&) {
    lastStatus_ = OutOfMemory;
    return;
  }
  width_ = width;
  height_ = height;
  stride_ = stride;
  pixels_ = first;
}

Bitmap::~Bitmap() {
  if (owned_ == nullptr) return;
  deletedPixels.Return(owned_,
                       static_cast<std::size_t>(stride_) * static_cast<std::size_t>(height_));
}

Status Bitmap::Record(Status status) const {
  if (status != Ok) lastStatus_ = status;
  return status;
}

Status Bitmap::GetLastStatus() const { return std::exchange(lastStatus_, Ok); }

bool Bitmap::Contains(const Rect& area) const {
  return area.X >= 0 && area.Y >= 0 && area.Width > 0 && area.Height > 0 &&
         area.Width <= width_ - area.X && area.Height <= height_ - area.Y;
}

Status Bitmap::LockBits(const Rect* rect, UINT flags, PixelFormat format, BitmapData* data) {
  if (data == nullptr || pixels_ == nullptr || (format != format_ && !IsSupported(format))) {
    return Record(InvalidParameter);
  }
  const Rect area = rect != nullptr ? *rect : Rect(0, 0, width_, height_);
  if (!Contains(area)) return Record(InvalidParameter);
  if (isLocked_) return Record(WrongState);

  const std::int64_t leftBits = static_cast<std::int64_t>(area.X) * BitsPerPixel(format);
  if (format != format_ || leftBits % 8 != 0) return LockCopy(area, flags, format, data);
  *data = {static_cast<UINT>(area.Width),
           static_cast<UINT>(area.Height),
           stride_,
           format,
           Row(area.Y) + leftBits / 8,
           0};
  isLocked_ = true;
  return Ok;
}

Status Bitmap::LockCopy(const Rect& area, UINT flags, PixelFormat format, BitmapData* data) {
  const INT stride = static_cast<INT>(StrideOf(area.Width, format));
  try {
    const std::size_t size =
        static_cast<std::size_t>(stride) * static_cast<std::size_t>(area.Height);
    conversion_ = std::make_unique<Conversion>(
        Conversion{area, flags, format, stride,
                   format == format_ ? palette_ : DefaultPalette(format), std::vector<BYTE>(size)});
  } catch (const std::bad_alloc&) {
    return Record(OutOfMemory);
  }
  BYTE* first = conversion_->copy.data();
  if ((flags & ImageLockModeRead) != 0) {
    CopyPixels({Row(area.Y), stride_, area.X, format_, &palette_},
               {first, stride, 0, format, &conversion_->palette}, area.Width, area.Height);
  }
  *data = {static_cast<UINT>(area.Width), static_cast<UINT>(area.Height), stride, format, first, 0};
  isLocked_ = true;
  return Ok;
}

Status Bitmap::UnlockBits(BitmapData* data) {
  if (data == nullptr) return Record(InvalidParameter);
  if (!isLocked_) return Record(WrongState);
  isLocked_ = false;
  if (conversion_ == nullptr) return Ok;
  const std::unique_ptr<Conversion> from = std::move(conversion_);
  if ((from->flags & ImageLockModeWrite) != 0) {
    CopyPixels({from->copy.data(), from->stride, 0, from->format, &from->palette},
               {Row(from->rect.Y), stride_, from->rect.X, format_, &palette_}, from->rect.Width,
               from->rect.Height);
  }
  return Ok;
}

Bitmap* Bitmap::Clone(INT x, INT y, INT width, INT height, PixelFormat format) const {
  if (!Contains(Rect(x, y, width, height))) {
    Record(InvalidParameter);
    return nullptr;
  }
  auto clone =
      std::unique_ptr<Bitmap>(new (std::nothrow) Bitmap(width, height, format, Fill::kNone));
  const Status status = clone != nullptr ? clone->GetLastStatus() : OutOfMemory;
  if (Record(status) != Ok) return nullptr;
  if (format == format_) clone->palette_ = palette_;
  // Clears what no pixel covers: padding, and the rest of a last byte with fewer than eight pixels.
  const INT covered = static_cast<INT>(static_cast<std::int64_t>(width) * BitsPerPixel(format) / 8);
  for (INT row = 0; row < height; ++row) {
    std::memset(clone->Row(row) + covered, 0, static_cast<std::size_t>(clone->stride_ - covered));
  }
  CopyPixels({Row(y), stride_, x, format_, &palette_},
             {clone->pixels_, clone->stride_, 0, format, &clone->palette_}, width, height);
  return clone.release();
}

INT Bitmap::GetPaletteSize() const {
  if (palette_.empty()) return 0;
  return static_cast<INT>(offsetof(ColorPalette, Entries) + palette_.size() * sizeof(ARGB));
}

Status Bitmap::GetPalette(ColorPalette* palette, INT size) const {
  if (palette == nullptr || palette_.empty() || size < GetPaletteSize()) {
    return Record(InvalidParameter);
  }
  palette->Flags = 0;
  palette->Count = static_cast<UINT>(palette_.size());
  std::memcpy(palette->Entries, palette_.data(), palette_.size() * sizeof(ARGB));
  return Ok;
}

Status Bitmap::SetPalette(const ColorPalette* palette) {
  if (palette == nullptr || palette_.empty() || palette->Count == 0 ||
      palette->Count > UINT{1} << BitsPerPixel(format_)) {
    return Record(InvalidParameter);
  }
  palette_.assign(palette->Entries, palette->Entries + palette->Count);
  if (format_ == PixelFormat1bppIndexed) palette_.resize(2, 0xFF000000);
  return Ok;
}

namespace orv {

GraphicsSession::GraphicsSession() = default;
GraphicsSession::~GraphicsSession() {}

}  // namespace orv
