#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <functional>
#include <map>
#include <new>
#include <random>
#include <set>
#include <span>
#include <utility>

#include "config/property_tables.h"
#include "devmode/differences.h"
#include "devmode/explanation.h"
#include "devmode/record_fields.h"
#include "orv/config/configs_cache.h"
#include "orv/session/session_data.h"
#include "orv/text/format.h"
#include "platform/debug_output.h"
#include "platform/files.h"
#include "tests/devmode_fixture.h"

// Counts allocations. Not inlined, because the compiler would otherwise report the calls inside as
// mismatched.
static std::size_t allocations = 0;
[[gnu::noinline]] void* operator new(std::size_t size) {
  ++allocations;
  return std::malloc(size);
}
[[gnu::noinline]] void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  return ::operator new(size);
}
[[gnu::noinline]] void operator delete(void* block) noexcept { std::free(block); }
[[gnu::noinline]] void operator delete(void* block, std::size_t) noexcept { std::free(block); }

namespace {

using orv::test::Bytes;
using orv::test::ExpectTable;
using orv::test::ExpectText;
using orv::test::Fields;
using orv::test::LogCapture;
using orv::test::LogLine;
using orv::test::ModuleFolder;
using orv::test::SetWord;
using orv::test::Word;

/// The printer's configuration, loaded once.
const Config& TestConfig() {
  static const std::unique_ptr<Config> s_config = ModuleFolder().Load();
  return *s_config;
}

tagOEMDEV DefaultRecord() {
  tagOEMDEV record{};
  orv::FillDefaults(TestConfig(), &record);
  return record;
}

std::uint32_t Bits(std::int32_t value) { return static_cast<std::uint32_t>(value); }

TEST(Defaults, FillEveryFieldExceptTheCarriedOnes) {
  tagOEMDEV record;
  std::memset(&record, 0xA5, sizeof(record));
  orv::FillDefaults(TestConfig(), &record);
  std::wstring words;  // the fields that are not 0
  for (std::size_t offset = 0; offset < sizeof(record); offset += 4) {
    const bool isCarried =
        (offset >= 12 && offset < 1620) || offset == 2580 || offset == 2588 || offset == 2592;
    const std::uint32_t word = Word(record, offset);
    if (isCarried) {
      EXPECT_EQ(word, 0xA5A5A5A5) << offset;
    } else if (word != 0) {
      words += orv::Format(L"%d %d\n", static_cast<int>(offset), static_cast<int>(word));
    }
  }
  ExpectText("devmode_defaults", words);
  EXPECT_EQ(std::memcmp(&record.dwSignature, "1VRO", 4), 0);
}

TEST(Defaults, OfTheExamplePrintersAreTheirGoldenRecords) {
  for (const char* model : {"dx600p", "lx300", "lx300p", "nx200"}) {
    const std::filesystem::path examples = ORV_EXAMPLES;
    Config* config = nullptr;
    ASSERT_TRUE(
        CConfigParser::Load(orv::FromPath(examples / (std::string("orv_conf_") + model + ".xml")),
                            &config, nullptr, nullptr));
    const std::unique_ptr<Config> owned(config);
    tagOEMDEV record{};
    orv::FillDefaults(*config, &record);
    const std::filesystem::path file =
        std::filesystem::path(ORV_TEST_DATA) / "defaults" / (std::string(model) + ".dev");
    if (std::getenv("ORV_GOLDEN_WRITE") != nullptr) orv::test::WriteBytes(file, Bytes(record));
    EXPECT_EQ(Bytes(record), orv::test::ReadBytes(file)) << model;
  }
}

TEST(Versions, OnlyTheCurrentOneIsAccepted) {
  ExpectTable("devmode_versions", [](const Fields& fields) {
    tagOEMDEV in;
    std::memset(&in, 0x3C, sizeof(in));
    in.dwVersion = static_cast<std::uint32_t>(std::stoul(fields[0]));
    tagOEMDEV out{};
    LogCapture log;
    const bool isTaken = ConvertOEMDevmodeVersions(nullptr, &in, &out);
    EXPECT_EQ(isTaken, in.dwVersion == 16);
    EXPECT_EQ(Bytes(out) == Bytes(in), isTaken);
    return log.TakeText();
  });
}

TEST(LegacyLayout, MapsFieldByField) {
  EXPECT_TRUE(std::ranges::is_sorted(orv::LegacyFields(), {}, &orv::LegacyField::offset));
  ExpectTable("devmode_legacy", [](const Fields& fields) {
    const std::size_t legacy = std::stoul(fields[0]);
    const std::size_t width = legacy == 230 ? 2 : 4;
    const std::size_t offset = std::stoul(fields[2]);
    tagOEMDEV record{};
    SetWord(&record, offset, 0x77777777);
    SetWord(&record, legacy, Bits(std::stoi(fields[1])), width);
    ConvertEp2Orv(&record);
    const auto value = static_cast<std::int32_t>(Word(record, offset));
    SetWord(&record, legacy, 0x5555, width);
    ConvertOrv2Ep(&record);
    return std::to_wstring(value) + L" and back " +
           std::to_wstring(static_cast<std::int32_t>(Word(record, legacy, width)));
  });
  const std::pair<std::size_t, std::size_t> types[] = {{236, 1920}, {238, 1922}, {240, 1928},
                                                       {242, 1930}, {564, 1924}, {566, 1926},
                                                       {568, 1932}, {570, 1934}};
  const std::pair<std::size_t, std::size_t> texts[] = {{244, 1936}, {324, 2016}, {404, 2256},
                                                       {484, 2336}, {572, 2096}, {652, 2176},
                                                       {732, 2416}, {812, 2496}};
  tagOEMDEV record;
  std::mt19937 random(41);
  for (std::size_t i = 0; i < sizeof(record); ++i) SetWord(&record, i, random(), 1);
  ConvertEp2Orv(&record);
  for (const auto& [from, to] : types) EXPECT_EQ(Word(record, to, 2), Word(record, from, 2));
  for (const auto& [from, to] : texts) {
    EXPECT_EQ(Bytes(record).substr(to, 80), Bytes(record).substr(from, 80)) << from;
    EXPECT_EQ(std::ranges::count(orv::LegacyFields(), from, &orv::LegacyField::offset), 1) << from;
  }
  tagOEMDEV back = record;
  std::memset(back.EpLayout, 0, sizeof back.EpLayout);
  ConvertOrv2Ep(&back);
  for (const auto& [from, to] : types) EXPECT_EQ(Word(back, from, 2), Word(record, to, 2));
  for (const auto& [from, to] : texts) {
    EXPECT_EQ(Bytes(back).substr(from, 80), Bytes(record).substr(to, 80)) << from;
  }
}

/// A valid record: the defaults, except that the speed of 0 is in no list.
tagOEMDEV ValidRecord() {
  tagOEMDEV record = DefaultRecord();
  record.BackFeedSpeed = 50;
  return record;
}

/// Checks a record and returns the warnings.
std::vector<std::wstring> Repair(tagOEMDEV* record, const Config* config = &TestConfig()) {
  LogCapture log;
  EXPECT_EQ(EnsureValidOEMDevmode(nullptr, config, record), TRUE);
  std::vector<std::wstring> warnings;
  for (const LogLine& line : log.Take()) {
    if (line.tag == L"WAR") warnings.push_back(line.message);
  }
  return warnings;
}

const std::wstring kWarning = L"Drevik.EnsureValidOEMDevmode: ";

/// The warning of the check for a record, without the common prefix.
std::wstring RepairText(tagOEMDEV* record, const Config* config = &TestConfig()) {
  std::wstring text;
  for (const std::wstring& warning : Repair(record, config)) {
    EXPECT_TRUE(warning.starts_with(kWarning));
    text += L"; " + warning.substr(kWarning.size());
  }
  return text;
}

TEST(Validation, RepairsAndNamesEachField) {
  ExpectTable("devmode_limits", [](const Fields& fields) {
    const std::size_t offset = std::stoul(fields[0]);
    const std::size_t width = std::stoul(fields[1]);
    tagOEMDEV record = ValidRecord();
    SetWord(&record, offset, static_cast<std::uint32_t>(std::stoll(fields[2])), width);
    const std::wstring said = RepairText(&record);
    return std::to_wstring(static_cast<std::int32_t>(Word(record, offset, width))) + said;
  });
}

TEST(Validation, NamesEverythingInOneLineInOrder) {
  tagOEMDEV record;
  std::memset(&record, 0xEE, sizeof(record));
  const Config& config = TestConfig();  // the load is logged, too
  LogCapture log;
  EnsureValidOEMDevmode(nullptr, &config, &record);
  // Each line begins with the source.
  ExpectText("devmode_order", log.TakeText());
  for (std::size_t offset = 1936; offset < 2576; offset += 80) {
    EXPECT_EQ(Bytes(record).substr(offset, 80), std::string(79, '\xEE') + '\0');
  }
}

TEST(Validation, MarginsShareTheCorrectedSize) {
  tagOEMDEV record = ValidRecord();
  record.PaperWidth = 1;  // becomes 60000
  record.UnprintableLeft = 40000;
  record.UnprintableRight = 30000;
  record.UnprintableTop = 50000;  // higher than the label: the bottom margin wraps
  EXPECT_EQ(Repair(&record),
            std::vector<std::wstring>{
                kWarning + L"PaperWidth:1->60000 "
                           L"UnprintableRight:30000->20000 UnprintableBottom:0->-10000 "});
  EXPECT_EQ(record.UnprintableBottom, Bits(-10000));
}

TEST(Validation, EachGeneralSettingDecidesItsFieldsAlone) {
  ExpectTable("devmode_settings", [](const Fields& fields) {
    const std::size_t offset = std::stoul(fields[1]);
    std::wstring text;
    for (const unsigned on : {0, 1, 2, 3}) {
      Config config = TestConfig();
      GeneralSettings& settings = config.device.generalSettings = {};
      orv::PropertyStore<GeneralSettings> store(orv::kGeneralSettingsProperties, settings);
      EXPECT_TRUE(store.Store(fields[0] + L"Enabled", on % 2 != 0 ? L"true" : L"false"));
      EXPECT_TRUE(store.Store(fields[0] + L"ByDefault", on / 2 != 0 ? L"true" : L"false"));
      tagOEMDEV record{};
      orv::FillDefaults(config, &record);
      text += (on != 0 ? L" | " : L"") + std::to_wstring(Word(record, offset));
      for (const std::size_t setting :
           {1648, 1652, 1656, 1660, 1676, 1684, 1688, 1704, 1708, 1712, 1716, 1904, 2672}) {
        SetWord(&record, setting, 77);
      }
      text += RepairText(&record, &config);
    }
    return text;
  });
}

TEST(Validation, AnEmptyListAllowsNothing) {
  Config config = TestConfig();
  config.device.printSpeeds.speeds.clear();
  tagOEMDEV record = ValidRecord();
  record.PrintSpeed = 50;
  Repair(&record, &config);
  EXPECT_EQ(record.PrintSpeed, 100U);
}

TEST(Validation, WithoutAConfigurationOnlyTheHeaderIsStamped) {
  tagOEMDEV record;
  std::memset(&record, 0xEE, sizeof(record));
  const std::string before = Bytes(record);
  EXPECT_TRUE(Repair(&record, nullptr).empty());
  EXPECT_EQ(Bytes(record).substr(12), before.substr(12));
  EXPECT_EQ(Bytes(record).substr(0, 12), Bytes(DefaultRecord()).substr(0, 12));
}

TEST(Validation, RandomRecordsAreRepairedForGood) {
  // Values inside and outside every limit, so that each check passes and fails.
  const std::uint32_t pool[] = {0,     1,     2,      3,      4,        5,          10,
                                50,    100,   200,    128,    10000,    40000,      60000,
                                20000, 99999, 100000, 300000, Bits(-1), 0x80000000, Bits(-5)};
  std::mt19937 random(43);
  std::set<std::string_view> checked;
  for (int round = 0; round < 6000; ++round) {
    // On the heap, in its exact size, so that a sanitizer detects an access outside it.
    const auto record = std::make_unique<tagOEMDEV>();
    for (std::size_t offset = 0; offset < sizeof(tagOEMDEV); offset += 4) {
      const std::uint32_t bits = random();
      SetWord(record.get(), offset, bits % 4 == 0 ? random() : pool[bits / 4 % std::size(pool)]);
    }
    if (round % 16 == 0) std::memset(record->CustomCommandDocumentStart, 'x', 8 * 80);
    const std::string before = Bytes(*record);
    std::string expected = before;
    for (const orv::Correction& correction : orv::RepairRecord(TestConfig(), record.get())) {
      checked.insert(correction.check->name);
      const orv::RecordField& field = *correction.check->field;
      expected.replace(field.offset, field.width, Bytes(*record), field.offset, field.width);
    }
    for (std::size_t offset = 1936; offset < 2576; offset += 80) expected[offset + 79] = '\0';
    ASSERT_EQ(Bytes(*record), expected) << "a byte changed that no correction names";

    const bool wrapsRight = record->UnprintableLeft > record->PaperWidth;
    const bool wrapsBottom = record->UnprintableTop > record->PaperHeight;
    const std::string repaired = Bytes(*record);
    const orv::Corrections corrections = orv::RepairRecord(TestConfig(), record.get());
    ASSERT_EQ(Bytes(*record), repaired);
    for (const orv::Correction& correction : corrections) {
      const std::string_view name = correction.check->name;
      ASSERT_TRUE(name == "BackFeedSpeed" || (name == "UnprintableRight" && wrapsRight) ||
                  (name == "UnprintableBottom" && wrapsBottom))
          << name;
    }
  }
  std::set<std::string_view> all;
  for (const orv::RecordCheck& check : orv::RecordChecks()) all.insert(check.name);
  all.erase("TubeApplicator.enabled");  // its field is the tear-off edge's, already corrected
  EXPECT_EQ(checked, all);
}

TEST(Explanation, ShowsTheValuesOfEachField) {
  Config config = TestConfig();
  config.device.printSpeeds.speeds = {50000, 60000, 80000, 90000};  // in uneven steps
  tagOEMDEV record = DefaultRecord();
  record.PaperWidth = Bits(-5);
  std::memcpy(record.CustomCommandDocumentStart, "\0a\"\\\n\x7F", 6);
  std::wstring texts;
  for (const std::size_t offset :
       {offsetof(tagOEMDEV, PaperWidth), offsetof(tagOEMDEV, CustomCommandDocumentStart)}) {
    const auto field = std::ranges::find(orv::RecordFields(), offset, &orv::RecordField::offset);
    texts += orv::FieldText(record, *field) + L' ';
  }
  EXPECT_EQ(texts, LR"(4294967291 "\x00a\"\\\x0A\x7F" )");
  const std::string json = orv::ExplanationAsJson(orv::ValidateWithSteps(config, record));
  for (const char* const part : {R"(
    "decidedBy": "carried, allowed"
  },
  {
    "field": "PrintSpeed",
    "incoming": 100,
    "default": 100,
    "stock": null,
    "allowed": "50, 60, 80, 90",
)",
                                 R"(": "\u0000a\"\\\u000a)"}) {
    EXPECT_NE(json.find(part), json.npos) << part;
  }
}

