/// Identical bytes everywhere: tests/golden holds the library's results for fixed inputs, and every
/// compiler, optimization level, system, instruction set and locale must reproduce them.
/// `ORV_GOLDEN_WRITE=1` rewrites the files. They hold the SHA-256 digests of long results; short
/// ones are in the test vectors (docs/conformance.md).

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <clocale>
#include <cstdlib>
#include <functional>
#include <optional>
#include <random>

#include "base/utf8.h"
#include "crypto/sha256.h"
#include "imaging/pixels.h"
#include "logging/log_file.h"
#include "orv/c_api.h"
#include "orv/config/configs_cache.h"
#include "orv/devmode/stock_items.h"
#include "orv/imaging/bitmap_helper.h"
#include "platform/files.h"
#include "platform/modules.h"
#include "tests/devmode_fixture.h"

namespace {

using orv::FromPath;
using orv::WideToUtf8;
using orv::test::ReadBytes;
using orv::test::TemporaryFolder;

std::string Digest(std::string_view bytes) { return WideToUtf8(orv::Sha256HexOf(bytes)); }
std::string Digest(const void* data, std::size_t size) {
  return Digest({static_cast<const char*>(data), size});
}

/// Replaces every occurrence of `what`.
std::wstring Replaced(std::wstring text, const std::wstring& what, std::wstring_view by) {
  for (std::size_t at = 0; (at = text.find(what, at)) != text.npos; at += by.size()) {
    text.replace(at, what.size(), by);
  }
  return text;
}

/// The interface whose functions compute the results.
enum class Interface { kCpp, kC };

std::vector<std::uint16_t> Units(std::wstring_view text) { return {text.begin(), text.end()}; }

/// A log of the C interface.
class CLog {
 public:
  explicit CLog(const CLoggerClient& client) {
    const std::vector<std::uint16_t> name = Units(client.m_stModuleName);
    const std::vector<std::uint16_t> folder = Units(client.m_stModuleFolder);
    EXPECT_EQ(orv_log_open(name.data(), static_cast<std::uint32_t>(name.size()), folder.data(),
                           static_cast<std::uint32_t>(folder.size()), &log_),
              ORV_OK);
  }
  CLog(const CLog&) = delete;
  CLog& operator=(const CLog&) = delete;
  ~CLog() { orv_log_close(log_); }

  orv_log* get() const { return log_; }

 private:
  orv_log* log_ = nullptr;
};

/// A printer with its configuration and stock items, as an application finds it.
class Printer {
 public:
  Printer() {
    const std::wstring own = orv::StockItemsPath(L"Label 1", orv::test::kTestDriver);
    std::mt19937 random(7);
    for (std::uint32_t i = 1; i <= 3; ++i) {
      StockItem item;
      item.guid.Data1 = i;
      item.DisplayName = L"Stock \u20ac " + std::to_wstring(i);
      for (const orv::StockValue& value : orv::StockValues()) {
        item.*value.field = std::min(value.max, static_cast<DWORD>(random() % 60000));
      }
      EXPECT_EQ(orv::WriteStockItem(i == 2 ? orv::kCommonStockItemsPath : own, item),
                ERROR_SUCCESS);
    }
  }
  ~Printer() { ConfigsCache::ReleaseInstance(); }

  /// Merges a record with a public one; the resulting public record is in `out`.
  HRESULT Merge(const tagOEMDEV& record, const DEVMODEW& in, tagOEMDEV* merged, DEVMODEW* out) {
    tagOEMDEV input = record;
    DEVMODEW publicIn = in;
    OEMDMPARAM param{};
    param.hPrinter = printer_.handle();
    param.pOEMDMIn = &input;
    param.pOEMDMOut = merged;
    param.pPublicDMIn = &publicIn;
    param.pPublicDMOut = out;
    merged->dwSignature = tagOEMDEV::kSignature;
    return hrOEMDevMode(&module_.client, cache_, L"Label 1", OEMDM_MERGE, &param);
  }
  /// The same through the C interface.
  std::int32_t MergeInC(orv_log* log, const tagOEMDEV& record, const DEVMODEW& in,
                        tagOEMDEV* merged, DEVMODEW* out) {
    static constexpr std::uint16_t kName[] = {'L', 'a', 'b', 'e', 'l', ' ', '1'};
    return orv_record_merge(printer_.handle(), kName, std::size(kName), log, &record, merged,
                            sizeof(record), &in, out, sizeof(in));
  }

  orv::test::ModuleFolder& module() { return module_; }

