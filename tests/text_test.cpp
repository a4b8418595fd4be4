#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <initializer_list>
#include <string>

#include "base/cpu.h"
#include "base/json.h"
#include "base/utf8.h"
#include "orv/text/format.h"
#include "orv/text/utf8.h"
#include "platform/code_pages.h"
#include "tests/fixtures.h"

namespace {

TEST(Format, GrowsToAnyLength) {
  const std::wstring longText(5000, L'x');
  EXPECT_EQ(orv::Format(L"<%ls>", longText.c_str()), L"<" + longText + L">");
  EXPECT_EQ(orv::Format(L"%d %ls %02x", -1, L"\u00e9", 10), L"-1 \u00e9 0a");
}

TEST(Format, KeepsSurrogateUnits) {
  const std::wstring pair = {static_cast<wchar_t>(0xD83D), static_cast<wchar_t>(0xDE00)};
  EXPECT_EQ(orv::Format(L"%ls", pair.c_str()), pair);
}

/// Wide text of units that a literal cannot hold on both platforms.
std::wstring Units(std::initializer_list<unsigned> units) {
  std::wstring text;
  for (const unsigned unit : units) text.push_back(static_cast<wchar_t>(unit));
  return text;
}

TEST(Utf8, ReplacesEachMaximalIllFormedSubsequence) {
  orv::test::ExpectTable("utf8", [](const orv::test::Fields& fields) {
    const std::string bytes(fields[0].begin(), fields[0].end());
    std::wstring text = orv::Utf8ToWide(bytes);
    const bool isWellFormed = text.find(0xFFFD) == text.npos;
    EXPECT_EQ(orv::WideToUtf8(text) == bytes, isWellFormed);
    return text;
  });
}

TEST(Utf8, ReplacesUnpairedSurrogates) {
  const std::wstring high = Units({0xD83D});
  const std::wstring low = Units({0xDE00});
  EXPECT_EQ(orv::WideToUtf8(high), "\xEF\xBF\xBD");
  EXPECT_EQ(orv::WideToUtf8(low + high), "\xEF\xBF\xBD\xEF\xBF\xBD");
  EXPECT_EQ(orv::WideToUtf8(high + L"x"), "\xEF\xBF\xBDx");
  EXPECT_EQ(orv::WideToUtf8(high + high + low), "\xEF\xBF\xBD\xF0\x9F\x98\x80");
  EXPECT_EQ(orv::ToUtf8(orv::FromUtf8("\xF0\x9F\x98\x80\xFF")), "\xF0\x9F\x98\x80\xEF\xBF\xBD");
  EXPECT_EQ(orv::FromUtf8("\xF0\x9F\x98\x80"), high + low);
}

TEST(Cpu, KernelsOfEveryLevel) {
  using orv::CpuLevel;
  constexpr orv::LeveledKernel<char> kKernels[] = {
      {CpuLevel::kPlain, 'p'}, {CpuLevel::kSse41, 's'}, {CpuLevel::kAvx512, 'a'}};
  std::string chosen;
  for (const CpuLevel level :
       {CpuLevel::kPlain, CpuLevel::kSse41, CpuLevel::kAvx2, CpuLevel::kAvx512}) {
    chosen += orv::KernelFor(level, kKernels);
  }
  EXPECT_EQ(chosen, "pssa");
}

#if defined(__linux__) && defined(__x86_64__)
TEST(Cpu, TheSystemsFlagsDetermineTheLevel) {
  std::ifstream file("/proc/cpuinfo");
  std::string flags;
  while (!flags.starts_with("flags") && std::getline(file, flags)) {
  }
  if (!flags.starts_with("flags")) GTEST_SKIP() << "the system does not list the flags";
  flags += ' ';
  const auto hasAll = [&](std::initializer_list<const char*> names) {
    return std::ranges::all_of(names, [&](const char* name) {
      return flags.find(std::string(" ") + name + ' ') != flags.npos;
    });
  };
  orv::CpuLevel expected = orv::CpuLevel::kPlain;
  if (hasAll({"sse4_1", "popcnt"})) {
    expected = orv::CpuLevel::kSse41;
    if (hasAll({"avx2", "bmi1"})) {
      expected = orv::CpuLevel::kAvx2;
      if (hasAll({"avx512f", "avx512bw", "avx512vl", "avx512vbmi", "avx512_vbmi2"})) {
        expected = orv::CpuLevel::kAvx512;
      }
    }
  }
  EXPECT_EQ(orv::SupportedCpuLevel(), expected);
}
#endif

TEST(Cpu, TheEnvironmentLowersTheLevel) {
  orv::ActiveCpuLevel();  // determined once, for this process before the variable changes
  const char* const set = std::getenv("ORV_CPU");
  const std::string old = set != nullptr ? set : "";
  const std::pair<const char*, orv::CpuLevel> cases[] = {{"plain", orv::CpuLevel::kPlain},
                                                         {"sse41", orv::CpuLevel::kSse41},
                                                         {"avx2", orv::CpuLevel::kAvx2},
                                                         {"unknown", orv::CpuLevel::kAvx512}};
  for (const auto& [name, level] : cases) {
    orv::test::SetVariable("ORV_CPU", name);
    const orv::CpuLevel active = std::min(level, orv::SupportedCpuLevel());
    EXPECT_EQ(orv::test::RunProgram(ORV_TEST_HELPER, {"cpu"}).output,
              std::to_string(static_cast<int>(active)))
        << name;
  }
  orv::test::SetVariable("ORV_CPU", old);
}

TEST(Json, BothStyles) {
  using orv::JsonWriter;
  const std::pair<JsonWriter::Style, const char*> cases[] = {
      {JsonWriter::Style::kIndented, "{\n  \"a\": [\n    1,\n    {}\n  ],\n  \"b\": null\n}\n"},
      {JsonWriter::Style::kOneLine, "{\"a\": [1,{}],\"b\": null}\n"}};
  for (const auto& [style, expected] : cases) {
    JsonWriter json(style);
    json.BeginObject();
    json.Key("a");
    json.BeginArray();
    json.Value(1);
    json.BeginObject();
    json.EndObject();
    json.EndArray();
    json.Key("b");
    json.Null();
    json.EndObject();
    EXPECT_EQ(json.Text(), expected);
  }
}

/// Compares whole texts with the conversion of each character alone, which never uses blocks.
TEST(Utf8, WholeTextsMatchTheirCharacters) {
  constexpr unsigned char kNext[] = {0, 0x41, 0x7F, 0x80, 0x8F, 0x90, 0x9F, 0xA0, 0xBF, 0xC0, 0xF4};
  constexpr int kCount = std::size(kNext);
  std::string all;
  for (int lead = 0x70; lead < 0x100; ++lead) {
    for (int next = 0; next < kCount * kCount * kCount; ++next) {
      for (const int byte : {lead, int{kNext[next % kCount]}, int{kNext[next / kCount % kCount]},
                             int{kNext[next / kCount / kCount]}}) {
        all += static_cast<char>(byte);
      }
      // The prefix moves the sequence to every position of a block.
      all.append(static_cast<std::size_t>(next % 7), 'x');
    }
  }
  std::wstring expected;
  for (std::string_view rest = all; !rest.empty();) {
    const auto [code, length] = orv::DecodeUtf8Character(rest);
    rest.remove_prefix(length);
    if (code > 0xFFFF) expected += Units({0xD7C0 + (code >> 10), 0xDC00 + (code & 0x3FF)});
    if (code <= 0xFFFF) expected += static_cast<wchar_t>(code);
  }
  EXPECT_TRUE(orv::Utf8ToWide(all) == expected);
  EXPECT_EQ(orv::Utf8ToWide(all, nullptr), expected.size());
  std::wstring target(expected.size(), L'#');
  EXPECT_EQ(orv::Utf8ToWide(all, target.data()), expected.size());
  EXPECT_TRUE(target == expected);

  // In the other direction every text is well formed, and converts back.
  const std::string bytes = orv::WideToUtf8(expected);
  EXPECT_TRUE(orv::Utf8ToWide(bytes) == expected);
  EXPECT_EQ(orv::WideToUtf8(expected, nullptr, 0), bytes.size());
}

TEST(CodePages, UnknownOnesAreRefused) {
  for (const int page : {1999, 60000}) {
    std::wstring text;
    std::string bytes;
    bool lost = false;
    EXPECT_FALSE(orv::DecodeCodePage(page, "x", &text, &lost)) << page;
    EXPECT_FALSE(orv::EncodeCodePage(page, L"x", &bytes, &lost)) << page;
  }
}

TEST(Utf8, ConvertsIdenticallyAtEveryPositionOfABlock) {
  // Plain text is converted in blocks: other text must be right at every position of a block.
  const std::pair<std::string, std::wstring> middles[] = {
      {"\xC3\xA9\xF0\x9F\x98\x80", Units({0xE9, 0xD83D, 0xDE00})}, {"\xE8\x80\x81", L"\u8001"}};
  for (const auto& [middle, wideMiddle] : middles) {
    for (std::size_t before = 0; before < 70; ++before) {
      for (const std::size_t after : {0, 1, 31, 32, 33, 5000}) {
        const std::string bytes = std::string(before, 'x') + middle + std::string(after, 'y');
        const std::wstring text =
            std::wstring(before, L'x') + wideMiddle + std::wstring(after, L'y');
        ASSERT_EQ(orv::Utf8ToWide(bytes), text) << before << ' ' << after;
        ASSERT_EQ(orv::WideToUtf8(text), bytes) << before << ' ' << after;
      }
    }
  }
  if constexpr (sizeof(wchar_t) == 4) {
    for (const unsigned value : {0x10000u, 0x80000041u}) {
      const std::wstring noUnit = L'a' + Units({value}) + std::wstring(64, L'b');
      EXPECT_EQ(orv::WideToUtf8(noUnit), "a\xEF\xBF\xBD" + std::string(64, 'b'));
    }
  }
  // Only such sequences, so that every kind occurs at every position of a step.
  const std::pair<std::string, std::wstring> sequences[] = {
      {"\xCE\xB1", L"\u03B1"},
      {"\xE4\xB8\xAD", L"\u4E2D"},
      {"\xC3", L"\uFFFD"},
      {"\xE4\xB8", L"\uFFFD"},
      {"\xC0\x80", L"\uFFFD\uFFFD"},
      {"\xED\xA0\x80", L"\uFFFD\uFFFD\uFFFD"},
      {"\xF0\x9F\x98\x80", Units({0xD83D, 0xDE00})}};
  for (const auto& [fill, wideFill] : {sequences[0], sequences[1]}) {
    for (const auto& [sequence, wideSequence] : sequences) {
      std::string bytes;
      std::wstring text;
      for (int places = 0; places < 40; ++places) {
        for (int i = 0; i < places; ++i) bytes += fill, text += wideFill;
        bytes += sequence;
        text += wideSequence;
      }
      ASSERT_EQ(orv::Utf8ToWide(bytes), text) << sequence;
      ASSERT_EQ(orv::Utf8ToWide(orv::WideToUtf8(text)), text) << sequence;
    }
  }
}

}  // namespace
