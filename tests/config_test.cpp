/// Configuration files from their bytes to the record: every section, message and oddity that
/// callers rely on.

#include "orv/config/config_parser.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <ctime>
#include <memory>
#include <thread>

#include "orv/config/configs_cache.h"
#include "orv/crypto/crypto_helper.h"
#include "orv/platform/files.h"
#include "orv/text/utf8.h"
#include "orv/xml/markup.h"
#include "tests/fixtures.h"

namespace {

using orv::test::LogCapture;
using orv::test::LogLine;
using orv::test::TemporaryFolder;
using orv::test::WriteBytes;
using testing::ElementsAre;
using testing::IsEmpty;

/// `{name=value|name=value}` stands for property elements, `[...]` for a properties element of
/// them.
std::wstring Expand(std::wstring_view shorthand) {
  std::wstring text;
  bool inName = false;
  for (const wchar_t unit : shorthand) {
    switch (unit) {
      case L'[':
        text += L"<properties>";
        break;
      case L']':
        text += L"</properties>";
        break;
      case L'{':
        text += L"<property name=\"";
        inName = true;
        break;
      case L'=':
        text += inName ? L"\">" : L"=";
        inName = false;
        break;
      case L'|':
        text += L"</property><property name=\"";
        inName = true;
        break;
      case L'}':
        text += L"</property>";
        break;
      default:
        text += unit;
    }
  }
  return text;
}

/// The least that loads, every section in place.
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

/// That file with one piece of its shorthand replaced, the first time it occurs.
std::wstring With(std::wstring_view piece, std::wstring_view by) {
  std::wstring text(kFile);
  const std::size_t at = text.find(piece);
  EXPECT_NE(at, text.npos) << orv::WideToUtf8(piece);
  return Expand(text.replace(at, piece.size(), by));
}

LogLine Trace(const CString& message) { return {L"TRC", L"", L"", message}; }
LogLine Warning(const CString& message) { return {L"WAR", L"", L"", message}; }
LogLine Error(const CString& message) { return {L"ERR", L"", L"", message}; }

/// A piece of the file, what is put into its place, and what comes of it.
struct Change {
  const wchar_t* piece;
  const wchar_t* by;
  const wchar_t* result;
};

class ConfigLoad : public testing::Test {
 protected:
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

  /// The warnings and errors since the last call.
  std::vector<LogLine> Complaints() {
    std::vector<LogLine> lines = log_.Take();
    std::erase_if(lines, [](const LogLine& line) { return line.tag == L"TRC"; });
    return lines;
  }
  std::vector<CString> Messages() {
    std::vector<CString> messages;
    for (LogLine& line : Complaints()) messages.push_back(std::move(line.message));
    return messages;
  }