TEST(Differences, NamesEachFieldThatDiffers) {
  DEVMODEW a{};
  EXPECT_EQ(orv::DescribeDifferences(&a, &a), L"none (same address)");
  DEVMODEW b{};
  EXPECT_EQ(orv::DescribeDifferences(&a, &b), L"none");
  EXPECT_EQ(orv::DescribeDifferences(nullptr, &b), L"none");
  a.dmDeviceName[0] = 'x';
  b.dmSpecVersion = 0xFFFF;
  b.dmFields = 0x10101;
  a.dmFields = 0x10108;
  a.dmOrientation = -1;
  b.dmPaperWidth = 7;
  b.dmCopies = 2;
  for (WCHAR& unit : b.dmFormName) unit = 'f';
  b.dmPelsHeight = 0xFFFFFFFF;
  a.dmNup = 4;
  a.dmDisplayFrequency = 60;  // not compared
  a.dmPanningHeight = 1;
  std::wstring text = orv::DescribeDifferences(&a, &b) + L'\n';
  // Every compared byte of a record that is all different, in the order of the log.
  DEVMODEW all;
  std::memset(&all, 0x11, sizeof(all));
  text += orv::DescribeDifferences(&all, &b) + L'\n';
  a = b = {};
  a.dmDeviceName[1] = 'x';  // after the name's end
  EXPECT_EQ(orv::DescribeDifferences(&a, &b), L"none");
  a.dmFields = 0xFFFFFFFF;  // the highest bits have no names
  ExpectText("devmode_differences", text + orv::DescribeDifferences(&a, &b) + L'\n');
}

