#include <filesystem>
#include <memory>
#include <utility>

#include "base/utf8.h"
#include "config/list_values.h"
#include "config/properties.h"
#include "config/property_tables.h"
#include "crypto/sha256.h"
#include "orv/config/config_parser.h"
#include "orv/crypto/crypto_helper.h"
#include "orv/crypto/encryption_aes.h"

using orv::IntoChild;
using orv::LogFormat;
using orv::MissingElement;

namespace {

/// What stands before the text when its digest is computed, and what stands in the digest's place.
constexpr wchar_t kDigestSalt[] = L"7e4a91c2-3b5d-4f08-9a6e-21d4c8b07f53";
constexpr std::string_view kDigestPlaceholder = "{{sha256}}";

/// The first version whose device part is described otherwise, and not here.
constexpr int kFirstOtherVersion = 13;

void LogTrace(CLoggerClient* logger, const wchar_t* message) {
  CLogger::Log(eLogLevelTrace, logger, message, nullptr);
}

/// The file's text, empty when there is none. A folder, a pipe or a device has no size that could
/// be read: it counts as a file that cannot be loaded, and nothing is thrown at those who load.
CString LoadText(const std::wstring& path, CLoggerClient* logger) {
  try {
    return CCryptoHelper::LoadFileUTF8(path, logger);
  } catch (const std::filesystem::filesystem_error&) {
    return {};
  }
}

/// Reports a digest that is not that of the file. A file without one is taken as it is, and no file
/// is refused for its digest.
void CheckDigest(const std::wstring& path, const CString& text, const CString& digest,
                 CLoggerClient* logger) {
  if (digest.empty()) return;
  const CString computed = orv::ConfigDigest(text, digest);
  if (computed == digest) return;
  LogFormat(eLogLevelWarning, logger, nullptr, L"The hash value in the config file %ls is invalid!",
            path.c_str());
  LogFormat(eLogLevelWarning, logger, nullptr, L"File SHA256: %ls , Calculated SHA256: %ls ",
            digest.c_str(), computed.c_str());
}

}  // namespace

namespace orv {

CString ConfigDigest(const CString& text, const CString& digest) {
  // Encoded piece by piece: the text with its placeholder is never there as a whole.
  std::string bytes = WideToUtf8(kDigestSalt);
  bytes.reserve(bytes.size() + text.size());
  const std::wstring_view whole = text;
  std::size_t at = 0;
  if (!digest.empty()) {
    for (std::size_t found; (found = whole.find(digest, at)) != whole.npos;) {
      AppendUtf8(whole.substr(at, found - at), &bytes);
      bytes.append(kDigestPlaceholder);
      at = found + digest.size();
    }
  }
  AppendUtf8(whole.substr(at), &bytes);
  return Sha256HexOf(bytes);
}

}  // namespace orv

bool CConfigParser::Load(const std::wstring& path, Config** config, ConfigsCache* cache,
                         CLoggerClient* logger) {
  *config = nullptr;
  if (cache != nullptr && (*config = cache->GetConfig(path)) != nullptr) return true;

  CString text = LoadText(path, logger);
  if (text.empty()) {
    LogFormat(eLogLevelError, logger, nullptr, L"Unable to load the config file %ls", path.c_str());
    return false;
  }
  LogTrace(logger, L"Successfully loaded the content of the config file");

  CMarkup xml;
  if (!xml.SetDoc(std::move(text))) {
    LogFormat(eLogLevelError, logger, nullptr,
              L"Error loading the config file %ls into the parser. Details: %ls", path.c_str(),
              xml.GetError().c_str());
    return false;
  }
  LogTrace(logger, L"Successfully loaded the config file into the parser");

  auto loaded = std::make_unique<Config>();
  const CString error = Parse(xml, *loaded, logger);
  if (!error.empty()) {
    LogFormat(eLogLevelError, logger, nullptr, L"Error parsing the config file %ls. Details: %ls",
              path.c_str(), error.c_str());
    return false;
  }
  LogTrace(logger, L"Successfully parsed the config file");

  CheckDigest(path, xml.GetDoc(), loaded->fileInfo.sha256, logger);

  // Somebody else may have loaded the same file in the meantime: then theirs is handed out.
  Config* const existing = cache != nullptr ? cache->SetConfig(path, loaded.get()) : nullptr;
  *config = existing != nullptr ? existing : loaded.release();
  return true;
}

CString CConfigParser::Parse(CMarkup& xml, Config& config, CLoggerClient* logger) {
  if (!xml.FindElem(L"xmlData")) return L"Root tag <xmlData> was not found!";
  if (!IntoChild(xml, L"fileInfo")) return MissingElement(L"<fileInfo>");
  CString error = ParseFileInfo(xml, config.fileInfo, logger, config.device.characteristics);
  if (!error.empty()) return error;
  xml.OutOfElem();
  return Parse(config.fileInfo.version, xml, config, logger);
}

CString CConfigParser::Parse(int version, CMarkup& xml, Config& config, CLoggerClient* logger) {
  // Kept for compatibility: such a file loads with the device's defaults.
  if (version >= kFirstOtherVersion) return {};
  if (!IntoChild(xml, L"device")) return MissingElement(L"<device>");
  CString error = ParseDevice(xml, config.device, logger);
  if (!error.empty()) return error;
  xml.OutOfElem();
  return {};
}

CString CConfigParser::ParseFileInfo(CMarkup& xml, FileInfo& info, CLoggerClient* logger,
                                     Characteristics& /*characteristics*/) {
  // The two messages spell the element differently; people who read logs know them so.
  if (!IntoChild(xml, L"properties")) return MissingElement(L"<fileinfo><properties>");
  orv::StoreOrWarn<FileInfo>(xml, orv::kFileInfoProperties, L"<fileInfo><properties>", info,
                             logger);
  xml.OutOfElem();
  return {};
}

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
