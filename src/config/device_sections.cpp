#include "config/list_values.h"
#include "config/properties.h"
#include "config/property_tables.h"
#include "orv/config/config_parser.h"

/// The sections of `<device>`: a table for each that is a plain set of properties, and the walk
/// that requires them in their order. A section is searched onward from the one before it, so one
/// that stands before its predecessor is not found.

using orv::IntoChild;
using orv::MissingElement;
using orv::Range;

namespace {

/// Reads a section that lists named entries. `add(number, enabled)` takes each entry in document
/// order.
///
/// Kept for compatibility: the current number carries over from property to property and from entry
/// to entry. A name that is not known is warned of and still adds an entry, under the number of the
/// one before it, and is still compared with the default's name.
template <typename Add>
CString ReadEntries(CMarkup& xml, const orv::EntryList& list, std::int32_t& defaultNumber, Add add,
                    CLoggerClient* logger) {
  // Composed for messages alone, which most files need none of.
  const auto path = [&list] { return orv::Format(L"<device><%ls><properties>", list.section); };
  const auto entryPath = [&list] {
    return orv::Format(L"<device><%ls><%ls><properties>", list.section, list.entry);
  };
  if (!IntoChild(xml, L"properties")) return MissingElement(path().c_str());
  CString defaultName(list.defaultPrefix);
  orv::ForEachProperty(xml, [&](std::wstring_view name, std::wstring_view value) {
    if (orv::EqualsIgnoreCase(name, list.defaultKey)) {
      defaultName = CString(list.defaultPrefix).append(value);
    } else {
      orv::WarnOfUnknownProperty(logger, path().c_str(), name, value);
    }
  });
  xml.OutOfElem();

  std::int32_t number = list.firstNumber;
  while (IntoChild(xml, list.entry)) {
    if (!IntoChild(xml, L"properties")) return MissingElement(entryPath().c_str());
    orv::ForEachProperty(xml, [&](std::wstring_view name, std::wstring_view value) {
      bool known = false;
      for (const orv::NumberedName& candidate : list.names) {
        if (orv::EqualsIgnoreCase(candidate.name, name)) {
          number = candidate.number;
          known = true;
          break;
        }
      }
      if (!known) orv::WarnOfUnknownProperty(logger, entryPath().c_str(), name, value);
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
  return orv::ReadProperties<Model>(xml, orv::kModelProperties, L"<device><model><properties>",
                                    model, logger);
}

CString CConfigParser::ParseDeviceLabel(CMarkup& xml, Label& label, CLoggerClient* logger) {
  label.maxGapDistance = 0;
  return orv::ReadProperties<Label>(xml, orv::kLabelProperties, L"<device><label><properties>",
                                    label, logger);
}

CString CConfigParser::ParseDeviceGeneralSettings(CMarkup& xml, GeneralSettings& settings,
                                                  CLoggerClient* logger) {
  settings = {.resolutionDpiX = 300, .resolutionDpiY = 300};
  return orv::ReadProperties<GeneralSettings>(xml, orv::kGeneralSettingsProperties,
                                              L"<device><generalSettings><properties>", settings,
                                              logger);
}

CString CConfigParser::ParseDevicePrintModes(CMarkup& xml, PrintModes& modes,
                                             CLoggerClient* logger) {
  return ReadEntries(
      xml, orv::kPrintModeList, modes.defaultMode,
      [&](std::int32_t mode, bool enabled) {
        modes.modes.push_back({mode, enabled});
      },
      logger);
}

CString CConfigParser::ParseDeviceGlobalOffsetY(CMarkup& xml, GlobalOffsetY& offset,
                                                CLoggerClient* logger) {
  Range range;
  CString error = orv::ReadProperties<Range>(xml, orv::kGlobalOffsetYProperties,
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
  static constexpr wchar_t kPath[] = L"<device><headsOffsetX><properties>";
  if (!IntoChild(xml, L"properties")) return MissingElement(kPath);
  Range range;
  const auto warn = [logger](std::wstring_view name, std::wstring_view value) {
    if (!CLogger::IsEnabled(eLogLevelWarning, nullptr)) return;
    // The odd words at the end are what people who read these logs search for.
    const CString key(name);
    orv::LogFormat(eLogLevelWarning, logger, nullptr,
                   L"Unknown property in %ls: %ls = %ls - compared %ls end", kPath, key.c_str(),
                   CString(value).c_str(), key.c_str());
  };
  orv::StoreProperties<Range>(xml, orv::CursorOf(xml).Main(), orv::kHeadsOffsetXProperties, range,
                              warn);
  xml.OutOfElem();

  offset = {range.enabled == TRUE, range.min.value_or(0), range.max.value_or(0),
            range.step.value_or(0)};
  // Either of the two stands for the minimum: files without a minimum load, with 0.
  const bool hasMin = range.min.has_value() || range.enabled != Range::kAbsent;
  if (!hasMin || !range.step || !range.max) {
    return L"Missing property in <device><headsOffsetX><properties>: Min, Max or Step is missing!";
  }
  return {};
}

CString CConfigParser::ParseDeviceDarkness(CMarkup& xml, Darkness& darkness,
                                           CLoggerClient* logger) {
  Range range;
  CString error = orv::ReadProperties<Range>(xml, orv::kDarknessProperties,
                                             L"<device><darkness><properties>", range, logger);
  if (!error.empty()) return error;
  if (!range.min || !range.step || !range.max || !range.defaultValue) {
    return L"Missing property in <device><darkness><properties>: Min, Max, Step or Default is "
           L"missing!";
  }
  std::vector<std::int32_t> values;
  error = orv::GenerateValues(*range.min, *range.max, *range.step, *range.defaultValue, &values);
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
  // The speeds count only behind the last property.
  while (xml.FindChildElem(L"property")) continue;
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
      xml, orv::kSensorTypeList, sensors.defaultType,
      [&](std::int32_t type, bool enabled) {
        sensors.types.push_back({type, enabled});
      },
      logger);
}

CString CConfigParser::ParseDeviceCharacteristics(CMarkup& xml, Characteristics& characteristics,
                                                  CLoggerClient* logger) {
  // Both messages are those of the file information; people who read logs know them so.
  if (!IntoChild(xml, L"properties")) return MissingElement(L"<fileinfo><properties>");
  orv::StoreOrWarn<Characteristics>(xml, orv::kCharacteristicsProperties, L"<fileInfo><properties>",
                                    characteristics, logger);
  xml.OutOfElem();
  return {};
}