/// The entry point on a printer with its configuration.
class EntryPoint : public ::testing::Test {
 protected:
  EntryPoint() {
    param_.hPrinter = printer_.handle();
    param_.pOEMDMIn = &in_;
    param_.pOEMDMOut = &out_;
    param_.pPublicDMIn = &publicIn_;
    param_.pPublicDMOut = &publicOut_;
    out_.dwSignature = tagOEMDEV::kSignature;
    publicIn_.dmCopies = 1;
    publicIn_.dmPaperSize = 256;
    publicIn_.dmPaperWidth = 500;
    publicIn_.dmPaperLength = 305;
  }
  ~EntryPoint() override { ConfigsCache::ReleaseInstance(); }

  HRESULT Call(DWORD mode) {
    SetLastError(0);
    return hrOEMDevMode(&module_.client, cache_, L"Label 1", mode, &param_);
  }
  /// The error that a failing call logs.
  std::wstring Failure(DWORD mode) {
    log_.Take();
    EXPECT_EQ(Call(mode), E_FAIL);
    EXPECT_EQ(GetLastError(), 87U);
    std::wstring text;
    for (const std::wstring& message : log_.TakeMessages()) text += message + L'\n';
    return text;
  }

  orv::test::ScratchRegistry registry_;
  orv::test::TestPrinter printer_{L"Label 1", orv::test::kTestDriver};
  ModuleFolder module_;
  ConfigsCache* cache_ = ConfigsCache::GetInstance();
  tagOEMDEV in_ = ValidRecord();
  tagOEMDEV out_{};
  DEVMODEW publicIn_{};
  DEVMODEW publicOut_{};
  OEMDMPARAM param_{};
  LogCapture log_;
};

