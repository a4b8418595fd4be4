#pragma once

#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <string>
#include <string_view>

#include "orv/config/config_parser.h"
#include "orv/devmode/devmode.h"
#include "orv/devmode/oemdev.h"
#include "tests/fixtures.h"

namespace orv::test {

/// A printer that offers every setting, with an option of three families as its default.
inline constexpr std::string_view kTestConfig = R"(<xmlData>
<fileInfo><properties><property name="version">12</property></properties></fileInfo>
<device>
<model><properties/></model>
<label><properties>
<property name="widthMin">10000</property><property name="widthMax">100000</property>
<property name="widthDefault">60000</property><property name="heightMin">5000</property>
<property name="heightMax">300000</property><property name="heightDefault">40000</property>
<property name="maxGapDistance">20000</property>
</properties></label>
<generalSettings><properties>
<property name="rotateLabelEnabled">true</property><property name="rotateLabelByDefault">false</property>
<property name="mirroredLabelPrintingEnabled">true</property>
<property name="mirroredLabelPrintingByDefault">true</property>
<property name="negativeLabelEnabled">true</property>
<property name="singleBufferEnabled">true</property><property name="singleBufferByDefault">true</property>
<property name="ignorePaperEndEnabled">true</property>
<property name="discardLabelPositionEnabled">true</property>
<property name="topSameAsBottomEnabled">true</property>
<property name="backfeedmodeEnabled">true</property><property name="backfeedmodeByDefault">true</property>
<property name="imageOptEnabled">true</property>
<property name="replaceContentEnabled">true</property><property name="replaceContentByDefault">true</property>
<property name="ribbonSaverEnabled">true</property>
</properties></generalSettings>
<printModes><properties><property name="printModedefault">DirectThermal</property></properties>
<printMode><properties><property name="ThermalTransfer">true</property></properties></printMode>
<printMode><properties><property name="DirectThermal">true</property></properties></printMode></printModes>
<globalOffsetY><properties><property name="globalOffsetYMin">0</property>
<property name="globalOffsetYStep">1</property><property name="globalOffsetYMax">9</property></properties></globalOffsetY>
<headsOffsetX><properties><property name="headsOffsetXMin">0</property>
<property name="headsOffsetXStep">1</property><property name="headsOffsetXMax">9</property></properties></headsOffsetX>
<darkness><properties><property name="darknessMin">-10</property><property name="darknessStep">5</property>
<property name="darknessMax">20</property><property name="darknessDefault">10</property></properties></darkness>
<printSpeed><property name="printSpeedDefault">100000</property><printSpeeds><properties>
<property name="printSpeed">50000</property><property name="printSpeed">100000</property>
<property name="printSpeed">200999</property></properties></printSpeeds></printSpeed>
<sensorTypes><properties><property name="SensorTypeDefault">Gap</property></properties>
<sensorType><properties><property name="SensorTypeContinous">false</property></properties></sensorType>
<sensorType><properties><property name="SensorTypeGap">true</property></properties></sensorType></sensorTypes>
<characteristics><properties/></characteristics>
<optionFamilies>
<optionFamily><properties><property name="optionFamilyId">23</property></properties><options>
<option><properties><property name="optionName">A</property><property name="offsetDefault">99</property></properties></option>
<option><properties><property name="optionName">B</property><property name="defaultOption">TRUE</property>
<property name="offsetDefault">11</property><property name="startDelaySupportingAirDefault">12</property>
<property name="stopDelaySupportingAirDefault">13</property><property name="startDelayPrintDefault">14</property>
<property name="lockTimeDefault">15</property><property name="blowTimeDefault">16</property></properties></option>
</options></optionFamily>
<optionFamily><properties><property name="optionFamilyId">14</property></properties><options>
<option><properties><property name="optionName">B</property><property name="defaultOption">TRUE</property>
<property name="offsetDefault">-21</property><property name="startDelayPrintDefault">22</property>
<property name="labelPositionDefault">23</property><property name="applyRunningDefault">24</property>
<property name="conveyorSpeedDefault">250999</property></properties>
<conveyorSpeed><properties/></conveyorSpeed></option></options></optionFamily>
<optionFamily><properties><property name="optionFamilyId">19</property></properties><options>
<option><properties><property name="optionName">W</property><property name="defaultOption">TRUE</property>
<property name="offsetDefault">31</property><property name="wrapPosDefault">32</property></properties></option>
</options></optionFamily>
<optionFamily><properties><property name="optionFamilyId">2</property></properties><options>
<option><properties><property name="optionName">C</property><property name="offset1Default">7</property></properties></option>
</options></optionFamily>
</optionFamilies></device></xmlData>
)";

inline constexpr wchar_t kTestDriver[] = L"ORV-LX 4.3/300P+";
inline constexpr wchar_t kTestConfigName[] = L"orv_conf_lx43300pp.xml";

/// The folder of a calling module with the printer's configuration beside it.
class ModuleFolder {
 public:
  ModuleFolder() {
    WriteBytes(folder_.path() / kTestConfigName, kTestConfig);
    client.m_stModuleFolder = folder_.Name();
    client.m_stModuleName = L"caller.dll";
  }
  const TemporaryFolder& folder() const { return folder_; }
  std::unique_ptr<Config> Load() {
    Config* config = nullptr;
    EXPECT_TRUE(CConfigParser::Load(folder_.Name(kTestConfigName), &config, nullptr, nullptr));
    return std::unique_ptr<Config>(config);
  }

  CLoggerClient client;

 private:
  TemporaryFolder folder_;
};

/// Numbers in a record by their offset in the stored format.
inline std::uint32_t Word(const tagOEMDEV& record, std::size_t offset, std::size_t width = 4) {
  std::uint32_t value = 0;
  std::memcpy(&value, reinterpret_cast<const char*>(&record) + offset, width);
  return value;
}
inline void SetWord(tagOEMDEV* record, std::size_t offset, std::uint32_t value,
                    std::size_t width = 4) {
  std::memcpy(reinterpret_cast<char*>(record) + offset, &value, width);
}
inline std::string Bytes(const tagOEMDEV& record) {
  return {reinterpret_cast<const char*>(&record), sizeof(record)};
}

}  // namespace orv::test
