/// A long run of one process: what it holds and what its work costs must stay the same.
/// `ORV_SOAK_SECONDS` sets how long it runs (`scripts/soak`); `ORV_SOAK_CURVE` names a file for the
/// figures of each interval.

#include <gtest/gtest.h>
#include <malloc.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "orv/imaging/bitmap_helper.h"
#include "orv/platform/spooler.h"
#include "tests/devmode_fixture.h"
#include "tests/library_loader.h"

namespace orv::test {
namespace {

using Clock = std::chrono::steady_clock;

/// What a process does for its documents.
class Work {
 public:
  Work() {
    LogToFileAlone(L"1");
    CLogger::StartLogging(&module_.client);
    page_.reset(BitmapHelper::CreateBitmap(400, 600, PixelFormat24bppRGB));
    OEMDMPARAM param{};
    param.hPrinter = printer_.handle();
    param.pOEMDMOut = &defaults_;
    EXPECT_EQ(hrOEMDevMode(&module_.client, nullptr, L"Label 1", OEMDM_DEFAULT, &param), S_OK);
  }

  ~Work() { CLogger::StopLogging(&module_.client); }

  void Load() { EXPECT_NE(module_.Load(), nullptr); }

  void Merge() {
    tagOEMDEV out{};
    out.dwSignature = tagOEMDEV::kSignature;
    DEVMODEW publicIn{};
    publicIn.dmCopies = 2;
    DEVMODEW publicOut{};
    OEMDMPARAM param{};
    param.hPrinter = printer_.handle();
    param.pOEMDMIn = &defaults_;
    param.pOEMDMOut = &out;
    param.pPublicDMIn = &publicIn;
    param.pPublicDMOut = &publicOut;
    EXPECT_EQ(hrOEMDevMode(&module_.client, nullptr, L"Label 1", OEMDM_MERGE, &param), S_OK);
  }

  void Split() {
    Color red(0xFFE02020);
    Bitmap* background = nullptr;
    Bitmap* highlight = nullptr;
    EXPECT_EQ(BitmapHelper::SplitImage(page_.get(), red, 0.2, eBitmapDithererFloydSteinberg, 128,
                                       &background, &highlight),
              1);
    BitmapHelper::DeleteBitmap(background);
    BitmapHelper::DeleteBitmap(highlight);
  }

  void Log() { CLogger::Log(eLogLevelError, &module_.client, L"One of many lines", L"Soak"); }

  /// Loads the shared library, lets it answer a request, and unloads it.
  void Reload() {
    void* const library = LoadSharedLibrary(ORV_LIBRARY);
    const auto find = [library](const char* name) { return FindSymbol(library, name); };
    auto* const open =
        reinterpret_cast<HANDLE (*)(const wchar_t*)>(find("_ZN3orv17OpenPrinterHandleEPKw"));
    auto* const close = reinterpret_cast<void (*)(HANDLE)>(find("_ZN3orv18ClosePrinterHandleEPv"));
    auto* const call = reinterpret_cast<decltype(&hrOEMDevMode)>(find("hrOEMDevMode"));
    ASSERT_TRUE(open != nullptr && close != nullptr && call != nullptr);
    tagOEMDEV defaults{};
    OEMDMPARAM param{};
    param.hPrinter = open(L"Label 1");  // a handle of that copy of the library
    param.pOEMDMOut = &defaults;
    EXPECT_EQ(call(&module_.client, nullptr, L"Label 1", OEMDM_DEFAULT, &param), S_OK);
    close(param.hPrinter);
    UnloadSharedLibrary(library);
  }

  /// The log would fill the disk.
  void RemoveLogs() {
    for (const auto& entry : std::filesystem::directory_iterator(LogFolder().path())) {
      std::filesystem::remove(entry.path());
    }
  }

