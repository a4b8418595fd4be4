#pragma once

/// Bitmaps and colours with the names, shapes and rules of GDI+, for Linux. Do not include this
/// file directly: `orv/platform/graphics.h` works on both platforms.

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

/// Access modes of `Bitmap::LockBits`; they can be combined.
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

  /// A colour from its channels; opaque unless alpha is given.
  explicit Color(ARGB argb) : value_(argb) {}
  Color(BYTE red, BYTE green, BYTE blue) : Color(255, red, green, blue) {}
  Color(BYTE alpha, BYTE red, BYTE green, BYTE blue) : value_(MakeARGB(alpha, red, green, blue)) {}

  /// Combines channels into 32 bits.
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

  /// An area from its left and top edge and its size.
  Rect(INT x, INT y, INT width, INT height) : X(x), Y(y), Width(width), Height(height) {}

  /// The left and top edge, and the size.
  INT X = 0;
  INT Y = 0;
  INT Width = 0;
  INT Height = 0;
};

/// Access to pixels, filled by `Bitmap::LockBits`.
struct BitmapData {
  UINT Width;               ///< of the area, in pixels
  UINT Height;              ///< of the area, in pixels
  INT Stride;               ///< bytes from one row to the next
  INT PixelFormat;          ///< of the accessible pixels
  void* Scan0;              ///< the first pixel of the first row
  std::uintptr_t Reserved;  ///< used by the lock
};

/// The colours of an indexed bitmap.
struct ColorPalette {
  UINT Flags;       ///< not used
  UINT Count;       ///< number of colours
  ARGB Entries[1];  ///< `Count` of them
};

/// A bitmap in memory. 24- and 32-bit pixels are blue, green, red (and alpha) bytes; indexed ones
/// start at the high bit. Not thread-safe. After an invalid constructor argument the bitmap has no
/// pixels, and its last status is the reason.
class ORV_EXPORT Bitmap {
 public:
  /// Allocates zeroed pixels: rows from top to bottom, each padded to four bytes.
  Bitmap(INT width, INT height, PixelFormat format = PixelFormat32bppARGB);

  /// Uses the caller's pixels, which must outlive the bitmap. `first` is the top row; `stride`, the
  /// bytes from one row to the next, is a multiple of four, negative for bottom-up rows.
  Bitmap(INT width, INT height, INT stride, PixelFormat format, BYTE* first);
  Bitmap(const Bitmap&) = delete;
  Bitmap& operator=(const Bitmap&) = delete;
  ~Bitmap();

  /// The size in pixels, and the pixel format.
  UINT GetWidth() const { return static_cast<UINT>(width_); }
  UINT GetHeight() const { return static_cast<UINT>(height_); }
  PixelFormat GetPixelFormat() const { return format_; }

  /// The status of the last operation that failed since the previous call; `Ok` if none did.
  Status GetLastStatus() const;

  /// Gives access to the pixels inside `rect` (all of them if it is null) in `format`. In the
  /// bitmap's own format this is the bitmap's memory. In another format it is a copy, filled if
  /// `flags` has `ImageLockModeRead` and converted back by `UnlockBits` if it has
  /// `ImageLockModeWrite`. Only one lock at a time.
  Status LockBits(const Rect* rect, UINT flags, PixelFormat format, BitmapData* data);

  /// Ends the access to the pixels.
  Status UnlockBits(BitmapData* data);

  /// A new bitmap of an area in `format`, with zeroed padding, which the caller deletes; null if
  /// the area is empty or exceeds the bitmap. Alpha is dropped, not blended, if `format` has none,
  /// and becomes 255 if the source has none. In an indexed format, colours become the nearest entry
  /// of the palette.
  Bitmap* Clone(INT x, INT y, INT width, INT height, PixelFormat format) const;

  /// Size of the palette in bytes; 0 for a bitmap without one.
  INT GetPaletteSize() const;

  /// Copies the palette to a buffer of `size` bytes, which must hold all of it.
  Status GetPalette(ColorPalette* palette, INT size) const;

  /// Replaces the palette.
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
  BYTE* owned_ = nullptr;   ///< the pixels' memory; null if it is the caller's
  std::vector<ARGB> palette_;
  std::unique_ptr<Conversion> conversion_;
  bool isLocked_ = false;
  mutable Status lastStatus_ = Ok;
};
