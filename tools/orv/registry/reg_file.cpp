#include "tools/orv/registry/reg_file.h"

#include <algorithm>
#include <iterator>

#include "base/hex.h"
#include "base/utf8.h"
#include "orv/text/format.h"
#include "platform/letter_case.h"
#include "tools/orv/common/input.h"
#include "tools/orv/common/outcome.h"
#include "tools/orv/common/output.h"

namespace orv::tool {
namespace {

constexpr std::wstring_view kHeader = L"Windows Registry Editor Version 5.00";
/// The older version, whose text is in an ANSI code page; ASCII text is the same in both.
constexpr std::wstring_view kHeaderVersion4 = L"REGEDIT4";
constexpr std::wstring_view kHex = L"hex";  // before the type and the bytes of a value
constexpr std::size_t kMaxLine = 80;
/// The store would end the name there, and change another key or value.
constexpr wchar_t kNulInName[] = L"a name cannot contain a NUL character";

struct HiveName {
  std::wstring_view shortName;
  std::wstring_view longName;
  HKEY root;
};
const HiveName kHives[] = {
    {L"HKCU", L"HKEY_CURRENT_USER", HKEY_CURRENT_USER},
    {L"HKLM", L"HKEY_LOCAL_MACHINE", HKEY_LOCAL_MACHINE},
};

/// Reads a quoted text at the start of `*rest` and removes it.
bool TakeQuoted(std::wstring_view* rest, std::wstring* text) {
  text->clear();
  if (!rest->starts_with(L'"')) return false;
  for (std::size_t at = 1; at < rest->size(); ++at) {
    wchar_t unit = (*rest)[at];
    if (unit == L'"') {
      rest->remove_prefix(at + 1);
      return true;
    }
    if (unit == L'\\') {
      if (++at == rest->size()) return false;
      unit = (*rest)[at];
    }
    text->push_back(unit);
  }
  return false;
}

/// Removes the name of a value and the equals sign after it; the message for a fault, or empty.
std::wstring TakeName(std::wstring_view* line, std::wstring* name) {
  name->clear();
  if (line->starts_with(L'@')) {
    line->remove_prefix(1);
  } else if (!TakeQuoted(line, name)) {
    return L"the line is neither a key in brackets, a value nor a comment";
  }
  if (name->find(L'\0') != name->npos) return kNulInName;
  *line = Trim(*line);
  if (!line->starts_with(L'=')) return L"expected an equals sign after the value's name";
  *line = Trim(line->substr(1));
  return {};
}

/// Whether a line gives a value as bytes. Texts and comments, too, can end like a list of bytes.
bool IsByteList(std::wstring_view line) {
  std::wstring name;
  return TakeName(&line, &name).empty() && line.starts_with(kHex);
}

/// Reads lines; a line with bytes that ends in a backslash is joined with the next one.
class LineReader {
 public:
  explicit LineReader(std::wstring_view text) : rest_(text) {}

  bool Next(std::wstring* line) {
    if (rest_.empty()) return false;
    first_ = next_;
    line->assign(Trim(Take()));
    // Only a list of bytes continues on the next line, after a comma or the colon.
    const bool isList = line->ends_with(L'\\') && IsByteList(*line);
    while (isList && (line->ends_with(L",\\") || line->ends_with(L":\\")) && !rest_.empty()) {
      line->pop_back();
      line->append(Trim(Take()));
    }
    return true;
  }
  /// The number of the line that `Next` returned, from 1.
  std::size_t number() const { return first_; }

 private:
  std::wstring_view Take() {
    const std::size_t end = std::min(rest_.find(L'\n'), rest_.size());
    std::wstring_view line = rest_.substr(0, end);
    rest_.remove_prefix(std::min(end + 1, rest_.size()));
    ++next_;
    if (line.ends_with(L'\r')) line.remove_suffix(1);
    return line;
  }