  TemporaryFolder folder_;
  CString path_ = folder_.Name(L"config.xml");
  LogCapture log_;
};

TEST_F(ConfigLoad, TellsEveryStep) {
  EXPECT_NE(Load(Expand(kFile)), nullptr);
  EXPECT_THAT(log_.Take(),
              ElementsAre(Trace(L"Loading file " + path_),
                          Trace(L"Successfully loaded the content of the config file"),
                          Trace(L"Successfully loaded the config file into the parser"),
                          Trace(L"Successfully parsed the config file")));

  Config* config = reinterpret_cast<Config*>(this);
  EXPECT_FALSE(CConfigParser::Load(path_ + L"x", &config, nullptr, nullptr));
  EXPECT_EQ(config, nullptr);
  EXPECT_THAT(log_.Take(), ElementsAre(Trace(L"Loading file " + path_ + L"x"),
                                       Error(L"The file " + path_ + L"x does not exist"),
                                       Error(L"Unable to load the config file " + path_ + L"x")));

  EXPECT_EQ(Load(L"<xmlData><fileInfo></xmlData>"), nullptr);
  CMarkup xml;
  EXPECT_FALSE(xml.SetDoc(L"<xmlData><fileInfo></xmlData>"));
  EXPECT_THAT(Complaints(), ElementsAre(Error(L"Error loading the config file " + path_ +
                                              L" into the parser. Details: " + xml.GetError())));
}

TEST_F(ConfigLoad, EndsAtTheFirstElementThatMustBeThere) {
  const Change cases[] = {
      {L"<fileInfo>[{version=12}]</fileInfo>", L"", L"<fileInfo>"},
      {L"<fileInfo>[{version=12}]", L"<fileInfo>", L"<fileinfo><properties>"},
      {L"<model>[{modelId=7}]</model>", L"", L"<device><model>"},
      {L"<model>[{modelId=7}]", L"<model>", L"<device><model><properties>"},
      {L"<label>[{widthMax=9}]</label>", L"", L"<device><label>"},
      {L"<label>[{widthMax=9}]", L"<label>", L"<device><label><properties>"},
      {L"<generalSettings>[]</generalSettings>", L"", L"<device><generalSettings>"},
      {L"<generalSettings>[]", L"<generalSettings>", L"<device><generalSettings><properties>"},
      {L"[{printModedefault=DirectThermal}]", L"", L"<device><printModes><properties>"},
      {L"[{DirectThermal=TRUE}]", L"", L"<device><printModes><printMode><properties>"},
      {L"[{globalOffsetYMin=-1|globalOffsetYStep=1|globalOffsetYMax=2}]", L"",
       L"<device><globalOffsetY><properties>"},
      {L"[{headsOffsetXEnabled=TRUE|headsOffsetXMin=3|headsOffsetXStep=1|headsOffsetXMax=4}]", L"",
       L"<device><headsOffsetX><properties>"},
      {L"[{darknessMin=0|darknessStep=5|darknessMax=10|darknessDefault=5}]", L"",
       L"<device><darkness><properties>"},
      {L"<printSpeeds>[{printSpeed=50|printSpeed=60}]</printSpeeds>", L"",
       L"<printSpeed><printSpeeds>"},
      {L"[{printSpeed=50|printSpeed=60}]", L"", L"<printSpeed><printSpeeds><properties>"},
      // Nothing is searched backwards, so the default must stand before the list.
      {L"{printSpeedDefault=50}<printSpeeds>[{printSpeed=50|printSpeed=60}]</printSpeeds>",
       L"<printSpeeds>[{printSpeed=50}]</printSpeeds>{printSpeedDefault=50}",
       L"<printSpeed><printSpeeds>"},
      {L"[{SensorTypeDefault=Gap}]", L"", L"<device><sensorTypes><properties>"},
      {L"[{SensorTypeGap=true}]", L"", L"<device><sensorTypes><sensorType><properties>"},
      {L"<characteristics>[{color=true}]</characteristics>", L"", L"<device><characteristics>"},
      {L"<characteristics>[{color=true}]", L"<characteristics>", L"<fileinfo><properties>"},
      {L"<conveyorSpeed>[{conveyorSpeed=1}]</conveyorSpeed>", L"", L"<conveyorSpeed>"},
      {L"[{conveyorSpeed=1}]", L"", L"<conveyorSpeed><properties>"},
  };
  for (const auto& test : cases) {
    SCOPED_TRACE(orv::WideToUtf8(test.result));
    EXPECT_EQ(Load(With(test.piece, test.by)), nullptr);
    EXPECT_THAT(Complaints(), ElementsAre(Error(L"Error parsing the config file " + path_ +
                                                L". Details: Required element " + test.result +
                                                L" was not found!")));
  }
}

TEST_F(ConfigLoad, EndsAtAPropertyThatMustBeThere) {
  constexpr wchar_t kOffsetY[] =
      L"Missing property in <device><globalOffsetY><properties>: Min, Max or Step is missing!";
  constexpr wchar_t kOffsetX[] =
      L"Missing property in <device><headsOffsetX><properties>: Min, Max or Step is missing!";
  constexpr wchar_t kDarkness[] =
      L"Missing property in <device><darkness><properties>: Min, Max, Step or Default is missing!";
  const Change cases[] = {
      {L"globalOffsetYMin=-1|", L"", kOffsetY},
      {L"globalOffsetYStep=1|", L"", kOffsetY},
      {L"|globalOffsetYMax=2", L"", kOffsetY},
      {L"headsOffsetXEnabled=TRUE|headsOffsetXMin=3|", L"", kOffsetX},
      {L"headsOffsetXStep=1|", L"", kOffsetX},
      {L"|headsOffsetXMax=4", L"", kOffsetX},
      {L"darknessMin=0|", L"", kDarkness},
      {L"darknessStep=5|", L"", kDarkness},
      {L"darknessMax=10|", L"", kDarkness},
      {L"|darknessDefault=5", L"", kDarkness},
      {L"darknessStep=5", L"darknessStep=",
       L"Error in <device><darkness><properties>: Step must not be 0!"},
      {L"{printSpeed=50|printSpeed=60}", L"",
       L"No print speeds defined. Either <device><printSpeeds> or <device><printSpeedLevel> should "
       L"be filled!"},
  };
  for (const auto& test : cases) {
    SCOPED_TRACE(orv::WideToUtf8(test.result));
    EXPECT_EQ(Load(With(test.piece, test.by)), nullptr);
    EXPECT_THAT(Complaints(), ElementsAre(Error(L"Error parsing the config file " + path_ +
                                                L". Details: " + test.result)));
  }
  EXPECT_EQ(Load(L"<other/>"), nullptr);
  EXPECT_THAT(Messages(), ElementsAre(L"Error parsing the config file " + path_ +
                                      L". Details: Root tag <xmlData> was not found!"));
}

TEST_F(ConfigLoad, FindsSectionsOnlyInTheirOrder) {
  const wchar_t* const sections[] = {
      L"model",        L"label",    L"generalSettings", L"printModes",      L"globalOffsetY",
      L"headsOffsetX", L"darkness", L"sensorTypes",     L"characteristics", L"optionFamilies"};
  for (std::size_t i = 0; i + 1 < std::size(sections); ++i) {
    // At the end of the device the section itself is found, but not the next one.
    std::wstring text = Expand(kFile);
    const std::wstring name = sections[i];
    const std::size_t start = text.find(L"<" + name + L">");
    const std::size_t size = text.find(L"</" + name + L">") + name.size() + 3 - start;
    const std::wstring section = text.substr(start, size);
    text.erase(start, size).insert(text.find(L"</device>"), section);
    EXPECT_EQ(Load(text), nullptr);
    const std::wstring error =
        name == L"darkness"
            ? L"No print speeds defined. Either <device><printSpeeds> or "
              L"<device><printSpeedLevel> should be filled!"
            : L"Required element <device><" + std::wstring(sections[i + 1]) + L"> was not found!";
    EXPECT_EQ(Messages().back(),
              L"Error parsing the config file " + path_ + L". Details: " + error);
  }
  // Another element between two sections does no harm, nor does another case of letters.
  EXPECT_NE(Load(With(L"<label>[{widthMax=9}]</label>",
                      L"<x><label/></x><LABEL>[{WIDTHmax=9}]</LABEL><model/>")),
            nullptr);
  EXPECT_THAT(Complaints(), IsEmpty());
}

TEST_F(ConfigLoad, WarnsOfWhatItDoesNotKnow) {
  const std::pair<const wchar_t*, const wchar_t*> unknown[] = {
      {L"{version", L"<fileInfo><properties>: x = y"},
      {L"{modelId", L"<device><model><properties>: x = y"},
      {L"{widthMax", L"<device><label><properties>: x = y"},
      {L"]</generalSettings>", L"<device><generalSettings><properties>: x = y"},
      {L"{printModedefault", L"<device><printModes><properties>: x = y"},
      {L"{ThermalTransfer", L"<device><printModes><printMode><properties>: x = y"},
      {L"{globalOffsetYMin", L"<device><globalOffsetY><properties>: x = y"},
      {L"{headsOffsetX", L"<device><headsOffsetX><properties>: x = y - compared x end"},
      {L"{darknessMin", L"<device><darkness><properties>: x = y"},
      {L"{printSpeedDefault", L"<device><printSpeed>: x = y"},
      {L"{printSpeed=50", L"<device><printSpeed><properties>: x = y"},
      {L"{SensorTypeDefault", L"<device><sensorTypes><properties>: x = y"},
      {L"{SensorTypeGap", L"<device><sensorTypes><sensorType><properties>: x = y"},
      {L"{color", L"<fileInfo><properties>: x = y"},
      {L"{optionFamilyId", L"<device><optionFamilies><optionFamily><properties>: x = y"},
      {L"{optionName", L"Option Family 'Belt': x = y"},
      {L"{conveyorSpeed=1", L"<conveyorSpeed><properties>: x = y"},
  };
  // The unknown key is put before a piece of the file.
  for (const auto& [before, warning] : unknown) {
    EXPECT_NE(Load(With(before, std::wstring(L"{x=y}") + before)), nullptr);
    EXPECT_THAT(Complaints(), ElementsAre(Warning(CString(L"Unknown property in ") + warning)));
  }
  const Change odd[] = {
      {L"{optionName=B", L"{optionName=",
       L"Option Family 'Belt' has an option without a name. Ignoring it!"},
      {L"[{optionName=B}]<conveyorSpeed>[{conveyorSpeed=1}]</conveyorSpeed>", L"",
       L"Option Family 'Belt' has an option without properties!"},
      {L"optionFamilyId=14", L"optionFamilyId=8",
       L"Unknown Option Family Type in <device><optionFamilies><optionFamily><properties>: Belt"},
      {L"<optionFamilies>", L"<optionFamilies><optionFamily>[{optionFamilyId=2}]</optionFamily>",
       L"Option Family '' has no options defined!"},
  };
  for (const auto& test : odd) {
    EXPECT_NE(Load(With(test.piece, test.by)), nullptr);
    EXPECT_THAT(Complaints(), ElementsAre(Warning(test.result)));
  }
  // The reserved key is no unknown one.
  EXPECT_NE(Load(With(L"<generalSettings>[", L"<generalSettings>[{Test=1|test=2}")), nullptr);
  EXPECT_THAT(Complaints(), IsEmpty());
}

TEST_F(ConfigLoad, VersionDecidesWhetherADeviceIsRead) {
  for (const wchar_t* version : {L"12", L"0", L"-13", L"x", L"", L"12.9"}) {
    const CString info = CString(L"<fileInfo>[{version=") + version + L"}]</fileInfo>";
    EXPECT_EQ(Load(Expand(L"<xmlData>" + info + L"</xmlData>")), nullptr) << version;
    EXPECT_THAT(Messages(), ElementsAre(L"Error parsing the config file " + path_ +
                                        L". Details: Required element <device> was not found!"));
  }
  for (const wchar_t* version : {L"13", L" +13x", L"2147483648"}) {
    const auto config = Load(With(L"version=12", CString(L"version=") + version));
    ASSERT_NE(config, nullptr);
    EXPECT_EQ(config->device.model.modelId, 0);
    EXPECT_EQ(config->device.generalSettings.resolutionDpiX, 300);
    EXPECT_THAT(Complaints(), IsEmpty());
  }
}

TEST_F(ConfigLoad, FillsTheFileInformation) {
  const auto config = Load(With(
      L"{version=12}",
      L"{type=a|ConfigFileName=b|version=5|VERSION=6|creator=c &amp; d|created=2026-03-02T08:15:30|"
      L"lastModified=2026-03-02|culture= e |SHA256=}"));
  ASSERT_NE(config, nullptr);
  const FileInfo& info = config->fileInfo;
  EXPECT_EQ(info.type, L"a");
  EXPECT_EQ(info.configFileName, L"b");
  EXPECT_EQ(info.version, 6);  // the last one counts
  EXPECT_EQ(info.creator, L"c & d");
  EXPECT_EQ(info.culture, L" e ");
  EXPECT_EQ(info.sha256, L"");
  EXPECT_EQ(info.lastModified, 0);
  const std::time_t created = info.created;
  char text[40];
  std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", std::localtime(&created));
  EXPECT_STREQ(text, "2026-03-02 08:15:30");
  EXPECT_THAT(Complaints(), IsEmpty());
}

TEST_F(ConfigLoad, FillsEverySectionByItsKeys) {
  const auto config = Load(With(
      L"<model>[{modelId=7}]</model><label>[{widthMax=9}]</label><generalSettings>[]",
      L"<model>[{MODELID=1|modelName=b|boardName=c|pnpID=d|deviceId=e|aRef=f|orvModification=g|"
      L"deviceImageFile=h}]</model>"
      L"<label>[{widthMin=1|widthMax=2|widthDefault=3|heightMin=4|heightMax=5|heightDefault=6|"
      L"maxGapDistance=7}]</label>"
      L"<generalSettings>[{printWidth=8|resolutionDpiX=600|resolutionDpiY=|materialGuidance=Right|"
      L"materialGuidance=center|rotateLabelEnabled=TRUE|mirroredLabelPrintingByDefault=true|"
      L"negativeLabelEnabled=1|singleBufferByDefault=True|ignorePaperEndEnabled=yes|"
      L"discardLabelPositionEnabled=true|topSameAsBottomEnabled=true|backfeedmodeEnabled=true|"
      L"imageOptByDefault=true|replaceContentEnabled=true|ribbonSaverEnabled=true|"
      L"customPageSizeByDefault=true}]"));
  ASSERT_NE(config, nullptr);
  EXPECT_THAT(Complaints(), IsEmpty());
  const auto& [model, label, general, printModes, offsetY, offsetX, darkness, speeds, sensors,
               characteristics, applicator, verifier, verifierWithPeel, belt, cutter, dispensing,
               io, pause, peelOff, perforator, rewinder, ribbonSaver, tearOff, tube, wrapping] =
      config->device;
  EXPECT_EQ(model.modelId, 1);
  EXPECT_EQ(model.modelName + model.boardName + model.pnpID + model.deviceId + model.aRef +
                model.orvModification + model.deviceImageFile,
            L"bcdefgh");
  EXPECT_THAT((std::array{label.widthMin, label.widthMax, label.widthDefault, label.heightMin,
                          label.heightMax, label.heightDefault, label.maxGapDistance}),
              ElementsAre(1, 2, 3, 4, 5, 6, 7));
  EXPECT_EQ(general.printWidth, 8);
  EXPECT_EQ(general.resolutionDpiX, 600);
  EXPECT_EQ(general.resolutionDpiY, 0);                        // present and empty is no 300
  EXPECT_EQ(general.materialGuidance, materialGuidanceRight);  // an unknown value changes nothing
  EXPECT_THAT((std::array{general.rotateLabelEnabled, general.mirroredLabelPrintingByDefault,
                          general.singleBufferByDefault, general.discardLabelPositionEnabled,
                          general.topSameAsBottomEnabled, general.backfeedmodeEnabled,
                          general.imageOptByDefault, general.replaceContentEnabled,
                          general.ribbonSaverEnabled, general.customPageSizeByDefault}),
              testing::Each(true));
  EXPECT_THAT((std::array{general.rotateLabelByDefault, general.mirroredLabelPrintingEnabled,
                          general.negativeLabelEnabled, general.negativeLabelByDefault,
                          general.singleBufferEnabled, general.ignorePaperEndEnabled,
                          general.ignorePaperEndByDefault, general.discardLabelPositionByDefault,
                          general.topSameAsBottomByDefault, general.backfeedmodeByDefault,
                          general.imageOptEnabled, general.replaceContentByDefault,
                          general.ribbonSaverByDefault, general.customPageSizeEnabled}),
              testing::Each(false));
  EXPECT_EQ(printModes.defaultMode, 1);
  ASSERT_EQ(printModes.modes.size(), 2u);
  EXPECT_TRUE(printModes.modes[1].mode == 1 && printModes.modes[1].enabled);
  EXPECT_TRUE(offsetY.min == -1 && offsetY.step == 1 && offsetY.max == 2);
  EXPECT_TRUE(offsetX.enabled && offsetX.min == 3 && offsetX.step == 1 && offsetX.max == 4);
  EXPECT_THAT(darkness.values, ElementsAre(0, 5, 10));
  EXPECT_EQ(darkness.defaultValue, 5);
  EXPECT_THAT(speeds.speeds, ElementsAre(50, 60));
  EXPECT_EQ(speeds.defaultSpeed, 50);
  EXPECT_EQ(sensors.defaultType, 2);
  EXPECT_TRUE(!characteristics.doubleSided && characteristics.color);
  EXPECT_EQ(belt.options.size(), 1u);

  EXPECT_TRUE(CConfigParser::isPrinterTwoColor(config.get()));
  EXPECT_FALSE(CConfigParser::isPrinterDoubleSided(config.get()));
  EXPECT_EQ(CConfigParser::GetPrinterBoardName(config.get()), model.boardName.c_str());
  EXPECT_EQ(CConfigParser::GetMaxWidthInMicroMeter(config.get()), 2);
}

TEST_F(ConfigLoad, ReadsTheValuesOfOneKeyAsFilesRelyOnIt) {
  const struct {
    const wchar_t* value;
    MaterialGuidance guidance;
  } guidances[] = {{L"LEFT", materialGuidanceLeft},         {L"leftHanded", materialGuidanceLeft},
                   {L"centered", materialGuidanceCentered}, {L"RightHanded", materialGuidanceRight},
                   {L"center", materialGuidanceLeft},       {L"", materialGuidanceLeft}};
  for (const auto& test : guidances) {
    const auto config = Load(With(L"<generalSettings>[", CString(L"<generalSettings>[{"
                                                                 L"materialGuidance=") +
                                                             test.value + L"}"));
    ASSERT_NE(config, nullptr);
    EXPECT_EQ(config->device.generalSettings.materialGuidance, test.guidance) << test.value;
  }

  const struct {
    const wchar_t* properties;
    bool enabled;
    int min;
  } heads[] = {{L"headsOffsetXEnabled=TRUE|headsOffsetXMin=3|", true, 3},
               {L"headsOffsetXEnabled=true|headsOffsetXMin=3|", false, 3},
               {L"headsOffsetXMin=|", false, 0},
               {L"headsOffsetXEnabled=TRUE|", true, 0},  // stands for the minimum as well
               {L"headsOffsetXEnabled=|", false, 0}};
  for (const auto& test : heads) {
    const auto config = Load(With(L"headsOffsetXEnabled=TRUE|headsOffsetXMin=3|", test.properties));
    ASSERT_NE(config, nullptr) << test.properties;
    EXPECT_EQ(config->device.headsOffsetX.enabled, test.enabled);
    EXPECT_EQ(config->device.headsOffsetX.min, test.min);
  }
}

/// Entries as "number+" for enabled ones and "number-" for others, the default in front.
template <typename Entries>
std::wstring EntriesText(int defaultNumber, const Entries& entries) {
  std::wstring text = std::to_wstring(defaultNumber) + L":";
  for (const auto& [number, enabled] : entries) {
    text += L" " + std::to_wstring(number) + (enabled ? L"+" : L"-");
  }
  return text;
}

TEST_F(ConfigLoad, CarriesTheCurrentModeOverFromEntryToEntry) {
  const std::pair<const wchar_t*, const wchar_t*> cases[] = {
      {L"[{printModedefault=DirectThermal}]", L"0:"},
      {L"[{printModedefault=directthermal}]<printMode>[{DirectThermal=true}]</printMode>",
       L"1: 1+"},
      {L"[{printModedefault=Other}]<printMode>[{DirectThermal=true}]</printMode>", L"0: 1+"},
      // An unknown name adds an entry under the mode before it, and may be the default.
      {L"[{printModedefault=x}]<printMode>[{y=true}]</printMode>"
       L"<printMode>[{DirectThermal=1}]</printMode><printMode>[{x=TRUE|ThermalTransfer=true}]"
       L"</printMode>",
       L"1: 0+ 1- 1+ 0+"},
      {L"[]<printMode>[<property>true</property>]</printMode>", L"0: 0+"},
      {L"<printMode>[{DirectThermal=true}]</printMode>[]",
       L"0:"},  // stands before its section's own
  };
  const std::wstring_view whole =
      L"[{printModedefault=DirectThermal}]<printMode>[{ThermalTransfer=true}]</printMode>"
      L"<printMode>[{DirectThermal=TRUE}]</printMode>";
  for (const auto& [section, entries] : cases) {
    const auto config = Load(With(whole, section));
    ASSERT_NE(config, nullptr);
    const PrintModes& modes = config->device.printModes;
    EXPECT_EQ(EntriesText(modes.defaultMode, modes.modes), entries);
  }
}

TEST_F(ConfigLoad, ReadsSensorsByTheirNames) {
  const std::pair<const wchar_t*, const wchar_t*> cases[] = {
      {L"[{SensorTypeDefault=ReflectiveTop}]<sensorType>[{SensorTypeContinous=true|"
       L"sensortypereflectivetop=false|SensorTypeGap=true|SensorTypeReflectiveBottom=true|"
       L"SensorTypeExternalPosEdge=true|sensorTypeExternalNegEdge=true}]</sensorType>",
       L"1: 0+ 1- 2+ 3+ 4+ 5+"},
      {L"[{SensorTypeDefault=SensorTypeGap}]<sensorType>[{SensorTypeGap=true}]</sensorType>",
       L"0: 2+"},  // the default is named without the prefix
      {L"[]<sensorType>[{SensorTypeGap=true}]</sensorType>", L"0: 2+"},
      // Before any name was met, the sensor is the gap sensor.
      {L"[{SensorTypeDefault=X}]<sensorType>[{SensorTypeX=true}]</sensorType>"
       L"<sensorType>[{SensorTypeContinous=}]</sensorType><sensorType>[{x=true}]</sensorType>",
       L"2: 2+ 0- 0+"},
  };
  const std::wstring_view whole =
      L"[{SensorTypeDefault=Gap}]<sensorType>[{SensorTypeGap=true}]</sensorType>";
  for (const auto& [section, entries] : cases) {
    const auto config = Load(With(whole, section));
    ASSERT_NE(config, nullptr);
    const SensorTypes& sensors = config->device.sensorTypes;
    EXPECT_EQ(EntriesText(sensors.defaultType, sensors.types), entries);
  }
}

TEST_F(ConfigLoad, ReadsPrintSpeedsInTheirOrder) {
  const auto config =
      Load(With(L"{printSpeed=50|printSpeed=60}",
                L"{printSpeed=9|PRINTSPEED=7|printSpeed=9|printSpeed=|printSpeed=99999999999}"));
  ASSERT_NE(config, nullptr);
  EXPECT_THAT(config->device.printSpeeds.speeds, ElementsAre(9, 7, 9, 0, 2147483647));
}

/// Loads a file with these option families instead of the usual one.
class OptionFamilies : public ConfigLoad {
 protected:
  std::unique_ptr<Config> LoadFamilies(std::wstring_view families) {
    std::wstring text(kFile);
    const std::size_t start = text.find(L"<optionFamily>");
    const std::size_t end = text.find(L"</optionFamilies>");
    auto config = Load(Expand(text.replace(start, end - start, families)));
    EXPECT_NE(config, nullptr);
    return config;
  }
};

/// Each of a record's fields, by name, and the value that the file gives it.
template <typename Kind>
struct Field {
  const wchar_t* name;
  std::int32_t Kind::*field;
};
#define FIELD(Kind, name) \
  Field<Kind> { L"" #name, &Kind::name }
#define GROUP(Kind, stem)                                                  \
  FIELD(Kind, stem##Min), FIELD(Kind, stem##Max), FIELD(Kind, stem##Step), \
      FIELD(Kind, stem##Default)

class EveryFamily : public OptionFamilies {
 protected:
  /// A family of this identifier with an option that has these fields, and no others, reads them
  /// all into its member.
  template <typename Kind>
  void Check(int id, OptionFamily<Kind> Device::*member, std::vector<Field<Kind>> fields) {
    SCOPED_TRACE(id);
    CString properties = L"{OPTIONNAME=n|optionImageFile=i|defaultOption=TRUE";
    int value = id * 1000;
    for (const auto& [name, field] : fields) {
      properties += CString(L"|") + name + L"=" + std::to_wstring(value++);
    }
    const auto config = LoadFamilies(
        L"<optionFamily>[{optionFamilyId=" + std::to_wstring(id) +
        L"|optionFamilyType=t|optionFamilyName=n|optionFamilyImageFile=f}]<options><option>[" +
        properties +
        L"|noSuchKey=1}]<conveyorSpeed>[{conveyorSpeed=5|conveyorSpeed=|"
        L"conveyorSpeed=5}]</conveyorSpeed></option></options></optionFamily>");
    EXPECT_THAT(Messages(), ElementsAre(L"Unknown property in Option Family 't': noSuchKey = 1"));
    ASSERT_NE(config, nullptr);
    const OptionFamily<Kind>& family = config->device.*member;
    EXPECT_EQ(family.optionFamilyId, id);
    EXPECT_EQ(family.optionFamilyType + family.optionFamilyName + family.optionFamilyImageFile,
              L"tnf");
    ASSERT_EQ(family.options.size(), 1u);
    const Kind& option = family.options[0];
    EXPECT_EQ(option.isDefault, TRUE);
    EXPECT_EQ(option.optionName + option.optionImageFile, L"ni");
    value = id * 1000;
    for (const auto& [name, field] : fields) EXPECT_EQ(option.*field, value++) << name;
    if constexpr (std::is_same_v<Kind, BeltApplicator>) {
      EXPECT_THAT(option.conveyorSpeeds, ElementsAre(5, 0, 5));
    }
  }
};

TEST_F(EveryFamily, IsReadIntoItsMemberByItsKeys) {
  const std::vector<Field<Applicator>> applicator = {GROUP(Applicator, offset),
                                                     GROUP(Applicator, startDelaySupportingAir),
                                                     GROUP(Applicator, stopDelaySupportingAir),
                                                     GROUP(Applicator, startDelayPrint),
                                                     GROUP(Applicator, lockTime),
                                                     GROUP(Applicator, blowTime)};
  Check(3, &Device::applicator, applicator);
  Check(23, &Device::applicator, applicator);
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
  auto config = LoadFamilies(std::wstring(L"<optionFamily>") + kOption +
                             L"</optionFamily><optionFamily>[{optionFamilyId=2|"
                             L"optionFamilyType=Cut}]" +
                             kOption + L"</optionFamily><optionFamily>" + kOption +
                             L"</optionFamily><optionFamily>[{optionFamilyName=n}]" + kOption +
                             L"</optionFamily>");
  EXPECT_EQ(config->device.cutter.options.size(), 3u);
  EXPECT_EQ(config->device.cutter.optionFamilyType, L"Cut");
  EXPECT_EQ(config->device.cutter.optionFamilyName, L"n");
  EXPECT_THAT(Messages(), ElementsAre(L"Option Family without <properties> found. Ignoring it!",
                                      L"Unknown Option Family Type in "
                                      L"<device><optionFamilies><optionFamily><properties>: ",
                                      L"Option Family without <properties> found. Ignoring it!"));
  // An empty identifier is 0, the tear-off edge.
  config = LoadFamilies(std::wstring(L"<optionFamily>[{optionFamilyId=}]") + kOption +
                        L"</optionFamily>");
  EXPECT_EQ(config->device.tearOff.options.size(), 1u);
}

TEST_F(OptionFamilies, KeepOnlyOptionsWithANameAndKnowOneSpellingOfTrue) {
  const auto config = LoadFamilies(
      L"<optionFamily>[{optionFamilyId=1|optionFamilyType=P}]<options>"
      L"<option/>"
      L"<option>[{defaultOption=TRUE|offsetMin=1}]</option>"
      L"<option>[{optionName=a|defaultOption=true|offsetMin=1|OFFSETMIN=2}]</option>"
      L"<option>[{optionName=b|defaultOption=TRUE|defaultOption=1}]</option>"
      L"<option>[{optionName=c|defaultOption=TRUE|offsetMin=x|offsetMax= 7mm}]</option>"
      L"</options></optionFamily>");
  const std::vector<PeelOff>& options = config->device.peelOff.options;
  ASSERT_EQ(options.size(), 3u);
  EXPECT_TRUE(options[0].isDefault == FALSE && options[0].offsetMin == 2);
  EXPECT_EQ(options[1].isDefault, FALSE);
  EXPECT_TRUE(options[2].isDefault == TRUE && options[2].offsetMin == 0 &&
              options[2].offsetMax == 7);
  EXPECT_THAT(Messages(), ElementsAre(L"Option Family 'P' has an option without properties!",
                                      L"Option Family 'P' has an option without a name. Ignoring "
                                      L"it!"));
}

TEST_F(OptionFamilies, EntryPointsReadInsideAFamilyOfTheirKind) {
  CMarkup xml(
      Expand(L"<optionFamily>[{optionFamilyId=9|optionFamilyName=n}]<options><option>"
             L"[{optionName=o|offset1Max=4|perforatorDeepnessStep=5}]</option></options>"
             L"</optionFamily>"));
  ASSERT_TRUE(xml.FindElem(L"optionFamily") && xml.FindChildElem(L"properties"));
  xml.IntoElem();
  int id = 1;
  CString type = L"old";
  CString name = L"old";
  CString image;
  EXPECT_EQ(CConfigParser::ParseDeviceOptionFamilyProperties(xml, id, type, name, image, nullptr),
            L"");
  EXPECT_EQ(id, 9);
  EXPECT_EQ(type, L"old");  // what the file does not say stays
  EXPECT_EQ(name, L"n");
  EXPECT_EQ(xml.GetTagName(), L"properties");  // and the caller's place as well
  xml.OutOfElem();
  OptionFamily<Perforator> family;
  EXPECT_EQ(CConfigParser::ParseDeviceOptionFamilyPerforatorOptions(xml, family, nullptr), L"");
  ASSERT_EQ(family.options.size(), 1u);
  EXPECT_EQ(family.options[0].offset1Max, 4);
  EXPECT_EQ(family.options[0].perforatorDeepnessStep, 5);
}

TEST(ConfigValues, ConvertAsFilesRelyOnIt) {
  const struct {
    const wchar_t* text;
    int number;
  } numbers[] = {{L"", 0},
                 {L"x", 0},
                 {L"-", 0},
                 {L"+-1", 0},
                 {L" \t\r\n12 3", 12},
                 {L"+7", 7},
                 {L"-08x", -8},
                 {L"0x10", 0},
                 {L"2147483647", 2147483647},
                 {L"2147483648", 2147483647},
                 {L"-2147483648", -2147483647 - 1},
                 {L"-99999999999999999999999", -2147483647 - 1},
                 {L"4294967297", 2147483647},
                 {L"00000000000000000000000000005", 5},
                 {L"\u0661", 0}};  // only ASCII digits
  for (const auto& test : numbers) {
    EXPECT_EQ(CConfigParser::ConvertToInt(test.text), test.number) << orv::WideToUtf8(test.text);
  }
  for (const wchar_t* text : {L"true", L"TRUE", L"tRuE"}) {
    EXPECT_EQ(CConfigParser::ConvertToBool(text), 1);
  }
  for (const wchar_t* text : {L"", L"1", L"yes", L"on", L" true", L"true ", L"tru", L"trueX"}) {
    EXPECT_EQ(CConfigParser::ConvertToBool(text), 0) << text;
  }
}

TEST(ConfigValues, TakeTimesByPlaceAndInLocalTime) {
  std::tm time{};
  time.tm_year = 126;
  time.tm_mon = 6;
  time.tm_mday = 1;
  time.tm_hour = 12;
  time.tm_min = 34;
  time.tm_sec = 56;
  time.tm_isdst = -1;
  const std::int64_t expected = std::mktime(&time);
  for (const wchar_t* text :
       {L"2026-07-01T12:34:56", L"2026-07-01 12:34:56", L"2026/07/01x12.34.56"}) {
    EXPECT_EQ(CConfigParser::ConvertToDateTime(text), expected) << text;
  }
  EXPECT_EQ(CConfigParser::ConvertToDateTime(L"2026-06-31T11:94:56"), expected);  // carries over
  for (const wchar_t* text : {L"", L"2026-07-01", L"2026-07-01T12:34:5", L"2026-07-01T12:34:56Z"}) {
    EXPECT_EQ(CConfigParser::ConvertToDateTime(text), 0) << text;
  }
}

TEST(ListValues, ReachTheMaximumOrSayWhyNot) {
  const wchar_t kTooMany[] = L"Values for Min, Max and Step will produce more than 1000 entries!";
  const wchar_t kNotMax[] =
      L"Values for Min, Max and Step won't produce Max as last value in the list!";
  const wchar_t kNotDefault[] =
      L"Values for Min, Max and Step won't produce the value for Default!";
  const wchar_t kNone[] = L"Values for Min, Max and Step won't produce any values!";
  const int kLow = -2147483647 - 1;
  const int kHigh = 2147483647;
  const struct {
    int min, max, step, byDefault;
    const wchar_t* error;
    std::size_t count;
    int last;
  } cases[] = {
      {0, 1000, 250, 500, L"", 5, 1000},
      {0, 999, 1, 0, L"", 1000, 999},
      {0, 1000, 1, 0, kTooMany, 1001, 1000},
      {0, 10, 3, 3, kNotMax, 4, 9},
      {0, 10, 5, 4, kNotDefault, 3, 10},
      {0, 10, 3, 4, kNotDefault, 4, 9},
      {5, 5, 1, 5, L"", 1, 5},
      {5, 5, 9, 5, L"", 1, 5},
      {5, 5, -1, 5, kTooMany, 1001, -995},
      {10, 0, -2, 4, kNone, 0, 0},
      {10, 0, 2, 4, L"Max is lower than Min, but the Step is not negative!", 0, 0},
      {0, 10, -2, 4, L"Max is greater than Min, but the Step is negative!", 0, 0},
      {0, 10, 0, 0, L"Step must not be 0!", 0, 0},
      {10, 0, 0, 0, L"Step must not be 0!", 0, 0},
      // Every value is at most the highest: the sequence wraps and goes on.
      {kHigh - 1, kHigh, 1, kHigh, kTooMany, 1001, kLow + 998},
      {kLow, kLow + 2, 2, kLow, L"", 2, kLow + 2},
  };
  for (const auto& test : cases) {
    std::list<int> values;
    EXPECT_EQ(
        CConfigParser::GenerateListValues(test.min, test.max, test.step, test.byDefault, values),
        test.error);
    EXPECT_EQ(values.size(), test.count) << orv::WideToUtf8(test.error);
    EXPECT_EQ(values.empty() ? 0 : values.back(), test.last);
  }
  std::list<int> kept = {-7};
  EXPECT_EQ(CConfigParser::GenerateListValues(1, 3, 1, 2, kept), L"");
  EXPECT_THAT(kept, ElementsAre(-7, 1, 2, 3));
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
  auto config = Load(sign(text, digest));
  ASSERT_NE(config, nullptr);
  EXPECT_EQ(config->fileInfo.sha256, digest);
  EXPECT_THAT(Complaints(), IsEmpty());

  std::wstring upper = digest;
  for (wchar_t& unit : upper) unit = unit >= L'a' ? static_cast<wchar_t>(unit - 32) : unit;
  config = Load(sign(text, upper));
  EXPECT_NE(config, nullptr);
  EXPECT_THAT(
      Complaints(),
      ElementsAre(Warning(L"The hash value in the config file " + path_ + L" is invalid!"),
                  Warning(L"File SHA256: " + upper + L" , Calculated SHA256: " + digest + L" ")));
  // A comment may hold the digest as well, but no longer when the text changes.
  config = Load(sign(text, digest) + L" ");
  EXPECT_NE(config, nullptr);
  EXPECT_EQ(Complaints().size(), 2u);
}

TEST_F(ConfigLoad, CachesWhatItLoads) {
  ConfigsCache* const cache = ConfigsCache::GetInstance();
  WriteBytes(orv::ToPath(path_), orv::WideToUtf8(Expand(kFile)));
  Config* first = nullptr;
  ASSERT_TRUE(CConfigParser::Load(path_, &first, cache, nullptr));
  std::filesystem::remove(orv::ToPath(path_));
  log_.Take();
  Config* second = nullptr;
  EXPECT_TRUE(CConfigParser::Load(path_, &second, cache, nullptr));
  EXPECT_EQ(second, first);
  EXPECT_THAT(log_.Take(), IsEmpty());
  EXPECT_FALSE(CConfigParser::Load(path_ + L"2", &second, cache, nullptr));
  EXPECT_EQ(second, nullptr);
  EXPECT_EQ(cache->GetConfig(path_ + L"2"), nullptr);  // a failure leaves no record
}

TEST_F(ConfigLoad, GivesTwoThreadsTheSameRecord) {
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
    EXPECT_THAT(configs, testing::Each(cache->GetConfig(path_)));
    EXPECT_EQ(configs[0]->device.model.modelId, 7);
    ConfigsCache::ReleaseInstance();
  }
}

TEST(Cache, CountsItsReferencesAndKeepsTheFirstRecord) {
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
    copy.Clear();  // frees it for both
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
      {L"oorv-rv-x", L"orv_conf_orvx.xml"},  // what a removal leaves is not looked at again
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
      EXPECT_THAT(Messages(),
                  ElementsAre(L"The file  does not exist", L"Unable to load the config file "));
    }
  }
}

TEST_F(ConfigLoad, RefusesHandlesThatAreNone) {
  wchar_t text[8] = L"before";
  for (const HANDLE handle : {HANDLE{nullptr}, INVALID_HANDLE_VALUE}) {
    EXPECT_FALSE(CConfigParser::GetPrinterName(handle, text, 8, nullptr));
    EXPECT_FALSE(CConfigParser::GetPrinterDriverName(handle, text, 8, nullptr));
    Config* config = reinterpret_cast<Config*>(this);
    EXPECT_FALSE(CConfigParser::Load(handle, &config, nullptr, nullptr));
    EXPECT_EQ(config, nullptr);
    EXPECT_THAT(Complaints(),
                ElementsAre(Error(L"Unable to get printer name for an invalid handle!"),
                            Error(L"Unable to get printer driver name for an invalid handle!"),
                            Error(L"Unable to get printer driver name for an invalid handle!"),
                            Error(L"Unable to get the printer driver name for the printer!")));
  }
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

TEST_F(ConfigLoad, TakesFilesOfAnySizeAndDepth) {
  auto config = Load(With(L"{printSpeed=50|", L"{" + Repeat(L"printSpeed=1|", 100000)));
  ASSERT_NE(config, nullptr);
  EXPECT_EQ(config->device.printSpeeds.speeds.size(), 100001u);

  config = Load(
      With(L"<optionFamilies>", L"<optionFamilies><optionFamily>[{optionFamilyId=5}]<options>" +
                                    Repeat(L"<option>[{optionName=o}]</option>", 60000) +
                                    L"</options></optionFamily>"));
  ASSERT_NE(config, nullptr);
  EXPECT_EQ(config->device.rewinder.options.size(), 60000u);

  // Below the size limit of files: a million elements inside each other.
  constexpr int kDepth = 1000000;
  EXPECT_NE(Load(With(L"<label>", Repeat(L"<a>", kDepth) + Repeat(L"</a>", kDepth) + L"<label>")),
            nullptr);
  EXPECT_EQ(Load(With(L"<label>", Repeat(L"<a>", kDepth) + L"<label>")), nullptr);
  EXPECT_THAT(Messages(), testing::Contains(testing::HasSubstr(L"Error loading the config file")));
}

}  // namespace
