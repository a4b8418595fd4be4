/// Loading of configuration files: every section, every message, and the quirks that are kept for
/// compatibility.

#include "orv/config/config_parser.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <ctime>
#include <iomanip>
#include <memory>
#include <sstream>
#include <thread>

#include "base/utf8.h"
#include "config/config_values.h"
#include "orv/config/config_loader.h"
#include "orv/config/configs_cache.h"
#include "orv/crypto/crypto_helper.h"
#include "orv/text/format.h"
#include "orv/xml/markup.h"
#include "platform/files.h"
#include "tests/fixtures.h"

namespace {

using orv::test::ExpectTable;
using orv::test::Fields;
using orv::test::LogCapture;
using orv::test::TemporaryFolder;
using orv::test::WriteBytes;

/// A writable text does not convert to a handle.
template <typename Path>
concept IsLoadable = requires(Path path) {
  CConfigParser::Load(path, nullptr, nullptr, nullptr);
};
static_assert(IsLoadable<const wchar_t*> && !IsLoadable<wchar_t*> && !IsLoadable<wchar_t (&)[9]>);

/// `{name=value|name=value}` stands for property elements, `[...]` for a properties element of
/// them.
std::wstring Expand(std::wstring_view shorthand) {
  std::wstring text;
  bool inName = false;
  for (const wchar_t unit : shorthand) {
    const wchar_t* const known = std::wcschr(L"[]{|}", unit);
    if (known != nullptr && unit != L'\0') {
      constexpr const wchar_t* kTags[] = {L"<properties>", L"</properties>", L"<property name=\"",
                                          L"</property><property name=\"", L"</property>"};
      text += kTags[std::wstring_view(L"[]{|}").find(unit)];
      inName = unit == L'{' || unit == L'|';
    } else if (unit == L'=' && inName) {
      text += L"\">";
      inName = false;
    } else {
      text += unit;
    }
  }
  return text;
}

/// The smallest file that loads: every section in order.
constexpr std::wstring_view kFile =
    L"<xmlData><fileInfo>[{version=12}]</fileInfo><device>"
    L"<model>[{modelId=7}]</model><label>[{widthMax=9}]</label>"
    L"<generalSettings>[]</generalSettings>"
    L"<printModes>[{printModedefault=DirectThermal}]"
    L"<printMode>[{ThermalTransfer=true}]</printMode>"
    L"<printMode>[{DirectThermal=TRUE}]</printMode></printModes>"
    L"<globalOffsetY>[{globalOffsetYMin=-1|globalOffsetYStep=1|globalOffsetYMax=2}]</globalOffsetY>"
    L"<headsOffsetX>[{headsOffsetXEnabled=TRUE|headsOffsetXMin=3|headsOffsetXStep=1|"
    L"headsOffsetXMax=4}]</headsOffsetX>"
    L"<darkness>[{darknessMin=0|darknessStep=5|darknessMax=10|darknessDefault=5}]</darkness>"
    L"<printSpeed>{printSpeedDefault=50}<printSpeeds>[{printSpeed=50|printSpeed=60}]</printSpeeds>"
    L"</printSpeed>"
    L"<sensorTypes>[{SensorTypeDefault=Gap}]<sensorType>[{SensorTypeGap=true}]</sensorType>"
    L"</sensorTypes>"
    L"<characteristics>[{color=true}]</characteristics>"
    L"<optionFamilies><optionFamily>[{optionFamilyId=14|optionFamilyType=Belt}]<options>"
    L"<option>[{optionName=B}]<conveyorSpeed>[{conveyorSpeed=1}]</conveyorSpeed></option>"
    L"</options></optionFamily></optionFamilies></device></xmlData>";

/// That file with the first occurrence of one part of its shorthand replaced.
std::wstring With(std::wstring_view piece, std::wstring_view by) {
  std::wstring text(kFile);
  const std::size_t at = text.find(piece);
  EXPECT_NE(at, text.npos) << orv::WideToUtf8(piece);
  return Expand(text.replace(at, piece.size(), by));
}

class ConfigLoad : public testing::Test {
 protected:
  ConfigLoad() { CLogger::m_nLoglevel = eLogLevelError | eLogLevelWarning; }
  ~ConfigLoad() override {
    while (ConfigsCache::m_pInstance != nullptr) ConfigsCache::ReleaseInstance();
  }

  std::unique_ptr<Config> Load(std::string_view bytes) {
    WriteBytes(orv::ToPath(path_), bytes);
    Config* config = nullptr;
    const bool loaded = CConfigParser::Load(path_, &config, nullptr, nullptr);
    EXPECT_EQ(loaded, config != nullptr);
    return std::unique_ptr<Config>(config);
  }
  std::unique_ptr<Config> Load(std::wstring_view text) { return Load(orv::WideToUtf8(text)); }
  /// Loads a text and returns the record.
  Config Read(std::wstring_view text) {
    const std::unique_ptr<Config> config = Load(text);
    EXPECT_NE(config, nullptr);
    return config == nullptr ? Config{} : *config;
  }
  void ExpectError(std::wstring_view text, const std::wstring& details) {
    EXPECT_EQ(Load(text), nullptr);
    EXPECT_EQ(Log(),
              L"ERR Error parsing the config file " + path_ + L". Details: " + details + L"\n");
  }

  /// The log lines since the last call; traces only if they are enabled.
  std::wstring Log() { return log_.TakeText(); }

