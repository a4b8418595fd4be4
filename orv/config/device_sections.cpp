#include <optional>

#include "orv/config/config_parser.h"
#include "orv/config/properties.h"

/// The sections of `<device>`: a table for each that is a plain set of properties, and the walk
/// that requires them in their order. A section is searched onward from the one before it, so one
/// that stands before its predecessor is not found.

using orv::IntoChild;
using orv::MissingElement;
using orv::Property;

namespace {

constexpr Property<Model> kModel[] = {
    {L"modelId", &Model::modelId},
    {L"modelName", &Model::modelName},
    {L"boardName", &Model::boardName},
    {L"pnpID", &Model::pnpID},
    {L"deviceId", &Model::deviceId},
    {L"aRef", &Model::aRef},
    {L"orvModification", &Model::orvModification},
    {L"deviceImageFile", &Model::deviceImageFile},
};

constexpr Property<Label> kLabel[] = {
    {L"widthMin", &Label::widthMin},
    {L"widthMax", &Label::widthMax},
    {L"widthDefault", &Label::widthDefault},
    {L"heightMin", &Label::heightMin},
    {L"heightMax", &Label::heightMax},
    {L"heightDefault", &Label::heightDefault},
    {L"maxGapDistance", &Label::maxGapDistance},
};

/// A guidance that is none of these leaves the setting as it was.
void StoreMaterialGuidance(GeneralSettings& settings, std::wstring_view value) {
  constexpr struct {
    std::wstring_view name;
    MaterialGuidance guidance;
  } kNames[] = {
      {L"left", materialGuidanceLeft},         {L"centered", materialGuidanceCentered},
      {L"right", materialGuidanceRight},       {L"leftHanded", materialGuidanceLeft},
      {L"rightHanded", materialGuidanceRight},
  };
  for (const auto& [name, guidance] : kNames) {
    if (orv::EqualsIgnoreCase(name, value)) settings.materialGuidance = guidance;
  }
}

void Ignore(GeneralSettings&, std::wstring_view) {}

constexpr Property<GeneralSettings> kGeneralSettings[] = {
    {L"printWidth", &GeneralSettings::printWidth},
    {L"rotateLabelEnabled", &GeneralSettings::rotateLabelEnabled},
    {L"rotateLabelByDefault", &GeneralSettings::rotateLabelByDefault},
    {L"mirroredLabelPrintingEnabled", &GeneralSettings::mirroredLabelPrintingEnabled},
    {L"mirroredLabelPrintingByDefault", &GeneralSettings::mirroredLabelPrintingByDefault},
    {L"negativeLabelEnabled", &GeneralSettings::negativeLabelEnabled},
    {L"negativeLabelByDefault", &GeneralSettings::negativeLabelByDefault},
    {L"singleBufferEnabled", &GeneralSettings::singleBufferEnabled},
    {L"singleBufferByDefault", &GeneralSettings::singleBufferByDefault},
    {L"ignorePaperEndEnabled", &GeneralSettings::ignorePaperEndEnabled},
    {L"ignorePaperEndByDefault", &GeneralSettings::ignorePaperEndByDefault},
    {L"discardLabelPositionEnabled", &GeneralSettings::discardLabelPositionEnabled},
    {L"discardLabelPositionByDefault", &GeneralSettings::discardLabelPositionByDefault},
    {L"topSameAsBottomEnabled", &GeneralSettings::topSameAsBottomEnabled},
    {L"topSameAsBottomByDefault", &GeneralSettings::topSameAsBottomByDefault},
    {L"backfeedmodeEnabled", &GeneralSettings::backfeedmodeEnabled},
    {L"backfeedmodeByDefault", &GeneralSettings::backfeedmodeByDefault},
    {L"resolutionDpiX", &GeneralSettings::resolutionDpiX},
    {L"resolutionDpiY", &GeneralSettings::resolutionDpiY},
    {L"imageOptByDefault", &GeneralSettings::imageOptByDefault},
    {L"imageOptEnabled", &GeneralSettings::imageOptEnabled},
    {L"replaceContentByDefault", &GeneralSettings::replaceContentByDefault},
    {L"replaceContentEnabled", &GeneralSettings::replaceContentEnabled},
    {L"materialGuidance", &StoreMaterialGuidance},
    {L"ribbonSaverByDefault", &GeneralSettings::ribbonSaverByDefault},
    {L"ribbonSaverEnabled", &GeneralSettings::ribbonSaverEnabled},
    {L"customPageSizeByDefault", &GeneralSettings::customPageSizeByDefault},
    {L"customPageSizeEnabled", &GeneralSettings::customPageSizeEnabled},
    {L"test", &Ignore},  // a reserved key: no warning
};

/// A range as it is read: what the file leaves out has no value.
struct Range {
  std::optional<std::int32_t> min;
  std::optional<std::int32_t> step;
  std::optional<std::int32_t> max;
  std::optional<std::int32_t> defaultValue;
  std::optional<bool> enabled;
};

constexpr Property<Range> kGlobalOffsetY[] = {
    {L"globalOffsetYMin", &Range::min},
    {L"globalOffsetYStep", &Range::step},
    {L"globalOffsetYMax", &Range::max},
};

/// Only "TRUE" enables the head offset; files rely on "true" being false here.
void StoreHeadsOffsetEnabled(Range& range, std::wstring_view value) {
  range.enabled = orv::ToUpperCaseBool(value);
}

constexpr Property<Range> kHeadsOffsetX[] = {
    {L"headsOffsetXEnabled", &StoreHeadsOffsetEnabled},
    {L"headsOffsetXMin", &Range::min},
    {L"headsOffsetXStep", &Range::step},
    {L"headsOffsetXMax", &Range::max},
};

constexpr Property<Range> kDarkness[] = {
    {L"darknessMin", &Range::min},
    {L"darknessStep", &Range::step},
    {L"darknessMax", &Range::max},
    {L"darknessDefault", &Range::defaultValue},
};

constexpr Property<Characteristics> kCharacteristics[] = {
    {L"doubleSided", &Characteristics::doubleSided},
    {L"color", &Characteristics::color},
};

/// A name and the number that records keep for it.
struct NumberedName {
  std::wstring_view name;
  std::int32_t number;
};

constexpr NumberedName kPrintModes[] = {
    {L"ThermalTransfer", 0},
    {L"DirectThermal", 1},
};

constexpr NumberedName kSensorTypes[] = {
    {L"SensorTypeContinous", 0},  // spelled so in every file
    {L"SensorTypeReflectiveTop", 1},    {L"SensorTypeGap", 2},
    {L"SensorTypeReflectiveBottom", 3}, {L"sensorTypeExternalPosEdge", 4},
    {L"sensorTypeExternalNegEdge", 5},
};

/// A section that lists named entries, each in an element of its own, and names the default one.
struct EntryList {
  const wchar_t* element;         ///< the element of one entry
  const wchar_t* propertiesPath;  ///< of the section's own properties, as messages show it
  const wchar_t* entryPropertiesPath;
  std::wstring_view defaultKey;     ///< the property that names the default
  std::wstring_view defaultPrefix;  ///< what an entry's name has before that name
  std::span<const NumberedName> names;
  std::int32_t firstNumber;  ///< the number before any name was met
};

constexpr EntryList kPrintModeList = {
    L"printMode",
    L"<device><printModes><properties>",
    L"<device><printModes><printMode><properties>",
    L"printModedefault",
    L"",
    kPrintModes,
    0,
};

constexpr EntryList kSensorTypeList = {
    L"sensorType",
    L"<device><sensorTypes><properties>",
    L"<device><sensorTypes><sensorType><properties>",
    L"SensorTypeDefault",
    L"sensorType",
    kSensorTypes,
    2,
};

/// Reads such a section. `add(number, enabled)` takes each entry in document order.
///
/// The current number carries over from property to property and from entry to entry: a name that
/// is not known is warned of and still adds an entry, under the number of the one before it, and is
/// still compared with the default's name. Files rely on it.
template <typename Add>
CString ReadEntries(CMarkup& xml, const EntryList& list, std::int32_t& defaultNumber, Add add,
                    CLoggerClient* logger) {
  if (!IntoChild(xml, L"properties")) return MissingElement(list.propertiesPath);
  CString defaultName(list.defaultPrefix);
  orv::ForEachProperty(xml, [&](std::wstring_view name, std::wstring_view value) {
    if (orv::EqualsIgnoreCase(name, list.defaultKey)) {
      defaultName = CString(list.defaultPrefix).append(value);
    } else {
      orv::WarnOfUnknownProperty(logger, list.propertiesPath, name, value);
    }
  });
  xml.OutOfElem();

  std::int32_t number = list.firstNumber;
  while (IntoChild(xml, list.element)) {
    if (!IntoChild(xml, L"properties")) return MissingElement(list.entryPropertiesPath);
    orv::ForEachProperty(xml, [&](std::wstring_view name, std::wstring_view value) {
      bool known = false;
      for (const NumberedName& candidate : list.names) {
        if (orv::EqualsIgnoreCase(candidate.name, name)) {
          number = candidate.number;
          known = true;
          break;
        }
      }
      if (!known) orv::WarnOfUnknownProperty(logger, list.entryPropertiesPath, name, value);
      if (orv::EqualsIgnoreCase(name, defaultName)) defaultNumber = number;
      add(number, orv::ToBool(value));
    });
    xml.OutOfElem();
    xml.OutOfElem();
  }
  return {};
}

/// Finds a section, reads it with its parser and steps out again.
template <typename Section>
CString ReadSection(CMarkup& xml, const wchar_t* name, Section& section,
                    CString (*parse)(CMarkup&, Section&, CLoggerClient*), CLoggerClient* logger) {
  if (!IntoChild(xml, name)) return MissingElement(orv::Format(L"<device><%ls>", name).c_str());
  CString error = parse(xml, section, logger);
  if (error.empty()) xml.OutOfElem();
  return error;
}

}  // namespace

