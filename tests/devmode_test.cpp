#include <gtest/gtest.h>

#include <map>
#include <random>
#include <set>

#include "orv/config/configs_cache.h"
#include "orv/devmode/differences.h"
#include "orv/devmode/record_fields.h"
#include "orv/platform/files.h"
#include "tests/devmode_fixture.h"

namespace {

using orv::test::Bytes;
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

TEST(Defaults, FillEveryWordButTheCarriedOnes) {
  // Every word that is not 0, by its offset.
  const std::map<std::size_t, std::uint32_t> expected = {
      {0, 2688},     {4, 0x4F525631},   {8, 16},     {1620, 1},  {1652, 1},   {1668, 2},
      {1676, 2},     {1680, 1},         {1684, 2},   {1692, 1},  {1696, 100}, {1700, 10},
      {1708, 1},     {1716, 1},         {1720, 1},   {1724, 11}, {1728, 12},  {1732, 13},
      {1736, 14},    {1740, 15},        {1744, 16},  {1872, 1},  {1876, 31},  {1880, 32},
      {1896, 60000}, {1900, 40000},     {2576, 255}, {2596, 15}, {2600, 128}, {2604, 1},
      {2616, 1},     {2620, Bits(-21)}, {2624, 22},  {2628, 23}, {2632, 24},  {2636, 250},
      {2668, 1},     {2676, 10}};
  tagOEMDEV record;
  std::memset(&record, 0xA5, sizeof(record));
  orv::FillDefaults(TestConfig(), &record);
  for (std::size_t offset = 0; offset < sizeof(record); offset += 4) {
    const bool isCarried =
        (offset >= 12 && offset < 1620) || offset == 2580 || offset == 2588 || offset == 2592;
    const auto found = expected.find(offset);
    EXPECT_EQ(Word(record, offset), isCarried                 ? 0xA5A5A5A5
                                    : found != expected.end() ? found->second
                                                              : 0)
        << offset;
  }
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
    EXPECT_EQ(Bytes(record), orv::test::ReadBytes(std::filesystem::path(ORV_TEST_DATA) /
                                                  "defaults" / (std::string(model) + ".dev")))
        << model;
  }
}

TEST(Defaults, AreWithinTheirOwnLimits) {
  tagOEMDEV record = DefaultRecord();
  std::vector<orv::Correction> corrections;
  orv::RepairRecord(TestConfig(), &record, &corrections);
  // A back-feed speed of 0 is refused by a list without it, and replaced by 0.
  ASSERT_EQ(corrections.size(), 1U);
  EXPECT_STREQ(corrections[0].check->name, "BackFeedSpeed");
  EXPECT_EQ(Bytes(record), Bytes(DefaultRecord()));
}

TEST(Versions, OnlyTheCurrentOneIsTaken) {
  const std::wstring start = L"Drevik.ConvertOEMDevmodeVersions START";
  const struct {
    std::uint32_t version;
    BOOL result;
    std::vector<LogLine> log;
  } cases[] = {
      {16, TRUE, {{L"TRC", L"", L"DevMode", L"Drevik.ConvertOEMDevmodeVersions END (TRUE)"}}},
      {0,
       FALSE,
       {{L"ERR", L"", L"DevMode",
         L"Drevik.ConvertOEMDevmodeVersions: END (FALSE, IN-version 0 is unknown for "
         L"current version 16)"}}},
      {17,
       FALSE,
       {{L"ERR", L"", L"DevMode",
         L"Drevik.ConvertOEMDevmodeVersions: END (FALSE, IN-version 17 is unknown for "
         L"current version 16)"}}},
      {15,
       FALSE,
       {{L"ERR", L"", L"DevMode",
         L"Drevik.ConvertOEMDevmodeVersions: OEMDevMode version 15 is not handled!"},
        {L"ERR", L"", L"DevMode", L"Drevik.ConvertOEMDevmodeVersions END (FALSE)"}}},
  };
  for (const auto& test : cases) {
    tagOEMDEV in;
    std::memset(&in, 0x3C, sizeof(in));
    in.dwVersion = test.version;
    tagOEMDEV out{};
    LogCapture log;
    EXPECT_EQ(ConvertOEMDevmodeVersions(nullptr, &in, &out), test.result);
    std::vector<LogLine> expected = test.log;
    expected.insert(expected.begin(), {L"TRC", L"", L"DevMode", start});
    EXPECT_EQ(log.Take(), expected) << test.version;
    EXPECT_EQ(Bytes(out) == Bytes(in), test.result == TRUE);
  }
}

