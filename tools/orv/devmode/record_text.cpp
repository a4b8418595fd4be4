#include "tools/orv/devmode/record_text.h"

#include <algorithm>
#include <cstring>
#include <map>
#include <set>
#include <string>
#include <utility>

#include "base/utf8.h"
#include "devmode/field_text.h"
#include "orv/devmode/stock_items.h"
#include "orv/platform/types.h"
#include "orv/text/format.h"
#include "platform/letter_case.h"
#include "tools/orv/common/input.h"
#include "tools/orv/common/lengths.h"
#include "tools/orv/common/outcome.h"
#include "tools/orv/common/output.h"
#include "tools/orv/common/spelling.h"
#include "tools/orv/devmode/record_search.h"

namespace orv::tool {
namespace {

constexpr std::string_view kTitle = "# orv private settings record\n";

bool ReadHexByte(std::wstring_view digits, std::string* bytes) {
  if (digits.size() < 2) return false;
  const int high = HexDigit(digits[0]);
  const int low = HexDigit(digits[1]);
  if (high < 0 || low < 0) return false;
  bytes->push_back(static_cast<char>(high << 4 | low));
  return true;
}

bool Unquote(std::wstring_view text, std::string* bytes) {
  if (text.size() < 2 || text.front() != L'"' || text.back() != L'"') return false;
  text = text.substr(1, text.size() - 2);
  while (!text.empty()) {
    if (text[0] != L'\\') {
      if (text[0] > 0x7E || text[0] == L'"') return false;
      bytes->push_back(static_cast<char>(text[0]));
      text.remove_prefix(1);
    } else if (text.size() > 1 && (text[1] == L'\\' || text[1] == L'"')) {
      bytes->push_back(static_cast<char>(text[1]));
      text.remove_prefix(2);
    } else if (text.size() > 3 && text[1] == L'x' && ReadHexByte(text.substr(2, 2), bytes)) {
      text.remove_prefix(4);
    } else {
      return false;
    }
  }
  return true;
}

bool ReadHex(std::wstring_view text, std::string* bytes) {
  if (text == L"0") return true;
  for (; !text.empty(); text.remove_prefix(2)) {
    if (!ReadHexByte(text, bytes)) return false;
  }
  return true;
}

/// Reads a number, with or without a sign, that fits the field.
bool ReadFieldNumber(std::wstring_view text, const RecordField& field, std::uint32_t* bits) {
  const bool isNegative = text.starts_with(L'-');
  std::uint32_t number = 0;
  if (!ParseNumber(text.substr(isNegative ? 1 : 0), &number)) return false;
  if (isNegative) {
    if (field.kind != FieldKind::kSigned || number > 0x80000000) return false;
    number = 0 - number;
  } else if (field.kind == FieldKind::kSigned && number > 0x7FFFFFFF) {
    return false;
  }
  *bits = number;
  return field.width == sizeof(std::uint32_t) || number <= 0xFFFF;
}

constexpr std::wstring_view kBlanks = L" \t\r";

/// The end of a message about an unknown field name.
std::wstring NearestField(const std::wstring& name) {
  std::vector<std::wstring> names;
  for (const RecordField& field : RecordFields()) names.push_back(Widen(field.name));
  return DidYouMean(name, std::vector<std::wstring_view>(names.begin(), names.end()));
}

/// The message that a text does not name every field; empty if it does.
std::wstring MissingFields(const std::set<const RecordField*>& named, const std::wstring& path) {
  const std::size_t missing = RecordFields().size() - named.size();
  if (missing == 0) return {};
  const auto first = std::ranges::find_if(
      RecordFields(), [&](const RecordField& field) { return !named.contains(&field); });
  std::wstring text = L"the field " + Widen(first->name) + L" is missing";
  if (missing > 1)
    text = Format(L"%zu fields are missing, the first is ", missing) + Widen(first->name);
  return path + L": " + text + L"; --defaults PRINTER fills in a printer's defaults";
}

/// Sets the fields that a text names; the reason why it cannot, or empty.
std::wstring ReadText(const std::wstring& text, const std::wstring& path, bool mustNameAll,
                      tagOEMDEV* record) {
  std::set<const RecordField*> named;
  int lineNumber = 0;
  for (std::size_t start = 0; start < text.size();) {
    const std::size_t end = std::min(text.find_first_of(L"\r\n", start), text.size());
    const std::wstring_view line =
        Trim(std::wstring_view(text).substr(start, end - start), kBlanks);
    start = end + (text.compare(end, 2, L"\r\n") == 0 ? 2 : 1);
    ++lineNumber;
    if (line.empty() || line[0] == L'#') continue;
    const RecordField* field = nullptr;
    std::wstring problem = SetNamedField(line, record, &field);
    if (field != nullptr && !named.insert(field).second) {
      problem = L"the field " + Widen(field->name) + L" has a value already";
    }
    if (!problem.empty()) {
      return Format(L"%ls:%d: %ls", path.c_str(), lineNumber, problem.c_str());
    }
  }
  return mustNameAll ? MissingFields(named, path) : std::wstring();
}

}  // namespace

bool SetFieldText(tagOEMDEV* record, const RecordField& field, std::wstring_view text) {
  char* target = reinterpret_cast<char*>(record) + field.offset;
  std::string bytes;
  switch (field.kind) {
    case FieldKind::kUnsigned:
    case FieldKind::kSigned: {
      std::wstring number(text);
      if (const auto length = ParseThousandths(text); length && IsLength(field)) {
        number = std::to_wstring(*length);
      }
      std::uint32_t bits = 0;
      if (!ReadFieldNumber(number, field, &bits)) return false;
      SetFieldBits(record, field, bits);
      return true;
    }
    case FieldKind::kGuid: {
      const GUID guid = ParseGuid(std::wstring(text));
      if (IsZeroGuid(guid) && text != FormatGuid({})) return false;
      std::memcpy(target, &guid, sizeof(guid));
      return true;
    }
    case FieldKind::kText:
      if (!Unquote(text, &bytes)) return false;
      break;
    case FieldKind::kBytes:
      if (!ReadHex(text, &bytes)) return false;
      break;
  }
  if (bytes.size() > field.width) return false;
  std::memset(target, 0, field.width);
  std::memcpy(target, bytes.data(), bytes.size());
  return true;
}

std::wstring ValueForm(const RecordField& field) {
  const int width = field.width;
  switch (field.kind) {
    case FieldKind::kUnsigned:
    case FieldKind::kSigned: {
      const bool isSigned = field.kind == FieldKind::kSigned;
      const std::int64_t max = (std::int64_t{1} << (width * 8 - (isSigned ? 1 : 0))) - 1;
      std::wstring text =
          Format(L"a number from %lld to %lld", static_cast<long long>(isSigned ? -max - 1 : 0),
                 static_cast<long long>(max));
      if (IsLength(field)) text += L", or a length such as 50mm or 2in";
      return text;
    }
    case FieldKind::kText:
      return Format(
          L"at most %d ASCII characters in double quotes, with \\\", \\\\ and \\xHH for others",
          width);
    case FieldKind::kGuid:
      return L"a GUID in braces";
    case FieldKind::kBytes:
      return Format(L"at most %d bytes as hexadecimal digits", width);
  }
  return {};
}

std::wstring SetNamedField(std::wstring_view assignment, tagOEMDEV* record,
                           const RecordField** field) {
  *field = nullptr;
  const std::size_t sign = assignment.find(L'=');
  if (sign == assignment.npos) return L"expected \"Name = value\"";
  const std::wstring name(Trim(assignment.substr(0, sign), kBlanks));
  const RecordField* const known = FindField(name);
  if (known == nullptr) return L"there is no field \"" + name + L"\"" + NearestField(name);
  if (!SetFieldText(record, *known, Trim(assignment.substr(sign + 1), kBlanks))) {
    return L"the value does not fit the field " + Widen(known->name) + L", which takes " +
           ValueForm(*known);
  }
  *field = known;
  return {};
}

const RecordField* FindField(std::wstring_view name) {
  static const auto fields = [] {
    std::map<std::wstring, const RecordField*> byName;
    for (const RecordField& field : RecordFields()) byName[LowerCase(Widen(field.name))] = &field;
    return byName;
  }();
  const auto found = fields.find(LowerCase(std::wstring(name)));
  return found != fields.end() ? found->second : nullptr;
}

std::wstring Short(const std::wstring& text, std::size_t from, std::size_t widest) {
  constexpr std::wstring_view kCut = L"...";
  std::wstring part(from == 0 ? text : std::wstring(kCut) + text.substr(from));
  if (part.size() > widest) part = part.substr(0, widest - kCut.size()).append(kCut);
  return part;
}

std::string RecordAsText(const tagOEMDEV& record) {
  std::string text(kTitle);
  for (const RecordField& field : RecordFields()) {
    text += std::string(field.name) + " = " + WideToUtf8(FieldText(record, field)) + '\n';
  }
  return text;
}

tagOEMDEV RecordFromText(const std::wstring& text, const std::wstring& path,
                         const tagOEMDEV* defaults) {
  tagOEMDEV record = defaults != nullptr ? *defaults : tagOEMDEV{};
  const std::wstring problem = ReadText(text, path, defaults == nullptr, &record);
  if (!problem.empty()) Fail(kFindings, problem);
  return record;
}

std::optional<ParsedRecord> ParseRecord(const std::string& bytes, const std::wstring& path,
                                        const tagOEMDEV* defaults, std::wstring* problem,
                                        const std::wstring& printer) {
  const std::wstring title = Widen(kTitle.substr(0, kTitle.size() - 1));
  ParsedRecord parsed{};
  if (const std::wstring text = DecodeText(bytes); text.starts_with(title)) {
    parsed.form = RecordForm::kAsText;
    if (defaults != nullptr) parsed.record = *defaults;
    *problem = ReadText(text, path, defaults == nullptr, &parsed.record);
    return problem->empty() ? std::optional(parsed) : std::nullopt;
  }
  if (bytes.size() == sizeof(tagOEMDEV)) {
    std::memcpy(&parsed.record, bytes.data(), sizeof(tagOEMDEV));
    return parsed;
  }
  RecordSearch search = FindRecords(bytes, printer);
  if (!search.record) {
    *problem =
        Format(L"%ls: no record found: %ls; a record has %zu bytes, or the first line \"%ls\"",
               path.c_str(), search.content.c_str(), sizeof(tagOEMDEV), title.c_str());
    return {};
  }
  return ParsedRecord{*search.record, RecordForm::kEnclosed, std::move(search.places)};
}

void WriteRecord(const std::wstring& path, const tagOEMDEV& record, bool asText, Written written) {
  SaveFile(path,
           asText ? RecordAsText(record) : std::string(RecordBytes(record, 0, sizeof(record))),
           written);
}

}  // namespace orv::tool