 private:
  const ScratchRegistry registry_;
  const TestPrinter printer_{L"Label 1", kTestDriver};
  ModuleFolder module_;
  tagOEMDEV defaults_{};
  std::unique_ptr<Bitmap> page_;
};

struct Kind {
  const char* name;
  void (Work::*run)();
};
constexpr std::array kKinds = {Kind{"load", &Work::Load}, Kind{"merge", &Work::Merge},
                               Kind{"split", &Work::Split}, Kind{"log line", &Work::Log},
                               Kind{"reload", &Work::Reload}};

/// What the process has and what its work took in an interval.
struct Interval {
  double seconds;  ///< since the start
  std::size_t heap;
  std::size_t handles;
  std::array<double, kKinds.size()> shortest;  ///< microseconds
};

Interval RunFor(Work* work, Clock::time_point start, Clock::duration duration) {
  Interval interval{};
  interval.shortest.fill(1e9);
  for (const auto end = Clock::now() + duration; Clock::now() < end;) {
    for (std::size_t kind = 0; kind < kKinds.size(); ++kind) {
      const auto before = Clock::now();
      (work->*kKinds[kind].run)();
      const std::chrono::duration<double, std::micro> took = Clock::now() - before;
      interval.shortest[kind] = std::min(interval.shortest[kind], took.count());
    }
  }
  work->RemoveLogs();
  const struct mallinfo2 info = mallinfo2();
  interval.heap = info.uordblks + info.hblkhd;
  const std::filesystem::directory_iterator handles("/proc/self/fd");
  interval.handles = static_cast<std::size_t>(std::distance(begin(handles), end(handles)));
  interval.seconds = std::chrono::duration<double>(Clock::now() - start).count();
  return interval;
}

/// Writes a line for each interval as it ends.
class Curve {
 public:
  explicit Curve(const char* path) {
    if (path == nullptr) return;
    file_.open(path);
    file_ << "seconds\theap\thandles";
    for (const Kind& kind : kKinds) file_ << '\t' << kind.name << " us";
    file_ << std::endl;
  }
  void Add(const Interval& interval) {
    file_ << interval.seconds << '\t' << interval.heap << '\t' << interval.handles;
    for (const double time : interval.shortest) file_ << '\t' << time;
    file_ << std::endl;
  }

 private:
  std::ofstream file_;
};

TEST(Soak, MemoryHandlesAndTimesStayTheSame) {
  constexpr std::size_t kIntervals = 60;
  const char* const given = std::getenv("ORV_SOAK_SECONDS");
  const std::chrono::duration<double> all(given != nullptr ? std::atof(given) : 1.0);
  ASSERT_GT(all.count(), 0);
  const auto each = std::chrono::duration_cast<Clock::duration>(all / kIntervals);
  Work work;
  std::vector<Interval> intervals;
  intervals.reserve(kIntervals);
  const auto start = Clock::now();
  Curve curve(std::getenv("ORV_SOAK_CURVE"));
  while (intervals.size() < kIntervals) {
    intervals.push_back(RunFor(&work, start, each));
    curve.Add(intervals.back());
  }

  // The first tenth fills caches.
  const std::span<const Interval> settled = std::span(intervals).subspan(kIntervals / 10);
  const Interval& first = settled.front();
  const Interval& last = settled.back();
#if !defined(ORV_SANITIZED)  // sanitizers have a heap of their own
  EXPECT_LE(last.heap, first.heap + 4096);
#endif
  EXPECT_LE(last.handles, first.handles);
  // Short runs say nothing about times.
  if (given == nullptr) return;
  const auto shortestOf = [](std::span<const Interval> some, std::size_t kind) {
    double shortest = some[0].shortest[kind];
    for (const Interval& interval : some) shortest = std::min(shortest, interval.shortest[kind]);
    return shortest;
  };
  for (std::size_t kind = 0; kind < kKinds.size(); ++kind) {
    const std::size_t quarter = settled.size() / 4;
    EXPECT_LT(shortestOf(settled.last(quarter), kind),
              1.25 * shortestOf(settled.first(quarter), kind))
        << kKinds[kind].name;
  }
}

}  // namespace
}  // namespace orv::test