/// A word of the older layout, its value, and what it makes of a setting.
struct EpCase {
  std::size_t epOffset;
  std::size_t epWidth;
  std::uint32_t epValue;
  std::size_t offset;
  std::uint32_t value;
  std::uint32_t back;  ///< what the setting makes of the word again
};

TEST(OlderLayout, MapsWordByWord) {
  const EpCase cases[] = {{230, 2, 0, 1676, 0, 0},
                          {230, 2, 1, 1676, 2, 1},
                          {230, 2, 2, 1676, 1, 2},
                          {230, 2, 3, 1676, 3, 3},
                          {230, 2, 4, 1676, 0, 0},
                          {1252, 4, Bits(-7), 1700, Bits(-7), Bits(-7)},
                          {892, 4, 9, 2676, 9, 9},
                          {1256, 4, 150, 1696, 150, 150},
                          {1260, 4, 5, 1668, 5, 5},
                          {1260, 4, 6, 1668, 0, 0},
                          {1272, 4, 2, 1704, 0, 0},
                          {1272, 4, 1, 1704, 1, 1},
                          {1276, 4, Bits(-3), 1644, Bits(-300), Bits(-3)},
                          {1288, 4, 4, 1640, 400, 4},
                          {1280, 4, 5, 1672, 500, 5},
                          {1284, 4, 6, 1792, 600, 6},
                          {1284, 4, 7, 1892, 700, 7},
                          {1356, 4, 2, 1716, 0, 2},
                          {1356, 4, 0, 1716, 1, 1},
                          {1360, 4, 0, 1680, 1, 0},
                          {1360, 4, 9, 1680, 0, 1},
                          {1368, 4, 1, 1652, 1, 1},
                          {1368, 4, 3, 1652, 0, 0},
                          {1500, 4, 1, 1856, 1, 1},
                          {1500, 4, 2, 1788, 1, 2},
                          {1500, 4, 3, 1856, 0, 0},
                          {1500, 4, 3, 1788, 0, 0},
                          {1504, 4, 2, 1684, 2, 2},
                          {1504, 4, 3, 1684, 0, 0},
                          {1508, 4, 1, 1656, 1, 1}};
  for (const EpCase& test : cases) {
    tagOEMDEV record{};
    SetWord(&record, test.offset, 0x77777777);
    SetWord(&record, test.epOffset, test.epValue, test.epWidth);
    ConvertEp2Orv(&record);
    EXPECT_EQ(Word(record, test.offset), test.value) << test.epOffset << " " << test.epValue;
    SetWord(&record, test.epOffset, 0x5555, test.epWidth);
    ConvertOrv2Ep(&record);
    EXPECT_EQ(Word(record, test.epOffset, test.epWidth), test.back)
        << test.epOffset << " " << test.epValue;
  }
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
  }
}

TEST(OlderLayout, RoundTripKeepsMappedSettingsAndUnmappedWords) {
  std::mt19937 random(42);
  for (int round = 0; round < 2000; ++round) {
    tagOEMDEV record;
    for (std::size_t i = 0; i < sizeof(record); ++i) SetWord(&record, i, random(), 1);
    const auto pick = [&](std::uint32_t below) {
      return static_cast<std::uint32_t>(random() % below);
    };
    const std::int32_t x = static_cast<std::int32_t>(pick(200)) - 100;
    record.OffsetX = x * 100;
    record.OffsetY = -record.OffsetX;
    record.GapDistance = pick(1000) * 100;
    record.PeelOff.offset = record.IoModule.offset = pick(1000) * 100;
    record.Rotation = pick(4);
    record.SensorType = pick(6);
    record.BackFeedMode = pick(3);
    record.RibbonSaver = pick(2);
    record.SoftwareOptimization = pick(2);
    record.PrintMode = pick(2);
    record.Mirror = pick(2);
    record.Invert = pick(2);
    record.TearOff.enabled = pick(2);
    record.PeelOff.enabled = record.TearOff.enabled == 0 ? pick(2) : 0;
    const tagOEMDEV before = record;
    ConvertOrv2Ep(&record);
    for (const std::size_t unmapped : {12U, 228U, 232U, 896U, 1264U, 1292U, 1364U, 1512U, 1616U}) {
      ASSERT_EQ(Word(record, unmapped, 2), Word(before, unmapped, 2)) << unmapped;
    }
    ConvertEp2Orv(&record);
    ASSERT_EQ(Bytes(record).substr(1620), Bytes(before).substr(1620));
  }
}

