#include "config/load_log.h"

#include "platform/error_text.h"

namespace orv {
namespace {

void LogTrace(CLoggerClient* client, const wchar_t* message) {
  CLogger::Log(eLogLevelTrace, client, message, nullptr);
}

}  // namespace

void LoadLog::OnUndescribedPrinter(DWORD error) {
  LogFormat(eLogLevelError, client_, nullptr, L"The spooler does not describe the printer: %ls",
            DescribeError(static_cast<long>(error)).c_str());
}

void LoadLog::OnTextRead() {
  LogTrace(client_, L"Successfully loaded the content of the config file");
}

void LoadLog::OnDocumentParsed() {
  LogTrace(client_, L"Successfully loaded the config file into the parser");
}

void LoadLog::OnRecordRead() { LogTrace(client_, L"Successfully parsed the config file"); }

void LoadLog::OnDigestMismatch(const std::wstring& path, const CString& stated,
                               const CString& computed) {
  LogFormat(eLogLevelWarning, client_, nullptr,
            L"The hash value in the config file %ls is invalid!", path.c_str());
  LogFormat(eLogLevelWarning, client_, nullptr, L"File SHA256: %ls , Calculated SHA256: %ls ",
            stated.c_str(), computed.c_str());
}

void LoadLog::OnFailure(LoadFailure failure, const std::wstring& path, const CString& detail) {
  const auto log = [&](const wchar_t* format, auto... arguments) {
    LogFormat(eLogLevelError, client_, nullptr, format, arguments...);
  };
  switch (failure) {
    case LoadFailure::kNone:
      break;
    case LoadFailure::kInvalidPrinter:
      log(L"Unable to get printer driver name for an invalid handle!");
      log(L"Unable to get the printer driver name for the printer!");
      break;
    case LoadFailure::kUnreadable:
    case LoadFailure::kOutOfMemory:
      log(L"Unable to load the config file %ls", path.c_str());
      break;
    case LoadFailure::kMalformed:
      log(L"Error loading the config file %ls into the parser. Details: %ls", path.c_str(),
          detail.c_str());
      break;
    case LoadFailure::kInvalid:
      log(L"Error parsing the config file %ls. Details: %ls", path.c_str(), detail.c_str());
      break;
  }
}

}  // namespace orv
