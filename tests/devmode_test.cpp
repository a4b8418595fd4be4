#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <map>
#include <new>
#include <random>
#include <set>
#include <span>
#include <utility>

#include "orv/config/configs_cache.h"
#include "orv/devmode/differences.h"
#include "orv/devmode/record_fields.h"
#include "orv/platform/files.h"
#include "tests/devmode_fixture.h"

// Counts what is allocated. Out of line, so that the compiler does not pair one's insides with the
// other.
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

TEST(Versions, OnlyTheCurrentOneIsTaken) {
  const std::wstring name = L"Drevik.ConvertOEMDevmodeVersions";
  const struct {
    std::uint32_t version;
    std::vector<std::pair<std::wstring, std::wstring>> log;  ///< tags and what follows the name
  } cases[] = {
      {16, {{L"TRC", L" END (TRUE)"}}},
      {0, {{L"ERR", L": END (FALSE, IN-version 0 is unknown for current version 16)"}}},
      {17, {{L"ERR", L": END (FALSE, IN-version 17 is unknown for current version 16)"}}},
      {15, {{L"ERR", L": OEMDevMode version 15 is not handled!"}, {L"ERR", L" END (FALSE)"}}},
  };
  for (const auto& test : cases) {
    tagOEMDEV in;
    std::memset(&in, 0x3C, sizeof(in));
    in.dwVersion = test.version;
    tagOEMDEV out{};
    LogCapture log;
    EXPECT_EQ(ConvertOEMDevmodeVersions(nullptr, &in, &out), test.version == 16);
    std::vector<LogLine> expected = {{L"TRC", L"", L"DevMode", name + L" START"}};
    for (const auto& [tag, text] : test.log)
      expected.push_back({tag, L"", L"DevMode", name + text});
    EXPECT_EQ(log.Take(), expected) << test.version;
    EXPECT_EQ(Bytes(out) == Bytes(in), test.version == 16);
  }
}

/// A word of the older layout, its value, the setting's offset, what the word makes of it, and what
/// the setting makes of the word again.
struct EpCase {
  std::size_t epOffset;
  std::int32_t epValue;
  std::size_t offset;
  std::int32_t value;
  std::int32_t back;
};