CString CConfigParser::ParseDevice(CMarkup& xml, Device& device, CLoggerClient* logger) {
  CString error;
  // Each step runs only while no error was met.
  const auto read = [&](const wchar_t* name, auto& section, auto parse) {
    if (error.empty()) error = ReadSection(xml, name, section, parse, logger);
  };
  read(L"model", device.model, &ParseDeviceModel);
  read(L"label", device.label, &ParseDeviceLabel);
  read(L"generalSettings", device.generalSettings, &ParseDeviceGeneralSettings);
  read(L"printModes", device.printModes, &ParseDevicePrintModes);
  read(L"globalOffsetY", device.globalOffsetY, &ParseDeviceGlobalOffsetY);
  read(L"headsOffsetX", device.headsOffsetX, &ParseDeviceHeadsOffsetX);
  read(L"darkness", device.darkness, &ParseDeviceDarkness);
  if (!error.empty()) return error;

  // The element is optional, the speeds are not.
  if (IntoChild(xml, L"printSpeed")) {
    error = ParseDevicePrintSpeeds(xml, device.printSpeeds, logger);
    if (!error.empty()) return error;
    xml.OutOfElem();
  }
  if (device.printSpeeds.speeds.empty()) {
    return L"No print speeds defined. Either <device><printSpeeds> or <device><printSpeedLevel> "
           L"should be filled!";
  }

  read(L"sensorTypes", device.sensorTypes, &ParseDeviceSensorTypes);
  read(L"characteristics", device.characteristics, &ParseDeviceCharacteristics);
  read(L"optionFamilies", device, &ParseDeviceOptionFamilies);
  return error;
}

