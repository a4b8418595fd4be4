#include "orv/config/config_parser.h"

#include <string_view>

#include "config/config_loader.h"
#include "config/load_log.h"
#include "config/property_tables.h"
#include "config/section_readers.h"
#include "config/values.h"
#include "orv/config/config_loader.h"
#include "orv/platform/spooler.h"

namespace {

/// Copies a text into a caller's buffer, cut to fit and always terminated.
void CopyTo(wchar_t* buffer, int bufferChars, std::wstring_view text) {
  if (buffer == nullptr || bufferChars <= 0) return;
  const std::size_t length = text.copy(buffer, static_cast<std::size_t>(bufferChars) - 1);
  buffer[length] = L'\0';
}

/// Gets one of a printer's names. Only an invalid handle fails: a name that the spooler does not
/// return is empty.
bool GetName(HANDLE printer, CString orv::PrinterFacts::*name, const wchar_t* invalidHandle,
             CString* result, CLoggerClient* logger) {
  if (!orv::IsPrinterHandle(printer)) {
    CLogger::Log(eLogLevelError, logger, invalidHandle, nullptr);
    return false;
  }
  orv::PrinterFacts facts;
  orv::GetPrinterFacts(printer, &facts);
  *result = std::move(facts.*name);
  return true;
}

bool GetDriverName(HANDLE printer, CString* name, CLoggerClient* logger) {
  return GetName(printer, &orv::PrinterFacts::driverName,
                 L"Unable to get printer driver name for an invalid handle!", name, logger);
}

bool Accept(orv::LoadResult result, Config** config) {
  *config = result.config;
  static_cast<void>(result.owned.release());  // the caller's from here on
  return result.config != nullptr;
}

}  // namespace

bool CConfigParser::Load(const std::wstring& path, Config** config, ConfigsCache* cache,
                         CLoggerClient* logger) {
  *config = nullptr;
  return Accept(orv::LoadConfigFile(path, cache, logger), config);
}

bool CConfigParser::Load(HANDLE printer, Config** config, ConfigsCache* cache,
                         CLoggerClient* logger) {
  *config = nullptr;
  return Accept(orv::LoadPrinterConfig(printer, cache, logger), config);
}

bool CConfigParser::GetPrinterName(HANDLE printer, wchar_t* buffer, int bufferChars,
                                   CLoggerClient* logger) {
  CString name;
  if (!GetName(printer, &orv::PrinterFacts::printerName,
               L"Unable to get printer name for an invalid handle!", &name, logger)) {
    return false;
  }
  CopyTo(buffer, bufferChars, name);
  return true;
}

bool CConfigParser::GetPrinterDriverName(HANDLE printer, wchar_t* buffer, int bufferChars,
                                         CLoggerClient* logger) {
  CString name;
  if (!GetDriverName(printer, &name, logger)) return false;
  CopyTo(buffer, bufferChars, name);
  return true;
}

bool CConfigParser::GetConfigXmlFilenameForPrinter(HANDLE printer, wchar_t* buffer, int bufferChars,
                                                   CLoggerClient* logger) {
  CString name;
  if (!GetDriverName(printer, &name, logger)) {
    CLogger::Log(eLogLevelError, logger, L"Unable to get the printer driver name for the printer!",
                 nullptr);
    return false;
  }
  CopyTo(buffer, bufferChars, orv::ConfigFileName(name));
  return true;
}

CString CConfigParser::Parse(CMarkup& xml, Config& config, CLoggerClient* logger) {
  return orv::ReadDocument(xml, config, logger);
}

CString CConfigParser::Parse(int version, CMarkup& xml, Config& config, CLoggerClient* logger) {
  return orv::ReadVersionedPart(version, xml, config, logger);
}

CString CConfigParser::ParseFileInfo(CMarkup& xml, FileInfo& info, CLoggerClient* logger,
                                     Characteristics& /*characteristics*/) {
  return orv::ReadFileInfo(xml, info, logger);
}

CString CConfigParser::ParseDevice(CMarkup& xml, Device& device, CLoggerClient* logger) {
  return orv::ReadDevice(xml, device, logger);
}

#define ORV_SECTION(Name, Record)                                                                  \
  CString CConfigParser::ParseDevice##Name(CMarkup& xml, Record& section, CLoggerClient* logger) { \
    return orv::Read##Name(xml, section, logger);                                                  \
  }

ORV_SECTION(Model, Model)
ORV_SECTION(Label, Label)
ORV_SECTION(GeneralSettings, GeneralSettings)
ORV_SECTION(PrintModes, PrintModes)
ORV_SECTION(GlobalOffsetY, GlobalOffsetY)
ORV_SECTION(HeadsOffsetX, HeadsOffsetX)
ORV_SECTION(Darkness, Darkness)
ORV_SECTION(PrintSpeeds, PrintSpeeds)
ORV_SECTION(SensorTypes, SensorTypes)
ORV_SECTION(Characteristics, Characteristics)
ORV_SECTION(OptionFamilies, Device)

#undef ORV_SECTION

CString CConfigParser::ParseDeviceOptionFamilyProperties(CMarkup markup, int& optionFamilyId,
                                                         CString& optionFamilyType,
                                                         CString& optionFamilyName,
                                                         CString& optionFamilyImageFile,
                                                         CLoggerClient* client) {
  orv::FamilyProperties properties{optionFamilyId, optionFamilyType, optionFamilyName,
                                   optionFamilyImageFile};
  orv::ReadFamilyProperties(markup, properties, client);
  optionFamilyId = properties.optionFamilyId;
  optionFamilyType = properties.optionFamilyType;
  optionFamilyName = properties.optionFamilyName;
  optionFamilyImageFile = properties.optionFamilyImageFile;
  return {};
}

#define ORV_OPTIONS(Kind)                                                   \
  CString CConfigParser::ParseDeviceOptionFamily##Kind##Options(            \
      CMarkup& markup, OptionFamily<Kind>& family, CLoggerClient* client) { \
    return orv::ReadOptions(markup, family, client);                        \
  }

ORV_OPTION_KINDS(ORV_OPTIONS)

#undef ORV_OPTIONS

CString CConfigParser::GenerateListValues(int min, int max, int step, int defaultValue,
                                          std::list<int>& values) {
  return orv::GenerateValues(min, max, step, defaultValue, &values);
}

int CConfigParser::ConvertToInt(const CString& text) { return orv::ToInt(text); }
int CConfigParser::ConvertToBool(const CString& text) { return orv::ToBool(text) ? 1 : 0; }
std::int64_t CConfigParser::ConvertToDateTime(const CString& text) { return orv::ToDateTime(text); }

bool CConfigParser::isPrinterTwoColor(Config* const config) {
  return config->device.characteristics.color;
}
bool CConfigParser::isPrinterDoubleSided(Config* const config) {
  return config->device.characteristics.doubleSided;
}
const wchar_t* CConfigParser::GetPrinterBoardName(Config* const config) {
  return config->device.model.boardName.c_str();
}
int CConfigParser::GetMaxWidthInMicroMeter(Config* const config) {
  return config->device.label.widthMax;
}

namespace orv {

LoadResult LoadConfigFile(const std::wstring& path, ConfigsCache* cache, CLoggerClient* client) {
  LoadLog log(client);
  return LoadConfigFile(path, cache, client, &log);
}

LoadResult LoadPrinterConfig(HANDLE printer, ConfigsCache* cache, CLoggerClient* client) {
  LoadLog log(client);
  return LoadPrinterConfig(printer, cache, client, &log);
}

}  // namespace orv