TEST_F(EntryPoint, ReturnsTheSizeFillsDefaultsAndConverts) {
  EXPECT_EQ(Call(OEMDM_DEFAULT), S_OK);
  EXPECT_EQ(Bytes(out_), Bytes(DefaultRecord()));
  cache_->Clear();
  out_ = {};
  EXPECT_EQ(hrOEMDevMode(&module_.client, nullptr, L"Label 1", OEMDM_DEFAULT, &param_), S_OK);
  EXPECT_EQ(Bytes(out_), Bytes(DefaultRecord()));
  EXPECT_EQ(cache_->GetConfig(module_.folder().Name(orv::test::kTestConfigName)), nullptr);
  EXPECT_EQ(Call(OEMDM_CONVERT), S_OK);
  EXPECT_EQ(Bytes(out_), Bytes(in_));
  EXPECT_EQ(log_.TakeMessages().back(), L"Drevik.hrOEMDevMode END (OEMDM_CONVERT, S_OK)");

  param_.hPrinter = nullptr;  // the size needs no configuration
  EXPECT_EQ(Call(OEMDM_SIZE), S_OK);
  EXPECT_EQ(param_.cbBufSize, 2688U);
  EXPECT_EQ(log_.TakeMessages(),
            (std::vector<std::wstring>{L"Drevik.hrOEMDevMode START",
                                       L"Drevik.hrOEMDevMode END (OEMDM_SIZE, S_OK)"}));
}