CString CConfigParser::ParseDeviceModel(CMarkup& xml, Model& model, CLoggerClient* logger) {
  model = {};
  return orv::ReadProperties<Model>(xml, kModel, L"<device><model><properties>", model, logger);
}

CString CConfigParser::ParseDeviceLabel(CMarkup& xml, Label& label, CLoggerClient* logger) {
  label.maxGapDistance = 0;
  return orv::ReadProperties<Label>(xml, kLabel, L"<device><label><properties>", label, logger);
}

CString CConfigParser::ParseDeviceGeneralSettings(CMarkup& xml, GeneralSettings& settings,
                                                  CLoggerClient* logger) {
  settings = {};
  return orv::ReadProperties<GeneralSettings>(
      xml, kGeneralSettings, L"<device><generalSettings><properties>", settings, logger);
}

CString CConfigParser::ParseDevicePrintModes(CMarkup& xml, PrintModes& modes,
                                             CLoggerClient* logger) {
  return ReadEntries(
      xml, kPrintModeList, modes.defaultMode,
      [&](std::int32_t mode, bool enabled) {
        modes.modes.push_back({mode, enabled});
      },
      logger);
}

CString CConfigParser::ParseDeviceGlobalOffsetY(CMarkup& xml, GlobalOffsetY& offset,
                                                CLoggerClient* logger) {
  Range range;
  CString error = orv::ReadProperties<Range>(xml, kGlobalOffsetY,
                                             L"<device><globalOffsetY><properties>", range, logger);
  if (!error.empty()) return error;
  offset = {range.min.value_or(0), range.max.value_or(0), range.step.value_or(0)};
  if (!range.min || !range.step || !range.max) {
    return L"Missing property in <device><globalOffsetY><properties>: Min, Max or Step is missing!";
  }
  return {};
}