  std::wstring_view rest_;
  std::size_t next_ = 1;
  std::size_t first_ = 1;
};

/// Parses bytes: pairs of hexadecimal digits separated by commas.
bool ParseBytes(std::wstring_view text, std::vector<BYTE>* bytes) {
  bytes->clear();
  text = Trim(text);
  while (!text.empty()) {
    const std::size_t end = std::min(text.find(L','), text.size());
    const std::wstring_view pair = Trim(text.substr(0, end));
    if (pair.empty() || pair.size() > 2) return false;
    unsigned byte = 0;
    for (const wchar_t unit : pair) {
      const int digit = HexDigit(unit);
      if (digit < 0) return false;
      byte = byte << 4 | static_cast<unsigned>(digit);
    }
    bytes->push_back(static_cast<BYTE>(byte));
    text = Trim(text.substr(std::min(end + 1, text.size())));
  }
  return true;
}

bool ParseHexNumber(std::wstring_view text, DWORD* number) {
  std::uint32_t parsed = 0;
  if (text.size() > 8 || !ParseNumber(L"0x" + std::wstring(text), &parsed)) return false;
  *number = parsed;
  return true;
}

// These return the message for a fault in a value's data; empty for none.

std::wstring ParseQuotedData(std::wstring_view data, RegistryValue* value) {
  std::wstring text;
  if (!TakeQuoted(&data, &text)) return L"the text has no closing quote";
  data = Trim(data);
  if (!data.empty() && !data.starts_with(L';')) return L"unexpected characters after the text";
  *value = RegistryValue::FromText(text);
  return {};
}

/// Parses what follows "hex": an optional type in brackets, a colon and the bytes.
std::wstring ParseHexData(std::wstring_view data, RegistryValue* value) {
  value->type = REG_BINARY;
  if (data.starts_with(L'(')) {
    const std::size_t end = data.find(L')');
    if (end == std::wstring_view::npos || !ParseHexNumber(data.substr(1, end - 1), &value->type)) {
      return L"the type in brackets is not a hexadecimal number";
    }
    data.remove_prefix(end + 1);
  }
  if (!data.starts_with(L':')) return L"expected a colon after the type";
  if (!ParseBytes(data.substr(1), &value->data)) {
    return L"bytes are pairs of hexadecimal digits with commas between them";
  }
  return {};
}

std::wstring ParseData(std::wstring_view data, RegistryValue* value) {
  constexpr std::wstring_view kNumber = L"dword:";
  if (data.starts_with(L'"')) return ParseQuotedData(data, value);
  if (data.starts_with(kHex)) return ParseHexData(data.substr(kHex.size()), value);
  if (!data.starts_with(kNumber)) {
    return L"the data is neither \"text\", dword:, hex: nor hex(type):";
  }
  DWORD number = 0;
  if (!ParseHexNumber(Trim(data.substr(kNumber.size())), &number)) {
    return L"a dword has one to eight hexadecimal digits";
  }
  *value = RegistryValue::FromNumber(number);
  return {};
}

std::wstring Escape(std::wstring_view text) {
  std::wstring escaped;
  for (const wchar_t unit : text) {
    if (unit == L'\\' || unit == L'"') escaped.push_back(L'\\');
    escaped.push_back(unit);
  }
  return escaped;
}

/// Makes UTF-16 of the bytes of a text from the older version; the message for a fault, or empty.
std::wstring WidenText(RegistryValue* value) {
  constexpr DWORD kTextTypes[] = {REG_SZ, 2 /* REG_EXPAND_SZ */, 7 /* REG_MULTI_SZ */};
  if (std::ranges::find(kTextTypes, value->type) == std::end(kTextTypes)) return {};
  std::vector<BYTE> wide;
  for (const BYTE byte : value->data) {
    if (byte > 0x7F) return L"the text is not ASCII, and the file does not name its code page";
    wide.insert(wide.end(), {byte, 0});
  }
  value->data = std::move(wide);
  return {};
}

/// Whether a value can be written as quoted text: terminated once, valid, and without control
/// characters such as line ends.
bool IsPlainText(const RegistryValue& value) {
  if (value.type != REG_SZ) return false;
  const std::wstring text = value.Text();
  return RegistryValue::FromText(text).data == value.data && Utf8ToWide(WideToUtf8(text)) == text &&
         std::ranges::none_of(text, [](wchar_t unit) { return unit < L' ' && unit != L'\t'; });
}

/// A path without the backslashes that name nothing: at its ends, and repeated ones.
std::wstring Normalized(std::wstring_view path) {
  std::wstring normalized(Trim(path, L"\\"));
  const auto repeated = std::unique(normalized.begin(), normalized.end(),
                                    [](wchar_t a, wchar_t b) { return a == L'\\' && b == L'\\'; });
  normalized.erase(repeated, normalized.end());
  return normalized;
}

/// Reads a registry file line by line into changes and faults.
class RegFileParser {
 public:
  RegFileParser(std::wstring_view text, std::vector<RegChange>* changes,
                std::vector<RegFault>* faults, RegHives hives)
      : lines_(text), changes_(changes), faults_(faults), hives_(hives) {}

