#include "tools/orv/config_keys.h"

#include "orv/config/values.h"
#include "tools/orv/lengths.h"

namespace orv::tool {
namespace {

constexpr Unit kNone = Unit::kNone;
constexpr Unit kLength = Unit::kLength;
constexpr Unit kSpeed = Unit::kSpeed;
constexpr Unit kDpi = Unit::kDpi;

// clang-format off
constexpr ConfigKey kKeys[] = {
    {L"type", kNone, false, L"printer", L"what the file describes"},
    {L"configfilename", kNone, false, L"orv_conf_new.xml", L"the name of this file; the driver's name decides it"},
    {L"version", kNone, false, L"12", L"of the format; from 13 on the device is not read"},
    {L"creator", kNone, false, L"ORV model data", L"who made the file"},
    {L"created", kNone, false, L"2026-03-02T08:00:00", L"local time"},
    {L"lastModified", kNone, false, L"2026-03-02T08:00:00", nullptr},
    {L"culture", kNone, false, L"en-GB", L"language of the texts"},
    {L"sha256", kNone, false, L"{{sha256}}", L"the digest: orv config sign"},

    {L"modelId", kNone, false, L"1", L"number of the model"},
    {L"modelName", kNone, false, L"ORV New", nullptr},
    {L"boardName", kNone, false, L"NEW-1", L"its controller board"},
    {L"pnpID", kNone, false, L"ORVNEW", L"plug-and-play identifier"},
    {L"deviceId", kNone, false, L"MFG:ORV;MDL:NEW;CLS:PRINTER;", L"IEEE 1284 device identifier"},
    {L"aRef", kNone, false, L"NEW-01", L"article reference"},
    {L"orvModification", kNone, false, L"", L"modification of the model"},
    {L"deviceImageFile", kNone, false, L"new.png", L"picture of the printer"},

    {L"widthMin", kLength, true, L"20000", L"narrowest label"},
    {L"widthMax", kLength, true, L"106000", L"widest label"},
    {L"widthDefault", kLength, true, L"100000", nullptr},
    {L"heightMin", kLength, true, L"10000", L"shortest label"},
    {L"heightMax", kLength, true, L"600000", L"longest label"},
    {L"heightDefault", kLength, true, L"150000", nullptr},
    {L"maxGapDistance", kLength, false, L"10000", L"largest gap between two labels"},

    {L"printWidth", kLength, true, L"105700", L"width of the print head"},
    {L"resolutionDpiX", kDpi, true, L"300", L"dots per inch"},
    {L"resolutionDpiY", kDpi, true, L"300", nullptr},
    {L"materialGuidance", kNone, false, L"left", L"left, centered or right"},
    {L"rotateLabelEnabled", kNone, false, L"true", L"...Enabled: users can change it"},
    {L"rotateLabelByDefault", kNone, false, L"false", L"...ByDefault: until they do"},

    {L"printModedefault", kNone, false, L"ThermalTransfer", L"one of the entries below"},

    {L"globalOffsetYMin", kLength, false, L"-10000", nullptr},
    {L"globalOffsetYStep", kLength, false, L"100", nullptr},
    {L"globalOffsetYMax", kLength, false, L"10000", L"the step goes into Max - Min"},
    {L"headsOffsetXEnabled", kNone, false, L"FALSE", L"only TRUE in capitals is true here"},
    {L"headsOffsetXMin", kLength, false, L"0", nullptr},
    {L"headsOffsetXStep", kLength, false, L"100", nullptr},
    {L"headsOffsetXMax", kLength, false, L"0", nullptr},
    {L"darknessMin", kNone, false, L"0", nullptr},
    {L"darknessStep", kNone, false, L"10", nullptr},
    {L"darknessMax", kNone, false, L"200", L"at most 1000 levels, the last of which is Max"},
    {L"darknessDefault", kNone, false, L"100", L"one of the levels"},
    {L"printSpeedDefault", kSpeed, true, L"100000", L"one of the speeds below"},
    {L"printSpeed", kSpeed, true, L"100000", L"any number of speeds, ascending"},
    {L"SensorTypeDefault", kNone, false, L"Gap", L"an entry below without sensorType in front"},
    {L"doubleSided", kNone, false, L"false", nullptr},
    {L"color", kNone, false, L"false", L"true for printers of two colours"},

    {L"optionFamilyId", kNone, false, L"", L"which family it is: decides the keys of its options"},
    {L"optionFamilyType", kNone, false, L"", L"its kind in log messages"},
    {L"optionFamilyName", kNone, false, L"", nullptr},
    {L"optionFamilyImageFile", kNone, false, L"option.png", nullptr},
    {L"optionName", kNone, false, L"New option", L"an option without a name is ignored"},
    {L"optionImageFile", kNone, false, L"option.png", nullptr},
    {L"defaultOption", kNone, false, L"FALSE", L"only TRUE in capitals is true; one option at most"},
    {L"conveyorSpeedDefault", kSpeed, true, L"100000", L"one of the speeds below"},
    {L"conveyorSpeed", kSpeed, true, L"100000", L"any number of speeds, ascending"},
};

/// The keys of options that come in groups, by their stems.
constexpr ConfigKey kStems[] = {
    {L"offset", kLength, false, nullptr, L"thousandths of a millimetre"},
    {L"offset1", kLength, false, nullptr, L"thousandths of a millimetre"},
    {L"offset2", kLength, false, nullptr, L"thousandths of a millimetre"},
};
// clang-format on

constexpr std::wstring_view kSuffixes[] = {L"Min", L"Max", L"Step", L"Default"};

}  // namespace

const ConfigKey* FindConfigKey(std::wstring_view key) {
  for (const ConfigKey& known : kKeys) {
    if (EqualsIgnoreCase(known.key, key)) return &known;
  }
  for (const std::wstring_view suffix : kSuffixes) {
    if (key.size() <= suffix.size() ||
        !EqualsIgnoreCase(key.substr(key.size() - suffix.size()), suffix)) {
      continue;
    }
    for (const ConfigKey& known : kStems) {
      if (EqualsIgnoreCase(known.key, key.substr(0, key.size() - suffix.size()))) return &known;
    }
  }
  return nullptr;
}

std::wstring NumberWithUnit(std::wstring_view key, std::int64_t number) {
  const ConfigKey* const known = FindConfigKey(key);
  switch (known != nullptr ? known->unit : Unit::kNone) {
    case Unit::kLength:
      return LengthText(number);
    case Unit::kSpeed:
      return LengthText(number) + L"/s";
    case Unit::kDpi:
      return std::to_wstring(number) + L" dpi";
    case Unit::kNone:
      break;
  }
  return std::to_wstring(number);
}

}  // namespace orv::tool