/// One wrong word and the line about it.
struct RepairCase {
  std::size_t offset;
  std::uint32_t value;
  const wchar_t* item;
  std::uint32_t repaired;
  std::size_t width = 4;
};

std::vector<std::wstring> Warnings(LogCapture* log) {
  std::vector<std::wstring> warnings;
  for (const LogLine& line : log->Take()) {
    if (line.tag == L"WAR") warnings.push_back(line.message);
  }
  return warnings;
}

/// A record that nothing is wrong with.
tagOEMDEV ValidRecord() {
  tagOEMDEV record = DefaultRecord();
  record.BackFeedSpeed = 50;
  return record;
}

TEST(Validation, RepairsAndNamesEachField) {
  const RepairCase cases[] = {
      {1620, 0, L"OutputFormatPNG:0->1 ", 1},
      {1896, 0, L"PaperWidth:0->60000 ", 60000},
      {1896, 100001, L"PaperWidth:100001->60000 ", 60000},
      {1896, Bits(-1), L"PaperWidth:-1->60000 ", 60000},
      {1896, 10000, nullptr, 10000},
      {1900, 4999, L"PaperHeight:4999->40000 ", 40000},
      {1900, 300000, nullptr, 300000},
      {1624, 100001, L"UnprintableLeft:100001->0 ", 0},
      {1628, 60000, nullptr, 60000},
      {1628, 60001, L"UnprintableRight:60001->60000 ", 60000},
      {1628, 100001, L"UnprintableRight:100001->0 ", 0},
      {1632, 300001, L"UnprintableTop:300001->0 ", 0},
      {1636, 40001, L"UnprintableBottom:40001->40000 ", 40000},
      {1636, 300001, L"UnprintableBottom:300001->0 ", 0},
      {1640, Bits(-1), L"OffsetX:-1->0 ", 0},
      {1640, 100001, L"OffsetX:100001->0 ", 0},
      {1644, Bits(-1), L"OffsetY:-1->0 ", 0},
      {1644, 300000, nullptr, 300000},
      {2684, Bits(-6), L"LengthScaling:-6->0 ", 0},
      {2684, Bits(-5), nullptr, Bits(-5)},
      {2684, 6, L"LengthScaling:6->0 ", 0},
      {1648, 2, L"IgnorePaperEnd:2->0 ", 0},
      {1652, 2, L"Mirror:2->1 ", 1},
      {1656, 2, L"Invert:2->0 ", 0},
      {1660, 2, L"TopSideSameAsBottom:2->0 ", 0},
      {1676, 4, L"Rotation:4->2 ", 2},
      {1680, 2, L"PrintMode:2->1 ", 1},
      {1684, 3, L"BackFeedMode:3->1 ", 1},
      {1688, 0, L"BackFeedSpeed:0->0 ", 0},
      {1688, 51, L"BackFeedSpeed:51->0 ", 0},
      {1668, 1, L"SensorType:1->2 ", 2},
      {1668, 0, nullptr, 0},
      {1672, 20001, L"GapDistance:20001->0 ", 0},
      {1692, 3, L"UnitOfMeasure:3->1 ", 1},
      {1696, 200, nullptr, 200},
      {1696, 201, L"PrintSpeed:201->100 ", 100},
      {1700, Bits(-10), nullptr, Bits(-10)},
      {1700, 11, L"Darkness:11->10 ", 10},
      {2676, 11, L"Darkness2:11->10 ", 10},
      {1704, 2, L"RibbonSaver:2->0 ", 0},
      {1708, 2, L"SingleBufferMode:2->1 ", 1},
      {1712, 2, L"IgnoreLabelPosition:2->0 ", 0},
      {1716, 2, L"SoftwareOptimization:2->1 ", 1},
      {2672, 2, L"SoftwareOptimization:2->0 ", 0},
      {1904, 2, L"ImageOptimization:2->0 ", 0},
      {1908, 4, L"CustomCommandSelectedPosition:4->0 ", 0},
      {1912, 5, L"CustomCommandSelectedTypeStart:5->0 ", 0},
      {1916, 5, L"CustomCommandSelectedTypeEnd:5->0 ", 0},
      {1920, 5, L"CustomCommandDocumentStartType:5->0 ", 0, 2},
      {1934, 65535, L"CustomCommandPageDataEndType:65535->0 ", 0, 2},
      {2600, 256, L"GrayTolerance:256->128 ", 128},
      {2604, 0, L"DitheringAlgorithm:0->1 ", 1},
      {2604, 6, L"DitheringAlgorithm:6->1 ", 1},
      {2668, 2, L"AllowCustomPageSize:2->1 ", 1},
      {1720, 2, L"Applicator.enabled:2->0 ", 0},
      {1856, 7, L"TearOff.enabled:7->0 ", 0},
      {2648, 2, L"RibbonSaver.enabled:2->0 ", 0},
      {1864, 2, nullptr, 2},
      {1872, 2, nullptr, 2},
      {1664, 9, nullptr, 9},
  };
  for (const RepairCase& test : cases) {
    tagOEMDEV record = ValidRecord();
    SetWord(&record, test.offset, test.value, test.width);
    LogCapture log;
    EXPECT_EQ(EnsureValidOEMDevmode(nullptr, &TestConfig(), &record), TRUE);
    EXPECT_EQ(Word(record, test.offset, test.width), test.repaired) << test.offset;
    const std::vector<std::wstring> expected =
        test.item == nullptr ? std::vector<std::wstring>{}
                             : std::vector<std::wstring>{
                                   std::wstring(L"Drevik.EnsureValidOEMDevmode: ") + test.item};
    EXPECT_EQ(Warnings(&log), expected) << test.offset << " " << test.value;
  }
}

