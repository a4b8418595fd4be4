#include <benchmark/benchmark.h>
#include <sys/resource.h>
#if defined(ORV_LEPTONICA)
#include <leptonica/allheaders.h>
#undef FALSE
#undef TRUE
#endif

#include <memory>
#include <string>

#include "benchmarks/pages.h"
#include "imaging/kernels.h"
#include "orv/imaging/bitmap_helper.h"

/// What a driver does with each page, by the public functions, compared with the same work in
/// Leptonica and in plain steps. Page after page is processed, and those from the tenth on are
/// timed. The counter is the time per pixel; ORV_CPU selects the instruction set.

namespace {

using namespace orv::bench;
using orv::ImagingKernels;
using orv::PixelPlane;

// 4 x 6 inches.
constexpr Size kSizes[] = {
    {"203 dpi", 812, 1218}, {"300 dpi", 1200, 1800}, {"600 dpi", 2400, 3600}};
constexpr Kind kPageKinds[] = {kText, kLabel, kPhoto};
constexpr double kTolerance = 0.2;

/// The ink begins at a quarter of an inch.
Bitmap* Page(const Size& size, Kind kind) { return PageOf(size, kind, size.width / 16); }

/// A page as one-bit plane with its bounds.
void ToOneBit(Bitmap* page) {
  const orv::OwnedBitmap dots(BitmapRasterizer::Dither(page, eBitmapDithererFloydSteinberg, 128));
  const orv::OwnedBitmap bits(BitmapHelper::CreateBitmap(static_cast<INT>(page->GetWidth()),
                                                         static_cast<INT>(page->GetHeight()),
                                                         PixelFormat1bppIndexed));
  BitmapHelper::GetMonochromeImage1BPP(dots.get(), bits.get());
  benchmark::DoNotOptimize(BitmapHelper::GetFirstContentRow1BPP(bits.get()));
  benchmark::DoNotOptimize(BitmapHelper::GetLastContentRow1BPP(bits.get()));
  benchmark::DoNotOptimize(BitmapHelper::GetFirstContentColumn1BPP(bits.get()));
  benchmark::DoNotOptimize(BitmapHelper::GetLastContentColumn1BPP(bits.get()));
}

void Split(Bitmap* page) {
  Color colour(0xFFE02020);
  orv::OwnedBitmap background;
  orv::OwnedBitmap highlight;
  BitmapHelper::SplitImage(page, colour, kTolerance, eBitmapDithererFloydSteinberg, 128,
                           orv::Out(background), orv::Out(highlight));
}

/// The split in separate steps: extracts the highlight twice and processes one image after the
/// other.
void SplitStepByStep(Bitmap* source) {
  const ImagingKernels& kernels = orv::kPlainKernels;
  const orv::HighlightRule rule = {0xFFE02020, kTolerance};
  const auto locked = [](Bitmap* bitmap, auto work) {
    const orv::LockedBits bits(bitmap, ImageLockModeRead | ImageLockModeWrite, PixelFormat24bppRGB);
    work(orv::PlaneOf(*bits.data()));
  };
  orv::HighlightLimits limits;
  orv::DiffusionErrors errors[2];
  const auto copy = [source] { return orv::CloneWhole(source, PixelFormat24bppRGB); };
  const std::unique_ptr<Bitmap> mask = copy();
  locked(mask.get(),
         [&](const PixelPlane& plane) { kernels.extractHighlight(plane, rule, &limits); });
  const std::unique_ptr<Bitmap> highlight = copy();
  locked(highlight.get(), [&](const PixelPlane& plane) {
    kernels.extractHighlight(plane, rule, &limits);
    kernels.floydSteinberg(plane, 128, {0x20, 0x20, 0xE0}, &errors[0]);
  });
  const std::unique_ptr<Bitmap> background = copy();
  locked(background.get(), [&](const PixelPlane& plane) {
    kernels.floydSteinberg(plane, 128, {0, 0, 0}, &errors[1]);
    locked(mask.get(), [&](const PixelPlane& maskPlane) { kernels.whiten(plane, maskPlane); });
  });
}

#if defined(ORV_LEPTONICA)
struct PixDeleter {
  void operator()(Pix* pix) const { pixDestroy(&pix); }
};
using PixPointer = std::unique_ptr<Pix, PixDeleter>;

PixPointer PixOf(Bitmap* page) {
  const orv::LockedBits bits(page, ImageLockModeRead, PixelFormat24bppRGB);
  const PixelPlane plane = orv::PlaneOf(*bits.data());
  PixPointer pix(pixCreate(plane.width, plane.height, 32));
  for (int y = 0; y < plane.height; ++y) {
    for (int x = 0; x < plane.width; ++x) {
      const std::uint8_t* pixel = plane.Row(y) + 3 * x;
      pixSetRGBPixel(pix.get(), x, y, pixel[2], pixel[1], pixel[0]);
    }
  }
  return pix;
}

void LeptonicaOneBit(Pix* page) {
  const PixPointer grey(pixConvertRGBToGray(page, 0.299f, 0.587f, 0.114f));
  const PixPointer dots(pixDitherToBinary(grey.get()));
  Box* box = nullptr;
  pixClipToForeground(dots.get(), nullptr, &box);
  boxDestroy(&box);
}
#endif

/// Times `work` from the page after the first `before` on.
template <typename Work>
void TimePages(benchmark::State& state, const Size& size, int before, const Work& work) {
  for (int i = 0; i < before; ++i) work();
  for (auto _ : state) work();
  state.counters["pixel"] = benchmark::Counter(
      static_cast<double>(size.width) * size.height * static_cast<double>(state.iterations()),
      benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

long PageFaults() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  return usage.ru_minflt + usage.ru_majflt;
}

/// Counts the page faults of the third page to the twelfth.
template <typename Work>
void CountFaults(benchmark::State& state, const Work& work) {
  for (auto _ : state) {
    for (int i = 0; i < 2; ++i) work();
    const long before = PageFaults();
    for (int i = 0; i < 10; ++i) work();
    state.counters["faults"] = static_cast<double>(PageFaults() - before);
  }
}

void RegisterPage(const Size& size, Kind kind) {
  constexpr int kBefore = 9;
  const auto add = [&](const char* name, auto function) {
    const std::string full = std::string(name) + '/' + kKinds[kind] + '/' + size.name;
    return benchmark::RegisterBenchmark(full.c_str(), function)->Unit(benchmark::kMicrosecond);
  };
  add("OneBit", [&size, kind](benchmark::State& state) {
    TimePages(state, size, kBefore, [page = Page(size, kind)] { ToOneBit(page); });
  });
  add("faults_OneBit", [&size, kind](benchmark::State& state) {
    CountFaults(state, [page = Page(size, kind)] { ToOneBit(page); });
  })->Iterations(1);
#if defined(ORV_LEPTONICA)
  add("LeptonicaOneBit", [&size, kind](benchmark::State& state) {
    const PixPointer page = PixOf(Page(size, kind));
    TimePages(state, size, kBefore, [&] { LeptonicaOneBit(page.get()); });
  });
#endif
  if (kind == kText) return;
  add("Split", [&size, kind](benchmark::State& state) {
    TimePages(state, size, kBefore, [page = Page(size, kind)] { Split(page); });
  });
  add("faults_Split", [&size, kind](benchmark::State& state) {
    CountFaults(state, [page = Page(size, kind)] { Split(page); });
  })->Iterations(1);
  if (size.height > 1800) return;  // takes seconds
  add("SplitStepByStep", [&size, kind](benchmark::State& state) {
    TimePages(state, size, 1, [page = Page(size, kind)] { SplitStepByStep(page); });
  })->Iterations(1);
}

}  // namespace

int main(int argc, char** argv) {
  for (const Size& size : kSizes) {
    for (const Kind kind : kPageKinds) RegisterPage(size, kind);
  }
  benchmark::Initialize(&argc, argv);
  benchmark::RunSpecifiedBenchmarks();
  return 0;
}