  void Run() {
    std::wstring line;
    const bool hasLine = lines_.Next(&line);
    isVersion4_ = line == kHeaderVersion4;
    if (!hasLine || (line != kHeader && !isVersion4_)) {
      faults_->push_back({1, L"the first line is not \"" + std::wstring(kHeader) + L"\""});
      return;
    }
    while (lines_.Next(&line)) {
      if (line.empty() || line.starts_with(L';')) continue;
      const std::wstring fault = line.starts_with(L'[') ? ReadKey(line) : ReadValue(line);
      if (!fault.empty()) faults_->push_back({lines_.number(), fault});
    }
  }

 private:
  /// Where the values of the current lines belong.
  enum class Section { kNone, kFaulty, kOpen };

  // Both return the message for a fault; empty for none.

  std::wstring ReadKey(std::wstring_view line) {
    section_ = Section::kFaulty;
    // A key's name may contain brackets: the heading ends at the last bracket of the line.
    const std::size_t end = line.rfind(L']');
    const bool isDeleted = line.starts_with(L"[-");
    const std::size_t start = isDeleted ? 2 : 1;
    if (end == std::wstring_view::npos) return L"the key has no closing bracket";
    const std::wstring_view key = line.substr(start, end - start);
    if (key.find(L'\0') != key.npos) return kNulInName;
    if (!ParseKeyPath(key, &root_, &path_)) {
      if (hives_ == RegHives::kStored) {
        return L"the key is below neither HKEY_CURRENT_USER nor HKEY_LOCAL_MACHINE";
      }
      root_ = nullptr;
      path_ = key;
    }
    if (path_.empty() && isDeleted) return L"refusing to delete a whole hive";
    AddChange(isDeleted ? RegChange::Kind::kDeleteKey : RegChange::Kind::kMakeKey, {}, {});
    section_ = isDeleted ? Section::kNone : Section::kOpen;
    return {};
  }

  std::wstring ReadValue(std::wstring_view line) {
    std::wstring name;
    if (std::wstring fault = TakeName(&line, &name); !fault.empty()) return fault;
    RegistryValue value;
    const bool isDeleted = line == L"-";
    std::wstring fault = isDeleted ? std::wstring() : ParseData(line, &value);
    if (fault.empty() && isVersion4_ && line.starts_with(kHex)) fault = WidenText(&value);
    if (!fault.empty()) return fault;
    if (section_ == Section::kNone) return L"the value is not below a key";
    if (section_ == Section::kOpen) {
      AddChange(isDeleted ? RegChange::Kind::kDeleteValue : RegChange::Kind::kSetValue,
                std::move(name), std::move(value));
    }
    return {};
  }

  void AddChange(RegChange::Kind kind, std::wstring name, RegistryValue value) {
    changes_->push_back({{kind, root_, path_, std::move(name), std::move(value)}, lines_.number()});
  }

