#include <benchmark/benchmark.h>
#if defined(ORV_LEPTONICA)
#include <leptonica/allheaders.h>
#undef FALSE
#undef TRUE
#endif

#include <cstring>
#include <memory>
#include <string>

#include "benchmarks/pages.h"
#include "imaging/kernels.h"
#include "imaging/pixels.h"
#include "orv/imaging/bitmap_helper.h"

/// The inner loops of the page functions on one core, compared with copying the page, the plain
/// loops and Leptonica. Every figure is for a whole page; the counter is the time per pixel.
/// `pages_bench` measures the public functions.

namespace {

using namespace orv::bench;
using orv::CpuLevel;
using orv::ImagingKernels;
using orv::PixelPlane;

constexpr Size kSizes[] = {{"812x1218", 812, 1218}, {"2400x3600", 2400, 3600}};

Bitmap* Copy(Bitmap* page) {
  return page->Clone(0, 0, static_cast<INT>(page->GetWidth()), static_cast<INT>(page->GetHeight()),
                     PixelFormat24bppRGB);
}

void CountPixels(benchmark::State& state, const Size& size) {
  state.counters["per pixel"] = benchmark::Counter(
      static_cast<double>(size.width) * size.height * static_cast<double>(state.iterations()),
      benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

/// Times `work` on a page whose pixels are restored before each run; restoring is not timed.
template <typename Work>
void RunOnPixels(benchmark::State& state, const Size& size, Kind kind, const Work& work) {
  const std::unique_ptr<Bitmap> page(Copy(PageOf(size, kind)));
  const orv::LockedBits from(PageOf(size, kind), ImageLockModeRead, PixelFormat24bppRGB);
  const orv::LockedBits to(page.get(), ImageLockModeWrite, PixelFormat24bppRGB);
  const PixelPlane plane = orv::PlaneOf(*to.data());
  const std::size_t bytes = static_cast<std::size_t>(plane.stride) * plane.height;
  for (auto _ : state) {
    state.PauseTiming();
    std::memcpy(plane.first, from.data()->Scan0, bytes);
    state.ResumeTiming();
    work(plane);
    benchmark::ClobberMemory();
  }
  CountPixels(state, size);
}

void CopyPage(benchmark::State& state, const Size& size) {
  const orv::LockedBits from(PageOf(size, kPhoto), ImageLockModeRead, PixelFormat24bppRGB);
  const std::size_t bytes = static_cast<std::size_t>(from.data()->Stride) * from.data()->Height;
  const auto target = std::make_unique<std::uint8_t[]>(bytes);
  for (auto _ : state) {
    std::memcpy(target.get(), from.data()->Scan0, bytes);
    benchmark::ClobberMemory();
  }
  CountPixels(state, size);
}

std::unique_ptr<Bitmap> MakeOneBitPage(const Size& size, Kind kind) {
  auto bits = std::make_unique<Bitmap>(size.width, size.height, PixelFormat1bppIndexed);
  BitmapHelper::GetMonochromeImage1BPP(PageOf(size, kind), bits.get());
  return bits;
}

void Bounds(benchmark::State& state, const Size& size, Kind kind) {
  const auto page = MakeOneBitPage(size, kind);
  for (auto _ : state) {
    benchmark::DoNotOptimize(BitmapHelper::GetFirstContentRow1BPP(page.get()));
    benchmark::DoNotOptimize(BitmapHelper::GetLastContentRow1BPP(page.get()));
    benchmark::DoNotOptimize(BitmapHelper::GetFirstContentColumn1BPP(page.get()));
    benchmark::DoNotOptimize(BitmapHelper::GetLastContentColumn1BPP(page.get()));
  }
  CountPixels(state, size);
}

#if defined(ORV_LEPTONICA)
struct PixDeleter {
  void operator()(Pix* pix) const { pixDestroy(&pix); }
};
using PixPointer = std::unique_ptr<Pix, PixDeleter>;

void LeptonicaDither(benchmark::State& state, const Size& size, Kind kind) {
  const orv::LockedBits bits(PageOf(size, kind), ImageLockModeRead, PixelFormat24bppRGB);
  const PixelPlane plane = orv::PlaneOf(*bits.data());
  const PixPointer pix(pixCreate(size.width, size.height, 32));
  for (int y = 0; y < size.height; ++y) {
    for (int x = 0; x < size.width; ++x) {
      const std::uint8_t* pixel = plane.Row(y) + 3 * x;
      pixSetRGBPixel(pix.get(), x, y, pixel[2], pixel[1], pixel[0]);
    }
  }
  for (auto _ : state) {
    const PixPointer grey(pixConvertRGBToGray(pix.get(), 0.299f, 0.587f, 0.114f));
    const PixPointer dithered(pixDitherToBinary(grey.get()));
    benchmark::DoNotOptimize(dithered.get());
  }
  CountPixels(state, size);
}

void LeptonicaBounds(benchmark::State& state, const Size& size, Kind kind) {
  const auto page = MakeOneBitPage(size, kind);
  const orv::LockedBits bits(page.get(), ImageLockModeRead, PixelFormat1bppIndexed);
  const PixPointer pix(pixCreate(size.width, size.height, 1));
  for (int y = 0; y < size.height; ++y) {
    for (int x = 0; x < size.width; ++x) {
      // In Leptonica 1 is ink.
      if ((bits.Row(static_cast<UINT>(y))[x / 8] >> (7 - x % 8) & 1) == 0) {
        pixSetPixel(pix.get(), x, y, 1);
      }
    }
  }
  for (auto _ : state) {
    Box* box = nullptr;
    pixClipToForeground(pix.get(), nullptr, &box);
    boxDestroy(&box);
  }
  CountPixels(state, size);
}
#endif

void RegisterLevel(const Size& size, CpuLevel level, const std::string& suffix) {
  const ImagingKernels& kernels = orv::ImagingKernelsFor(level);
  const auto add = [&](const std::string& name, auto function) {
    benchmark::RegisterBenchmark((name + suffix).c_str(), function)->Unit(benchmark::kMicrosecond);
  };
  for (const Kind kind : {kText, kPhoto, kLabel, kWhite}) {
    const std::string page = std::string("/") + kKinds[kind];
    add("FloydSteinberg" + page, [&size, &kernels, kind](benchmark::State& state) {
      RunOnPixels(state, size, kind, [&](const PixelPlane& plane) {
        orv::DiffusionErrors errors;
        kernels.floydSteinberg(plane, 128, {0, 0, 0}, &errors);
      });
    });
    add("SierraLite" + page, [&size, &kernels, kind](benchmark::State& state) {
      RunOnPixels(state, size, kind, [&](const PixelPlane& plane) {
        orv::DiffusionErrors errors;
        kernels.sierraLite(plane, 128, {0, 0, 0}, &errors);
      });
    });
    add("Monochrome" + page, [&size, &kernels, kind](benchmark::State& state) {
      const std::ptrdiff_t stride = (size.width + 31) / 32 * 4;
      const auto bits =
          std::make_unique<std::uint8_t[]>(static_cast<std::size_t>(stride * size.height));
      RunOnPixels(state, size, kind,
                  [&](const PixelPlane& plane) { kernels.monochrome(plane, bits.get(), stride); });
    });
    for (const int n : {4, 8, 16}) {
      add("Ordered" + std::to_string(n) + page,
          [&size, &kernels, kind, n](benchmark::State& state) {
            std::uint8_t entries[256];
            for (int i = 0; i < n * n; ++i)
              entries[i] = static_cast<std::uint8_t>(i * 255 / (n * n));
            RunOnPixels(state, size, kind, [&](const PixelPlane& plane) {
              kernels.ordered(plane, {n, entries}, {0, 0, 0});
            });
          });
    }
  }
}

void RegisterAll() {
  for (const Size& size : kSizes) {
    const std::string suffix = std::string("/") + size.name;
    const auto add = [&](const std::string& name, auto function) {
      benchmark::RegisterBenchmark((name + suffix).c_str(), function)
          ->Unit(benchmark::kMicrosecond);
    };
    add("Copy", [&size](benchmark::State& state) { CopyPage(state, size); });
    RegisterLevel(size, CpuLevel::kPlain, suffix + "/plain");
    if (orv::SupportedCpuLevel() >= CpuLevel::kSse41) {
      RegisterLevel(size, CpuLevel::kSse41, suffix + "/sse41");
    }
    if (orv::SupportedCpuLevel() >= CpuLevel::kAvx2) {
      RegisterLevel(size, CpuLevel::kAvx2, suffix + "/avx2");
    }
    for (const Kind kind : {kText, kPhoto, kLabel, kWhite}) {
      const std::string page = std::string("/") + kKinds[kind];
      add("Bounds" + page, [&size, kind](benchmark::State& state) { Bounds(state, size, kind); });
#if defined(ORV_LEPTONICA)
      add("LeptonicaBounds" + page,
          [&size, kind](benchmark::State& state) { LeptonicaBounds(state, size, kind); });
      add("LeptonicaDither" + page,
          [&size, kind](benchmark::State& state) { LeptonicaDither(state, size, kind); });
#endif
    }
  }
}

}  // namespace

int main(int argc, char** argv) {
  RegisterAll();
  benchmark::Initialize(&argc, argv);
  benchmark::RunSpecifiedBenchmarks();
  return 0;
}
