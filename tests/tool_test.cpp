/// Unit tests of the orv program's shared code, and of its manual pages.

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cwchar>
#include <filesystem>
#include <limits>
#include <numbers>
#include <numeric>
#include <set>
#include <sstream>
#include <thread>

#include "base/utf8.h"
#include "orv/version.h"
#include "platform/edit_lock.h"
#include "platform/files.h"
#include "platform/new_file.h"
#include "tests/program_runs.h"
#include "tools/orv/common/input.h"
#include "tools/orv/common/lengths.h"
#include "tools/orv/common/line_diff.h"
#include "tools/orv/common/output.h"
#include "tools/orv/log/file.h"
#include "tools/orv/log/messages.h"
#include "tools/orv/log/summary.h"
#include "tools/orv/page/bars.h"
#include "tools/orv/registry/reg_file.h"

namespace orv::tool {
namespace {

using test::ExpectRuns;
using testing::AnyOf;
using testing::HasSubstr;

/// Draws bars and spaces of these widths in dots, which begin at x, y.
void DrawBars(Dots* page, double x, int y, int length, const std::vector<double>& widths, int ink) {
  for (std::size_t i = 0; i < widths.size(); x += widths[i++]) {
    if (i % 2 != 0) continue;
    const double end = x + widths[i];
    for (int column = static_cast<int>(x); column < end; ++column) {
      const double cover = std::min(end, column + 1.0) - std::max(x, static_cast<double>(column));
      for (int row = y; row < y + length; ++row) {
        std::uint8_t& value = page->values[static_cast<std::size_t>(row * page->width + column)];
        value = static_cast<std::uint8_t>(value - std::lround((value - ink) * cover));
      }
    }
  }
}

TEST(BarCodes, AreFoundByGeometry) {
  // Bars and spaces of nine bars, in modules.
  const std::vector<double> kCode = {1, 1, 2, 1, 1, 2, 1, 1, 3, 1, 1, 4, 2, 2, 1, 1, 2};
  const std::vector<double> kEven(17, 1);
  const std::vector<double> kShort(kCode.begin() + 2, kCode.end());
  const struct {
    const char* what;
    std::vector<double> widths;
    double module;
    double x;
    int length;
    int paper;
    int ink;
    bool isFound;
  } kCases[] = {
      {"black on white", kCode, 2, 10, 20, 255, 0, true},
      {"modules of one dot", kCode, 1, 10, 20, 255, 0, true},
      {"edges within dots", kCode, 1.7, 10.3, 20, 255, 60, true},
      {"yellow on white", kCode, 3, 10, 20, 255, 226, true},
      {"black on grey", kCode, 3, 10, 20, 90, 0, true},
      {"fainter than an edge", kCode, 3, 10, 20, 255, 240, false},
      {"at the left edge", kCode, 3, 0, 20, 255, 0, true},
      {"at the right edge", kCode, 3, 47, 20, 255, 0, true},
      {"light on dark", kCode, 3, 30, 20, 100, 255, false},
      {"short bars", kCode, 3, 10, 11, 255, 0, false},
      {"few bars", kShort, 3, 10, 20, 255, 0, false},
      {"a ruler", kEven, 3, 10, 20, 255, 0, false},
  };
  for (const auto& test : kCases) {
    SCOPED_TRACE(test.what);
    Dots page{128, 64, std::vector<std::uint8_t>(128 * 64, static_cast<std::uint8_t>(test.paper))};
    std::vector<double> widths = test.widths;
    for (double& width : widths) width *= test.module;
    DrawBars(&page, test.x, 30, test.length, widths, test.ink);
    DrawBars(&page, test.x, 30 + test.length, 6, {widths[0]}, test.ink);  // a longer bar
    for (const bool isTurned : {false, true}) {
      const std::vector<BarCode> codes = FindBarCodes(isTurned ? Transposed(page) : page);
      ASSERT_EQ(codes.size(), test.isFound ? 1u : 0u);
      if (!test.isFound) continue;
      EXPECT_EQ(codes[0].isTurned, isTurned);
      EXPECT_EQ(codes[0].bars.size(), 9u);
      EXPECT_NEAR(codes[0].module, test.module, 0.05);
      EXPECT_NEAR(codes[0].bars[0].start, test.x, 0.05);
      EXPECT_EQ(codes[0].firstLine, 30);
      EXPECT_EQ(codes[0].endLine, 30 + test.length);
      EXPECT_EQ(codes[0].Contrast(), (test.paper - test.ink) / 255.0);
    }
  }
}

/// A page with bars and spaces of these widths in dots, turned about its middle. Dots are as dark
/// as their parts, which are that many in both directions.
Dots TiltedBars(const std::vector<double>& widths, int parts, double degrees, bool isInverse,
                double length = 60) {
  constexpr int kSide = 160;
  constexpr double kMiddle = 0.5 * kSide;
  const double cosine = std::cos(degrees * std::numbers::pi / 180);
  const double sine = std::sin(degrees * std::numbers::pi / 180);
  const double start = -std::accumulate(widths.begin(), widths.end(), 0.0) / 2;
  const auto isInk = [&](double x, double y) {
    const double along = x * cosine - y * sine;
    const double across = x * sine + y * cosine;
    if (isInverse && std::max(std::abs(along), std::abs(across)) > kMiddle - 10) return false;
    std::size_t i = 0;
    double end = start;
    while (i < widths.size() && along >= end) end += widths[i++];
    const bool isBar = i % 2 != 0 && along < end && std::abs(across) < length / 2;
    return isBar != isInverse;
  };
  Dots page{kSide, kSide, {}};
  for (int i = 0; i < kSide * kSide; ++i) {
    const int column = i % kSide;
    const int row = i / kSide;
    int light = 0;
    for (int part = 0; part < parts * parts; ++part) {
      const int partRow = part / parts;
      light += !isInk(column + (part % parts + 0.5) / parts - kMiddle,
                      row + (partRow + 0.5) / parts - kMiddle);
    }
    page.values.push_back(static_cast<std::uint8_t>(255 * light / (parts * parts)));
  }
  return page;
}

/// Bars and spaces of 13 bars with modules of two dots, in dots.
const std::vector<double> kTiltedCode = {2, 2, 4, 2, 2, 4, 2, 2, 6, 2, 2, 8, 4,
                                         4, 2, 2, 4, 2, 2, 6, 4, 2, 2, 2, 4};

TEST(BarCodes, AreFoundTiltedAndInverse) {
  const std::vector<double>& kCode = kTiltedCode;
  const std::vector<double> kEven(25, 3);
  const struct {
    const char* what;
    std::vector<double> widths;
    int parts;
    double degrees;
    bool isInverse;
    bool isFound;
    bool isMeasured;
  } kCases[] = {
      {"barely tilted", kCode, 3, 0.7, false, true, true},
      {"a scan", kCode, 3, 3, false, true, true},
      {"to the other side", kCode, 3, -9, false, true, true},
      {"hard edges", kCode, 1, 4, false, true, true},
      {"steep", kCode, 3, 17, false, true, false},
      {"steep hard edges", kCode, 1, 23, false, true, false},
      {"between two directions", kCode, 3, 30, false, true, false},
      {"diagonal", kCode, 3, -45, false, true, false},
      {"inverse", kCode, 3, 0, true, true, false},
      {"a tilted inverse one", kCode, 3, -3, true, true, false},
      {"a hatching", kEven, 3, 3, false, false, false},
      {"a diagonal hatching", kEven, 3, 45, false, false, false},
  };
  for (const auto& test : kCases) {
    SCOPED_TRACE(test.what);
    for (const int quarters : {0, 1}) {
      const Dots page =
          TiltedBars(test.widths, test.parts, test.degrees + 90 * quarters, test.isInverse);
      const std::vector<BarCode> codes = FindBarCodes(page);
      ASSERT_EQ(codes.size(), test.isFound ? 1u : 0u);
      if (!test.isFound) continue;
      EXPECT_EQ(codes[0].CanMeasure(), test.isMeasured);
      EXPECT_EQ(codes[0].isInverse, test.isInverse);
      EXPECT_NEAR(codes[0].Tilt(), std::abs(test.degrees), 0.2);
      if (!test.isMeasured) continue;
      EXPECT_EQ(codes[0].isTurned, quarters == 1);
      ASSERT_EQ(codes[0].bars.size(), 13u);
      EXPECT_NEAR(codes[0].module, 2, 0.1);
      EXPECT_NEAR(codes[0].bars[5].Width(), test.widths[10], 0.2);
    }
  }
}

TEST(BarCodes, AreBothFoundIfTheirAreasOverlap) {
  for (const double degrees : {-10.0, 10.0, 30.0, -45.0, 45.0, 80.0}) {
    SCOPED_TRACE(degrees);
    constexpr double kLength = 32;
    constexpr double kDistance = 38;  // of their middles, along the bars
    const Dots one = TiltedBars(kTiltedCode, 3, degrees, false, kLength);
    const double angle = degrees * std::numbers::pi / 180;
    const auto moveX = static_cast<int>(std::lround(kDistance / 2 * std::sin(angle)));
    const auto moveY = static_cast<int>(std::lround(kDistance / 2 * std::cos(angle)));
    Dots page{one.width, one.height, {}};
    for (int y = 0; y < page.height; ++y) {
      for (int x = 0; x < page.width; ++x) {
        std::uint8_t value = 255;
        for (const int side : {-1, 1}) {
          const int fromX = x + side * moveX;
          const int fromY = y + side * moveY;
          const bool isInside = std::min(fromX, fromY) >= 0 && std::max(fromX, fromY) < one.width;
          if (isInside) value = std::min(value, one.At(fromX, fromY));
        }
        page.values.push_back(value);
      }
    }
    const std::vector<BarCode> codes = FindBarCodes(page);
    ASSERT_EQ(codes.size(), 2u);
    const PageArea upper = codes[0].Area();
    const PageArea lower = codes[1].Area();
    EXPECT_LT(lower.y, upper.y + upper.height);
    EXPECT_LT(std::max(lower.x, upper.x), std::min(lower.x + lower.width, upper.x + upper.width));
    for (const BarCode& code : codes) {
      EXPECT_EQ(code.bars.size(), 13u);
      EXPECT_NEAR(code.Tilt(), std::min(std::abs(degrees), 90 - std::abs(degrees)), 0.5);
    }
  }
}

TEST(BarCodes, ArePaleIfTheirBarsAre) {
  const std::vector<double> kCode = {2, 2, 4, 2, 2, 4, 2, 2, 6, 2, 2, 8, 4, 4, 2, 2, 4};
  for (const int ink : {0, 40}) {
    Dots page{128, 64, std::vector<std::uint8_t>(128 * 64, 255)};
    DrawBars(&page, 10, 10, 40, kCode, ink);
    std::fill_n(page.values.begin() + 30 * 128, 2 * 128, std::uint8_t{255});  // a cut
    const std::vector<BarCode> codes = FindBarCodes(page);
    ASSERT_FALSE(codes.empty());
    for (const BarCode& code : codes) EXPECT_EQ(code.IsPale(), ink > 0);
  }
}

TEST(Table, AlignsByCodePointsAndEscapesControlCharacters) {
  Table table({L"NAME", L"N"});
  table.Add({L"\u00e9\u00e9\u00e9\u00e9\u00e9\u00e9", L"1"});
  table.Add({L"a\tb\r\n\x01", L""});
  EXPECT_EQ(table.TakeText(),
            "NAME          N\n"
            "\u00e9\u00e9\u00e9\u00e9\u00e9\u00e9        1\n"
            "a\\tb\\r\\n\\x01\n");
  table.Add({L"b", L"2"});
  EXPECT_EQ(table.TakeText(), "b             2\n");  // keeps the column widths
}

TEST(LineDiff, ShowsChangesWithContext) {
  const struct {
    const wchar_t* before;
    const wchar_t* after;
    const wchar_t* hunks;
  } cases[] = {
      {L"", L"a\n", L"@@ -0,0 +1,1 @@\n+a\n"},
      {L"a\n", L"", L"@@ -1,1 +0,0 @@\n-a\n"},
      {L"a\nb", L"a\nb\n", L"@@ -1,2 +1,2 @@\n a\n-b\n\\ No newline at end of file\n+b\n"},
      // Six lines between two changes are context, seven are not.
      {L"x\n1\n2\n3\n4\n5\n6\ny\n", L"1\n2\n3\n4\n5\n6\nz\ny\n",
       L"@@ -1,8 +1,8 @@\n-x\n 1\n 2\n 3\n 4\n 5\n 6\n+z\n y\n"},
      {L"x\n1\n2\n3\n4\n5\n6\n7\ny\n", L"1\n2\n3\n4\n5\n6\n7\n",
       L"@@ -1,4 +1,3 @@\n-x\n 1\n 2\n 3\n@@ -6,4 +5,3 @@\n 5\n 6\n 7\n-y\n"},
  };
  for (const auto& [before, after, hunks] : cases) {
    EXPECT_EQ(UnifiedDiff(before, after, L"a", L"b"), L"--- a\n+++ b\n" + std::wstring(hunks));
  }
  EXPECT_EQ(UnifiedDiff(L"a\n", L"a\n", L"a", L"b"), L"");
}

TEST(Json, IsWellFormedForAnyContent) {
  const std::wstring lone(1, static_cast<wchar_t>(0xD800));
  JsonWriter json;
  json.BeginObject();
  json.Member("text", L"\"\\\x1f\n\u20ac" + lone);
  json.Key("empty");
  json.BeginArray();
  json.EndArray();
  json.Key("numbers");
  json.BeginArray();
  json.Value(std::numeric_limits<std::int64_t>::min());
  json.Value(std::numeric_limits<std::uint64_t>::max());
  json.Value(0.1);
  json.Value(std::nan(""));
  json.Value(true);
  json.EndArray();
  json.EndObject();
  EXPECT_EQ(json.Text(),
            "{\n"
            "  \"text\": \"\\\"\\\\\\u001f\\u000a\u20ac\uFFFD\",\n"
            "  \"empty\": [],\n"
            "  \"numbers\": [\n"
            "    -9223372036854775808,\n"
            "    18446744073709551615,\n"
            "    0.1,\n"
            "    null,\n"
            "    true\n"
            "  ]\n"
            "}\n");
}

TEST(LogReader, ReadsEveryEncodingInPartsOfAnySize) {
  // In either order of bytes, two of the characters contain the bytes of a line end between them.
  const std::wstring log =
      L"Date\tTime\r\n01.02.2024\t03:04:05.678\tERR\tp\tm\ts\t\u0a41\u4100\u0a41\u00e9\r\n"
      L"more\r\n\r\n01.02.2024\t03:04:05.679\tp\tm\ts\tlast";
  const std::string little = EncodeUtf16(log);
  std::string big = little;
  for (std::size_t i = 0; i < big.size(); i += 2) std::swap(big[i], big[i + 1]);
  const std::string cases[] = {
      little,           "\xFF\xFE" + little, big,
      "\xFE\xFF" + big, WideToUtf8(log),     "\xEF\xBB\xBF" + WideToUtf8(log)};
  for (std::size_t which = 0; which < std::size(cases); ++which) {
    for (const std::size_t part :
         {std::size_t{1}, std::size_t{3}, std::size_t{64}, std::size_t{9999}}) {
      SCOPED_TRACE(testing::Message() << which << " in parts of " << part);
      std::vector<std::wstring> messages;
      LogReader reader(
          [&](const LogEntry& entry) { messages.push_back(entry.tag + entry.message); });
      for (std::size_t at = 0; at < cases[which].size(); at += part) {
        reader.Feed(std::string_view(cases[which]).substr(at, part));
      }
      reader.Finish();
      EXPECT_THAT(messages, testing::ElementsAre(L"ERR\u0a41\u4100\u0a41\u00e9\nmore", L"last"));
    }
  }
}

TEST(LogReader, CutsWhatIsNotALog) {
  std::size_t entries = 0;
  std::size_t longest = 0;
  LogReader reader([&](const LogEntry& entry) {
    ++entries;
    longest = std::max(longest, entry.message.size());
  });
  reader.Feed("01.02.2024\t03:04:05.678\tERR\tp\tm\ts\t");
  for (int i = 0; i < 40; ++i) reader.Feed(std::string(1 << 16, 'x'));
  reader.Feed("\n01.02.2024\t03:04:05.678\tERR\tp\tm\ts\tb");
  reader.Finish();
  EXPECT_EQ(entries, 2u);
  EXPECT_LE(longest, std::size_t{1} << 22);
}

TEST(LogSummary, HoldsALimitedNumberOfGroups) {
  LogSummary summary;
  LogEntry entry{L"01.02.2024", L"03:04:05.678", L"WAR", L"p", L"m", L"a", L""};
  for (wchar_t i = 0; i < 5000; ++i) {
    entry.message = std::wstring(L"other ") + static_cast<wchar_t>(0x4E00 + i);
    summary.Add(entry);
    entry.message = L"Unable to open the file " + std::to_wstring(i);
    summary.Add(entry);
  }
  const std::vector<const LogGroup*> groups = summary.Groups();
  EXPECT_EQ(groups.size(), 1001u);
  EXPECT_EQ(summary.CountOf(L"warning"), 10000u);
  EXPECT_EQ(groups[0]->Text(), L"Unable to open the file 0, ...");
  EXPECT_EQ(groups[1]->Text(), L"(other messages)");
  EXPECT_EQ(groups[1]->source, L"");  // not that of the first of them
}

TEST(LogSummary, ComparesTheWholeValuesOfWhichItShowsTheStart) {
  LogSummary summary;
  LogEntry entry{L"01.02.2024", L"03:04:05.678", L"WAR", L"p", L"m", L"a", L""};
  const std::wstring start(200, L'a');
  for (const wchar_t* const end : {L"b", L"c"}) {
    entry.message = L"Unable to open the file " + start + end;
    summary.Add(entry);
  }
  EXPECT_EQ(summary.Groups()[0]->Text(), L"Unable to open the file " + start + L"..., ...");
}

/// The wide string literals of a source file, adjacent ones joined, as the compiler reads them.
std::vector<std::wstring> WideLiterals(const std::string& source) {
  std::vector<std::wstring> literals;
  std::size_t end = 0;  // of the previous literal
  for (std::size_t at = 0; (at = source.find("L\"", at)) != source.npos;) {
    // The L of a word in quotes, or a comment.
    if (at > 0 && std::isalnum(static_cast<unsigned char>(source[at - 1])) != 0) {
      ++at;
      continue;
    }
    const std::size_t line = source.rfind('\n', at) + 1;
    if (source.substr(line, at - line).find("//") != std::string::npos) {
      at = source.find('\n', at);
      continue;
    }
    const bool isNext = end != 0 && source.find_first_not_of(" \n", end) == at;
    std::string text;
    for (at += 2; source[at] != '"'; ++at) {
      if (source[at] != '\\') {
        text += source[at];
        continue;
      }
      const char escaped = source[++at];
      text += escaped == 'n' ? '\n' : escaped == 'r' ? '\r' : escaped == 't' ? '\t' : escaped;
    }
    end = ++at;
    if (isNext) {
      literals.back() += Utf8ToWide(text);
    } else {
      literals.push_back(Utf8ToWide(text));
    }
  }
  return literals;
}

TEST(LogMessages, AreThoseOfTheSources) {
  // Texts with blanks in the files that log, which are not messages.
  const std::set<std::wstring> kOthers = {
      L"orv Printer Driver Log: ",
      L"Date\tTime\tMessage Type\tProcess\tDLL\tSource\tMessage\r\n",
      // Why a client has no name.
      L"Unable to determine path to DLL: hInstance is NULL",
      L"Unable to determine path to DLL. Error code: %d",
      // Details of "Error parsing the config file".
      L"Root tag <xmlData> was not found!",
      // NOLINTNEXTLINE(bugprone-suspicious-missing-comma)
      L"No print speeds defined. Either <device><printSpeeds> or <device><printSpeedLevel> "
      L"should be filled!",
      L"Missing property in <device><globalOffsetY><properties>: Min, Max or Step is missing!",
      L"Missing property in <device><headsOffsetX><properties>: Min, Max or Step is missing!",
      L"Missing property in <device><darkness><properties>: Min, Max, Step or Default is missing!",
      L"Error in <device><darkness><properties>: ",
      L"Required element %ls was not found!",
      // Markup, and separators.
      L"<property name=\"",
      L", ",
  };
  std::set<std::wstring> formats;
  for (const LogSubject& subject : LogSubjects()) {
    for (const LogMessage& message : subject.messages) {
      EXPECT_TRUE(formats.insert(message.format).second) << WideToUtf8(message.format);
      std::wstring text = message.format;
      for (const auto& [placeholder, value] : {std::pair(L"%ls", L"a b"), std::pair(L"%d", L"-1"),
                                               std::pair(L"%i", L"0"), std::pair(L"%u", L"9")}) {
        while (text.find(placeholder) != text.npos)
          text.replace(text.find(placeholder), std::wcslen(placeholder), value);
      }
      EXPECT_EQ(TakeApart(text).message, &message) << WideToUtf8(text);
    }
  }
  std::set<std::wstring> found;
  for (const char* folder : {"/src", "/include"}) {
    for (const auto& file :
         std::filesystem::recursive_directory_iterator(ORV_TOP + std::string(folder))) {
      if (!file.is_regular_file()) continue;
      const std::string source = test::ReadBytes(file.path());
      if (source.find("eLogLevel") == source.npos && source.find("LOG_") == source.npos) continue;
      for (const std::wstring& literal : WideLiterals(source)) {
        if (literal.find(L' ') == literal.npos) continue;
        // A value may be appended to a message.
        const bool isMessage = formats.contains(literal) || formats.contains(literal + L"%ls");
        EXPECT_TRUE(isMessage || kOthers.contains(literal))
            << file.path() << ": \"" << WideToUtf8(literal)
            << "\" is not in tools/orv/log/messages.cpp";
        found.insert({literal, literal + L"%ls"});
      }
    }
  }
  for (const auto& texts : {formats, kOthers}) {
    for (const std::wstring& text : texts) {
      EXPECT_TRUE(found.contains(text)) << WideToUtf8(text) << " is not in the sources";
    }
  }
  std::string page = test::ReadBytes(ORV_TOP "/docs/messages.md");
  std::erase(page, '\r');
  // To update it: orv log messages --markdown > docs/messages.md
  ExpectRuns({{{"log", "messages", "--markdown"}, 0, page}});
}

TEST(Input, ParsesOnlyWholeTextsAsNumbers) {
  std::uint32_t number = 0;
  EXPECT_TRUE(ParseNumber(L"4294967295", &number));
  EXPECT_EQ(number, 4294967295u);
  EXPECT_TRUE(ParseNumber(L"0XfF", &number));
  EXPECT_EQ(number, 255u);
  for (const wchar_t* text : {L"", L"0x", L"4294967296", L"-1", L"1 ", L" 1", L"1a", L"0x1g"}) {
    EXPECT_FALSE(ParseNumber(text, &number)) << text;
  }
}

TEST(EditLock, LetsOneWriterAtATimeReplaceAFile) {
  const test::TemporaryFolder folder;
  const std::wstring name = folder.Name(L"number");
  test::WriteBytes(ToPath(name), "0");
  const auto count = [&name] {
    for (int i = 0; i < 5; ++i) {
      const EditLock lock(name);
      EXPECT_FALSE(lock.IsBusy());
      const int number = std::stoi(test::ReadBytes(ToPath(name)));
      NewFile file;
      EXPECT_TRUE(file.Open(name) && file.Write(std::to_string(number + 1)) && file.Commit());
    }
  };
  std::thread other(count);
  count();
  other.join();
  EXPECT_EQ(test::ReadBytes(ToPath(name)), "10");
}

TEST(Lengths, ParsesMillimetresAndUnits) {
  EXPECT_EQ(ParseMillimetres("12.5"), 12.5);
  EXPECT_EQ(ParseMillimetres("50mm"), 50);
  EXPECT_EQ(ParseMillimetres("50 mm"), 50);
  EXPECT_EQ(ParseMillimetres("2in"), 50.8);
  for (const char* text : {"", "in", "1cm", "1 ", "1  mm", "2inch", "nan", "inf", "1e999"}) {
    EXPECT_EQ(ParseMillimetres(text), std::nullopt) << text;
  }
  EXPECT_EQ(LengthText(105700), L"105.7 mm");
  EXPECT_EQ(LengthText(-10), L"-0.01 mm");
  EXPECT_EQ(LengthText(0), L"0 mm");
}

/// The parsed lines after the header of a registry file.
struct RegText {
  explicit RegText(const std::wstring& lines) {
    ParseRegFile(L"Windows Registry Editor Version 5.00\r\n\r\n" + lines, &changes, &faults);
  }
  std::vector<RegChange> changes;
  std::vector<RegFault> faults;
};

TEST(RegFile, ReadsWhatItWrites) {
  const RegistryValue values[] = {
      RegistryValue::FromText(L""),
      RegistryValue::FromText(L"C:\\a\\ \"\u20ac\"\\"),
      RegistryValue::FromText(L"two\r\nlines"),
      {REG_SZ, {'a', 0}},              // no terminator
      {REG_SZ, {0, 0, 'a', 0, 0, 0}},  // two terminators
      {REG_SZ, {}},
      RegistryValue::FromNumber(0xDEADBEEF),
      {REG_DWORD, {1, 2}},
      {REG_BINARY, {}},
      {REG_BINARY, std::vector<BYTE>(200, 0xA5)},
      {7, {'a', 0, 0, 0}},
  };
  for (const RegistryValue& value : values) {
    for (const wchar_t* name : {L"", L"plain", L"q\"\\=[;"}) {
      const std::wstring text =
          FormatRegKey(L"HKEY_CURRENT_USER\\a]b\\c") + FormatRegValue(name, value);
      const RegText read(text);
      ASSERT_TRUE(read.faults.empty() && read.changes.size() == 2u) << WideToUtf8(text);
      EXPECT_EQ(read.changes[0].path, L"a]b\\c");
      EXPECT_EQ(read.changes[1].name, name);
      EXPECT_EQ(read.changes[1].value.type, value.type);
      EXPECT_EQ(read.changes[1].value.data, value.data);
      for (std::size_t start = 0; start < text.size();) {
        const std::size_t end = text.find(L"\r\n", start);
        EXPECT_LE(end - start, 80u);
        start = end + 2;
      }
    }
  }
}

TEST(RegFile, ParsesDeletionsCommentsAndLooseSpacing) {
  const RegText read(L"; comment\n\n [hkcu\\a]\n\"n\" = hex:01,\\\n  2 \n@=-\n[-HKLM\\b]\n");
  ASSERT_TRUE(read.faults.empty() && read.changes.size() == 4u);
  EXPECT_EQ(read.changes[1].value.data, (std::vector<BYTE>{1, 2}));
  EXPECT_EQ(read.changes[2].kind, RegChange::Kind::kDeleteValue);
  EXPECT_EQ(read.changes[2].line, 8u);
  EXPECT_EQ(read.changes[3].kind, RegChange::Kind::kDeleteKey);
  EXPECT_EQ(read.changes[3].root, HKEY_LOCAL_MACHINE);
}

TEST(RegFile, ReportsEveryFaultWithItsLine) {
  const std::pair<const wchar_t*, std::vector<std::wstring>> cases[] = {
      {L"the key has no closing bracket", {L"[HKCU\\a"}},
      {L"the key is below neither HKEY_CURRENT_USER nor HKEY_LOCAL_MACHINE", {L"[HKXX\\a]"}},
      {L"refusing to delete a whole hive", {L"[-HKCU]"}},
      {L"a name cannot contain a NUL character",
       {std::wstring(L"[-HKCU\\\0a]", 10), std::wstring(L"\"a\0b\"=\"c\"", 9)}},
      {L"the line is neither a key in brackets, a value nor a comment",
       {L"nonsense", L"\"name", L"\"name\\"}},
      {L"expected an equals sign after the value's name", {L"\"name\"", L"@ \"x\""}},
      {L"the text has no closing quote", {L"@=\"x"}},
      {L"unexpected characters after the text", {L"@=\"x\" y"}},
      {L"a dword has one to eight hexadecimal digits",
       {L"@=dword:", L"@=dword:123456789", L"@=dword:0x1"}},
      {L"the type in brackets is not a hexadecimal number", {L"@=hex(:1"}},
      {L"expected a colon after the type", {L"@=hex(7)1"}},
      {L"bytes are pairs of hexadecimal digits with commas between them",
       {L"@=hex:1,,2", L"@=hex:123"}},
      {L"the data is neither \"text\", dword:, hex: nor hex(type):", {L"@=1", L"@="}}};
  for (const auto& [message, lines] : cases) {
    for (const std::wstring& line : lines) {
      const RegText read(L"[HKCU\\x]\n" + line + L"\n;\n@=oops");
      ASSERT_EQ(read.faults.size(), 2u) << WideToUtf8(line);  // parsing continues after a fault
      EXPECT_EQ(read.faults[0].line, 4u);
      EXPECT_EQ(read.faults[0].message, message);
      EXPECT_EQ(read.faults[1].line, 6u);
    }
  }
  for (const wchar_t* text : {L"", L"\n", L"[HKCU\\a]", L"\\\\\\"}) {
    std::vector<RegChange> changes;
    std::vector<RegFault> faults;
    ParseRegFile(text, &changes, &faults);
    ASSERT_EQ(faults.size(), 1u);
    EXPECT_EQ(faults[0].line, 1u);
  }
}

/// The candidates of completion after some words: the first column of the output.
std::vector<std::string> Offered(std::vector<std::string> words) {
  words.insert(words.begin(), {"complete", "orv"});
  std::istringstream lines(test::RunProgram(ORV_PROGRAM, words).output);
  std::vector<std::string> offered;
  for (std::string line; std::getline(lines, line);) {
    offered.push_back(line.substr(0, line.find('\t')));
  }
  EXPECT_FALSE(offered.empty()) << words.back();
  return offered;
}

/// A name with escaped hyphens, as in the manual source.
std::string WithHyphens(const std::string& name) {
  std::string escaped;
  for (const char c : name) escaped += c == '-' ? "\\-" : std::string(1, c);
  return escaped;
}

TEST(Manual, CoversEveryCommand) {
  const test::TemporaryFolder folder;
  ExpectRuns({{{"--version"}, kDone, HasSubstr("orv " ORV_VERSION)},
              {{"manual", WideToUtf8(folder.Name())}, kDone, ""}});
  EXPECT_THAT(test::ReadBytes(folder.path() / "orv.1"), HasSubstr("\\fBorv\\-log\\fR(1)"));
  for (const std::string& group : Offered({""})) {
    const std::string page = test::ReadBytes(folder.path() / ("orv-" + group + ".1"));
    const std::string general = page.substr(std::min(page.size(), page.find("\n.SH GENERAL")));
    for (const char* last :
         {"GENERAL OPTIONS", "ENVIRONMENT", "FILES", "EXIT STATUS", "SEE ALSO"}) {
      EXPECT_THAT(general, HasSubstr("\n.SH " + std::string(last) + "\n"));
    }
    const bool isCommand = group == "doctor" || group == "report";
    for (const std::string& command :
         isCommand ? std::vector<std::string>{group} : Offered({group, ""})) {
      const std::size_t start = page.find("\n.SS " + WithHyphens(command) + "\n");
      ASSERT_NE(start, page.npos) << group << ' ' << command;
      const std::string section = page.substr(start, page.find("\n.S", start + 1) - start);
      if (group != "page") continue;  // each completion starts a process
      for (const std::string& option : Offered({group, command, "--"})) {
        if (option == "--help") continue;
        EXPECT_THAT(section + general, HasSubstr("\\fB" + WithHyphens(option) + "\\fR"));
      }
    }
    // No text of the help became a troff request.
    std::istringstream lines(page);
    for (std::string line; std::getline(lines, line);) {
      if (!line.starts_with('.') && !line.starts_with('\'')) continue;
      EXPECT_THAT(line.substr(0, 3),
                  AnyOf(".TH", ".SH", ".SS", ".TP", ".PP", ".nf", ".fi", ".br", ".nh"));
    }
  }
}

}  // namespace
}  // namespace orv::tool