 private:
  orv::test::ScratchRegistry registry_;
  orv::test::TestPrinter printer_{L"Label 1", orv::test::kTestDriver};
  orv::test::ModuleFolder module_;
  ConfigsCache* cache_ = ConfigsCache::GetInstance();
};

/// A record with random words: on average one word in `oneIn` is not zero.
tagOEMDEV RandomRecord(std::mt19937* random, unsigned oneIn) {
  tagOEMDEV record{};
  record.dwSize = tagOEMDEV::kSize;
  record.dwVersion = tagOEMDEV::kVersion;
  for (std::size_t at = 12; at < sizeof(record); at += 4) {
    const std::uint32_t word = (*random)();
    const std::uint32_t limit = 1u << (*random)() % 32;
    if ((*random)() % oneIn == 0) orv::test::SetWord(&record, at, word % limit);
  }
  record.dwSignature = tagOEMDEV::kSignature;
  return record;
}

std::string Records(Interface through) {
  Printer printer;
  std::optional<CLog> cLog;
  if (through == Interface::kC) {
    orv::test::LogToFileAlone(L"1");
    cLog.emplace(printer.module().client);
  }
  const orv::test::LogCapture log;
  std::string text;
  std::mt19937 random(2024);
  for (int i = 0; i < 24; ++i) {
    tagOEMDEV record = RandomRecord(&random, 1 + i % 4);
    record.AllowCustomPageSize = i % 2;
    DEVMODEW in{};
    in.dmPaperSize = static_cast<SHORT>(i % 3 == 0 ? 256 : 255 + i % 6);
    in.dmCopies = static_cast<SHORT>(random() % 3);
    in.dmPaperWidth = static_cast<SHORT>(random());
    in.dmPaperLength = static_cast<SHORT>(random());
    tagOEMDEV merged{};
    DEVMODEW out{};
    const HRESULT result = cLog ? printer.MergeInC(cLog->get(), record, in, &merged, &out)
                                : printer.Merge(record, in, &merged, &out);
    text += WideToUtf8(orv::Format(L"merge %d: %x, %u x %u, paper %d %d x %d, copies %d\n", i,
                                   static_cast<unsigned>(result), merged.PaperWidth,
                                   merged.PaperHeight, int{out.dmPaperSize}, int{out.dmPaperWidth},
                                   int{out.dmPaperLength}, int{out.dmCopies}));
    text += "  " + Digest(&merged, sizeof merged) + " " + Digest(&out, sizeof out) + "\n";
    cLog ? void(orv_record_to_legacy_layout(&merged, sizeof(merged))) : ConvertOrv2Ep(&merged);
    text += "  older " + Digest(&merged, sizeof merged);
    cLog ? void(orv_record_from_legacy_layout(&record, sizeof(record))) : ConvertEp2Orv(&record);
    text += " newer " + Digest(&record, sizeof record) + "\n";
  }
  return text;
}

std::string DigestOf(Bitmap* bitmap) {
  if (bitmap == nullptr) return "none";
  const orv::LockedBits bits(bitmap, ImageLockModeRead, PixelFormat32bppARGB);
  std::string pixels;
  for (UINT y = 0; y < bits.data()->Height; ++y) {
    pixels.append(reinterpret_cast<const char*>(bits.Row(static_cast<int>(y))),
                  std::size_t{bits.data()->Width} * 4);
  }
  return Digest(pixels);
}

using Page = std::unique_ptr<Bitmap>;

/// The planes of a page, and the result of the split.
struct PageResults {
  Page dithered;
  Page background;
  Page highlight;
  int result;
};

PageResults MakePlanes(Bitmap* page, eBitmapDitherer method, int threshold, double tolerance) {
  Color ink(0xFFE02020);
  PageResults made;
  made.dithered.reset(BitmapRasterizer::Dither(page, method, threshold, ink));
  Bitmap* planes[2] = {};
  made.result =
      BitmapHelper::SplitImage(page, ink, tolerance, method, threshold, &planes[0], &planes[1]);
  made.background.reset(planes[0]);
  made.highlight.reset(planes[1]);
  return made;
}

/// Locked pixels as an image of the C interface.
orv_image ImageOf(const orv::LockedBits& bits) {
  const BitmapData& data = *bits.data();
  return {sizeof(orv_image),
          data.PixelFormat == PixelFormat24bppRGB ? ORV_FORMAT_BGR24 : ORV_FORMAT_BIT1,
          static_cast<std::int32_t>(data.Width),
          static_cast<std::int32_t>(data.Height),
          data.Stride,
          0,
          data.Scan0};
}

/// The same through the C interface.
PageResults MakePlanesInC(Bitmap* page, eBitmapDitherer method, int threshold, double tolerance) {
  constexpr std::uint32_t kInk = 0xE02020;
  const auto width = static_cast<INT>(page->GetWidth());
  const auto height = static_cast<INT>(page->GetHeight());
  const auto copy = [&] { return Page(page->Clone(0, 0, width, height, PixelFormat24bppRGB)); };
  PageResults made = {copy(), copy(), copy(), 0};
  const auto lock = [](const Page& plane) {
    return orv::LockedBits(plane.get(), ImageLockModeRead | ImageLockModeWrite,
                           PixelFormat24bppRGB);
  };
  const orv::LockedBits source(page, ImageLockModeRead, PixelFormat24bppRGB);
  const orv::LockedBits dithered = lock(made.dithered);
  const orv::LockedBits background = lock(made.background);
  const orv::LockedBits highlight = lock(made.highlight);
  const orv_image images[] = {ImageOf(source), ImageOf(dithered), ImageOf(background),
                              ImageOf(highlight)};
  EXPECT_EQ(orv_page_dither(&images[1], method, threshold, kInk), ORV_OK);
  made.result = orv_page_split(&images[0], kInk, tolerance, method, threshold, &images[2],
                               &images[3]) == ORV_OK;
  return made;
}

/// Reduces a page to one bit; returns the bounds of its ink.
std::array<std::int32_t, 4> Reduce(Bitmap* page, Bitmap* bits) {
  BitmapHelper::GetMonochromeImage1BPP(page, bits);
  return {BitmapHelper::GetFirstContentRow1BPP(bits), BitmapHelper::GetLastContentRow1BPP(bits),
          BitmapHelper::GetFirstContentColumn1BPP(bits),
          BitmapHelper::GetLastContentColumn1BPP(bits)};
}
std::array<std::int32_t, 4> ReduceInC(Bitmap* page, Bitmap* bits) {
  std::array<std::int32_t, 4> bounds = {};
  const orv::LockedBits source(page, ImageLockModeRead, PixelFormat24bppRGB);
  const orv::LockedBits target(bits, ImageLockModeWrite, PixelFormat1bppIndexed);
  const orv_image images[] = {ImageOf(source), ImageOf(target)};
  EXPECT_EQ(orv_page_to_one_bit(&images[0], &images[1]), ORV_OK);
  EXPECT_EQ(orv_page_bounds(&images[1], bounds.data()), ORV_OK);
  return bounds;
}

std::string Planes(Interface through) {
  const orv::GraphicsSession graphics;
  const auto makePlanes = through == Interface::kC ? MakePlanesInC : MakePlanes;
  const auto reduce = through == Interface::kC ? ReduceInC : Reduce;
  Bitmap* sample = nullptr;
  EXPECT_EQ(orv::LoadPng(FromPath(ORV_EXAMPLES "/label_page.png").c_str(), &sample), Ok);
  // Noise of an odd width, with greys and colours on both sides of every limit.
  Page noise(BitmapHelper::CreateBitmap(173, 61, PixelFormat24bppRGB));
  {
    std::mt19937 random(5);
    const orv::LockedBits bits(noise.get(), ImageLockModeWrite, PixelFormat24bppRGB);
    for (int y = 0; y < 61; ++y) {
      auto* row = static_cast<BYTE*>(bits.data()->Scan0) + y * bits.data()->Stride;
      for (int x = 0; x < 173 * 3; ++x) row[x] = static_cast<BYTE>(random() >> (x % 7));
    }
  }
  std::string text;
  for (const Page& page : {Page(sample), std::move(noise)}) {
    for (int method = eBitmapDithererNone; method <= eBitmapDithererMatrix16; ++method) {
      for (const double tolerance : {0.1, 0.35}) {
        const int threshold = tolerance < 0.2 ? 128 : 200;
        const PageResults made =
            makePlanes(page.get(), static_cast<eBitmapDitherer>(method), threshold, tolerance);
        text += WideToUtf8(orv::Format(L"%u wide, method %d, threshold %d: %d\n", page->GetWidth(),
                                       method, threshold, made.result));
        for (const Page* plane : {&made.dithered, &made.background, &made.highlight}) {
          text += "  " + DigestOf(plane->get()) + "\n";
        }
      }
    }
    const Page bits(BitmapHelper::CreateBitmap(static_cast<INT>(page->GetWidth()),
                                               static_cast<INT>(page->GetHeight()),
                                               PixelFormat1bppIndexed));
    const auto bounds = reduce(page.get(), bits.get());
    text += WideToUtf8(
                orv::Format(L"one bit: %d %d %d %d ", bounds[0], bounds[1], bounds[2], bounds[3])) +
            DigestOf(bits.get()) + "\n";
  }
  return text;
}

/// The log of loads and a merge at the finest level, with times, program name and folders masked.
std::string LogLines(Interface through) {
  Printer printer;
  orv::test::LogToFileAlone(L"15");
  CLoggerClient* const client = &printer.module().client;
  std::optional<CLog> cLog;
  through == Interface::kC ? void(cLog.emplace(*client)) : CLogger::StartLogging(client);
  const TemporaryFolder files;
  for (const char* example : {"orv_conf_lx300p.xml", "faulty.xml", "broken.xml", "none.xml"}) {
    const std::filesystem::path source = std::filesystem::path(ORV_EXAMPLES) / example;
    if (std::filesystem::exists(source)) {
      std::filesystem::copy_file(source, files.path() / example);
    }
    if (cLog) {
      orv_config* config = nullptr;
      const auto path = Units(FromPath(files.path() / example));
      orv_config_load(path.data(), static_cast<std::uint32_t>(path.size()), cLog->get(), &config,
                      nullptr, 0, nullptr);
      orv_config_close(config);
    } else {
      Config* config = nullptr;
      CConfigParser::Load(FromPath(files.path() / example), &config, nullptr, client);
      delete config;
    }
  }
  std::mt19937 random(99);
  const tagOEMDEV record = RandomRecord(&random, 3);
  DEVMODEW in{};
  in.dmPaperSize = 258;
  tagOEMDEV merged{};
  DEVMODEW out{};
  if (cLog) {
    printer.MergeInC(cLog->get(), record, in, &merged, &out);
    cLog.reset();
  } else {
    printer.Merge(record, in, &merged, &out);
    CLogger::StopLogging(client);
  }
  CLogger::m_nLoglevel = eLogLevelError;

  const std::wstring log = orv::test::ReadLog(
      orv::ToPath(orv::LogFilePath(orv::test::LogFolder().Name(), orv::GetLocalTimeNow())));
  std::wstring program;
  orv::GetModulePath(nullptr, &program);
  std::wstring text = Replaced(log, orv::FileNameOf(program), L"PROGRAM");
  for (const std::wstring& folder : {files.Name(), printer.module().folder().Name()}) {
    text = Replaced(text, folder + orv::kPathSeparator, L"FOLDER/");
  }
  std::string lines;
  for (std::size_t at = 0, end; (end = text.find(L"\r\n", at)) != text.npos; at = end + 2) {
    // The session's entries about this process differ with every run.
    const std::wstring line = text.substr(at, end - at);
    if (line.find(L"\tSessionData\t") == line.npos) lines += WideToUtf8(line) + "\n";
  }
  return lines;
}

/// Locales with other number and letter conventions.
constexpr const char* kLocales[] = {"C", ORV_LOCALES};

class Golden : public testing::Test {
 protected:
  ~Golden() override { std::setlocale(LC_ALL, "C"); }