TEST(Validation, NamesEverythingInOneLineInOrder) {
  tagOEMDEV record;
  std::memset(&record, 0xEE, sizeof(record));
  LogCapture log;
  EnsureValidOEMDevmode(nullptr, &TestConfig(), &record);
  std::wstring expected = L"Drevik.EnsureValidOEMDevmode: ";
  const auto add = [&](const wchar_t* before,
                       std::initializer_list<std::pair<const wchar_t*, int>> items) {
    for (const auto& [name, after] : items) {
      expected += std::wstring(name) + L':' + before + L"->" + std::to_wstring(after) + L' ';
    }
  };
  add(L"-286331154", {{L"OutputFormatPNG", 1},
                      {L"PaperWidth", 60000},
                      {L"PaperHeight", 40000},
                      {L"UnprintableLeft", 0},
                      {L"UnprintableRight", 0},
                      {L"UnprintableTop", 0},
                      {L"UnprintableBottom", 0},
                      {L"OffsetX", 0},
                      {L"OffsetY", 0},
                      {L"LengthScaling", 0},
                      {L"IgnorePaperEnd", 0},
                      {L"Mirror", 1},
                      {L"Invert", 0},
                      {L"TopSideSameAsBottom", 0},
                      {L"Rotation", 2},
                      {L"PrintMode", 1},
                      {L"BackFeedMode", 1},
                      {L"BackFeedSpeed", 0},
                      {L"SensorType", 2},
                      {L"GapDistance", 0},
                      {L"UnitOfMeasure", 1},
                      {L"PrintSpeed", 100},
                      {L"Darkness", 10},
                      {L"Darkness2", 10},
                      {L"RibbonSaver", 0},
                      {L"SingleBufferMode", 1},
                      {L"IgnoreLabelPosition", 0},
                      {L"SoftwareOptimization", 1},
                      {L"SoftwareOptimization", 0},
                      {L"ImageOptimization", 0},
                      {L"CustomCommandSelectedPosition", 0},
                      {L"CustomCommandSelectedTypeStart", 0},
                      {L"CustomCommandSelectedTypeEnd", 0}});
  const std::vector<std::wstring> commands = {
      L"DocumentStart", L"DocumentEnd", L"DocumentDataStart", L"DocumentDataEnd",
      L"PageStart",     L"PageEnd",     L"PageDataStart",     L"PageDataEnd"};
  for (const std::wstring& command : commands) {
    expected += L"CustomCommand" + command + L"Type:61166->0 ";
  }
  for (const std::wstring& command : commands) {
    expected += L"CustomCommand" + command + L":trunked to 80 chars";
  }
  add(L"-286331154", {{L"GrayTolerance", 128},
                      {L"DitheringAlgorithm", 1},
                      {L"AllowCustomPageSize", 1},
                      {L"Applicator.enabled", 0},
                      {L"BarcodeVerifier.enabled", 0},
                      {L"BarcodeVerifierWithPeel.enabled", 0},
                      {L"BeltApplicator.enabled", 0},
                      {L"Cutter.enabled", 0},
                      {L"DispensingModule.enabled", 0},
                      {L"PauseAdapter.enabled", 0},
                      {L"PeelOff.enabled", 0},
                      {L"IoModule.enabled", 0},
                      {L"Perforator.enabled", 0},
                      {L"Rewinder.enabled", 0},
                      {L"RibbonSaver.enabled", 0},
                      {L"TearOff.enabled", 0}});
  const std::vector<LogLine> lines = {
      {L"TRC", L"", L"DevMode", L"Drevik.EnsureValidOEMDevmode START"},
      {L"WAR", L"", L"DevMode", expected},
      {L"TRC", L"", L"DevMode", L"Drevik.EnsureValidOEMDevmode END (TRUE)"}};
  EXPECT_EQ(log.Take(), lines);
  for (std::size_t offset = 1936; offset < 2576; offset += 80) {
    EXPECT_EQ(Bytes(record).substr(offset, 80), std::string(79, '\xEE') + '\0');
  }
}

