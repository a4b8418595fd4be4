#include "config/config_loader.h"
#include "config/properties.h"
#include "config/property_tables.h"
#include "config/section_readers.h"
#include "config/values.h"
#include "orv/config/config.h"
#include "orv/logging/logger.h"
#include "orv/platform/types.h"
#include "orv/text/format.h"
#include "orv/xml/markup.h"
#include "xml/cursor.h"
#include "xml/markup_state.h"

/// The sections of `<device>`: a table for each plain set of properties, and a loader that requires
/// them in order. Each section is searched from the previous one onward, so a section that precedes
/// its predecessor is not found.

namespace orv {
namespace {

/// Reads a section that lists named entries. `add(number, enabled)` takes each entry in document
/// order.
///
/// Kept for compatibility: the current number carries over from property to property and from entry
/// to entry. An unknown name is logged, still adds an entry, under the number of the one before it,
/// and is still compared with the default's name.
template <typename Add>
CString ReadEntries(CMarkup& xml, const EntryList& list, std::int32_t& defaultNumber, Add add,
                    CLoggerClient* logger) {
  // Used only for messages, which most files do not cause.
  const auto path = [&list] { return Format(L"<device><%ls><properties>", list.section); };
  const auto entryPath = [&list] {
    return Format(L"<device><%ls><%ls><properties>", list.section, list.entry);
  };
  if (!IntoChild(xml, L"properties")) return MissingElement(path().c_str());
  CString defaultName(list.defaultPrefix);
  ForEachProperty(xml, [&](std::wstring_view name, std::wstring_view value) {
    if (EqualsIgnoringAsciiCase(name, list.defaultKey)) {
      defaultName = CString(list.defaultPrefix).append(value);
    } else {
      WarnOfUnknownProperty(logger, path().c_str(), name, value);
    }
  });
  xml.OutOfElem();

  std::int32_t number = list.firstNumber;
  while (IntoChild(xml, list.entry)) {
    if (!IntoChild(xml, L"properties")) return MissingElement(entryPath().c_str());
    ForEachProperty(xml, [&](std::wstring_view name, std::wstring_view value) {
      bool known = false;
      for (const NumberedName& candidate : list.names) {
        if (EqualsIgnoringAsciiCase(candidate.name, name)) {
          number = candidate.number;
          known = true;
          break;
        }
      }
      if (!known) WarnOfUnknownProperty(logger, entryPath().c_str(), name, value);
      if (EqualsIgnoringAsciiCase(name, defaultName)) defaultNumber = number;
      add(number, ToBool(value));
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
  if (!IntoChild(xml, name)) return MissingElement(Format(L"<device><%ls>", name).c_str());
  CString error = parse(xml, section, logger);
  if (error.empty()) xml.OutOfElem();
  return error;
}

}  // namespace

CString ReadDocument(CMarkup& xml, Config& config, CLoggerClient* logger) {
  if (!xml.FindElem(L"xmlData")) return L"Root tag <xmlData> was not found!";
  if (!IntoChild(xml, L"fileInfo")) return MissingElement(L"<fileInfo>");
  CString error = ReadFileInfo(xml, config.fileInfo, logger);
  if (!error.empty()) return error;
  xml.OutOfElem();
  return ReadVersionedPart(config.fileInfo.version, xml, config, logger);
}

CString ReadVersionedPart(std::int32_t version, CMarkup& xml, Config& config,
                          CLoggerClient* logger) {
  // Kept for compatibility: such a file loads, with the defaults of the device.
  if (version >= kFirstVersionWithoutDevice) return {};
  if (!IntoChild(xml, L"device")) return MissingElement(L"<device>");
  CString error = ReadDevice(xml, config.device, logger);
  if (!error.empty()) return error;
  xml.OutOfElem();
  return {};
}

CString ReadFileInfo(CMarkup& xml, FileInfo& info, CLoggerClient* logger) {
  // Kept for compatibility: the two messages spell the element differently.
  if (!IntoChild(xml, L"properties")) return MissingElement(L"<fileinfo><properties>");
  StoreOrWarn<FileInfo>(xml, kFileInfoProperties, L"<fileInfo><properties>", info, logger);
  xml.OutOfElem();
  return {};
}

CString ReadDevice(CMarkup& xml, Device& device, CLoggerClient* logger) {
  CString error;
  // Each step runs only if the previous ones succeeded.
  const auto read = [&](const wchar_t* name, auto& section, auto parse) {
    if (error.empty()) error = ReadSection(xml, name, section, parse, logger);
  };
  read(L"model", device.model, &ReadModel);
  read(L"label", device.label, &ReadLabel);
  read(L"generalSettings", device.generalSettings, &ReadGeneralSettings);
  read(L"printModes", device.printModes, &ReadPrintModes);
  read(L"globalOffsetY", device.globalOffsetY, &ReadGlobalOffsetY);
  read(L"headsOffsetX", device.headsOffsetX, &ReadHeadsOffsetX);
  read(L"darkness", device.darkness, &ReadDarkness);
  if (!error.empty()) return error;

  // The element is optional, the speeds are not.
  if (IntoChild(xml, L"printSpeed")) {
    error = ReadPrintSpeeds(xml, device.printSpeeds, logger);
    if (!error.empty()) return error;
    xml.OutOfElem();
  }
  if (device.printSpeeds.speeds.empty()) {
    return L"No print speeds defined. Either <device><printSpeeds> or <device><printSpeedLevel> "
           L"should be filled!";
  }

  read(L"sensorTypes", device.sensorTypes, &ReadSensorTypes);
  read(L"characteristics", device.characteristics, &ReadCharacteristics);
  read(L"optionFamilies", device, &ReadOptionFamilies);
  return error;
}

CString ReadModel(CMarkup& xml, Model& model, CLoggerClient* logger) {
  model = {};
  return ReadProperties<Model>(xml, kModelProperties, L"<device><model><properties>", model,
                               logger);
}

CString ReadLabel(CMarkup& xml, Label& label, CLoggerClient* logger) {
  label.maxGapDistance = 0;
  return ReadProperties<Label>(xml, kLabelProperties, L"<device><label><properties>", label,
                               logger);
}

CString ReadGeneralSettings(CMarkup& xml, GeneralSettings& settings, CLoggerClient* logger) {
  settings = {.resolutionDpiX = 300, .resolutionDpiY = 300};
  return ReadProperties<GeneralSettings>(
      xml, kGeneralSettingsProperties, L"<device><generalSettings><properties>", settings, logger);
}

CString ReadPrintModes(CMarkup& xml, PrintModes& modes, CLoggerClient* logger) {
  return ReadEntries(
      xml, kPrintModeList, modes.defaultMode,
      [&](std::int32_t mode, bool enabled) {
        modes.modes.push_back({mode, enabled});
      },
      logger);
}

CString ReadGlobalOffsetY(CMarkup& xml, GlobalOffsetY& offset, CLoggerClient* logger) {
  Range range;
  CString error = ReadProperties<Range>(xml, kGlobalOffsetYProperties,
                                        L"<device><globalOffsetY><properties>", range, logger);
  if (!error.empty()) return error;
  offset = {range.min.value_or(0), range.max.value_or(0), range.step.value_or(0)};
  if (!range.min || !range.step || !range.max) {
    return L"Missing property in <device><globalOffsetY><properties>: Min, Max or Step is missing!";
  }
  return {};
}

CString ReadHeadsOffsetX(CMarkup& xml, HeadsOffsetX& offset, CLoggerClient* logger) {
  static constexpr wchar_t kPath[] = L"<device><headsOffsetX><properties>";
  if (!IntoChild(xml, L"properties")) return MissingElement(kPath);
  Range range;
  const auto warn = [logger](std::wstring_view name, std::wstring_view value) {
    if (!CLogger::IsEnabled(eLogLevelWarning, nullptr)) return;
    // Kept for compatibility: log filters search for the words at the end.
    const CString key(name);
    LogFormat(eLogLevelWarning, logger, nullptr,
              L"Unknown property in %ls: %ls = %ls - compared %ls end", kPath, key.c_str(),
              CString(value).c_str(), key.c_str());
  };
  StoreProperties<Range>(xml, CursorOf(xml).Main(), kHeadsOffsetXProperties, range, warn);
  xml.OutOfElem();

  offset = {range.enabled == TRUE, range.min.value_or(0), range.max.value_or(0),
            range.step.value_or(0)};
  // Either of the two is enough: a file without a minimum loads, with 0.
  const bool hasMin = range.min.has_value() || range.enabled != Range::kAbsent;
  if (!hasMin || !range.step || !range.max) {
    return L"Missing property in <device><headsOffsetX><properties>: Min, Max or Step is missing!";
  }
  return {};
}

CString ReadDarkness(CMarkup& xml, Darkness& darkness, CLoggerClient* logger) {
  Range range;
  CString error = ReadProperties<Range>(xml, kDarknessProperties, L"<device><darkness><properties>",
                                        range, logger);
  if (!error.empty()) return error;
  if (!range.min || !range.step || !range.max || !range.defaultValue) {
    return L"Missing property in <device><darkness><properties>: Min, Max, Step or Default is "
           L"missing!";
  }
  std::vector<std::int32_t> values;
  error = GenerateValues(*range.min, *range.max, *range.step, *range.defaultValue, &values);
  if (!error.empty()) return L"Error in <device><darkness><properties>: " + error;
  darkness.values.insert(darkness.values.end(), values.begin(), values.end());
  darkness.defaultValue = *range.defaultValue;
  return {};
}

CString ReadPrintSpeeds(CMarkup& xml, PrintSpeeds& speeds, CLoggerClient* logger) {
  ForEachProperty(xml, [&](std::wstring_view name, std::wstring_view value) {
    if (EqualsIgnoringAsciiCase(name, L"printSpeedDefault")) {
      speeds.defaultSpeed = ToInt(value);
    } else {
      WarnOfUnknownProperty(logger, L"<device><printSpeed>", name, value);
    }
  });
  // Only speeds after the last property are read.
  while (xml.FindChildElem(L"property")) continue;
  if (!IntoChild(xml, L"printSpeeds")) return MissingElement(L"<printSpeed><printSpeeds>");
  if (!IntoChild(xml, L"properties")) {
    return MissingElement(L"<printSpeed><printSpeeds><properties>");
  }
  ForEachProperty(xml, [&](std::wstring_view name, std::wstring_view value) {
    if (EqualsIgnoringAsciiCase(name, L"printSpeed")) {
      speeds.speeds.push_back(ToInt(value));
    } else {
      WarnOfUnknownProperty(logger, L"<device><printSpeed><properties>", name, value);
    }
  });
  xml.OutOfElem();
  xml.OutOfElem();
  return {};
}

CString ReadSensorTypes(CMarkup& xml, SensorTypes& sensors, CLoggerClient* logger) {
  return ReadEntries(
      xml, kSensorTypeList, sensors.defaultType,
      [&](std::int32_t type, bool enabled) {
        sensors.types.push_back({type, enabled});
      },
      logger);
}

CString ReadCharacteristics(CMarkup& xml, Characteristics& characteristics, CLoggerClient* logger) {
  // Kept for compatibility: both messages are those of the file information.
  if (!IntoChild(xml, L"properties")) return MissingElement(L"<fileinfo><properties>");
  StoreOrWarn<Characteristics>(xml, kCharacteristicsProperties, L"<fileInfo><properties>",
                               characteristics, logger);
  xml.OutOfElem();
  return {};
}

}  // namespace orv