TEST(OlderLayout, MapsWordByWord) {
  EXPECT_TRUE(std::ranges::is_sorted(orv::OlderLayoutWords(), {}, &orv::OlderWord::offset));
  const EpCase cases[] = {
      {230, 0, 1676, 0, 0},       {230, 1, 1676, 2, 1},        {230, 2, 1676, 1, 2},
      {230, 3, 1676, 3, 3},       {230, 4, 1676, 0, 0},        {1252, -7, 1700, -7, -7},
      {892, 9, 2676, 9, 9},       {1256, 150, 1696, 150, 150}, {1260, 5, 1668, 5, 5},
      {1260, 6, 1668, 0, 0},      {1272, 2, 1704, 0, 0},       {1272, 1, 1704, 1, 1},
      {1276, -3, 1644, -300, -3}, {1288, 4, 1640, 400, 4},     {1280, 5, 1672, 500, 5},
      {1284, 6, 1792, 600, 6},    {1284, 7, 1892, 700, 7},     {1356, 2, 1716, 0, 2},
      {1356, 0, 1716, 1, 1},      {1360, 0, 1680, 1, 0},       {1360, 9, 1680, 0, 1},
      {1368, 1, 1652, 1, 1},      {1368, 3, 1652, 0, 0},       {1500, 1, 1856, 1, 1},
      {1500, 2, 1788, 1, 2},      {1500, 3, 1856, 0, 0},       {1500, 3, 1788, 0, 0},
      {1504, 2, 1684, 2, 2},      {1504, 3, 1684, 0, 0},       {1508, 1, 1656, 1, 1}};
  for (const EpCase& test : cases) {
    const std::size_t width = test.epOffset == 230 ? 2 : 4;
    tagOEMDEV record{};
    SetWord(&record, test.offset, 0x77777777);
    SetWord(&record, test.epOffset, Bits(test.epValue), width);
    ConvertEp2Orv(&record);
    EXPECT_EQ(Word(record, test.offset), Bits(test.value)) << test.epOffset << " " << test.epValue;
    SetWord(&record, test.epOffset, 0x5555, width);
    ConvertOrv2Ep(&record);
    EXPECT_EQ(Word(record, test.epOffset, width), Bits(test.back))
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
    for (std::uint32_t* flag :
         {&record.RibbonSaver, &record.SoftwareOptimization, &record.PrintMode, &record.Mirror,
          &record.Invert, &record.TearOff.enabled}) {
      *flag = pick(2);
    }
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

/// A record that nothing is wrong with: the defaults, but for the speed of 0 that no list has.
tagOEMDEV ValidRecord() {
  tagOEMDEV record = DefaultRecord();
  record.BackFeedSpeed = 50;
  return record;
}

/// Checks a record and gives the warnings of it.
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

std::wstring Item(const std::wstring& name, std::uint32_t before, std::uint32_t after) {
  return name + L':' + std::to_wstring(static_cast<std::int32_t>(before)) + L"->" +
         std::to_wstring(static_cast<std::int32_t>(after)) + L' ';
}

/// A checked number with the last value that is right, the first one that is wrong, and what takes
/// its place.
struct Limit {
  std::wstring name;
  std::size_t offset;
  std::uint32_t right;
  std::uint32_t wrong;
  std::uint32_t repaired;
  std::size_t width = 4;
};

const wchar_t* const kCommands[] = {
    L"CustomCommandDocumentStart",   L"CustomCommandDocumentEnd", L"CustomCommandDocumentDataStart",
    L"CustomCommandDocumentDataEnd", L"CustomCommandPageStart",   L"CustomCommandPageEnd",
    L"CustomCommandPageDataStart",   L"CustomCommandPageDataEnd"};

/// Every checked number in the order of the checks, apart from the limits that two margins share.
std::vector<Limit> Limits() {
  std::vector<Limit> limits = {
      {L"OutputFormatPNG", 1620, 1, 0, 1},
      {L"PaperWidth", 1896, 10000, 9999, 60000},
      {L"PaperHeight", 1900, 300000, 300001, 40000},
      {L"UnprintableLeft", 1624, 60000, 100001, 0},
      {L"UnprintableRight", 1628, 60000, 100001, 0},
      {L"UnprintableTop", 1632, 40000, 300001, 0},
      {L"UnprintableBottom", 1636, 40000, 300001, 0},
      {L"OffsetX", 1640, 100000, 100001, 0},
      {L"OffsetY", 1644, 300000, 300001, 0},
      {L"LengthScaling", 2684, 5, 6, 0},
      {L"IgnorePaperEnd", 1648, 1, 2, 0},
      {L"Mirror", 1652, 1, 2, 1},
      {L"Invert", 1656, 1, 2, 0},
      {L"TopSideSameAsBottom", 1660, 1, 2, 0},
      {L"Rotation", 1676, 3, 4, 2},
      {L"PrintMode", 1680, 1, 2, 1},
      {L"BackFeedMode", 1684, 2, 3, 1},
      {L"BackFeedSpeed", 1688, 200, 51, 0},
      {L"SensorType", 1668, 0, 1, 2},
      {L"GapDistance", 1672, 20000, 20001, 0},
      {L"UnitOfMeasure", 1692, 2, 3, 1},
      {L"PrintSpeed", 1696, 200, 201, 100},
      {L"Darkness", 1700, Bits(-10), 11, 10},
      {L"Darkness2", 2676, 20, 21, 10},
      {L"RibbonSaver", 1704, 1, 2, 0},
      {L"SingleBufferMode", 1708, 1, 2, 1},
      {L"IgnoreLabelPosition", 1712, 1, 2, 0},
      {L"SoftwareOptimization", 1716, 1, 2, 1},
      {L"SoftwareOptimization", 2672, 1, 2, 0},
      {L"ImageOptimization", 1904, 1, 2, 0},
      {L"CustomCommandSelectedPosition", 1908, 3, 4, 0},
      {L"CustomCommandSelectedTypeStart", 1912, 4, 5, 0},
      {L"CustomCommandSelectedTypeEnd", 1916, 4, 5, 0},
  };
  std::size_t offset = 1920;
  for (const std::wstring command : kCommands) {
    limits.push_back({command + L"Type", offset, 4, 5, 0, 2});
    offset += 2;
  }
  limits.push_back({L"GrayTolerance", 2600, 255, 256, 128});
  limits.push_back({L"DitheringAlgorithm", 2604, 5, 6, 1});
  limits.push_back({L"AllowCustomPageSize", 2668, 0, 2, 1});
  const std::pair<const wchar_t*, std::size_t> devices[] = {
      {L"Applicator", 1720},     {L"BarcodeVerifier", 1752}, {L"BarcodeVerifierWithPeel", 2608},
      {L"BeltApplicator", 2616}, {L"Cutter", 1756},          {L"DispensingModule", 2640},
      {L"PauseAdapter", 2644},   {L"PeelOff", 1788},         {L"IoModule", 1888},
      {L"Perforator", 1796},     {L"Rewinder", 1852},        {L"RibbonSaver", 2648},
      {L"TearOff", 1856}};
  for (const auto& [device, enabled] : devices) {
    limits.push_back({device + std::wstring(L".enabled"), enabled, 1, 2, 0});
  }
  return limits;
}

TEST(Validation, RepairsAndNamesEachField) {
  std::vector<Limit> limits = Limits();
  // The other ends of some, and the limits that two margins share.
  limits.insert(limits.end(), {{L"PaperWidth", 1896, 100000, 100001, 60000},
                               {L"PaperWidth", 1896, 10000, Bits(-1), 60000},
                               {L"PaperHeight", 1900, 5000, 4999, 40000},
                               {L"OffsetX", 1640, 0, Bits(-1), 0},
                               {L"OffsetY", 1644, 0, Bits(-1), 0},
                               {L"LengthScaling", 2684, Bits(-5), Bits(-6), 0},
                               {L"BackFeedSpeed", 1688, 50, 0, 0},
                               {L"DitheringAlgorithm", 2604, 1, 0, 1},
                               {L"UnprintableRight", 1628, 0, 60001, 60000},
                               {L"UnprintableBottom", 1636, 0, 40001, 40000},
                               {L"OutputFormatPNG", 1620, 1, 2, 1}});
  const auto expect = [](const Limit& limit, std::uint32_t value, std::uint32_t after) {
    tagOEMDEV record = ValidRecord();
    SetWord(&record, limit.offset, value, limit.width);
    std::vector<std::wstring> expected;
    if (value != limit.right) expected.push_back(kWarning + Item(limit.name, value, after));
    EXPECT_EQ(Repair(&record), expected) << limit.offset << " " << value;
    EXPECT_EQ(Word(record, limit.offset, limit.width), after) << limit.offset << " " << value;
  };
  for (const Limit& limit : limits) {
    expect(limit, limit.right, limit.right);
    expect(limit, limit.wrong, limit.repaired);
  }
  // The other end of every list and switch that begins with 0.
  for (Limit limit : Limits()) {
    if (limit.right > 5 || limit.wrong != limit.right + 1 || limit.name == L"LengthScaling")
      continue;
    limit.right = 0;
    if (limit.name != L"DitheringAlgorithm") expect(limit, 0, 0);
  }
  // No rule looks at these.
  for (const std::size_t offset : {1664, 1864, 1872}) expect({{}, offset, 9, 9, 9}, 9, 9);
}

TEST(Validation, NamesEverythingInOneLineInOrder) {
  tagOEMDEV record;
  std::memset(&record, 0xEE, sizeof(record));
  std::wstring expected = kWarning;
  for (const Limit& limit : Limits()) {
    if (limit.name == L"GrayTolerance") {  // the command strings come before it
      for (const std::wstring command : kCommands) expected += command + L":trunked to 80 chars";
    }
    expected += Item(limit.name, Word(record, limit.offset, limit.width), limit.repaired);
  }
  LogCapture log;
  EnsureValidOEMDevmode(nullptr, &TestConfig(), &record);
  const std::vector<LogLine> lines = {
      {L"TRC", L"", L"DevMode", L"Drevik.EnsureValidOEMDevmode START"},
      {L"WAR", L"", L"DevMode", expected},
      {L"TRC", L"", L"DevMode", L"Drevik.EnsureValidOEMDevmode END (TRUE)"}};
  EXPECT_EQ(log.Take(), lines);
  for (std::size_t offset = 1936; offset < 2576; offset += 80) {
    EXPECT_EQ(Bytes(record).substr(offset, 80), std::string(79, '\xEE') + '\0');
  }
}

TEST(Validation, AllocatesOnlyToNameCorrections) {
  tagOEMDEV valid = ValidRecord();
  tagOEMDEV wrong;
  std::memset(&wrong, 0xEE, sizeof(wrong));
  wrong.dwVersion = tagOEMDEV::kVersion;
  const int level = std::exchange(CLogger::m_nLoglevel, 0);
  tagOEMDEV out{};
  const std::size_t before = allocations;
  for (const tagOEMDEV* record : {&valid, &wrong}) {
    ConvertOEMDevmodeVersions(nullptr, record, &out);
    EnsureValidOEMDevmode(nullptr, &TestConfig(), &out);
  }
  EXPECT_EQ(allocations, before);
  CLogger::m_nLoglevel = level;
}

TEST(Validation, LastByteOfACommandIsItsEnd) {
  tagOEMDEV record = ValidRecord();
  std::memset(record.CustomCommandPageEnd, 'x', 80);
  record.CustomCommandPageEnd[3] = '\0';
  EXPECT_TRUE(Repair(&record).empty());
  EXPECT_EQ(record.CustomCommandPageEnd[78], 'x');
  EXPECT_EQ(record.CustomCommandPageEnd[79], '\0');
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

TEST(Validation, SkipsWhatThePrinterDoesNotOffer) {
  Config config = TestConfig();
  config.device.generalSettings = {};
  tagOEMDEV record = ValidRecord();
  for (const std::size_t offset :
       {1648, 1652, 1656, 1660, 1676, 1684, 1688, 1704, 1708, 1712, 1716, 1904, 2672}) {
    SetWord(&record, offset, 77);
  }
  const std::string before = Bytes(record);
  EXPECT_TRUE(Repair(&record, &config).empty());
  EXPECT_EQ(Bytes(record), before);

  config.device.printSpeeds.speeds.clear();  // an empty list holds nothing
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
  a.dmDeviceName[1] = 'x';  // behind the name's end
  EXPECT_EQ(orv::DescribeDifferences(&a, &b), L"none");
  a.dmFields = 0xFFFFFFFF;  // the highest bits have no names
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

TEST_F(EntryPoint, AnswersTheSizeFillsDefaultsAndConverts) {
  EXPECT_EQ(Call(OEMDM_DEFAULT), S_OK);
  EXPECT_EQ(Bytes(out_), Bytes(DefaultRecord()));
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

TEST_F(EntryPoint, NamesEachFailure) {
  log_.Take();
  SetLastError(0);
  EXPECT_EQ(hrOEMDevMode(nullptr, cache_, nullptr, OEMDM_SIZE, nullptr), E_FAIL);
  EXPECT_EQ(GetLastError(), 87U);
  EXPECT_EQ(log_.Take().at(1),
            (LogLine{L"ERR", L"", L"DevMode", L"Drevik.hrOEMDevMode: ERROR_INVALID_PARAMETER"}));
  EXPECT_EQ(Call(OEMDM_DEFAULT), S_OK);
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
  EXPECT_EQ(Call(OEMDM_DEFAULT), S_OK);
  in_.GapDistance = 20001;
  publicIn_.dmCopies = 10001;
  publicIn_.dmPaperLength = 0;
  publicOut_.dmFields = 0x10;
  log_.Take();
  EXPECT_EQ(Call(OEMDM_MERGE), S_OK);
  const std::pair<const wchar_t*, const wchar_t*> expected[] = {
      {L"TRC", L"Drevik.hrOEMDevMode START"},
      {L"TRC", L"Drevik.ConvertOEMDevmode START"},
      {L"TRC", L"Drevik.ConvertOEMDevmodeVersions START"},
      {L"TRC", L"Drevik.ConvertOEMDevmodeVersions END (TRUE)"},
      {L"TRC", L"Drevik.ConvertOEMDevmode END (TRUE)"},
      {L"WAR", L"Drevik.hrOEMDevMode PublicDevMode suspicious Copies 10001"},
      {L"WAR", L"Drevik.hrOEMDevMode PublicDevMode suspicious PaperLength 0"},
      {L"TRC",
       L"Drevik.hrOEMDevMode: DevModeDifferences: dmFields:  <-> DM_SCALE, dmPaperSize: 256 <-> 0, "
       L"dmPaperWidth: 500 <-> 0, dmCopies: 10001 <-> 0, "},
      {L"TRC", L"Drevik.hrOEMDevMode: DevModeIn  paper: 256, 500 x 0"},
      {L"TRC", L"Drevik.hrOEMDevMode: DevModeOut paper: 0, 0 x 0"},
      {L"INF", L"Loading printer settings from registry"},
      {L"INF", L"No User-Defined-Settings found in registry."},
      {L"INF", L"Drevik.ApplyStockItem: Applying values for paper size 256"},
      {L"INF",
       L"Drevik.ApplyStockItem:   Using application DevMode for paper dimensions: 50000 x 40000"},
      {L"TRC", L"Drevik.EnsureValidOEMDevmode START"},
      {L"WAR", L"Drevik.EnsureValidOEMDevmode: GapDistance:20001->0 "},
      {L"TRC", L"Drevik.EnsureValidOEMDevmode END (TRUE)"},
      {L"TRC", L"Drevik.hrOEMDevMode END (OEMDM_MERGE, S_OK)"},
  };
  std::vector<LogLine> lines = log_.Take();
  std::erase_if(lines, [](const LogLine& entry) { return entry.source == L"SessionData"; });
  ASSERT_EQ(lines.size(), std::size(expected));
  for (std::size_t i = 0; i < lines.size(); ++i) {
    EXPECT_EQ(lines[i],
              (LogLine{expected[i].first, L"caller.dll", L"DevMode", expected[i].second}));
  }
  EXPECT_EQ(publicOut_.dmFields, 0x1010FU);
  EXPECT_EQ(publicOut_.dmPaperSize, 256);
  EXPECT_EQ(publicOut_.dmPaperWidth, 500);
  EXPECT_EQ(publicOut_.dmPaperLength, 400);
  EXPECT_EQ(out_.PaperWidth, 50000U);
  EXPECT_EQ(out_.PaperHeight, 40000U);
}

TEST_F(EntryPoint, WarnsOnlyOutsideTheLimits) {
  EXPECT_EQ(Call(OEMDM_DEFAULT), S_OK);
  publicIn_.dmPaperSize = publicIn_.dmCopies = 10000;
  publicIn_.dmPaperLength = 1;
  log_.Take();
  EXPECT_EQ(Call(OEMDM_MERGE), S_OK);
  EXPECT_EQ(log_.TakeText().find(L"suspicious"), std::wstring::npos);
  publicIn_.dmPaperSize = 10001;
  publicIn_.dmCopies = 0;
  EXPECT_EQ(Call(OEMDM_MERGE), S_OK);
  const std::vector<std::wstring> messages = log_.TakeMessages();
  EXPECT_EQ(messages.at(5), L"Drevik.hrOEMDevMode PublicDevMode suspicious PaperSize 10001");
  EXPECT_EQ(messages.at(6), L"Drevik.hrOEMDevMode PublicDevMode suspicious Copies 0");
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

// What the work on a printer's way allocates does not grow with what it works on.
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
  Config* config = nullptr;
  EXPECT_EQ(count([&] { EXPECT_TRUE(CConfigParser::Load(path, &config, cache_, nullptr)); }), 0u);
  for (const int elements : {10, 1000, 30000}) {
    std::wstring text = L"<r>";
    for (int i = 0; i < elements; ++i) text += L"<p name='some name'>and its text</p>";
    text += L"</r>";
    EXPECT_LE(count([&] { EXPECT_TRUE(CMarkup().SetDoc(text)); }), 8u) << elements;
  }
  CLogger::m_nLoglevel = level;
}

}  // namespace