  /// Sets the locale of the process. LOCPATH is set for this call only: the C library's
  /// `newlocale`, which the library calls, leaks its copy of the path.
  static bool SetLocale(const char* locale) {
    orv::test::SetVariable("LOCPATH", ORV_LOCALE_FOLDER);
    const bool isSet = std::setlocale(LC_ALL, locale) != nullptr;
    orv::test::SetVariable("LOCPATH", "");
    return isSet;
  }

  /// Compares the function's result, in every locale or only in the first one, with the file.
  static void Expect(const char* name, const std::function<std::string()>& make,
                     bool inEveryLocale) {
    const std::filesystem::path file = std::filesystem::path(ORV_GOLDEN) / name;
    if (std::getenv("ORV_GOLDEN_WRITE") != nullptr) orv::test::WriteBytes(file, make());
    const std::string golden = ReadBytes(file);
    for (const char* const locale : kLocales) {
      ASSERT_TRUE(SetLocale(locale)) << locale;
      EXPECT_EQ(make(), golden) << "in the locale " << locale;
      if (!inEveryLocale) break;
    }
  }
  /// The same through both interfaces.
  static void ExpectOfBoth(const char* name, std::string (*make)(Interface), bool inEveryLocale) {
    Expect(
        name, [=] { return make(Interface::kCpp); }, inEveryLocale);
    Expect(
        name, [=] { return make(Interface::kC); }, false);
  }
};

TEST_F(Golden, RecordsAfterMerges) { ExpectOfBoth("records.txt", Records, true); }
TEST_F(Golden, PlanesOfPages) { ExpectOfBoth("planes.txt", Planes, false); }
TEST_F(Golden, LinesOfTheLog) { ExpectOfBoth("log.txt", LogLines, true); }

}  // namespace
