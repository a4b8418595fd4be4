#include "tools/orv/config/keys.h"

#include "config/config_loader.h"
#include "config/values.h"
#include "tools/orv/common/lengths.h"

namespace orv::tool {
namespace {

constexpr Unit kNone = Unit::kNone;
constexpr Unit kLength = Unit::kLength;
constexpr Unit kSpeed = Unit::kSpeed;
constexpr Unit kDpi = Unit::kDpi;

constexpr NumberBounds kAny = {INT32_MIN, INT32_MAX};
constexpr NumberBounds kNatural = {0, INT32_MAX};
constexpr NumberBounds kPositive = {1, INT32_MAX};
constexpr NumberBounds kDots = {50, 10'000};
constexpr NumberBounds kWidth = {1, 1'000'000};
constexpr NumberBounds kHeight = {1, 10'000'000};
constexpr NumberBounds kGap = {0, 10'000'000};
constexpr NumberBounds kOffset = {-1'000'000, 1'000'000};
constexpr NumberBounds kSpeeds = {1, 5'000'000};

// clang-format off
constexpr ConfigKey kKeys[] = {
    {L"type", kNone, kAny, L"printer", L"what the file describes"},
    {L"configfilename", kNone, kAny, L"orv_conf_new.xml", L"the name of this file; the driver's name decides it"},
    {L"version", kNone, kPositive, L"12", L"of the format; from 13 on the device is not read"},
    {L"creator", kNone, kAny, L"ORV model data", L"who made the file"},
    {L"created", kNone, kAny, L"2026-03-02T08:00:00", L"local time"},
    {L"lastModified", kNone, kAny, L"2026-03-02T08:00:00", nullptr},
    {L"culture", kNone, kAny, L"en-GB", L"language of the texts"},
    {L"sha256", kNone, kAny, kDigestPlaceholder, L"the digest: orv config sign"},

    {L"modelId", kNone, kNatural, L"1", L"number of the model"},
    {L"modelName", kNone, kAny, L"ORV New", nullptr, true},
    {L"boardName", kNone, kAny, L"NEW-1", L"its controller board", true},
    {L"pnpID", kNone, kAny, L"ORVNEW", L"plug-and-play identifier", true},
    {L"deviceId", kNone, kAny, L"MFG:ORV;MDL:NEW;CLS:PRINTER;", L"IEEE 1284 device identifier", true},
    {L"aRef", kNone, kAny, L"NEW-01", L"article reference", true},
    {L"orvModification", kNone, kAny, L"", L"modification of the model"},
    {L"deviceImageFile", kNone, kAny, L"new.png", L"picture of the printer", true},

    {L"widthMin", kLength, kWidth, L"20000", L"narrowest label"},
    {L"widthMax", kLength, kWidth, L"106000", L"widest label"},
    {L"widthDefault", kLength, kWidth, L"100000", nullptr},
    {L"heightMin", kLength, kHeight, L"10000", L"shortest label"},
    {L"heightMax", kLength, kHeight, L"600000", L"longest label"},
    {L"heightDefault", kLength, kHeight, L"150000", nullptr},
    {L"maxGapDistance", kLength, kGap, L"10000", L"largest gap between two labels"},

    {L"printWidth", kLength, kWidth, L"105700", L"width of the print head"},
    {L"resolutionDpiX", kDpi, kDots, L"300", L"dots per inch"},
    {L"resolutionDpiY", kDpi, kDots, L"300", nullptr},
    {L"materialGuidance", kNone, kAny, L"left", L"left, centered or right"},
    {L"rotateLabelEnabled", kNone, kAny, L"true", L"...Enabled: users can change it"},
    {L"rotateLabelByDefault", kNone, kAny, L"false", L"...ByDefault: until they do"},

    {L"printModedefault", kNone, kAny, L"ThermalTransfer", L"one of the entries below"},

    {L"globalOffsetYMin", kLength, kOffset, L"-10000", nullptr},
    {L"globalOffsetYStep", kLength, kOffset, L"100", nullptr},
    {L"globalOffsetYMax", kLength, kOffset, L"10000", L"the step goes into Max - Min"},
    {L"headsOffsetXEnabled", kNone, kAny, L"FALSE", L"only TRUE in capitals is true here"},
    {L"headsOffsetXMin", kLength, kOffset, L"0", nullptr},
    {L"headsOffsetXStep", kLength, kOffset, L"100", nullptr},
    {L"headsOffsetXMax", kLength, kOffset, L"0", nullptr},
    {L"darknessMin", kNone, kAny, L"0", nullptr},
    {L"darknessStep", kNone, kAny, L"10", nullptr},
    {L"darknessMax", kNone, kAny, L"200", L"at most 1000 levels, the last of which is Max"},
    {L"darknessDefault", kNone, kAny, L"100", L"one of the levels"},
    {L"printSpeedDefault", kSpeed, kSpeeds, L"100000", L"one of the speeds below"},
    {L"printSpeed", kSpeed, kSpeeds, L"100000", L"any number of speeds, ascending"},
    {L"SensorTypeDefault", kNone, kAny, L"Gap", L"an entry below without sensorType in front"},
    {L"doubleSided", kNone, kAny, L"false", nullptr},
    {L"color", kNone, kAny, L"false", L"true for printers of two colours"},

    {L"optionFamilyId", kNone, kAny, L"", L"which family it is: decides the keys of its options"},
    {L"optionFamilyType", kNone, kAny, L"", L"its kind in log messages"},
    {L"optionFamilyName", kNone, kAny, L"", nullptr},
    {L"optionFamilyImageFile", kNone, kAny, L"option.png", nullptr, true},
    {L"optionName", kNone, kAny, L"New option", L"an option without a name is ignored", true},
    {L"optionImageFile", kNone, kAny, L"option.png", nullptr, true},
    {L"defaultOption", kNone, kAny, L"FALSE", L"only TRUE in capitals is true; one option at most"},
    {L"conveyorSpeedDefault", kSpeed, kSpeeds, L"100000", L"one of the speeds below"},
    {L"conveyorSpeed", kSpeed, kSpeeds, L"100000", L"any number of speeds, ascending"},
};

/// The stems of option keys that have a key for each suffix below.
constexpr ConfigKey kStems[] = {
    {L"offset", kLength, kOffset, nullptr, L"thousandths of a millimetre"},
    {L"offset1", kLength, kOffset, nullptr, L"thousandths of a millimetre"},
    {L"offset2", kLength, kOffset, nullptr, L"thousandths of a millimetre"},
};
// clang-format on

/// The smallest plausible number of millimetres multiplied by 1000, if 0 is not one.
constexpr std::int32_t kMinScaled = 1000;

constexpr std::wstring_view kSuffixes[] = {L"Min", L"Max", L"Step", L"Default"};

}  // namespace

const ConfigKey* FindConfigKey(std::wstring_view key) {
  for (const ConfigKey& known : kKeys) {
    if (EqualsIgnoringAsciiCase(known.key, key)) return &known;
  }
  for (const std::wstring_view suffix : kSuffixes) {
    if (key.size() <= suffix.size() ||
        !EqualsIgnoringAsciiCase(key.substr(key.size() - suffix.size()), suffix)) {
      continue;
    }
    for (const ConfigKey& known : kStems) {
      if (EqualsIgnoringAsciiCase(known.key, key.substr(0, key.size() - suffix.size())))
        return &known;
    }
  }
  return nullptr;
}

std::span<const ConfigKey> AllConfigKeys() { return kKeys; }

bool IsUnscaled(const ConfigKey& key, double number) {
  const bool isScaled = key.unit == Unit::kLength || key.unit == Unit::kSpeed;
  return key.bounds.min > 0 && isScaled && number < kMinScaled;
}

std::int32_t LeastNumber(const ConfigKey& key) {
  return IsUnscaled(key, key.bounds.min) ? kMinScaled : key.bounds.min;
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