TEST(Validation, LastByteOfACommandIsItsEnd) {
  tagOEMDEV record = ValidRecord();
  std::memset(record.CustomCommandPageEnd, 'x', 80);
  record.CustomCommandPageEnd[3] = '\0';
  LogCapture log;
  EnsureValidOEMDevmode(nullptr, &TestConfig(), &record);
  EXPECT_TRUE(Warnings(&log).empty());
  EXPECT_EQ(record.CustomCommandPageEnd[78], 'x');
  EXPECT_EQ(record.CustomCommandPageEnd[79], '\0');
}

TEST(Validation, MarginsShareTheCorrectedSize) {
  tagOEMDEV record = ValidRecord();
  record.PaperWidth = 1;  // becomes 60000
  record.UnprintableLeft = 40000;
  record.UnprintableRight = 30000;
  record.UnprintableTop = 50000;  // higher than the label: the bottom margin wraps
  LogCapture log;
  EnsureValidOEMDevmode(nullptr, &TestConfig(), &record);
  EXPECT_EQ(Warnings(&log), std::vector<std::wstring>{
                                L"Drevik.EnsureValidOEMDevmode: PaperWidth:1->60000 "
                                L"UnprintableRight:30000->20000 UnprintableBottom:0->-10000 "});
  EXPECT_EQ(record.UnprintableBottom, Bits(-10000));
}

TEST(Validation, SkipsWhatThePrinterDoesNotOffer) {
  Config config = TestConfig();
  config.device.generalSettings = {};
  tagOEMDEV record = ValidRecord();
  for (const std::size_t offset :
       {1648, 1652, 1656, 1660, 1676, 1684, 1688, 1704, 1708, 1712, 1716, 1904, 2672}) {
    SetWord(&record, offset, 77);
  }
  const std::string before = Bytes(record);
  EnsureValidOEMDevmode(nullptr, &config, &record);
  EXPECT_EQ(Bytes(record), before);

  config.device.printSpeeds.speeds.clear();  // an empty list holds nothing
  EnsureValidOEMDevmode(nullptr, &config, &record);
  EXPECT_EQ(record.PrintSpeed, 100U);
}

TEST(Validation, WithoutAConfigurationOnlyTheHeaderIsStamped) {
  tagOEMDEV record;
  std::memset(&record, 0xEE, sizeof(record));
  const std::string before = Bytes(record);
  EXPECT_EQ(EnsureValidOEMDevmode(nullptr, nullptr, &record), TRUE);
  EXPECT_EQ(Bytes(record).substr(12), before.substr(12));
  EXPECT_EQ(record.dwSize, 2688U);
  EXPECT_EQ(record.dwVersion, 16U);
  EXPECT_EQ(record.dwSignature, 0x4F525631U);
}