// A step that crashes has logged its start.
TEST_F(EntryPoint, LogsEachStartBeforeTheStep) {
  static tagOEMDEV s_record;
  static std::wstring s_starts;
  s_starts.clear();
  param_.pOEMDMOut = &s_record;
  orv::SetDebugOutputSink([](const std::wstring& text) {
    if (text.find(L" START") == text.npos) return;
    s_starts += s_record.dwSize == 0 ? L" before" : L" after";
  });
  const std::function<void()> steps[] = {
      [this] { EXPECT_EQ(Call(OEMDM_CONVERT), S_OK); },
      [this] { EXPECT_EQ(ConvertOEMDevmodeVersions(nullptr, &in_, &s_record), TRUE); },
      [] { EXPECT_EQ(EnsureValidOEMDevmode(nullptr, &TestConfig(), &s_record), TRUE); }};
  for (const auto& step : steps) {
    s_record = {};
    s_record.dwSignature = tagOEMDEV::kSignature;
    step();
    EXPECT_EQ(s_record.dwSize, tagOEMDEV::kSize);
  }
  // The conversion logs its own start, that of the record and that of the version.
  EXPECT_EQ(s_starts, L" before before before before before");
}

TEST_F(EntryPoint, NamesEachFailure) {
  log_.Take();
  SetLastError(0);
  EXPECT_EQ(hrOEMDevMode(nullptr, cache_, nullptr, OEMDM_SIZE, nullptr), E_FAIL);
  EXPECT_EQ(GetLastError(), 87U);
  EXPECT_EQ(log_.Take().at(1),
            (LogLine{L"ERR", L"", L"DevMode", L"Drevik.hrOEMDevMode: ERROR_INVALID_PARAMETER"}));
  EXPECT_EQ(Call(OEMDM_DEFAULT), S_OK);
  std::wstring text = Failure(5);
  param_.pOEMDMOut = nullptr;
  for (const DWORD mode : {OEMDM_DEFAULT, OEMDM_CONVERT, OEMDM_MERGE}) text += Failure(mode);
  param_.pOEMDMOut = &out_;
  in_.dwSignature = 0x80000000;
  ExpectText("devmode_failures", text + Failure(OEMDM_MERGE));
  module_.client.m_stModuleFolder += L"x";
  EXPECT_EQ(Call(OEMDM_CONVERT), E_FAIL);
  EXPECT_EQ(log_.Take().back().message, L"Drevik.hrOEMDevMode: Config not loaded!");
}