  LineReader lines_;
  std::vector<RegChange>* changes_;
  std::vector<RegFault>* faults_;
  RegHives hives_;
  bool isVersion4_ = false;
  HKEY root_ = nullptr;
  std::wstring path_;
  Section section_ = Section::kNone;
};

}  // namespace

bool IsRegFile(std::wstring_view text) {
  return text.starts_with(kHeader) || text.starts_with(kHeaderVersion4);
}

void ParseRegBytes(std::string_view bytes, std::vector<RegChange>* changes,
                   std::vector<RegFault>* faults) {
  ParseRegFile(DecodeText(bytes), changes, faults);
  // A fault in the first line means that the file is of another kind.
  const bool isOther = !faults->empty() && faults->front().line == 1;
  if (isOther || bytes.starts_with("\xFF\xFE")) return;
  for (std::size_t line = 1; !bytes.empty(); ++line) {
    const std::size_t end = std::min(bytes.find('\n'), bytes.size());
    const std::string_view text = bytes.substr(0, end);
    const std::size_t start = text.find_first_not_of(" \t");
    const bool isComment = start != text.npos && text[start] == ';';
    if (!isComment && WideToUtf8(Utf8ToWide(text)) != text) {
      faults->push_back({line, L"the line has bytes that are not UTF-8"});
    }
    bytes.remove_prefix(std::min(end + 1, bytes.size()));
  }
  std::ranges::stable_sort(*faults, {}, &RegFault::line);
}

void ParseRegFile(std::wstring_view text, std::vector<RegChange>* changes,
                  std::vector<RegFault>* faults, RegHives hives) {
  changes->clear();
  faults->clear();
  RegFileParser(text, changes, faults, hives).Run();
}

std::wstring RegFileHeader() { return std::wstring(kHeader) + L"\r\n\r\n"; }

void SaveRegFile(const std::wstring& path, const std::wstring& text) {
  SaveFile(path, IsStandardOutput(path) ? WideToUtf8(text) : EncodeUtf16(L'\uFEFF' + text));
}

void RequireOneLine(const std::wstring& fullPath, const std::wstring& valueName) {
  if (fullPath.find(L'\n') == fullPath.npos && valueName.find(L'\n') == valueName.npos) return;
  const std::wstring path = valueName.empty() ? fullPath : fullPath + L"\\" + valueName;
  Fail(kUnreadable, L"cannot export " + Utf8ToWide(Printable(path)) +
                        L": a registry file cannot have a line feed in a name");
}

std::wstring FormatRegKey(const std::wstring& fullPath) {
  RequireOneLine(fullPath);
  return L"[" + fullPath + L"]\r\n";
}

std::wstring FormatRegValue(const std::wstring& name, const RegistryValue& value) {
  std::wstring text = name.empty() ? L"@=" : L"\"" + Escape(name) + L"\"=";
  DWORD number = 0;
  if (IsPlainText(value)) return text + L"\"" + Escape(value.Text()) + L"\"\r\n";
  if (value.Number(&number)) {
    return text + Format(L"dword:%08x\r\n", static_cast<unsigned>(number));
  }
  text += value.type == REG_BINARY ? std::wstring(L"hex:")
                                   : Format(L"hex(%x):", static_cast<unsigned>(value.type));
  std::size_t lineStart = 0;
  for (std::size_t i = 0; i < value.data.size(); ++i) {
    if (i != 0) text += L',';
    if (text.size() - lineStart > kMaxLine - 5) {
      text += L"\\\r\n";
      lineStart = text.size();
      text += L"  ";
    }
    text += HexOf<std::wstring>({reinterpret_cast<const char*>(&value.data[i]), 1});
  }
  return text + L"\r\n";
}

bool ParseKeyPath(std::wstring_view text, HKEY* root, std::wstring* path) {
  const std::size_t end = std::min(text.find(L'\\'), text.size());
  const std::wstring hive = UpperCase(std::wstring(text.substr(0, end)));
  for (const HiveName& known : kHives) {
    if (hive == known.shortName || hive == known.longName) {
      *root = known.root;
      *path = Normalized(text.substr(std::min(end + 1, text.size())));
      return true;
    }
  }
  return false;
}

std::wstring FullKeyPath(HKEY root, const std::wstring& path) {
  if (root == nullptr) return path;
  const auto* const hive = std::find_if(std::begin(kHives), std::end(kHives),
                                        [root](const HiveName& h) { return h.root == root; });
  std::wstring full(hive->longName);
  if (!path.empty()) full += L"\\" + path;
  return full;
}

}  // namespace orv::tool
