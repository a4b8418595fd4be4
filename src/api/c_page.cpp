#include <cmath>
#include <cstdint>
#include <cstring>

#include "api/c_call.h"
#include "imaging/colour.h"
#include "imaging/dithering.h"
#include "imaging/kernels.h"
#include "imaging/page_split.h"
#include "orv/c_api.h"
#include "orv/imaging/bitmap_rasterizer.h"

namespace {

/// Whether an image has the format, and its rows neither overlap nor exceed the address space.
bool IsImage(const orv_image* image, std::int32_t format) {
  if (image == nullptr || image->size < sizeof(orv_image) || image->pixels == nullptr) return false;
  // `unused` must be 0, so that a later version can use it.
  if (image->format != format || image->unused != 0) return false;
  if (image->width < 1 || image->width > ORV_MAX_IMAGE_SIDE) return false;
  if (image->height < 1 || image->height > ORV_MAX_IMAGE_SIDE) return false;
  const std::int64_t step = std::abs(std::int64_t{image->stride});
  const std::int64_t rowBytes = format == ORV_FORMAT_BGR24 ? std::int64_t{3} * image->width
                                                           : (std::int64_t{image->width} + 7) / 8;
  return step >= rowBytes && step <= PTRDIFF_MAX / image->height;
}

bool IsSameSize(const orv_image& a, const orv_image& b) {
  return a.width == b.width && a.height == b.height;
}

orv::PixelPlane PlaneFromC(const orv_image& image) {
  return {static_cast<std::uint8_t*>(image.pixels), image.stride, image.width, image.height};
}

eBitmapDitherer MethodFromC(std::int32_t method) { return static_cast<eBitmapDitherer>(method); }

bool IsColour(std::uint32_t colour) { return colour <= 0xFFFFFF; }

orv::Ink InkFromC(std::uint32_t colour) {
  return {static_cast<std::uint8_t>(colour), static_cast<std::uint8_t>(colour >> 8),
          static_cast<std::uint8_t>(colour >> 16)};
}

void CopyRows(const orv::PixelPlane& from, const orv::PixelPlane& to) {
  for (int y = 0; y < from.height; ++y) {
    std::memcpy(to.Row(y), from.Row(y), std::size_t{3} * static_cast<std::size_t>(from.width));
  }
}

}  // namespace

std::int32_t ORV_C_CALL orv_page_dither(const orv_image* image, std::int32_t method,
                                        std::int32_t threshold, std::uint32_t colour) {
  if (!IsImage(image, ORV_FORMAT_BGR24) || !orv::IsKnownMethod(MethodFromC(method)) ||
      !IsColour(colour)) {
    return ORV_ERROR_ARGUMENT;
  }
  return orv::CallFromC([=] {
    return orv::Dither(PlaneFromC(*image), MethodFromC(method), threshold, InkFromC(colour))
               ? ORV_OK
               : ORV_ERROR_MEMORY;
  });
}

std::int32_t ORV_C_CALL orv_page_to_one_bit(const orv_image* source, const orv_image* target) {
  if (!IsImage(source, ORV_FORMAT_BGR24) || !IsImage(target, ORV_FORMAT_BIT1) ||
      !IsSameSize(*source, *target)) {
    return ORV_ERROR_ARGUMENT;
  }
  orv::ActiveImagingKernels().monochrome(
      PlaneFromC(*source), static_cast<std::uint8_t*>(target->pixels), target->stride);
  return ORV_OK;
}

std::int32_t ORV_C_CALL orv_page_bounds(const orv_image* image, std::int32_t bounds[4]) {
  if (!IsImage(image, ORV_FORMAT_BIT1) || bounds == nullptr) return ORV_ERROR_ARGUMENT;
  return orv::CallFromC([=] {
    const orv::ImagingKernels& kernels = orv::ActiveImagingKernels();
    const orv::BitPlane plane = {static_cast<const std::uint8_t*>(image->pixels), image->stride,
                                 image->width, image->height};
    bounds[0] = kernels.firstInkRow(plane);
    bounds[1] = kernels.lastInkRow(plane);
    bounds[2] = kernels.firstInkColumn(plane);
    bounds[3] = kernels.lastInkColumn(plane);
    return ORV_OK;
  });
}

std::int32_t ORV_C_CALL orv_page_split(const orv_image* page, std::uint32_t colour,
                                       double tolerance, std::int32_t method,
                                       std::int32_t threshold, const orv_image* background,
                                       const orv_image* highlight) {
  const bool areImages = IsImage(page, ORV_FORMAT_BGR24) && IsImage(background, ORV_FORMAT_BGR24) &&
                         IsImage(highlight, ORV_FORMAT_BGR24) && IsSameSize(*page, *background) &&
                         IsSameSize(*page, *highlight);
  if (!areImages || !orv::IsKnownMethod(MethodFromC(method)) || !IsColour(colour) ||
      !std::isfinite(tolerance)) {
    return ORV_ERROR_ARGUMENT;
  }
  const orv::Ink ink = InkFromC(colour);
  // The stretch of the greys divides by the distance of this grey from white.
  constexpr int kWhiteThousandths = 255'000;
  if (orv::GrayThousandths(ink.red, ink.green, ink.blue) >= kWhiteThousandths) {
    return ORV_ERROR_ARGUMENT;
  }
  return orv::CallFromC([=] {
    CopyRows(PlaneFromC(*page), PlaneFromC(*background));
    CopyRows(PlaneFromC(*page), PlaneFromC(*highlight));
    return orv::SplitPlanes(PlaneFromC(*background), PlaneFromC(*highlight),
                            {0xFF000000 | colour, tolerance}, MethodFromC(method), threshold)
               ? ORV_OK
               : ORV_ERROR_MEMORY;
  });
}
