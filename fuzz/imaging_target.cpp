#include <bit>
#include <vector>

#include "fuzz/targets.h"
#include "imaging/kernels.h"

namespace orv::fuzz {
namespace {

/// Pixels in a buffer of exactly the required size.
struct Pixels {
  std::vector<std::uint8_t> bytes;
  int width;
  int height;
  int stride;

  PixelPlane Plane() { return {bytes.data(), stride, width, height}; }
};

/// Runs `work` with the loops of every level and compares the pixels and the values it returns.
template <typename Work>
void Compare(const Pixels& page, const Work& work) {
  Pixels expected = page;
  const auto expectedResult = work(kPlainKernels, expected);
  for (const CpuLevel level : {CpuLevel::kSse41, CpuLevel::kAvx2}) {
    if (level > SupportedCpuLevel()) continue;
    Pixels actual = page;
    Require(work(ImagingKernelsFor(level), actual) == expectedResult,
            "every level returns the same result");
    Require(actual.bytes == expected.bytes, "every level produces the same pixels");
  }
}

}  // namespace

void Imaging(Input input) {
  Reader reader(input);
  Pixels page = {{}, reader.Below(160), reader.Below(40), 0};
  page.stride = 3 * page.width + reader.Below(6);
  const int threshold = reader.Below(65536) % 2000 - 700;
  const Ink ink = {reader.Byte(), reader.Byte(), reader.Byte()};
  const auto colour =
      std::uint32_t{0xFF000000} | reader.Byte() << 16 | reader.Byte() << 8 | reader.Byte();
  const HighlightRule rule = {colour, reader.Byte() / 255.0};
  std::uint8_t thresholds[256];
  for (std::uint8_t& entry : thresholds) entry = reader.Byte();
  // The pixels repeat the rest of the input.
  const Input pattern = reader.Rest();
  page.bytes.resize(static_cast<std::size_t>(page.stride * page.height), 0xFF);
  for (std::size_t i = 0; i < page.bytes.size() && !pattern.empty(); ++i) {
    page.bytes[i] = pattern[i % pattern.size()];
  }

  Compare(page, [&](const ImagingKernels& kernels, Pixels& pixels) {
    DiffusionErrors errors;
    return kernels.floydSteinberg(pixels.Plane(), threshold, ink, &errors);
  });
  Compare(page, [&](const ImagingKernels& kernels, Pixels& pixels) {
    DiffusionErrors errors;
    return kernels.sierraLite(pixels.Plane(), threshold, ink, &errors);
  });
  for (const int size : {4, 8, 16}) {
    Compare(page, [&](const ImagingKernels& kernels, Pixels& pixels) {
      kernels.ordered(pixels.Plane(), {size, thresholds}, ink);
      return 0;
    });
  }
  Compare(page, [&](const ImagingKernels& kernels, Pixels& pixels) {
    HighlightLimits limits;
    kernels.extractHighlight(pixels.Plane(), rule, &limits);
    return 0;
  });
  Compare(page, [&](const ImagingKernels& kernels, Pixels& pixels) {
    Pixels mask = page;
    kernels.whiten(pixels.Plane(), mask.Plane());
    return 0;
  });
  Compare(page, [&](const ImagingKernels& kernels, Pixels& pixels) {
    const int bytes = (pixels.width + 7) / 8;
    std::vector<std::uint8_t> bits(static_cast<std::size_t>(bytes * pixels.height));
    kernels.monochrome(pixels.Plane(), bits.data(), bytes);
    const BitPlane plane = {bits.data(), bytes, pixels.width, pixels.height};
    return std::tuple(bits, kernels.firstInkRow(plane), kernels.lastInkRow(plane),
                      kernels.firstInkColumn(plane), kernels.lastInkColumn(plane));
  });
}

}  // namespace orv::fuzz
