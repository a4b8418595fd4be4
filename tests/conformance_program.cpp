/// A program that speaks the protocol of docs/conformance.md: it performs the requests of
/// `scripts/conformance` with the library, through the installed headers only.

#include <algorithm>
#include <array>
#include <clocale>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iostream>
#include <iterator>
#include <map>
#include <sstream>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

#include "orv/c_api.h"
#include "orv/config/config_loader.h"
#include "orv/config/config_parser.h"
#include "orv/crypto/crypto_helper.h"
#include "orv/crypto/encryption_aes.h"
#include "orv/logging/logger.h"
#include "orv/platform/registry.h"
#include "orv/settings/settings.h"
#include "orv/text/utf8.h"
#include "orv/xml/cursor.h"
#include "orv/xml/markup.h"

namespace {

using orv::FromUtf8;
using orv::ToUtf8;
using Bytes = std::vector<std::uint8_t>;

std::string ReadFile(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

/// A request, and what the operations do with it.
struct Request {
  std::map<std::string, std::string, std::less<>> parameters;
  std::string inputPath;
  std::string resultPath;

  /// A parameter; empty if the request does not have it.
  std::string operator[](std::string_view name) const {
    const auto found = parameters.find(name);
    return found == parameters.end() ? std::string() : found->second;
  }
  int Number(std::string_view name) const { return std::atoi((*this)[name].c_str()); }
  bool Is(std::string_view name) const { return (*this)[name] == "yes"; }

  std::string Input() const { return ReadFile(inputPath); }
  std::wstring InputText() const { return FromUtf8(Input()); }

  /// Writes the result; returns the reply.
  std::string Reply(std::string_view result) const {
    std::ofstream file(resultPath, std::ios::binary);
    file.write(result.data(), static_cast<std::streamsize>(result.size()));
    return file.flush() ? "ok" : "error unwritable";
  }
  std::string Reply(std::wstring_view result) const { return Reply(ToUtf8(result)); }
  std::string Reply(const Bytes& result) const {
    return Reply(std::string_view(reinterpret_cast<const char*>(result.data()), result.size()));
  }
};

/// The reply for an error code of the C interface.
std::string ErrorReply(std::int32_t code) {
  static constexpr const char* kNames[] = {"",          "argument", "buffer",     "memory",
                                           "missing",   "kind",     "unreadable", "unwritable",
                                           "malformed", "invalid",  "record",     "internal"};
  return std::string("error ") + kNames[code];
}

std::vector<std::uint16_t> Units(std::string_view text) {
  const std::wstring wide = FromUtf8(text);
  return {wide.begin(), wide.end()};
}

/// Calls a function of the C interface that fills a buffer, with one large enough.
template <typename Unit, typename Function>
std::int32_t Fill(std::vector<Unit>* buffer, const Function& function) {
  std::uint32_t length = 0;
  std::int32_t code = function(nullptr, 0, &length);
  if (code != ORV_ERROR_BUFFER) return code;
  buffer->resize(length);
  return function(buffer->data(), length, &length);
}

std::wstring WideOf(const std::vector<std::uint16_t>& units) {
  return {units.begin(), units.end()};
}

Bytes FromHex(std::string_view digits) {
  Bytes bytes;
  for (std::size_t i = 0; i + 1 < digits.size(); i += 2) {
    bytes.push_back(
        static_cast<std::uint8_t>(std::stoi(std::string(digits.substr(i, 2)), nullptr, 16)));
  }
  return bytes;
}

/// Escapes what would end a line or a column.
std::wstring OnOneLine(std::wstring_view text) {
  static constexpr std::pair<wchar_t, const wchar_t*> kEscapes[] = {
      {L'\\', L"\\\\"}, {L'\n', L"\\n"}, {L'\r', L"\\r"}, {L'\t', L"\\t"}};
  std::wstring line;
  for (const wchar_t unit : text) {
    const auto* const escape = std::find_if(std::begin(kEscapes), std::end(kEscapes),
                                            [&](const auto& row) { return row.first == unit; });
    escape == std::end(kEscapes) ? line.push_back(unit) : void(line += escape->second);
  }
  return line;
}

std::wstring Unescaped(std::wstring_view line) {
  std::wstring text;
  for (std::size_t i = 0; i < line.size(); ++i) {
    if (line[i] != L'\\' || i + 1 == line.size()) {
      text.push_back(line[i]);
      continue;
    }
    const wchar_t unit = line[++i];
    text.push_back(unit == L'n' ? L'\n' : unit == L'r' ? L'\r' : unit == L't' ? L'\t' : unit);
  }
  return text;
}

// Documents.

CMarkup LoadDocument(const Request& request) {
  CMarkup doc;
  if (request.Is("case")) doc.SetDocFlags(doc.GetDocFlags() & ~CMarkup::DOC_IGNORECASE);
  doc.Load(FromUtf8(request.inputPath));
  return doc;
}

int WhiteSpaceFlags(const Request& request) {
  if (request["space"] == "trim") return CMarkup::DOC_TRIMWHITESPACE;
  return request["space"] == "collapse" ? CMarkup::DOC_COLLAPSEWHITESPACE : 0;
}

std::string IndexDocument(const Request& request) {
  CMarkup doc = LoadDocument(request);
  std::wostringstream result;
  result << (doc.IsWellFormed() ? L"well-formed" : L"ill-formed") << L' '
         << OnOneLine(doc.GetResult()) << L"\nmessage " << OnOneLine(doc.GetError()) << L'\n';
  std::wstring buffer;
  for (CMarkupCursor cursor(doc); cursor.NextElem();) {
    cursor.MoveTo(doc);
    result << L"element " << OnOneLine(doc.GetPath()) << L' ' << cursor.GetOffset() << L' '
           << cursor.GetMarkup().size() << L' ' << cursor.GetContentOffset() << L' '
           << cursor.GetContent().size() << L'\n';
    for (const CMarkupAttrib& attrib : cursor.GetAttribs()) {
      result << L"attribute " << attrib.nOffset << L' ' << OnOneLine(attrib.strName) << L'='
             << OnOneLine(attrib.GetValue(&buffer)) << L'\n';
    }
    const std::wstring_view data = cursor.GetData(&buffer);
    if (!data.empty()) result << L"data " << OnOneLine(data) << L'\n';
  }
  return request.Reply(result.str());
}

std::string ReadText(const Request& request) {
  std::wstring text;
  std::wstring record;
  if (!CMarkup::ReadTextFile(0, FromUtf8(request.inputPath), text, &record)) {
    return "error unreadable";
  }
  return request.Reply(record + L"\n" + OnOneLine(text) + L"\n");
}

std::string SaveText(const Request& request) {
  int flags = request.Is("lossy") ? CMarkup::DOC_LOSSY : 0;
  if (request.Is("mark")) flags |= CMarkup::DOC_UTF8MARK;
  if (request["order"] == "little") flags |= CMarkup::DOC_UTF16LEFILE;
  if (request["order"] == "big") flags |= CMarkup::DOC_UTF16BEFILE;
  std::wstring record;
  const bool isSaved =
      CMarkup::WriteTextFile(0, FromUtf8(request.resultPath), request.InputText(), &record, &flags);
  return isSaved ? "ok" : "error encoding";
}

std::string FindElement(const Request& request) {
  CMarkup doc = LoadDocument(request);
  doc.FindElem();
  doc.IntoElem();
  std::wstring result;
  while (doc.FindElem(FromUtf8(request["name"]))) result += doc.GetPath() + L"\n";
  return request.Reply(result);
}

std::string Unescape(const Request& request) {
  return request.Reply(
      OnOneLine(CMarkup::UnescapeText(request.InputText().c_str(), -1, WhiteSpaceFlags(request))));
}

std::string Escape(const Request& request) {
  return request.Reply(OnOneLine(CMarkup::EscapeText(
      request.InputText(), (request.Is("quotes") ? CMarkup::ESC_ATTRIB : 0) |
                               (request.Is("keep") ? CMarkup::ADD_KEEPREFS : 0))));
}

// Configurations.

/// A configuration of the C interface.
class Configuration {
 public:
  explicit Configuration(std::string_view path) {
    const auto units = Units(path);
    code_ = orv_config_load(units.data(), static_cast<std::uint32_t>(units.size()), nullptr,
                            &config_, nullptr, 0, nullptr);
  }
  Configuration(const Configuration&) = delete;
  Configuration& operator=(const Configuration&) = delete;
  ~Configuration() { orv_config_close(config_); }

  const orv_config* get() const { return config_; }
  std::int32_t code() const { return code_; }

  /// The value with a name; empty and an error code if there is none.
  std::int32_t Text(const std::vector<std::uint16_t>& name,
                    std::vector<std::uint16_t>* text) const {
    return Fill(text, [&](std::uint16_t* buffer, std::uint32_t capacity, std::uint32_t* length) {
      return orv_config_text(config_, name.data(), static_cast<std::uint32_t>(name.size()), buffer,
                             capacity, length);
    });
  }
  std::vector<std::uint16_t> Name(std::uint32_t index) const {
    std::vector<std::uint16_t> name;
    Fill(&name, [&](std::uint16_t* buffer, std::uint32_t capacity, std::uint32_t* length) {
      return orv_config_name(config_, index, buffer, capacity, length);
    });
    return name;
  }

 private:
  orv_config* config_ = nullptr;
  std::int32_t code_;
};

/// The names in a list with commas; those of every value of the configuration without a list.
std::vector<std::vector<std::uint16_t>> NamesOf(const std::string& list,
                                                const Configuration& config) {
  std::vector<std::vector<std::uint16_t>> names;
  std::istringstream parts(list);
  for (std::string part; std::getline(parts, part, ',');) names.push_back(Units(part));
  std::uint32_t count = 0;
  if (list.empty()) orv_config_count(config.get(), &count);
  for (std::uint32_t i = 0; i < count; ++i) names.push_back(config.Name(i));
  return names;
}

std::string LoadConfiguration(const Request& request) {
  const Configuration config(request.inputPath);
  if (config.code() != ORV_OK) {
    const orv::LoadResult failed =
        orv::LoadConfigFile(FromUtf8(request.inputPath), nullptr, nullptr);
    if (config.code() == ORV_ERROR_INVALID) request.Reply(OnOneLine(failed.detail) + L"\n");
    return ErrorReply(config.code());
  }
  std::wstring result;
  for (const auto& name : NamesOf(request["values"], config)) {
    std::vector<std::uint16_t> text;
    const std::int32_t code = config.Text(name, &text);
    result +=
        WideOf(name) + (code == ORV_OK ? L" = " + OnOneLine(WideOf(text)) : L" is missing") + L"\n";
  }
  return request.Reply(result);
}

std::string DigestConfiguration(const Request& request) {
  const Configuration config(request.inputPath);
  std::vector<std::uint16_t> stated;
  const std::int32_t code =
      config.code() == ORV_OK ? config.Text(Units("fileInfo.sha256"), &stated) : config.code();
  if (code != ORV_OK) return ErrorReply(code);
  return request.Reply(orv::ConfigDigest(
      CCryptoHelper::LoadFileUTF8(FromUtf8(request.inputPath), nullptr), WideOf(stated)));
}

// Records.

using RecordFunction = std::int32_t (*)(const Configuration&, std::uint8_t* record,
                                        std::wstring* text);

std::int32_t FillDefaults(const Configuration& config, std::uint8_t* record, std::wstring*) {
  return orv_record_default(config.get(), record, ORV_RECORD_SIZE);
}

std::int32_t Repair(const Configuration& config, std::uint8_t* record, std::wstring* text) {
  std::vector<std::uint16_t> corrections(ORV_RECORD_SIZE * 4);
  std::uint32_t length = 0;
  const std::int32_t code = orv_record_validate(
      config.get(), nullptr, record, record, ORV_RECORD_SIZE, corrections.data(),
      static_cast<std::uint32_t>(corrections.size()), &length);
  corrections.resize(length);
  *text = WideOf(corrections);
  return code;
}

std::int32_t Convert(const Configuration&, std::uint8_t* record, std::wstring*) {
  return orv_record_convert(nullptr, record, record, ORV_RECORD_SIZE);
}

std::int32_t FromLegacy(const Configuration&, std::uint8_t* record, std::wstring*) {
  return orv_record_from_legacy_layout(record, ORV_RECORD_SIZE);
}

std::int32_t ToLegacy(const Configuration&, std::uint8_t* record, std::wstring*) {
  return orv_record_to_legacy_layout(record, ORV_RECORD_SIZE);
}

/// Applies a function to the record of the request, or to an empty one without input.
template <RecordFunction kFunction, bool kReturnsText = false>
std::string ChangeRecord(const Request& request) {
  const Configuration config(request["config"]);
  std::string record = request.inputPath == "-" ? std::string() : request.Input();
  record.resize(ORV_RECORD_SIZE);
  std::wstring text;
  const std::int32_t code =
      kFunction(config, reinterpret_cast<std::uint8_t*>(record.data()), &text);
  if (code != ORV_OK) return ErrorReply(code);
  return kReturnsText ? request.Reply(text) : request.Reply(std::string_view(record));
}

// Pages.

/// An image in memory, its rows without padding.
struct Image {
  std::int32_t format;
  std::int32_t width;
  std::int32_t height;
  Bytes pixels;

  Image(std::int32_t imageFormat, std::int32_t imageWidth, std::int32_t imageHeight)
      : format(imageFormat), width(imageWidth), height(imageHeight) {
    pixels.resize(static_cast<std::size_t>(Stride()) * static_cast<std::size_t>(height));
  }
  std::int32_t Stride() const { return format == ORV_FORMAT_BIT1 ? (width + 7) / 8 : width * 3; }
  orv_image View() {
    return {sizeof(orv_image), format, width, height, Stride(), 0, pixels.data()};
  }
};

/// Reads a page: a PPM file of the form P6 without comments.
Image ReadPage(const Request& request) {
  std::ifstream file(request.inputPath, std::ios::binary);
  std::string magic;
  std::int32_t width = 0;
  std::int32_t height = 0;
  std::int32_t largest = 0;
  file >> magic >> width >> height >> largest;
  file.get();
  Image page(ORV_FORMAT_BGR24, width, height);
  file.read(reinterpret_cast<char*>(page.pixels.data()),
            static_cast<std::streamsize>(page.pixels.size()));
  for (std::size_t i = 0; i + 2 < page.pixels.size(); i += 3) {
    std::swap(page.pixels[i], page.pixels[i + 2]);
  }
  return page;
}

/// Writes a plane as a PBM file of the form P4: what is not white is ink.
std::string ReplyPlane(const Request& request, const Image& plane) {
  std::string result =
      "P4\n" + std::to_string(plane.width) + " " + std::to_string(plane.height) + "\n";
  const auto isInk = [&](std::int32_t x, std::int32_t y) {
    const std::uint8_t* row = plane.pixels.data() + std::ptrdiff_t{y} * plane.Stride();
    if (plane.format == ORV_FORMAT_BIT1) return (row[x / 8] >> (7 - x % 8) & 1) == 0;
    return row[x * 3] != 255 || row[x * 3 + 1] != 255 || row[x * 3 + 2] != 255;
  };
  for (std::int32_t y = 0; y < plane.height; ++y) {
    for (std::int32_t x = 0; x < plane.width; x += 8) {
      int bits = 0;
      for (int i = 0; i < 8; ++i) bits = bits * 2 + (x + i < plane.width && isInk(x + i, y));
      result.push_back(static_cast<char>(bits));
    }
  }
  return request.Reply(std::string_view(result));
}

std::int32_t MethodOf(const Request& request) {
  static constexpr std::string_view kMethods[] = {"none",    "floyd-steinberg", "sierra-lite",
                                                  "matrix4", "matrix8",         "matrix16"};
  return static_cast<std::int32_t>(
      std::find(std::begin(kMethods), std::end(kMethods), request["method"]) -
      std::begin(kMethods));
}

std::uint32_t ColourOf(const Request& request) {
  return static_cast<std::uint32_t>(std::strtoul(request["colour"].c_str(), nullptr, 16));
}

std::string DitherPage(const Request& request) {
  Image page = ReadPage(request);
  const orv_image view = page.View();
  const std::int32_t code =
      orv_page_dither(&view, MethodOf(request), request.Number("threshold"), ColourOf(request));
  return code == ORV_OK ? ReplyPlane(request, page) : ErrorReply(code);
}

std::string SplitPage(const Request& request) {
  Image page = ReadPage(request);
  Image background = page;
  Image highlight = page;
  const orv_image views[] = {page.View(), background.View(), highlight.View()};
  // Thousandths, because the locale decides how a program reads a decimal point.
  const std::int32_t code =
      orv_page_split(&views[0], ColourOf(request), request.Number("tolerance") / 1000.0,
                     MethodOf(request), request.Number("threshold"), &views[1], &views[2]);
  if (code != ORV_OK) return ErrorReply(code);
  return ReplyPlane(request, request["plane"] == "highlight" ? highlight : background);
}

/// Reduces the page to one bit.
std::int32_t Reduce(const Request& request, Image* plane) {
  Image page = ReadPage(request);
  *plane = Image(ORV_FORMAT_BIT1, page.width, page.height);
  const orv_image views[] = {page.View(), plane->View()};
  return orv_page_to_one_bit(&views[0], &views[1]);
}

std::string ReducePage(const Request& request) {
  Image plane(ORV_FORMAT_BIT1, 0, 0);
  const std::int32_t code = Reduce(request, &plane);
  return code == ORV_OK ? ReplyPlane(request, plane) : ErrorReply(code);
}

std::string FindBounds(const Request& request) {
  Image plane(ORV_FORMAT_BIT1, 0, 0);
  std::array<std::int32_t, 4> bounds = {};
  std::int32_t code = Reduce(request, &plane);
  const orv_image view = plane.View();
  if (code == ORV_OK) code = orv_page_bounds(&view, bounds.data());
  if (code != ORV_OK) return ErrorReply(code);
  std::ostringstream result;
  result << "rows " << bounds[0] << " to " << bounds[1] << ", columns " << bounds[2] << " to "
         << bounds[3] << '\n';
  return request.Reply(result.str());
}

// Protected files.

std::string Protect(const Request& request) {
  const std::string plain = request.Input();
  std::vector<std::uint8_t> bytes;
  std::int32_t code = ORV_OK;
  // A new thread starts with the first initialization vector.
  std::thread([&] {
    for (int i = 0; i < std::max(request.Number("file"), 1) && code == ORV_OK; ++i) {
      // The call for the size would take an initialization vector of its own.
      bytes.resize(plain.size() + 36);
      std::uint32_t length = 0;
      code = orv_encrypt(plain.data(), static_cast<std::uint32_t>(plain.size()), bytes.data(),
                         static_cast<std::uint32_t>(bytes.size()), &length);
      bytes.resize(length);
    }
  }).join();
  return code == ORV_OK ? request.Reply(bytes) : ErrorReply(code);
}

std::string Unprotect(const Request& request) {
  const std::string bytes = request.Input();
  CEncryptionAES cipher("A94E27C1B08D4F6E93D5C2E718B04A6F", std::string(orv::kProtectedMarker));
  DWORD length = 0;
  DWORD code = 0;
  const orv::OwnedBuffer plain(cipher.DecryptAsBytes(reinterpret_cast<const BYTE*>(bytes.data()),
                                                     static_cast<DWORD>(bytes.size()), &length,
                                                     &code));
  if (plain == nullptr) return "error " + std::to_string(code);
  return request.Reply(Bytes(plain.get(), plain.get() + length));
}

std::string LoadProtected(const Request& request) {
  const std::wstring text = CCryptoHelper::LoadFileUTF8(FromUtf8(request.inputPath), nullptr);
  return text.empty() ? "error unreadable" : request.Reply(OnOneLine(text));
}

template <bool kEncrypts>
std::string RunCipher(const Request& request) {
  const std::string input = request.Input();
  const auto* const bytes = reinterpret_cast<const BYTE*>(input.data());
  const auto size = static_cast<DWORD>(input.size());
  const Bytes key = FromHex(request["key"]);
  const Bytes iv = FromHex(request["iv"]);
  const auto keySize = static_cast<DWORD>(key.size());
  const auto ivSize = static_cast<DWORD>(iv.size());
  DWORD length = 0;
  const orv::OwnedBuffer result(
      kEncrypts ? AesCbcEncrypt(key.data(), keySize, iv.data(), ivSize, bytes, size, &length)
                : AesCbcDecrypt(bytes, size, key.data(), keySize, iv.data(), ivSize, &length));
  if (result == nullptr) return "error invalid";
  return request.Reply(Bytes(result.get(), result.get() + length));
}

std::string Digest(const Request& request) {
  const std::string input = request.Input();
  Bytes digest(32);
  const std::int32_t code =
      orv_hash(input.data(), static_cast<std::uint32_t>(input.size()), digest.data());
  return code == ORV_OK ? request.Reply(digest) : ErrorReply(code);
}

// The log.

using LogSettings = std::map<std::wstring, std::wstring>;

/// The log settings of a request that does not set them. Nothing goes to the debugger.
LogSettings DefaultLogSettings(const std::filesystem::path& folder) {
  return {{L"LogPath", FromUtf8(folder.string())},
          {L"LogLevel", L""},
          {L"LogGroups", L""},
          {L"WriteLogToDebug", L"0"},
          {L"WriteLogToFile", L""}};
}

/// Writes the user's log settings in one transaction.
bool WriteLogSettings(const LogSettings& settings) {
  orv::RegistryKey key;
  orv::RegistrySubKey test = {L"Test", {}};
  for (const auto& [name, value] : settings) {
    test.values.push_back({name, orv::RegistryValue::FromText(value)});
  }
  return key.Create(HKEY_CURRENT_USER, orv::kSettingsKey) == ERROR_SUCCESS &&
         orv::WriteRegistryKeys(key.get(), {&test, 1}) == ERROR_SUCCESS;
}

/// An entry of the log: a level, a source or "-" without one, and the message.
void WriteEntry(CLoggerClient* client, std::wistringstream* line) {
  int level = 0;
  std::wstring source;
  std::wstring message;
  *line >> level >> source;
  line->get();
  std::getline(*line, message);
  CLogger::Log(static_cast<eLogLevel>(level), client, Unescaped(message).c_str(),
               source == L"-" ? nullptr : source.c_str());
}

std::string WriteLog(const Request& request) {
  const std::filesystem::path folder = std::filesystem::current_path() / "log";
  std::filesystem::remove_all(folder);
  std::filesystem::create_directory(folder);
  LogSettings settings = DefaultLogSettings(folder);
  CLoggerClient client;
  std::vector<std::wstring> entries;
  std::wistringstream lines(request.InputText());
  for (std::wstring line; std::getline(lines, line);) {
    std::wistringstream words(line);
    std::wstring kind;
    words >> kind;
    words.get();
    if (kind == L"entry") {
      entries.push_back(line.substr(kind.size()));
    } else if (kind == L"module") {
      std::getline(words, client.m_stModuleName);
    } else {
      std::getline(words, settings[kind]);
    }
  }
  if (!WriteLogSettings(settings)) return "error unwritable";
  CLogger::StartLogging(&client);
  for (const std::wstring& entry : entries) {
    std::wistringstream words(entry);
    WriteEntry(&client, &words);
  }
  CLogger::StopLogging(&client);
  std::string log;
  for (const auto& file : std::filesystem::directory_iterator(folder)) {
    log += ReadFile(file.path().string());
  }
  return request.Reply(log);
}

/// The operations of each area.
struct Operation {
  std::string_view area;
  std::string_view name;
  std::string (*run)(const Request& request);
};

constexpr Operation kOperations[] = {
    {"documents", "index", IndexDocument},
    {"documents", "read", ReadText},
    {"documents", "save", SaveText},
    {"documents", "find", FindElement},
    {"documents", "unescape", Unescape},
    {"documents", "escape", Escape},
    {"configurations", "load", LoadConfiguration},
    {"configurations", "digest", DigestConfiguration},
    {"records", "default", ChangeRecord<FillDefaults>},
    {"records", "repair", ChangeRecord<Repair>},
    {"records", "corrections", ChangeRecord<Repair, true>},
    {"records", "convert", ChangeRecord<Convert>},
    {"records", "from-legacy", ChangeRecord<FromLegacy>},
    {"records", "to-legacy", ChangeRecord<ToLegacy>},
    {"pages", "dither", DitherPage},
    {"pages", "split", SplitPage},
    {"pages", "one-bit", ReducePage},
    {"pages", "bounds", FindBounds},
    {"protected", "protect", Protect},
    {"protected", "unprotect", Unprotect},
    {"protected", "load", LoadProtected},
    {"protected", "encrypt", RunCipher<true>},
    {"protected", "decrypt", RunCipher<false>},
    {"protected", "digest", Digest},
    {"log", "write", WriteLog},
};

std::string ReplyTo(const std::string& line) {
  std::vector<std::string> columns;
  std::istringstream parts(line);
  for (std::string part; std::getline(parts, part, '\t');) columns.push_back(part);
  if (columns.size() != 5) return "unsupported";
  Request request{{}, columns[3], columns[4]};
  std::istringstream parameters(columns[2]);
  for (std::string parameter; parameters >> parameter;) {
    const std::size_t equals = parameter.find('=');
    if (equals != parameter.npos) {
      request.parameters[parameter.substr(0, equals)] = parameter.substr(equals + 1);
    }
  }
  for (const Operation& operation : kOperations) {
    if (operation.area == columns[0] && operation.name == columns[1]) {
      return operation.run(request);
    }
  }
  return "unsupported";
}

}  // namespace

#ifdef ORV_SANITIZED
/// The C library keeps the value of LOCPATH until the process ends.
extern "C" const char* __lsan_default_suppressions() { return "leak:argz_add_sep"; }
#endif

int main() {
  // The results must not depend on the locale.
  std::setlocale(LC_ALL, "");
  // The standard output is the protocol's.
  orv::SetDiagnosticSink([](const char*) {});
  for (std::string line; std::getline(std::cin, line);) {
    if (!line.empty() && line.back() == '\r') line.pop_back();
    std::cout << ReplyTo(line) << std::endl;
  }
  return 0;
}
