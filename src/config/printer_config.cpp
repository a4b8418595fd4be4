#include <algorithm>
#include <string>
#include <string_view>

#include "orv/config/config_parser.h"
#include "orv/platform/spooler.h"
#include "platform/files.h"
#include "platform/letter_case.h"

namespace {

/// The characters of the buffers for names, terminator included.
constexpr int kNameBuffer = 1023;

/// Copies a text into a caller's buffer, cut to fit and always terminated.
void CopyTo(wchar_t* buffer, int bufferChars, std::wstring_view text) {
  if (buffer == nullptr || bufferChars <= 0) return;
  const std::size_t length = text.copy(buffer, static_cast<std::size_t>(bufferChars) - 1);
  buffer[length] = L'\0';
}

/// Asks the spooler for one of a printer's names. Only a handle that is none fails: a name that the
/// spooler does not give is empty, and callers go on with it.
bool GetName(HANDLE printer, CString orv::PrinterFacts::*name, const wchar_t* invalidHandle,
             wchar_t* buffer, int bufferChars, CLoggerClient* logger) {
  if (printer == nullptr || printer == INVALID_HANDLE_VALUE) {
    CLogger::Log(eLogLevelError, logger, invalidHandle, nullptr);
    return false;
  }
  orv::PrinterFacts facts;
  orv::GetPrinterFacts(printer, &facts);
  CopyTo(buffer, bufferChars, facts.*name);
  return true;
}

void ReplaceEach(std::wstring* text, std::wstring_view from, std::wstring_view to) {
  for (std::size_t at = 0; (at = text->find(from, at)) != text->npos; at += to.size()) {
    text->replace(at, from.size(), to);
  }
}

}  // namespace

bool CConfigParser::GetPrinterName(HANDLE printer, wchar_t* buffer, int bufferChars,
                                   CLoggerClient* logger) {
  return GetName(printer, &orv::PrinterFacts::printerName,
                 L"Unable to get printer name for an invalid handle!", buffer, bufferChars, logger);
}

bool CConfigParser::GetPrinterDriverName(HANDLE printer, wchar_t* buffer, int bufferChars,
                                         CLoggerClient* logger) {
  return GetName(printer, &orv::PrinterFacts::driverName,
                 L"Unable to get printer driver name for an invalid handle!", buffer, bufferChars,
                 logger);
}

bool CConfigParser::GetConfigXmlFilenameForPrinter(HANDLE printer, wchar_t* buffer, int bufferChars,
                                                   CLoggerClient* logger) {
  wchar_t driverName[kNameBuffer];
  if (!GetPrinterDriverName(printer, driverName, kNameBuffer, logger)) {
    CLogger::Log(eLogLevelError, logger, L"Unable to get the printer driver name for the printer!",
                 nullptr);
    return false;
  }
  // In this order: the maker's prefix goes while its hyphen is still there.
  constexpr struct {
    std::wstring_view from;
    std::wstring_view to;
  } kReplacements[] = {{L"orv-", L""}, {L"/", L""},  {L" ", L""},
                       {L"-", L""},    {L"+", L"p"}, {L".", L""}};
  std::wstring name = orv::LowerCase(driverName);
  for (const auto& [from, to] : kReplacements) ReplaceEach(&name, from, to);
  CopyTo(buffer, bufferChars, L"orv_conf_" + name + L".xml");
  return true;
}

bool CConfigParser::Load(HANDLE printer, Config** config, ConfigsCache* cache,
                         CLoggerClient* logger) {
  *config = nullptr;
  wchar_t fileName[kNameBuffer];
  if (!GetConfigXmlFilenameForPrinter(printer, fileName, kNameBuffer, logger)) return false;
  // Without a folder there is no path, and the load says that it cannot load it.
  std::wstring path;
  if (logger != nullptr && !logger->m_stModuleFolder.empty()) {
    path = logger->m_stModuleFolder + orv::kPathSeparator + fileName;
  }
  return Load(path, config, cache, logger);
}
