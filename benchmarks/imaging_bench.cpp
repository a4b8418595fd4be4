#include <benchmark/benchmark.h>
#include <leptonica/allheaders.h>
#undef FALSE
#undef TRUE

#include <cmath>
#include <cstring>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <utility>

#include "imaging/kernels.h"
#include "imaging/pixels.h"
#include "orv/imaging/bitmap_helper.h"

/// Page functions on one core, compared with copying the page, the plain loops and Leptonica. Every
/// figure is for a whole page; the counter is the time per pixel.

namespace {

using orv::CpuLevel;
using orv::ImagingKernels;
using orv::PixelPlane;

struct Size {
  const char* name;
  int width;
  int height;
};
constexpr Size kSizes[] = {{"812x1218", 812, 1218}, {"2400x3600", 2400, 3600}};

/// These functions compute the colour of text, a bar code and a picture from the position alone.
std::uint32_t TextAt(int x, int y) {
  const bool isBarcode = y % 600 > 480 && (x * 7919 >> 4) % 5 < 2;
  const bool isLetter = y % 600 < 420 && y % 30 < 18 && (x / 3 * 31 + y / 3 * 17) % 7 < 2;
  return isBarcode || isLetter ? 0x000000 : 0xFFFFFF;
}

std::uint32_t PhotoAt(int x, int y, std::uint32_t noise) {
  const auto wave = [&](double phase, double scale) {
    const double value = 128 + 100 * std::sin(x * scale + phase) * std::cos(y * scale * 0.7);
    return static_cast<std::uint32_t>(value) + noise % 16;
  };
  return wave(0, 0.011) << 16 | wave(1, 0.007) << 8 | wave(2, 0.005);
}

/// Mostly white: a few lines of text, a small picture, a red mark.
std::uint32_t LabelAt(int x, int y, std::uint32_t noise) {
  if (y % 600 < 60 && x % 800 < 600) return TextAt(x, y);
  if (y % 1200 > 900 && x % 800 > 650) return PhotoAt(x, y, noise);
  if (y % 1200 > 700 && y % 1200 < 800 && x % 800 < 120) return 0xE02020 + noise % 4;
  return 0xFFFFFF;
}

enum Kind { kText, kPhoto, kLabel, kWhite };
constexpr const char* kKinds[] = {"text", "photo", "label", "white"};

std::unique_ptr<Bitmap> MakePage(const Size& size, Kind kind) {
  auto page = std::make_unique<Bitmap>(size.width, size.height, PixelFormat24bppRGB);
  const orv::LockedBits bits(page.get(), ImageLockModeWrite, PixelFormat24bppRGB);
  const PixelPlane plane = orv::PlaneOf(*bits.data());
  std::mt19937 random(1);
  for (int y = 0; y < size.height; ++y) {
    std::uint8_t* pixel = plane.Row(y);
    for (int x = 0; x < size.width; ++x, pixel += 3) {
      std::uint32_t colour = 0xFFFFFF;
      if (kind == kText) colour = TextAt(x, y);
      if (kind == kPhoto) colour = PhotoAt(x, y, random());
      if (kind == kLabel) colour = LabelAt(x, y, random());
      std::memcpy(pixel, &colour, 3);
    }
  }
  return page;
}

/// The page, generated once per process.
Bitmap* PageOf(const Size& size, Kind kind) {
  static std::map<std::pair<int, Kind>, std::unique_ptr<Bitmap>> pages;
  std::unique_ptr<Bitmap>& page = pages[{size.width, kind}];
  if (page == nullptr) page = MakePage(size, kind);
  return page.get();
}

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

/// The split in separate steps: extracts the highlight twice and processes one image after the
/// other.
void SplitStepByStep(Bitmap* source, const ImagingKernels& kernels, double tolerance) {
  const orv::HighlightRule rule = {0xFFE02020, tolerance};
  const auto locked = [](Bitmap* bitmap, auto work) {
    const orv::LockedBits bits(bitmap, ImageLockModeRead | ImageLockModeWrite, PixelFormat24bppRGB);
    work(orv::PlaneOf(*bits.data()));
  };
  const std::unique_ptr<Bitmap> mask(Copy(source));
  locked(mask.get(), [&](const PixelPlane& plane) { kernels.extractHighlight(plane, rule); });
  const std::unique_ptr<Bitmap> highlight(Copy(source));
  locked(highlight.get(), [&](const PixelPlane& plane) {
    kernels.extractHighlight(plane, rule);
    kernels.floydSteinberg(plane, 128, {0x20, 0x20, 0xE0});
  });
  const std::unique_ptr<Bitmap> background(Copy(source));
  locked(background.get(), [&](const PixelPlane& plane) {
    kernels.floydSteinberg(plane, 128, {0, 0, 0});
    locked(mask.get(), [&](const PixelPlane& maskPlane) { kernels.whiten(plane, maskPlane); });
  });
}

/// Times the pages after the first one, which mostly measures memory that is new to the system.
template <typename Work>
void RunWarm(benchmark::State& state, Work work) {
  work();
  for (auto _ : state) work();
}

void Split(benchmark::State& state, const Size& size, Kind kind) {
  Color colour(0xFFE02020);
  RunWarm(state, [&, page = PageOf(size, kind)] {
    Bitmap* background = nullptr;
    Bitmap* highlight = nullptr;
    BitmapHelper::SplitImage(page, colour, 0.1, eBitmapDithererFloydSteinberg, 128, &background,
                             &highlight);
    BitmapHelper::DeleteBitmap(background);
    BitmapHelper::DeleteBitmap(highlight);
  });
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

void RegisterLevel(const Size& size, CpuLevel level, const std::string& suffix) {
  const ImagingKernels& kernels = orv::ImagingKernelsFor(level);
  const auto add = [&](const std::string& name, auto function) {
    benchmark::RegisterBenchmark((name + suffix).c_str(), function)->Unit(benchmark::kMicrosecond);
  };
  for (const Kind kind : {kText, kPhoto, kLabel, kWhite}) {
    const std::string page = std::string("/") + kKinds[kind];
    add("FloydSteinberg" + page, [&size, &kernels, kind](benchmark::State& state) {
      RunOnPixels(state, size, kind, [&](const PixelPlane& plane) {
        kernels.floydSteinberg(plane, 128, {0, 0, 0});
      });
    });
    add("SierraLite" + page, [&size, &kernels, kind](benchmark::State& state) {
      RunOnPixels(state, size, kind, [&](const PixelPlane& plane) {
        kernels.sierraLite(plane, 128, {0, 0, 0});
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
      add("LeptonicaBounds" + page,
          [&size, kind](benchmark::State& state) { LeptonicaBounds(state, size, kind); });
      add("Split" + page, [&size, kind](benchmark::State& state) { Split(state, size, kind); });
      add("SplitStepByStep" + page, [&size, kind](benchmark::State& state) {
        RunWarm(state, [source = PageOf(size, kind)] {
          SplitStepByStep(source, orv::kPlainKernels, 0.1);
        });
        CountPixels(state, size);
      });
      add("LeptonicaDither" + page,
          [&size, kind](benchmark::State& state) { LeptonicaDither(state, size, kind); });
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