TEST(Validation, RandomRecordsAreRepairedForGood) {
  // Words from inside and outside every limit, so that each check is met from both sides.
  const std::uint32_t pool[] = {0,     1,     2,      3,      4,        5,          10,
                                50,    100,   200,    128,    10000,    40000,      60000,
                                20000, 99999, 100000, 300000, Bits(-1), 0x80000000, Bits(-5)};
  std::mt19937 random(43);
  std::set<std::string_view> checked;
  for (int round = 0; round < 100000; ++round) {
    // On the heap, at its exact size: a sanitizer sees a step beside it.
    const auto record = std::make_unique<tagOEMDEV>();
    for (std::size_t offset = 0; offset < sizeof(tagOEMDEV); offset += 4) {
      const std::uint32_t bits = random();
      SetWord(record.get(), offset, bits % 4 == 0 ? random() : pool[bits / 4 % std::size(pool)]);
    }
    if (round % 16 == 0) std::memset(record->CustomCommandDocumentStart, 'x', 8 * 80);
    const std::string before = Bytes(*record);
    std::vector<orv::Correction> corrections;
    orv::RepairRecord(TestConfig(), record.get(), &corrections);
    std::string expected = before;
    for (const orv::Correction& correction : corrections) {
      checked.insert(correction.check->name);
      const orv::RecordField& field = *correction.check->field;
      expected.replace(field.offset, field.width, Bytes(*record), field.offset, field.width);
    }
    for (std::size_t offset = 1936; offset < 2576; offset += 80) expected[offset + 79] = '\0';
    ASSERT_EQ(Bytes(*record), expected) << "a byte changed that no correction names";

    const bool wrapsRight = record->UnprintableLeft > record->PaperWidth;
    const bool wrapsBottom = record->UnprintableTop > record->PaperHeight;
    const std::string repaired = Bytes(*record);
    corrections.clear();
    orv::RepairRecord(TestConfig(), record.get(), &corrections);
    ASSERT_EQ(Bytes(*record), repaired);
    for (const orv::Correction& correction : corrections) {
      const std::string_view name = correction.check->name;
      ASSERT_TRUE(name == "BackFeedSpeed" || (name == "UnprintableRight" && wrapsRight) ||
                  (name == "UnprintableBottom" && wrapsBottom))
          << name;
    }
  }
  EXPECT_EQ(checked.size(), 64U);  // every name of the correction line but the tube applicator's
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
  EXPECT_EQ(orv::DescribeDifferences(&a, &b),
            L"dmDeviceName: x <-> , dmSpecVersion: 0 <-> 65535, dmFields: DM_PAPERWIDTH <-> "
            L"DM_ORIENTATION, dmOrientation: -1 <-> 0, dmPaperWidth: 0 <-> 7, dmCopies: 0 <-> 2, "
            L"dmFormName:  <-> ffffffffffffffffffffffffffffffff, dmPelsHeight: 0 <-> -1, "
            L"dmNup: 4 <-> 0, dmPanningHeight: 1 <-> 0, ");
  // Every compared byte of a record that is all different, in the order of the log.
  DEVMODEW all;
  std::memset(&all, 0x11, sizeof(all));
  std::wstring names;
  const std::wstring text = orv::DescribeDifferences(&all, &b);
  for (std::size_t at = text.find(L"dm"); at != text.npos; at = text.find(L", dm", at)) {
    if (text[at] == L',') at += 2;
    names += text.substr(at + 2, text.find(L':', at) - at - 2) + L' ';
  }
  EXPECT_EQ(names,
            L"DeviceName SpecVersion DriverVersion Size DriverExtra Fields Orientation PaperSize "
            L"PaperLength PaperWidth Scale Copies DefaultSource PrintQuality Color Duplex "
            L"YResolution TTOption Collate FormName LogPixels BitsPerPel PelsWidth PelsHeight Nup "
            L"ICMMethod ICMIntent MediaType DitherType PanningWidth PanningHeight ");
  a = b = {};
  a.dmFields = 0x1FFFFFFF;
  EXPECT_EQ(orv::DescribeDifferences(&a, &b),
            L"dmFields: DM_ORIENTATION,DM_PAPERSIZE,DM_PAPERLENGTH,DM_PAPERWIDTH,DM_SCALE,"
            L"DM_POSITION,DM_NUP,DM_DISPLAYORIENTATION,DM_COPIES,DM_DEFAULTSOURCE,DM_PRINTQUALITY,"
            L"DM_COLOR,DM_DUPLEX,DM_YRESOLUTION,DM_TTOPTION,DM_COLLATE,DM_FORMNAME,DM_LOGPIXELS,"
            L"DM_BITSPERPEL,DM_PELSWIDTH,DM_PELSHEIGHT,DM_DISPLAYFLAGS,DM_DISPLAYFREQUENCY,"
            L"DM_ICMMETHOD,DM_ICMINTENT,DM_MEDIATYPE,DM_DITHERTYPE,DM_PANNINGWIDTH,"
            L"DM_PANNINGHEIGHT <-> , ");
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
  void ExpectFailure(DWORD mode, std::vector<std::wstring> messages) {
    log_.Take();
    EXPECT_EQ(Call(mode), E_FAIL);
    EXPECT_EQ(GetLastError(), 87U);
    messages.insert(messages.begin(), L"Drevik.hrOEMDevMode START");
    EXPECT_EQ(log_.TakeMessages(), messages);
  }
  void LoadFirst() { EXPECT_EQ(Call(OEMDM_DEFAULT), S_OK); }

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

TEST_F(EntryPoint, AnswersTheSizeWithoutAConfiguration) {
  param_.hPrinter = nullptr;
  log_.Take();
  EXPECT_EQ(Call(OEMDM_SIZE), S_OK);
  EXPECT_EQ(param_.cbBufSize, 2688U);
  EXPECT_EQ(log_.TakeMessages(),
            (std::vector<std::wstring>{L"Drevik.hrOEMDevMode START",
                                       L"Drevik.hrOEMDevMode END (OEMDM_SIZE, S_OK)"}));
}

TEST_F(EntryPoint, FillsDefaultsAndConverts) {
  EXPECT_EQ(Call(OEMDM_DEFAULT), S_OK);
  EXPECT_EQ(Bytes(out_), Bytes(DefaultRecord()));
  log_.Take();
  EXPECT_EQ(Call(OEMDM_CONVERT), S_OK);
  EXPECT_EQ(Bytes(out_), Bytes(in_));
  EXPECT_EQ(
      log_.TakeMessages(),
      (std::vector<std::wstring>{L"Drevik.hrOEMDevMode START", L"Drevik.ConvertOEMDevmode START",
                                 L"Drevik.ConvertOEMDevmodeVersions START",
                                 L"Drevik.ConvertOEMDevmodeVersions END (TRUE)",
                                 L"Drevik.ConvertOEMDevmode END (TRUE)",
                                 L"Drevik.hrOEMDevMode END (OEMDM_CONVERT, S_OK)"}));
}

TEST_F(EntryPoint, NamesEachFailure) {
  log_.Take();
  SetLastError(0);
  EXPECT_EQ(hrOEMDevMode(nullptr, cache_, nullptr, OEMDM_SIZE, nullptr), E_FAIL);
  EXPECT_EQ(GetLastError(), 87U);
  EXPECT_EQ(log_.Take().at(1),
            (LogLine{L"ERR", L"", L"DevMode", L"Drevik.hrOEMDevMode: ERROR_INVALID_PARAMETER"}));
  LoadFirst();
  ExpectFailure(5, {L"Drevik.hrOEMDevMode END (E_FAIL, Unknown mode)"});
  param_.pOEMDMOut = nullptr;
  ExpectFailure(OEMDM_DEFAULT, {L"Drevik.hrOEMDevMode: ERROR_INVALID_PARAMETER"});
  const std::wstring null =
      L"Drevik.ConvertOEMDevmode END (FALSE, pOEMDevIn or pOEMDevOut is NULL)";
  ExpectFailure(OEMDM_CONVERT, {L"Drevik.ConvertOEMDevmode START", null,
                                L"Drevik.hrOEMDevMode END (OEMDM_CONVERT, E_FAIL)"});
  ExpectFailure(OEMDM_MERGE,
                {L"Drevik.ConvertOEMDevmode START", null,
                 L"Drevik.hrOEMDevMode END (OEMDM_MERGE, E_FAIL in ConvertOEMDevmode)"});
  param_.pOEMDMOut = &out_;
  in_.dwSignature = 0x80000000;
  ExpectFailure(OEMDM_MERGE,
                {L"Drevik.ConvertOEMDevmode START",
                 L"Drevik.ConvertOEMDevMode: unknown DEVMODE signature -2147483648 => abort "
                 L"printing!",
                 L"Drevik.ConvertOEMDevmode END (FALSE)",
                 L"Drevik.hrOEMDevMode END (OEMDM_MERGE, E_FAIL in ConvertOEMDevmode)"});
  module_.client.m_stModuleFolder += L"x";
  EXPECT_EQ(Call(OEMDM_CONVERT), E_FAIL);
  EXPECT_EQ(log_.Take().back().message, L"Drevik.hrOEMDevMode: Config not loaded!");
}

TEST_F(EntryPoint, MergesAndLogsEveryStep) {
  LoadFirst();
  in_.GapDistance = 20001;
  publicIn_.dmCopies = 10001;
  publicIn_.dmPaperLength = 0;
  publicOut_.dmFields = 0xFFFFFFFF;
  log_.Take();
  EXPECT_EQ(Call(OEMDM_MERGE), S_OK);
  const auto line = [&](const wchar_t* tag, const wchar_t* message) {
    return LogLine{tag, L"caller.dll", L"DevMode", message};
  };
  const std::vector<LogLine> expected = {
      line(L"TRC", L"Drevik.hrOEMDevMode START"),
      line(L"TRC", L"Drevik.ConvertOEMDevmode START"),
      line(L"TRC", L"Drevik.ConvertOEMDevmodeVersions START"),
      line(L"TRC", L"Drevik.ConvertOEMDevmodeVersions END (TRUE)"),
      line(L"TRC", L"Drevik.ConvertOEMDevmode END (TRUE)"),
      line(L"WAR", L"Drevik.hrOEMDevMode PublicDevMode suspicious Copies 10001"),
      line(L"WAR", L"Drevik.hrOEMDevMode PublicDevMode suspicious PaperLength 0"),
      line(L"TRC",
           L"Drevik.hrOEMDevMode: DevModeDifferences: dmFields:  <-> DM_ORIENTATION,DM_PAPERSIZE,"
           L"DM_PAPERLENGTH,DM_PAPERWIDTH,DM_SCALE,DM_POSITION,DM_NUP,DM_DISPLAYORIENTATION,"
           L"DM_COPIES,DM_DEFAULTSOURCE,DM_PRINTQUALITY,DM_COLOR,DM_DUPLEX,DM_YRESOLUTION,"
           L"DM_TTOPTION,DM_COLLATE,DM_FORMNAME,DM_LOGPIXELS,DM_BITSPERPEL,DM_PELSWIDTH,"
           L"DM_PELSHEIGHT,DM_DISPLAYFLAGS,DM_DISPLAYFREQUENCY,DM_ICMMETHOD,DM_ICMINTENT,"
           L"DM_MEDIATYPE,DM_DITHERTYPE,DM_PANNINGWIDTH,DM_PANNINGHEIGHT, dmPaperSize: 256 <-> 0, "
           L"dmPaperWidth: 500 <-> 0, dmCopies: 10001 <-> 0, "),
      line(L"TRC", L"Drevik.hrOEMDevMode: DevModeIn  paper: 256, 500 x 0"),
      line(L"TRC", L"Drevik.hrOEMDevMode: DevModeOut paper: 0, 0 x 0"),
      line(L"INF", L"Loading printer settings from registry"),
      line(L"INF", L"No User-Defined-Settings found in registry."),
      line(L"INF", L"Drevik.ApplyStockItem: Applying values for paper size 256"),
      line(L"INF",
           L"Drevik.ApplyStockItem:   Using application DevMode for paper dimensions: 50000 x "
           L"40000"),
      line(L"TRC", L"Drevik.EnsureValidOEMDevmode START"),
      line(L"WAR", L"Drevik.EnsureValidOEMDevmode: GapDistance:20001->0 "),
      line(L"TRC", L"Drevik.EnsureValidOEMDevmode END (TRUE)"),
      line(L"TRC", L"Drevik.hrOEMDevMode END (OEMDM_MERGE, S_OK)"),
  };
  std::vector<LogLine> lines = log_.Take();
  std::erase_if(lines, [](const LogLine& entry) { return entry.source == L"SessionData"; });
  EXPECT_EQ(lines, expected);
  EXPECT_EQ(publicOut_.dmFields, 0x1010FU);
  EXPECT_EQ(publicOut_.dmPaperSize, 256);
  EXPECT_EQ(publicOut_.dmPaperWidth, 500);
  EXPECT_EQ(publicOut_.dmPaperLength, 400);
  EXPECT_EQ(out_.PaperWidth, 50000U);
  EXPECT_EQ(out_.PaperHeight, 40000U);
}

TEST_F(EntryPoint, WarnsOnlyOutsideTheLimits) {
  LoadFirst();
  publicIn_.dmPaperSize = publicIn_.dmCopies = 10000;
  publicIn_.dmPaperLength = 1;
  log_.Take();
  EXPECT_EQ(Call(OEMDM_MERGE), S_OK);
  for (const std::wstring& message : log_.TakeMessages()) {
    EXPECT_EQ(message.find(L"suspicious"), std::wstring::npos) << message.size();
  }
  publicIn_.dmPaperSize = 10001;
  publicIn_.dmCopies = 0;
  EXPECT_EQ(Call(OEMDM_MERGE), S_OK);
  const std::vector<std::wstring> messages = log_.TakeMessages();
  EXPECT_EQ(messages.at(5), L"Drevik.hrOEMDevMode PublicDevMode suspicious PaperSize 10001");
  EXPECT_EQ(messages.at(6), L"Drevik.hrOEMDevMode PublicDevMode suspicious Copies 0");
}

TEST_F(EntryPoint, MergesWithoutPublicRecords) {
  LoadFirst();
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

}  // namespace