TEST_F(EntryPoint, MergesAndLogsEveryStep) {
  EXPECT_EQ(Call(OEMDM_DEFAULT), S_OK);
  in_.GapDistance = 20001;
  publicIn_.dmCopies = 10001;
  publicIn_.dmPaperLength = 0;
  publicOut_.dmFields = 0x10;
  ReleaseSessionDataInstance();
  log_.Take();
  EXPECT_EQ(Call(OEMDM_MERGE), S_OK);
  std::wstring text;
  for (const LogLine& line : log_.Take()) {
    // Access to the parent process depends on the user, the paths on the folder.
    if (line.message.starts_with(L"UserData is called with parent: ")) continue;
    const std::wstring own = L"UserData is called by process: ";
    const bool isSession = line.source == L"SessionData";
    EXPECT_EQ(line.module + line.source, isSession ? L"SessionData" : L"caller.dllDevMode");
    text += (isSession ? L"session " : L"") + line.tag + L' ' +
            (line.message.starts_with(own) ? own : line.message) + L'\n';
  }
  ExpectText("devmode_merge", text);
  EXPECT_EQ(publicOut_.dmFields, 0x1010FU);
  EXPECT_EQ(publicOut_.dmPaperSize, 256);
  EXPECT_EQ(publicOut_.dmPaperWidth, 500);
  EXPECT_EQ(publicOut_.dmPaperLength, 400);
  EXPECT_EQ(out_.PaperWidth, 50000U);
  EXPECT_EQ(out_.PaperHeight, 40000U);
}

