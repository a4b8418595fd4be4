#pragma once

/// Bitmaps and colours with the names, shapes and rules of GDI+, for systems without it.

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "orv/platform/export.h"
#include "orv/platform/types.h"

/// A 32-bit colour: alpha, red, green, blue from the high byte down.
using ARGB = std::uint32_t;
/// How the pixels of a bitmap are stored.
using PixelFormat = INT;

/// Formats: low byte an index, then bits per pixel, then flags.
constexpr PixelFormat PixelFormat1bppIndexed = 0x00030101;
constexpr PixelFormat PixelFormat8bppIndexed = 0x00030803;
constexpr PixelFormat PixelFormat24bppRGB = 0x00021808;
constexpr PixelFormat PixelFormat32bppRGB = 0x00022009;
constexpr PixelFormat PixelFormat32bppARGB = 0x0026200A;

/// What `Bitmap::LockBits` is called for; the two can be combined.
constexpr UINT ImageLockModeRead = 1;
constexpr UINT ImageLockModeWrite = 2;

/// The results of operations on bitmaps.
enum Status {
  Ok = 0,
  GenericError = 1,
  InvalidParameter = 2,
  OutOfMemory = 3,
  Win32Error = 7,
  WrongState = 8,
  FileNotFound = 10,
  UnknownImageFormat = 13,
};

/// A 32-bit colour: alpha, red, green, blue from the high byte down.
class Color {
 public:
  Color() = default;
  /// A colour of its channels; without alpha it is opaque.
  explicit Color(ARGB argb) : value_(argb) {}
  Color(BYTE red, BYTE green, BYTE blue) : Color(255, red, green, blue) {}
  Color(BYTE alpha, BYTE red, BYTE green, BYTE blue) : value_(MakeARGB(alpha, red, green, blue)) {}

  /// The 32 bits of channels.
  static ARGB MakeARGB(BYTE alpha, BYTE red, BYTE green, BYTE blue) {
    return ARGB{alpha} << 24 | ARGB{red} << 16 | ARGB{green} << 8 | blue;
  }

  /// A channel, or all of them.
  BYTE GetAlpha() const { return static_cast<BYTE>(value_ >> 24); }
  BYTE GetRed() const { return static_cast<BYTE>(value_ >> 16); }
  BYTE GetGreen() const { return static_cast<BYTE>(value_ >> 8); }
  BYTE GetBlue() const { return static_cast<BYTE>(value_); }
  ARGB GetValue() const { return value_; }

 private:
  ARGB value_ = 0xFF000000;
};

/// An area of a bitmap, in pixels.
struct Rect {
  Rect() = default;
  /// An area from its left and top edge on.
  Rect(INT x, INT y, INT width, INT height) : X(x), Y(y), Width(width), Height(height) {}

  /// The left and top edge, and the size.
  INT X = 0;
  INT Y = 0;
  INT Width = 0;
  INT Height = 0;
};

/// Pixels that `Bitmap::LockBits` gives access to.
struct BitmapData {
  UINT Width;               ///< of the area, in pixels
  UINT Height;              ///< of the area, in pixels
  INT Stride;               ///< bytes from one row to the next
  INT PixelFormat;          ///< of the pixels that are seen
  void* Scan0;              ///< the first pixel of the first row
  std::uintptr_t Reserved;  ///< the lock's own
};

/// The colours of an indexed bitmap.
struct ColorPalette {
  UINT Flags;       ///< none are used
  UINT Count;       ///< of the colours
  ARGB Entries[1];  ///< `Count` of them
};

/// A bitmap in memory. 24- and 32-bit pixels are blue, green, red (and alpha) bytes; indexed ones
/// start at the high bit. One thread at a time. An invalid argument of a constructor leaves a
/// bitmap without pixels whose last status is the reason.
class ORV_EXPORT Bitmap {
 public:
  /// Zeroed pixels of its own: rows from the top, each padded to four bytes.
  Bitmap(INT width, INT height, PixelFormat format = PixelFormat32bppARGB);
  /// Pixels of the caller, who keeps them as long as the bitmap. `first` is the top row; `stride`,
  /// the bytes from one row to the next, is a multiple of four, negative for bottom-up rows.
  Bitmap(INT width, INT height, INT stride, PixelFormat format, BYTE* first);
  Bitmap(const Bitmap&) = delete;
  Bitmap& operator=(const Bitmap&) = delete;
  ~Bitmap();

  /// The size in pixels, and the form of a pixel.
  UINT GetWidth() const { return static_cast<UINT>(width_); }
  UINT GetHeight() const { return static_cast<UINT>(height_); }
  PixelFormat GetPixelFormat() const { return format_; }

  /// The status of the last operation that failed since the last call, `Ok` when none did.
  Status GetLastStatus() const;

  /// Gives access to the pixels inside `rect` (all of them when it is null) in `format`. In the
  /// bitmap's own format that is its own memory; in another it is a copy, filled when `flags` has
  /// `ImageLockModeRead` and converted back by `UnlockBits` when it has `ImageLockModeWrite`. Only
  /// one lock at a time.
  Status LockBits(const Rect* rect, UINT flags, PixelFormat format, BitmapData* data);
  /// Ends the access to the pixels.
  Status UnlockBits(BitmapData* data);

  /// A new bitmap of an area in `format`, padding zeroed; null when the area is empty or leaves the
  /// bitmap. Alpha is dropped, not blended, when `format` has none, and 255 when the source has
  /// none. Colours become the nearest entry of an indexed format's palette.
  Bitmap* Clone(INT x, INT y, INT width, INT height, PixelFormat format) const;

  /// Bytes of the palette, 0 for a bitmap without one.
  INT GetPaletteSize() const;
  /// Copies the palette out, into `size` bytes at most, and in.
  Status GetPalette(ColorPalette* palette, INT size) const;
  Status SetPalette(const ColorPalette* palette);

 private:
  struct Conversion;

  enum class Fill { kZero, kNone };
  ORV_HIDDEN Bitmap(INT width, INT height, PixelFormat format, Fill fill);

  ORV_HIDDEN bool Contains(const Rect& area) const;
  ORV_HIDDEN Status Record(Status status) const;
  ORV_HIDDEN Status LockCopy(const Rect& area, UINT flags, PixelFormat format, BitmapData* data);
  BYTE* Row(INT y) const { return pixels_ + static_cast<std::ptrdiff_t>(y) * stride_; }

  INT width_ = 0;
  INT height_ = 0;
  INT stride_ = 0;
  PixelFormat format_ = 0;
  BYTE* pixels_ = nullptr;  ///< the top row
  BYTE* owned_ = nullptr;   ///< the memory of the pixels, null if they are the caller's
  std::vector<ARGB> palette_;
  std::unique_ptr<Conversion> conversion_;
  bool isLocked_ = false;
  mutable Status lastStatus_ = Ok;
};