CString CConfigParser::ParseDeviceHeadsOffsetX(CMarkup& xml, HeadsOffsetX& offset,
                                               CLoggerClient* logger) {
  constexpr wchar_t kPath[] = L"<device><headsOffsetX><properties>";
  if (!IntoChild(xml, L"properties")) return MissingElement(kPath);
  Range range;
  orv::ForEachProperty(xml, [&](std::wstring_view name, std::wstring_view value) {
    if (orv::StoreProperty<Range>(kHeadsOffsetX, name, value, range)) return;
    // The odd words at the end are what people who read these logs search for.
    const CString key(name);
    orv::LogFormat(eLogLevelWarning, logger, nullptr,
                   L"Unknown property in %ls: %ls = %ls - compared %ls end", kPath, key.c_str(),
                   CString(value).c_str(), key.c_str());
  });
  xml.OutOfElem();

  offset = {range.enabled.value_or(false), range.min.value_or(0), range.max.value_or(0),
            range.step.value_or(0)};
  // Either of the two stands for the minimum: files without a minimum load, with 0.
  const bool hasMin = range.min.has_value() || range.enabled.has_value();
  if (!hasMin || !range.step || !range.max) {
    return L"Missing property in <device><headsOffsetX><properties>: Min, Max or Step is missing!";
  }
  return {};
}

CString CConfigParser::ParseDeviceDarkness(CMarkup& xml, Darkness& darkness,
                                           CLoggerClient* logger) {
  Range range;
  CString error =
      orv::ReadProperties<Range>(xml, kDarkness, L"<device><darkness><properties>", range, logger);
  if (!error.empty()) return error;
  if (!range.min || !range.step || !range.max || !range.defaultValue) {
    return L"Missing property in <device><darkness><properties>: Min, Max, Step or Default is "
           L"missing!";
  }
  std::list<int> values;
  error = GenerateListValues(*range.min, *range.max, *range.step, *range.defaultValue, values);
  if (!error.empty()) return L"Error in <device><darkness><properties>: " + error;
  darkness.values.insert(darkness.values.end(), values.begin(), values.end());
  darkness.defaultValue = *range.defaultValue;
  return {};
}

CString CConfigParser::ParseDevicePrintSpeeds(CMarkup& xml, PrintSpeeds& speeds,
                                              CLoggerClient* logger) {
  orv::ForEachProperty(xml, [&](std::wstring_view name, std::wstring_view value) {
    if (orv::EqualsIgnoreCase(name, L"printSpeedDefault")) {
      speeds.defaultSpeed = orv::ToInt(value);
    } else {
      orv::WarnOfUnknownProperty(logger, L"<device><printSpeed>", name, value);
    }
  });
  if (!IntoChild(xml, L"printSpeeds")) return MissingElement(L"<printSpeed><printSpeeds>");
  if (!IntoChild(xml, L"properties")) {
    return MissingElement(L"<printSpeed><printSpeeds><properties>");
  }
  orv::ForEachProperty(xml, [&](std::wstring_view name, std::wstring_view value) {
    if (orv::EqualsIgnoreCase(name, L"printSpeed")) {
      speeds.speeds.push_back(orv::ToInt(value));
    } else {
      orv::WarnOfUnknownProperty(logger, L"<device><printSpeed><properties>", name, value);
    }
  });
  xml.OutOfElem();
  xml.OutOfElem();
  return {};
}

CString CConfigParser::ParseDeviceSensorTypes(CMarkup& xml, SensorTypes& sensors,
                                              CLoggerClient* logger) {
  return ReadEntries(
      xml, kSensorTypeList, sensors.defaultType,
      [&](std::int32_t type, bool enabled) {
        sensors.types.push_back({type, enabled});
      },
      logger);
}

CString CConfigParser::ParseDeviceCharacteristics(CMarkup& xml, Characteristics& characteristics,
                                                  CLoggerClient* logger) {
  // Both messages are those of the file information; people who read logs know them so.
  if (!IntoChild(xml, L"properties")) return MissingElement(L"<fileinfo><properties>");
  orv::ForEachProperty(xml, [&](std::wstring_view name, std::wstring_view value) {
    if (!orv::StoreProperty<Characteristics>(kCharacteristics, name, value, characteristics)) {
      orv::WarnOfUnknownProperty(logger, L"<fileInfo><properties>", name, value);
    }
  });
  xml.OutOfElem();
  return {};
}