TEST_F(EntryPoint, WarnsOnlyOutsideTheLimits) {
  EXPECT_EQ(Call(OEMDM_DEFAULT), S_OK);
  ExpectTable("devmode_suspicious", [this](const Fields& fields) {
    const auto number = [&](int field) { return static_cast<SHORT>(std::stoi(fields[field])); };
    publicIn_.dmPaperSize = number(0);
    publicIn_.dmCopies = number(1);
    publicIn_.dmPaperLength = number(2);
    param_.pPublicDMOut = fields[3] == L"out" ? &publicOut_ : nullptr;
    log_.Take();
    EXPECT_EQ(Call(OEMDM_MERGE), S_OK);
    std::wstring warnings;
    for (const LogLine& line : log_.Take()) {
      const std::size_t at = line.message.find(L"PublicDevMode suspicious");
      if (at != line.message.npos) warnings += line.tag + L' ' + line.message.substr(at) + L"; ";
    }
    return warnings;
  });
}

TEST_F(EntryPoint, MergesWithoutPublicRecords) {
  EXPECT_EQ(Call(OEMDM_DEFAULT), S_OK);
  in_.GapDistance = 20001;
  param_.pPublicDMOut = nullptr;
  EXPECT_EQ(Call(OEMDM_MERGE), S_OK);
  EXPECT_EQ(out_.GapDistance, 20001U);  // nothing is checked

  param_.pPublicDMOut = &publicOut_;
  param_.pPublicDMIn = nullptr;
  log_.Take();
  EXPECT_EQ(Call(OEMDM_MERGE), S_OK);
  const std::vector<std::wstring> messages = log_.TakeMessages();
  EXPECT_EQ(messages.at(5), L"Drevik.hrOEMDevMode: DevModeDifferences: none");
  EXPECT_EQ(messages.at(6), L"Drevik.hrOEMDevMode: DevModeIn  IS NULL!!!");
  EXPECT_EQ(out_.GapDistance, 0U);
  EXPECT_EQ(out_.PaperWidth, 60000U);
  EXPECT_EQ(publicOut_.dmFields, 0x1010FU);
}

// The number of allocations does not depend on the data.
TEST_F(EntryPoint, AllocatesLittle) {
  const int level = std::exchange(CLogger::m_nLoglevel, 0);
  const auto count = [](auto&& work) {
    const std::size_t before = allocations;
    work();
    return allocations - before;
  };
  const std::wstring path = module_.folder().Name(orv::test::kTestConfigName);
  EXPECT_EQ(Call(OEMDM_MERGE), S_OK);  // loads the configuration, reads the settings
  EXPECT_LE(count([&] { EXPECT_EQ(Call(OEMDM_MERGE), S_OK); }), 150u);
  tagOEMDEV wrong;
  std::memset(&wrong, 0xEE, sizeof(wrong));
  EXPECT_EQ(count([&] { EXPECT_GT(orv::RepairRecord(TestConfig(), &wrong).size(), 50u); }), 0u);
  Config* config = nullptr;
  EXPECT_EQ(count([&] { EXPECT_TRUE(CConfigParser::Load(path, &config, cache_, nullptr)); }), 0u);
#if !defined(ORV_TINY_BLOCKS)  // with tiny blocks the index grows often
  for (const int elements : {10, 1000, 30000}) {
    std::wstring text = L"<r>";
    for (int i = 0; i < elements; ++i) text += L"<p name='some name'>and its text</p>";
    text += L"</r>";
    EXPECT_LE(count([&] { EXPECT_TRUE(CMarkup().SetDoc(text)); }), 8u) << elements;
  }
#endif
  CLogger::m_nLoglevel = level;
}

}  // namespace