  TemporaryFolder folder_;
  CString path_ = folder_.Name(L"config.xml");
  LogCapture log_;
};

TEST_F(ConfigLoad, LogsEveryStep) {
  CLogger::m_nLoglevel = 15;
  EXPECT_NE(Load(Expand(kFile)), nullptr);
  EXPECT_EQ(Log(), L"TRC Loading file " + path_ +
                       L"\nTRC Successfully loaded the content of the config file\n"
                       L"TRC Successfully loaded the config file into the parser\n"
                       L"TRC Successfully parsed the config file\n");

  CLogger::m_nLoglevel = 3;
  Config* config = reinterpret_cast<Config*>(this);
  const CString missing = folder_.Name(L"none");
  EXPECT_FALSE(CConfigParser::Load(missing, &config, nullptr, nullptr));
  EXPECT_EQ(config, nullptr);
  EXPECT_EQ(Log(), L"ERR The file " + missing +
                       L" does not exist\nERR Unable to load the config file " + missing + L"\n");
  // A folder has no size. Loading it fails without an exception.
  EXPECT_FALSE(CConfigParser::Load(folder_.Name(), &config, nullptr, nullptr));
  EXPECT_EQ(Log(), L"ERR Unable to load the config file " + folder_.Name() + L"\n");

  CMarkup xml;
  EXPECT_FALSE(xml.SetDoc(L"<xmlData><fileInfo></xmlData>"));
  EXPECT_EQ(Load(xml.GetDoc()), nullptr);
  EXPECT_EQ(Log(), L"ERR Error loading the config file " + path_ + L" into the parser. Details: " +
                       xml.GetError() + L"\n");
  ExpectError(L"<other/>", L"Root tag <xmlData> was not found!");
}

TEST_F(ConfigLoad, ReturnsWhyAFileDoesNotLoad) {
  using enum orv::LoadFailure;
  const std::string file = orv::WideToUtf8(Expand(kFile));
  std::string damaged = *orv::ProtectBytes(file);
  damaged.pop_back();
  const struct {
    std::string bytes;
    orv::LoadFailure failure;
    const wchar_t* text;
  } kCases[] = {
      {file, kNone, L""},
      {"", kUnreadable, L"the configuration cannot be read: the file is empty"},
      {file + std::string(10'000'000, ' '), kUnreadable,
       L"the configuration cannot be read: larger than 10,000,000 bytes"},
      {damaged, kUnreadable, L"the configuration cannot be read: the protected content is damaged"},
      {"<a>", kMalformed, L"the file is not well-formed XML: "},
      {"<a/>", kInvalid, L"the content is invalid: Root tag <xmlData> was not found!"},
  };
  const orv::ConfigsCacheReference cache;
  for (const auto& [bytes, failure, text] : kCases) {
    WriteBytes(orv::ToPath(path_), bytes);
    const orv::LoadResult loaded = orv::LoadConfigFile(path_, nullptr, nullptr);
    EXPECT_EQ(loaded.failure, failure) << bytes.size();
    EXPECT_EQ(loaded.config == nullptr, failure != kNone);
    EXPECT_EQ(loaded.config, loaded.owned.get());
    EXPECT_TRUE(orv::LoadFailureText(loaded).starts_with(text)) << orv::WideToUtf8(text);
    EXPECT_EQ(orv::LoadFailureText(loaded).empty(), failure == kNone);
    const orv::LoadResult cached = orv::LoadConfigFile(path_, cache.get(), nullptr);
    EXPECT_EQ(cached.config, cache->GetConfig(path_));
    EXPECT_EQ(cached.owned, nullptr);
    cache->Clear();
  }
  EXPECT_EQ(orv::LoadFailureText(orv::LoadConfigFile(folder_.Name(L"none"), nullptr, nullptr)),
            L"the configuration cannot be read: no such file or folder");
  EXPECT_EQ(orv::LoadPrinterConfig(nullptr, nullptr, nullptr).failure, kInvalidPrinter);
}

TEST_F(ConfigLoad, FailsWithoutARequiredElement) {
  ExpectTable("config_required", [this](const Fields& fields) {
    EXPECT_EQ(Load(With(fields[0], L"")), nullptr);
    const std::wstring begin = L"ERR Error parsing the config file " + path_ + L". Details: ";
    const std::wstring log = Log();
    EXPECT_TRUE(log.starts_with(begin)) << orv::WideToUtf8(log);
    return log.substr(std::min(begin.size(), log.size()));
  });
  ExpectError(With(L"darknessStep=5", L"darknessStep="),
              L"Error in <device><darkness><properties>: Step must not be 0!");
  // The search only goes forward, so the default must precede the list.
  ExpectError(With(L"{printSpeedDefault=50}<printSpeeds>[{printSpeed=50|printSpeed=60}]"
                   L"</printSpeeds>",
                   L"<printSpeeds>[{printSpeed=50}]</printSpeeds>{printSpeedDefault=50}"),
              L"Required element <printSpeed><printSpeeds> was not found!");
  ExpectError(With(L"[{optionName=B}]<conveyorSpeed>[{conveyorSpeed=1}]</conveyorSpeed>",
                   L"<conveyorSpeed>[{conveyorSpeed=1}]</conveyorSpeed>[{optionName=B}]"),
              L"Required element <conveyorSpeed> was not found!");
}

TEST_F(ConfigLoad, FindsSectionsOnlyInTheirOrder) {
  const std::wstring sections[] = {
      L"model",        L"label",    L"generalSettings", L"printModes",      L"globalOffsetY",
      L"headsOffsetX", L"darkness", L"sensorTypes",     L"characteristics", L"optionFamilies"};
  for (std::size_t i = 0; i + 1 < std::size(sections); ++i) {
    // At the end of the device the section itself is found, but not the next one.
    std::wstring text = Expand(kFile);
    const std::size_t start = text.find(L"<" + sections[i] + L">");
    const std::size_t size = text.find(L"</" + sections[i] + L">") + sections[i].size() + 3 - start;
    const std::wstring section = text.substr(start, size);
    text.erase(start, size).insert(text.find(L"</device>"), section);
    ExpectError(text, sections[i] == L"darkness"
                          ? L"No print speeds defined. Either <device><printSpeeds> or "
                            L"<device><printSpeedLevel> should be filled!"
                          : L"Required element <device><" + sections[i + 1] + L"> was not found!");
  }
  // Other elements between two sections are skipped, and names compare case-insensitively.
  EXPECT_NE(Load(With(L"<label>[{widthMax=9}]</label>",
                      L"<x><label/></x><LABEL>[{WIDTHmax=9}]</LABEL><model/>")),
            nullptr);
  EXPECT_EQ(Log(), L"");
}

TEST_F(ConfigLoad, WarnsOfEveryUnknownKey) {
  // One in every element that has properties; the reserved key is not reported.
  std::wstring text = Expand(kFile);
  for (const std::wstring parent : {L"<properties>", L"<printSpeed>"}) {
    for (std::size_t at = 0; (at = text.find(parent, at)) != text.npos; at += parent.size()) {
      text.insert(at + parent.size(), L"<property name=\"x\">y</property>");
    }
  }
  text.insert(text.find(L"</properties></generalSettings>"), Expand(L"{Test=1|test=2}"));
  EXPECT_NE(Load(text), nullptr);
  orv::test::ExpectText("config_unknown", Log());
  CLogger::m_nLoglevel = 0;  // and nothing if no level is enabled
  EXPECT_NE(Load(text), nullptr);
  EXPECT_EQ(Log(), L"");
}

TEST_F(ConfigLoad, VersionDecidesWhetherADeviceIsRead) {
  ExpectTable("config_versions", [this](const Fields& fields) {
    const CString info = CString(L"<fileInfo>[{version=") + fields[0] + L"}]</fileInfo>";
    const bool isRead = Load(Expand(L"<xmlData>" + info + L"</xmlData>")) == nullptr;
    EXPECT_EQ(Log().ends_with(L"Details: Required element <device> was not found!\n"), isRead);
    const Config config = Read(With(L"<fileInfo>[{version=12}]</fileInfo>", info));
    EXPECT_EQ(config.device.model.modelId, isRead ? 7 : 0);
    const GeneralSettings& settings = config.device.generalSettings;
    EXPECT_EQ(settings.resolutionDpiX, isRead ? 300 : 0);
    EXPECT_EQ(settings.resolutionDpiY, isRead ? 300 : 0);
    EXPECT_EQ(Log(), L"");
    return std::wstring(isRead ? L"read" : L"not read");
  });
}

/// A field of a record, by name.
template <typename Record, typename Value = std::int32_t>
struct Field {
  const wchar_t* name;
  Value Record::*field;
};
#define FIELD(Record, name) \
  { L"" #name, &Record::name }
#define PAIR(stem) FIELD(GeneralSettings, stem##Enabled), FIELD(GeneralSettings, stem##ByDefault)

TEST_F(ConfigLoad, FillsEverySectionByItsKeys) {
  std::wstring text(kFile);
  const std::pair<std::wstring_view, std::wstring_view> changes[] = {
      {L"{version=12}",
       L"{type=a|ConfigFileName=b|version=5|VERSION=6|creator=c &amp; d|"
       L"created=2026-03-02T08:15:30|lastModified=2026-03-02|culture= e |SHA256=}"},
      {L"{modelId=7}",
       L"{MODELID=1|modelName=b|boardName=c|pnpID=d|deviceId=e|aRef=f|orvModification=g|"
       L"deviceImageFile=h}"},
      {L"{widthMax=9}",
       L"{widthMin=1|widthMax=2|widthDefault=3|heightMin=4|heightMax=5|heightDefault=6|"
       L"maxGapDistance=7}"},
      {L"<generalSettings>[",
       L"<generalSettings>[{printWidth=8|resolutionDpiX=600|resolutionDpiY=}"},
      {L"{printSpeed=50|printSpeed=60}",
       L"{printSpeed=9|PRINTSPEED=7|printSpeed=9|printSpeed=|printSpeed=99999999999}"},
      {L"{conveyorSpeed=1}", L"{conveyorSpeed=5|CONVEYORSPEED=|conveyorSpeed=5}"}};
  for (const auto& [piece, by] : changes) text.replace(text.find(piece), piece.size(), by);
  Config config = Read(Expand(text));
  EXPECT_EQ(Log(), L"");
  const FileInfo& info = config.fileInfo;
  EXPECT_EQ(info.type + info.configFileName + info.creator + info.culture + info.sha256,
            L"abc & d e ");
  EXPECT_EQ(info.version, 6);  // the last one counts
  EXPECT_EQ(info.created, CConfigParser::ConvertToDateTime(L"2026-03-02T08:15:30"));
  EXPECT_EQ(info.lastModified, 0);
  const Device& device = config.device;
  const Model& model = device.model;
  EXPECT_EQ(model.modelId, 1);
  EXPECT_EQ(model.modelName + model.boardName + model.pnpID + model.deviceId + model.aRef +
                model.orvModification + model.deviceImageFile,
            L"bcdefgh");
  const Label& label = device.label;
  const int lengths[] = {label.widthMin,  label.widthMax,      label.widthDefault,  label.heightMin,
                         label.heightMax, label.heightDefault, label.maxGapDistance};
  for (int i = 0; i < 7; ++i) EXPECT_EQ(lengths[i], i + 1);
  EXPECT_EQ(device.generalSettings.printWidth, 8);
  EXPECT_EQ(device.generalSettings.resolutionDpiX, 600);
  EXPECT_EQ(device.generalSettings.resolutionDpiY, 0);  // present but empty: not the default of 300
  const auto& [minY, maxY, stepY] = device.globalOffsetY;
  EXPECT_TRUE(minY == -1 && stepY == 1 && maxY == 2);
  EXPECT_EQ(device.darkness.values, (std::vector<std::int32_t>{0, 5, 10}));
  EXPECT_EQ(device.darkness.defaultValue, 5);
  EXPECT_EQ(device.printSpeeds.defaultSpeed, 50);
  EXPECT_EQ(device.printSpeeds.speeds, (std::vector<std::int32_t>{9, 7, 9, 0, 2147483647}));
  EXPECT_EQ(device.beltApplicator.options.at(0).conveyorSpeeds,
            (std::vector<std::int32_t>{5, 0, 5}));

  EXPECT_TRUE(CConfigParser::isPrinterTwoColor(&config));
  EXPECT_FALSE(CConfigParser::isPrinterDoubleSided(&config));
  EXPECT_EQ(CConfigParser::GetPrinterBoardName(&config), model.boardName.c_str());
  EXPECT_EQ(CConfigParser::GetMaxWidthInMicroMeter(&config), 2);
}

TEST_F(ConfigLoad, SwitchesOnOneSettingByItsKey) {
  const Field<GeneralSettings, bool> settings[] = {
      PAIR(rotateLabel),     PAIR(mirroredLabelPrinting), PAIR(negativeLabel),
      PAIR(singleBuffer),    PAIR(ignorePaperEnd),        PAIR(discardLabelPosition),
      PAIR(topSameAsBottom), PAIR(backfeedmode),          PAIR(imageOpt),
      PAIR(replaceContent),  PAIR(ribbonSaver),           PAIR(customPageSize)};
  for (const auto& [name, field] : settings) {
    const Config config =
        Read(With(L"<generalSettings>[", CString(L"<generalSettings>[{") + name + L"=True}"));
    for (const auto& other : settings) {
      EXPECT_EQ(config.device.generalSettings.*other.field, other.field == field) << name;
    }
  }
}

TEST_F(ConfigLoad, ReadsTheValuesOfOneKeyAsFilesRelyOnIt) {
  ExpectTable("config_keys", [this](const Fields& fields) {
    const Device device = Read(With(fields[0], fields[1])).device;
    const HeadsOffsetX& heads = device.headsOffsetX;
    return orv::Format(L"guidance %d; heads %d, %d to %d by %d",
                       static_cast<int>(device.generalSettings.materialGuidance),
                       static_cast<int>(heads.enabled), heads.min, heads.max, heads.step);
  });
}

/// Entries as "number+" for enabled ones and "number-" for others, the default first.
template <typename Entries>
std::wstring EntriesText(int defaultNumber, const Entries& entries) {
  std::wstring text = std::to_wstring(defaultNumber) + L":";
  for (const auto& [number, enabled] : entries) {
    text += L" " + std::to_wstring(number) + (enabled ? L"+" : L"-");
  }
  return text;
}

TEST_F(ConfigLoad, CarriesTheCurrentNumberOverFromEntryToEntry) {
  ExpectTable("config_entries", [this](const Fields& fields) {
    const bool isMode = fields[0] == L"mode";
    const Config config = Read(
        With(isMode ? L"[{printModedefault=DirectThermal}]<printMode>[{ThermalTransfer=true}]"
                      L"</printMode><printMode>[{DirectThermal=TRUE}]</printMode>"
                    : L"[{SensorTypeDefault=Gap}]<sensorType>[{SensorTypeGap=true}]</sensorType>",
             fields[1]));
    const auto& [modes, sensors] = std::tie(config.device.printModes, config.device.sensorTypes);
    return isMode ? EntriesText(modes.defaultMode, modes.modes)
                  : EntriesText(sensors.defaultType, sensors.types);
  });
}

#define GROUP(Kind, stem)                                                  \
  FIELD(Kind, stem##Min), FIELD(Kind, stem##Max), FIELD(Kind, stem##Step), \
      FIELD(Kind, stem##Default)

/// Loads a file with these option families instead of the usual one.
class OptionFamilies : public ConfigLoad {
 protected:
  Config ReadFamilies(std::wstring_view families) {
    std::wstring text(kFile);
    const std::size_t start = text.find(L"<optionFamily>");
    const std::size_t end = text.find(L"</optionFamilies>");
    return Read(Expand(text.replace(start, end - start, families)));
  }
  /// A family of this identifier with an option that has these fields, and no others, reads them
  /// all into its member.
  template <typename Kind>
  void Check(int id, OptionFamily<Kind> Device::*member,
             std::initializer_list<Field<Kind>> fields) {
    SCOPED_TRACE(id);
    CString properties = L"{OPTIONNAME=o|optionImageFile=i|defaultOption=TRUE";
    int value = id * 1000;
    for (const auto& [name, field] : fields) {
      properties += CString(L"|") + name + L"=" + std::to_wstring(value++);
    }
    const Config config = ReadFamilies(
        L"<optionFamily>[{optionFamilyId=" + std::to_wstring(id) +
        L"|optionFamilyType=t|optionFamilyName=n|optionFamilyImageFile=f}]<options><option>[" +
        properties +
        L"|noSuchKey=1}]<conveyorSpeed>[{conveyorSpeed=5}]</conveyorSpeed></option>"
        L"</options></optionFamily>");
    const OptionFamily<Kind>& family = config.device.*member;
    ASSERT_EQ(family.options.size(), 1u);
    const Kind& option = family.options[0];
    value = id * 1000;
    for (const auto& [name, field] : fields) EXPECT_EQ(option.*field, value++) << name;
    EXPECT_EQ(std::to_wstring(family.optionFamilyId) + family.optionFamilyType +
                  family.optionFamilyName + family.optionFamilyImageFile + option.optionName +
                  option.optionImageFile + std::to_wstring(option.isDefault),
              std::to_wstring(id) + L"tnfoi1");
    EXPECT_EQ(Log(), L"WAR Unknown property in Option Family 't': noSuchKey = 1\n");
  }
};

TEST_F(OptionFamilies, AreReadIntoTheirMembersByTheirKeys) {
  for (const int id : {3, 23}) {
    Check(id, &Device::applicator,
          {GROUP(Applicator, offset), GROUP(Applicator, startDelaySupportingAir),
           GROUP(Applicator, stopDelaySupportingAir), GROUP(Applicator, startDelayPrint),
           GROUP(Applicator, lockTime), GROUP(Applicator, blowTime)});
  }
  Check(17, &Device::barcodeVerifier, {});
  Check(6, &Device::barcodeVerifierWithPeel, {GROUP(BarcodeVerifierWithPeel, offset)});
  Check(14, &Device::beltApplicator,
        {GROUP(BeltApplicator, offset), GROUP(BeltApplicator, startDelayPrint),
         GROUP(BeltApplicator, labelPosition), GROUP(BeltApplicator, applyRunning),
         FIELD(BeltApplicator, conveyorSpeedDefault)});
  Check(2, &Device::cutter, {GROUP(Cutter, offset1), GROUP(Cutter, offset2)});
  Check(10, &Device::dispensingModule, {GROUP(DispensingModule, offset)});
  Check(20, &Device::ioModule, {GROUP(IoModule, offset)});
  Check(7, &Device::pauseAdapter, {});
  Check(1, &Device::peelOff, {GROUP(PeelOff, offset)});
  Check(9, &Device::perforator,
        {GROUP(Perforator, offset1), GROUP(Perforator, offset2),
         GROUP(Perforator, perforatorDeepness)});
  Check(5, &Device::rewinder, {});
  Check(4, &Device::ribbonSaver, {});
  Check(0, &Device::tearOff, {GROUP(TearOff, offset)});
  Check(18, &Device::tubeApplicator, {GROUP(TubeApplicator, offset)});
  Check(19, &Device::wrappingApplicator,
        {GROUP(WrappingApplicator, offset), FIELD(WrappingApplicator, wrapPosMin),
         FIELD(WrappingApplicator, wrapPosMax), FIELD(WrappingApplicator, wrapPosDefault)});
}

TEST_F(OptionFamilies, CarryTheirIdentifierOver) {
  const wchar_t kOption[] = L"<options><option>[{optionName=o}]</option></options>";
  // The first without properties is of no kind, a later one is of the kind before it.
  Config config = ReadFamilies(std::wstring(L"<optionFamily>") + kOption +
                               L"</optionFamily><optionFamily>[{optionFamilyId=2|"
                               L"optionFamilyType=Cut}]" +
                               kOption + L"</optionFamily><optionFamily>" + kOption +
                               L"</optionFamily><optionFamily>[{optionFamilyName=n}]" + kOption +
                               L"</optionFamily>");
  EXPECT_EQ(config.device.cutter.options.size(), 3u);
  EXPECT_EQ(config.device.cutter.optionFamilyType, L"Cut");
  EXPECT_EQ(config.device.cutter.optionFamilyName, L"n");
  EXPECT_EQ(
      Log(),
      L"WAR Option Family without <properties> found. Ignoring it!\n"
      L"WAR Unknown Option Family Type in <device><optionFamilies><optionFamily><properties>: "
      L"\nWAR Option Family without <properties> found. Ignoring it!\n");
  EXPECT_NE(Load(With(L"optionFamilyId=14", L"optionFamilyId=8")), nullptr);
  EXPECT_EQ(Log(),
            L"WAR Unknown Option Family Type in <device><optionFamilies><optionFamily>"
            L"<properties>: Belt\n");
  ReadFamilies(L"<optionFamily>[{optionFamilyType=t|optionFamilyId=2}]</optionFamily>");
  EXPECT_EQ(Log(), L"WAR Option Family 't' has no options defined!\n");
  // An empty identifier is 0, the tear-off edge.
  config = ReadFamilies(std::wstring(L"<optionFamily>[{optionFamilyId=}]") + kOption +
                        L"</optionFamily>");
  EXPECT_EQ(config.device.tearOff.options.size(), 1u);
}

TEST_F(OptionFamilies, KeepOnlyNamedOptionsAndAcceptOneSpellingOfTrue) {
  const Config config = ReadFamilies(
      L"<optionFamily>[{optionFamilyId=1|optionFamilyType=P}]<options>"
      L"<option/>"
      L"<option>[{defaultOption=TRUE|offsetMin=1}]</option>"
      L"<option>[{optionName=a|defaultOption=true|offsetMin=1|OFFSETMIN=2}]</option>"
      L"<option>[{optionName=b|defaultOption=TRUE|defaultOption=1}]</option>"
      L"<option>[{optionName=c|defaultOption=TRUE|offsetMin=x|offsetMax= 7mm}]</option>"
      L"</options></optionFamily>");
  const std::vector<PeelOff>& options = config.device.peelOff.options;
  ASSERT_EQ(options.size(), 3u);
  EXPECT_TRUE(options[0].isDefault == FALSE && options[0].offsetMin == 2);
  EXPECT_EQ(options[1].isDefault, FALSE);
  EXPECT_TRUE(options[2].isDefault == TRUE && options[2].offsetMin == 0 &&
              options[2].offsetMax == 7);
  EXPECT_EQ(Log(),
            L"WAR Option Family 'P' has an option without properties!\n"
            L"WAR Option Family 'P' has an option without a name. Ignoring it!\n");
}

TEST_F(OptionFamilies, EntryPointsReadInsideAFamilyOfTheirKind) {
  CMarkup xml(
      Expand(L"<optionFamily>[{optionFamilyId=9|optionFamilyType=t|optionFamilyName=n|"
             L"optionFamilyImageFile=f}]<options><option>"
             L"[{optionName=o|offset1Max=4|perforatorDeepnessStep=5}]</option></options>"
             L"</optionFamily>"));
  ASSERT_TRUE(xml.FindElem(L"optionFamily") && xml.FindChildElem(L"properties") && xml.IntoElem());
  int id = 1;
  CString type;
  CString name;
  CString image;
  const auto parse = [&](const CMarkup& markup) {
    EXPECT_EQ(
        CConfigParser::ParseDeviceOptionFamilyProperties(markup, id, type, name, image, nullptr),
        L"");
    EXPECT_EQ(std::to_wstring(id) + type + name + image, L"9tnf");
  };
  parse(xml);
  EXPECT_EQ(xml.GetTagName(), L"properties");  // the position does not move
  xml.OutOfElem();
  OptionFamily<Perforator> family;
  EXPECT_EQ(CConfigParser::ParseDeviceOptionFamilyPerforatorOptions(xml, family, nullptr), L"");
  ASSERT_EQ(family.options.size(), 1u);
  EXPECT_EQ(family.options[0].offset1Max, 4);
  EXPECT_EQ(family.options[0].perforatorDeepnessStep, 5);
  CMarkup without(L"<optionFamily/>");
  ASSERT_TRUE(without.FindElem(L"optionFamily"));
  parse(without);  // missing properties keep their values
  EXPECT_EQ(CConfigParser::ParseDeviceOptionFamilyPerforatorOptions(without, family, nullptr), L"");
  EXPECT_EQ(family.options.size(), 1u);
}

TEST_F(ConfigLoad, ARefusedSectionLeavesZeroForMissingValues) {
  CMarkup xml(Expand(L"<headsOffsetX>[{headsOffsetXMin=3}]</headsOffsetX>"));
  ASSERT_TRUE(xml.FindElem(L"headsOffsetX"));
  HeadsOffsetX offset = {true, 7, 7, 7};
  EXPECT_NE(CConfigParser::ParseDeviceHeadsOffsetX(xml, offset, nullptr), L"");
  EXPECT_TRUE(!offset.enabled && offset.min == 3 && offset.max == 0 && offset.step == 0);
}

TEST_F(ConfigLoad, ValuesHaveFullNames) {
  Config config = Read(With(L"{version=12}", L"{version=12|created=2026-07-01T12:34:56}"));
  config.device.cutter.optionFamilyId = 2;  // a second family, before the one of the file
  config.device.cutter.optionFamilyType = L"Cut";
  const std::vector<orv::NamedConfigValue> values = orv::NamedConfigValues(config);
  ExpectTable("config_names", [&](const Fields& fields) {
    const auto found = std::ranges::find(values, fields[0], &orv::NamedConfigValue::name);
    return found == values.end() ? L"none" : found->text;
  });
}

TEST(ConfigValues, ConvertAsFilesRelyOnIt) {
  ExpectTable("config_values", [](const Fields& fields) {
    const std::wstring& text = fields[0];
    return std::to_wstring(CConfigParser::ConvertToInt(text)) +
           (CConfigParser::ConvertToBool(text) != 0 ? L", true" : L", false");
  });
}

TEST(ConfigValues, ReadLocalTimesByPosition) {
  std::tm time{};
  std::istringstream("2026-07-01 12:34:56") >> std::get_time(&time, "%Y-%m-%d %H:%M:%S");
  time.tm_isdst = -1;
  const std::int64_t expected = std::mktime(&time);
  for (const wchar_t* text : {L"2026-07-01T12:34:56", L"2026-07-01 12:34:56",
                              L"2026/07/01x12.34.56", L"2026907901912934956"}) {
    EXPECT_EQ(CConfigParser::ConvertToDateTime(text), expected) << text;
  }
  EXPECT_EQ(CConfigParser::ConvertToDateTime(L"2026-06-31T11:94:56"), expected);  // carries over
  for (const wchar_t* text : {L"", L"2026-07-01", L"2026-07-01T12:34:5", L"2026-07-01T12:34:56Z"}) {
    EXPECT_EQ(CConfigParser::ConvertToDateTime(text), 0) << text;
  }
}

TEST(ListValues, ReachTheMaximumOrReportWhyNot) {
  ExpectTable("config_lists", [](const Fields& fields) {
    int numbers[4];
    std::ranges::transform(fields, numbers,
                           [](const std::wstring& text) { return std::stoi(text); });
    std::list<int> values;
    const CString error =
        CConfigParser::GenerateListValues(numbers[0], numbers[1], numbers[2], numbers[3], values);
    return std::to_wstring(values.size()) + L" to " +
           std::to_wstring(values.empty() ? 0 : values.back()) + L" (" + error + L")";
  });
  std::list<int> kept = {-7};
  EXPECT_EQ(CConfigParser::GenerateListValues(1, 3, 1, 2, kept), L"");
  EXPECT_EQ(kept, (std::list<int>{-7, 1, 2, 3}));
}

TEST_F(ConfigLoad, ChecksTheDigestOfTheTextWithItsPlaceholder) {
  // printf %s SALT TEXT | sha256sum, on the text with {{sha256}} in it.
  const std::wstring text =
      L"<xmlData><!-- {{sha256}} --><fileInfo><properties><property "
      L"name=\"version\">13</property><property name=\"sha256\">{{sha256}}"
      L"</property></properties></fileInfo><!-- \u00e9 --></xmlData>";
  const std::wstring digest = L"60239c78c73468dd60c06f3b3af427771086587594e7b1be662d97aa2ab71ee4";
  const auto sign = [](std::wstring signedText, const std::wstring& value) {
    for (std::size_t at; (at = signedText.find(L"{{sha256}}")) != signedText.npos;) {
      signedText.replace(at, 10, value);
    }
    return signedText;
  };
  EXPECT_EQ(Read(sign(text, digest)).fileInfo.sha256, digest);
  EXPECT_EQ(Log(), L"");

  std::wstring upper = digest;
  for (wchar_t& unit : upper) unit = unit >= L'a' ? static_cast<wchar_t>(unit - 32) : unit;
  Read(sign(text, upper));
  EXPECT_EQ(Log(), L"WAR The hash value in the config file " + path_ +
                       L" is invalid!\nWAR File SHA256: " + upper + L" , Calculated SHA256: " +
                       digest + L" \n");
  // A comment can contain the digest too, until the text changes.
  Read(sign(text, digest) + L" ");
  EXPECT_TRUE(Log().starts_with(L"WAR The hash value"));
}

TEST_F(ConfigLoad, CachesLoadedRecords) {
  ConfigsCache* const cache = ConfigsCache::GetInstance();
  WriteBytes(orv::ToPath(path_), orv::WideToUtf8(Expand(kFile)));
  Config* first = nullptr;
  ASSERT_TRUE(CConfigParser::Load(path_, &first, cache, nullptr));
  std::filesystem::remove(orv::ToPath(path_));
  log_.Take();
  Config* second = nullptr;
  EXPECT_TRUE(CConfigParser::Load(path_, &second, cache, nullptr));
  EXPECT_EQ(second, first);
  EXPECT_EQ(Log(), L"");
  EXPECT_FALSE(CConfigParser::Load(path_ + L"2", &second, cache, nullptr));
  EXPECT_EQ(second, nullptr);
  EXPECT_EQ(cache->GetConfig(path_ + L"2"), nullptr);  // a failure leaves no record
}

TEST_F(ConfigLoad, ReturnsTheSameRecordToAllThreads) {
  WriteBytes(orv::ToPath(path_), orv::WideToUtf8(Expand(kFile)));
  for (int round = 0; round < 20; ++round) {
    ConfigsCache* const cache = ConfigsCache::GetInstance();
    std::array<Config*, 4> configs{};
    std::vector<std::thread> threads;
    for (Config*& config : configs) {
      threads.emplace_back(
          [&] { EXPECT_TRUE(CConfigParser::Load(path_, &config, cache, nullptr)); });
    }
    for (std::thread& thread : threads) thread.join();
    for (const Config* config : configs) EXPECT_EQ(config, cache->GetConfig(path_));
    EXPECT_EQ(configs[0]->device.model.modelId, 7);
    ConfigsCache::ReleaseInstance();
  }
}

TEST(Cache, CountsItsReferencesAndKeepsTheFirstRecord) {
  ConfigsCache::m_nReferenceCounter = 7;  // counts nothing without an instance
  EXPECT_EQ(ConfigsCache::ReleaseInstance(), 0);
  ConfigsCache* const cache = ConfigsCache::GetInstance();
  EXPECT_EQ(ConfigsCache::GetInstance(), cache);
  EXPECT_EQ(ConfigsCache::m_nReferenceCounter, 2);

  auto* const first = new Config;
  const auto second = std::make_unique<Config>();
  EXPECT_EQ(cache->SetConfig(L"Path", first), nullptr);
  EXPECT_EQ(cache->SetConfig(L"Path", second.get()), first);
  EXPECT_EQ(cache->GetConfig(L"Path"), first);
  EXPECT_EQ(cache->GetConfig(L"path"), nullptr);

  {
    ConfigsCache copy(*cache);
    EXPECT_EQ(copy.GetConfig(L"Path"), first);  // shared, not doubled
    ConfigsCache& same = copy;
    copy = same;
    EXPECT_EQ(copy.GetConfig(L"Path"), first);
    copy.Clear();  // frees the record of both
    *cache = copy;
  }
  EXPECT_EQ(cache->GetConfig(L"Path"), nullptr);

  EXPECT_EQ(ConfigsCache::ReleaseInstance(), 1);
  EXPECT_EQ(ConfigsCache::m_pInstance, cache);
  EXPECT_EQ(ConfigsCache::ReleaseInstance(), 0);
  EXPECT_EQ(ConfigsCache::m_pInstance, nullptr);
}

TEST_F(ConfigLoad, FindsTheFileOfAPrinter) {
  const orv::test::ScratchRegistry registry;
  const std::pair<const wchar_t*, const wchar_t*> cases[] = {
      {L"ORV-LX 4.3/300P+", L"orv_conf_lx43300pp.xml"},
      {L"Orv-A4+ 600", L"orv_conf_a4p600.xml"},
      {L"ORV LX", L"orv_conf_orvlx.xml"},
      {L"a++b", L"orv_conf_appb.xml"},
      {L"oorv-rv-x", L"orv_conf_orvx.xml"},  // the result is not rescanned
  };
  for (const auto& [driver, file] : cases) {
    const orv::test::TestPrinter printer(L"Test printer", driver);
    wchar_t text[40];
    EXPECT_TRUE(CConfigParser::GetPrinterName(printer.handle(), text, 40, nullptr));
    EXPECT_STREQ(text, L"Test printer");
    EXPECT_TRUE(CConfigParser::GetPrinterDriverName(printer.handle(), text, 40, nullptr));
    EXPECT_STREQ(text, driver);
    EXPECT_TRUE(CConfigParser::GetConfigXmlFilenameForPrinter(printer.handle(), text, 40, nullptr));
    EXPECT_STREQ(text, file);
    EXPECT_TRUE(CConfigParser::GetConfigXmlFilenameForPrinter(printer.handle(), text, 5, nullptr));
    EXPECT_STREQ(text, L"orv_");
    EXPECT_TRUE(CConfigParser::GetPrinterName(printer.handle(), text, 1, nullptr));
    EXPECT_STREQ(text, L"");
    wchar_t kept[] = L"kept";
    EXPECT_TRUE(CConfigParser::GetPrinterName(printer.handle(), kept, 0, nullptr));
    EXPECT_STREQ(kept, L"kept");
    EXPECT_TRUE(CConfigParser::GetPrinterName(printer.handle(), nullptr, 40, nullptr));

    WriteBytes(folder_.path() / orv::ToPath(file), orv::WideToUtf8(Expand(kFile)));
    CLoggerClient client;
    client.m_stModuleFolder = folder_.Name();
    Config* config = nullptr;
    EXPECT_TRUE(CConfigParser::Load(printer.handle(), &config, nullptr, &client));
    ASSERT_NE(config, nullptr);
    EXPECT_EQ(config->device.model.modelId, 7);
    delete config;
    log_.Take();

    for (CLoggerClient* without : {&client, static_cast<CLoggerClient*>(nullptr)}) {
      client.m_stModuleFolder.clear();
      EXPECT_FALSE(CConfigParser::Load(printer.handle(), &config, nullptr, without));
      EXPECT_EQ(config, nullptr);
      EXPECT_EQ(Log(), L"ERR The file  does not exist\nERR Unable to load the config file \n");
    }
  }
  // The next printer has another file, although the last one is remembered.
  CLoggerClient client;
  client.m_stModuleFolder = folder_.Name();
  for (const auto& [driver, id] : {std::pair(L"ORV LX", 1), {L"a++b", 2}, {L"ORV LX", 1}}) {
    const orv::test::TestPrinter printer(L"Test printer", driver);
    WriteBytes(folder_.path() / orv::ToPath(id == 1 ? L"orv_conf_orvlx.xml" : L"orv_conf_appb.xml"),
               orv::WideToUtf8(With(L"{modelId=7}", L"{modelId=" + std::to_wstring(id) + L"}")));
    Config* config = nullptr;
    EXPECT_TRUE(CConfigParser::Load(printer.handle(), &config, nullptr, &client));
    ASSERT_NE(config, nullptr);
    EXPECT_EQ(config->device.model.modelId, id);
    delete config;
  }
}

TEST_F(ConfigLoad, RefusesInvalidHandles) {
  wchar_t text[8] = L"before";
  for (const HANDLE handle : {HANDLE{nullptr}, INVALID_HANDLE_VALUE}) {
    EXPECT_FALSE(CConfigParser::GetPrinterName(handle, text, 8, nullptr));
    EXPECT_FALSE(CConfigParser::GetPrinterDriverName(handle, text, 8, nullptr));
    Config* config = reinterpret_cast<Config*>(this);
    EXPECT_FALSE(CConfigParser::Load(handle, &config, nullptr, nullptr));
    EXPECT_EQ(config, nullptr);
    EXPECT_EQ(Log(),
              L"ERR Unable to get printer name for an invalid handle!\n"
              L"ERR Unable to get printer driver name for an invalid handle!\n"
              L"ERR Unable to get printer driver name for an invalid handle!\n"
              L"ERR Unable to get the printer driver name for the printer!\n");
  }
}

TEST_F(ConfigLoad, SaysWhyTheSpoolerDoesNotDescribeThePrinter) {
  const orv::test::ScratchRegistry registry;
  CLoggerClient client;
  client.m_stModuleFolder = folder_.Name();
  Config* config = nullptr;
  const auto closed = reinterpret_cast<HANDLE>(std::uintptr_t{0x123456});
  EXPECT_FALSE(CConfigParser::Load(closed, &config, nullptr, &client));
  const std::wstring path = folder_.Name(L"orv_conf_.xml");
  EXPECT_EQ(Log(),
            L"ERR The spooler does not describe the printer: the handle is not valid (system "
            L"error 6)\nERR The file " +
                path + L" does not exist\nERR Unable to load the config file " + path + L"\n");
  EXPECT_EQ(orv::LoadFailureText(orv::LoadPrinterConfig(closed, nullptr, &client)),
            L"the configuration cannot be read: the spooler does not describe the printer: the "
            L"handle is not "
            L"valid (system error 6)");
}

TEST(ConfigParse, FailsCleanlyWhereverATextIsCut) {
  const std::string bytes =
      orv::WideToUtf8(With(L"{modelId=7}", L"{modelId=7|modelName=\u00e9\u20ac&amp;<!--c-->}"));
  for (std::size_t size = 0; size <= bytes.size(); ++size) {
    CMarkup xml;
    const bool isWellFormed = xml.SetDoc(orv::Utf8ToWide(bytes.substr(0, size)));
    Config config;
    const CString error = CConfigParser::Parse(xml, config, nullptr);
    EXPECT_EQ(isWellFormed, size == bytes.size()) << size;
    EXPECT_TRUE(!error.empty() || size > bytes.find("conveyorSpeed")) << size;
  }
}

std::wstring Repeat(std::wstring_view piece, int times) {
  std::wstring text;
  text.reserve(piece.size() * static_cast<std::size_t>(times));
  while (times-- > 0) text += piece;
  return text;
}

TEST_F(ConfigLoad, LoadsFilesOfAnySize) {
  Config config = Read(With(L"{printSpeed=50|", L"{" + Repeat(L"printSpeed=1|", 100000)));
  EXPECT_EQ(config.device.printSpeeds.speeds.size(), 100001u);

  config = Read(
      With(L"<optionFamilies>", L"<optionFamilies><optionFamily>[{optionFamilyId=5}]<options>" +
                                    Repeat(L"<option>[{optionName=o}]</option>", 60000) +
                                    L"</options></optionFamily>"));
  EXPECT_EQ(config.device.rewinder.options.size(), 60000u);

  // A million nested elements, with and without end tags.
  constexpr int kDepth = 1000000;
  const std::wstring deep = Repeat(L"<a>", kDepth);
  orv::test::RunOnSmallStack([&] {
    EXPECT_NE(Load(With(L"<label>", deep + Repeat(L"</a>", kDepth) + L"<label>")), nullptr);
    EXPECT_EQ(Load(With(L"<label>", deep + L"<label>")), nullptr);
  });
}

TEST_F(ConfigLoad, LoadsAtMostTenMillionBytes) {
  const std::string file = orv::WideToUtf8(Expand(kFile));
  const std::string comment = "<!--" + std::string(10'000'000 - file.size() - 7, 'c') + "-->";
  EXPECT_NE(Load(file + comment), nullptr);
  EXPECT_EQ(Log(), L"");
  EXPECT_EQ(Load(file + comment + " "), nullptr);
  EXPECT_EQ(Log(), L"ERR The file " + path_ +
                       L" is too large\nERR Unable to load the config file " + path_ + L"\n");
}

}  // namespace
