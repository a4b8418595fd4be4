#include "devmode/field_text.h"

#include <cstring>

#include "base/hex.h"
#include "orv/devmode/stock_items.h"
#include "orv/platform/types.h"
#include "orv/text/format.h"

namespace orv {
namespace {

std::string_view WithoutTrailingZeros(std::string_view bytes) {
  return bytes.substr(0, bytes.find_last_not_of('\0') + 1);
}

std::wstring Quote(std::string_view bytes) {
  std::wstring text = L"\"";
  for (const char byte : WithoutTrailingZeros(bytes)) {
    const auto code = static_cast<unsigned char>(byte);
    if (byte == '"' || byte == '\\') {
      text += L'\\';
      text += static_cast<wchar_t>(code);
    } else if (code >= 0x20 && code < 0x7F) {
      text += static_cast<wchar_t>(code);
    } else {
      text += Format(L"\\x%02X", static_cast<unsigned>(code));
    }
  }
  return text + L'"';
}

}  // namespace

std::wstring Widen(std::string_view text) { return {text.begin(), text.end()}; }

std::string_view RecordBytes(const tagOEMDEV& record, std::size_t offset, std::size_t size) {
  return {reinterpret_cast<const char*>(&record) + offset, size};
}

std::wstring FieldText(const tagOEMDEV& record, const RecordField& field, LengthFormat format) {
  if (format != nullptr && IsLength(field)) {
    // Files can contain negative lengths for unsigned fields too.
    return NumberText(field, static_cast<std::int32_t>(FieldBits(record, field)), format);
  }
  const std::string_view bytes = RecordBytes(record, field.offset, field.width);
  switch (field.kind) {
    case FieldKind::kUnsigned:
      return std::to_wstring(FieldBits(record, field));
    case FieldKind::kSigned:
      return std::to_wstring(static_cast<std::int32_t>(FieldBits(record, field)));
    case FieldKind::kText:
      return Quote(bytes);
    case FieldKind::kGuid: {
      GUID guid;
      std::memcpy(&guid, bytes.data(), sizeof(guid));
      return FormatGuid(guid);
    }
    case FieldKind::kBytes: {
      const std::wstring text = HexOf<std::wstring>(WithoutTrailingZeros(bytes));
      return text.empty() ? L"0" : text;
    }
  }
  return {};
}

void FieldMember(JsonWriter* json, std::string_view name, const tagOEMDEV& record,
                 const RecordField& field) {
  switch (field.kind) {
    case FieldKind::kUnsigned:
      return json->Member(name, FieldBits(record, field));
    case FieldKind::kSigned:
      return json->Member(name, static_cast<std::int32_t>(FieldBits(record, field)));
    case FieldKind::kText: {
      const std::string_view bytes = RecordBytes(record, field.offset, field.width);
      std::wstring text;
      for (const char byte : WithoutTrailingZeros(bytes)) text += static_cast<unsigned char>(byte);
      return json->Member(name, text);
    }
    case FieldKind::kGuid:
    case FieldKind::kBytes:
      return json->Member(name, FieldText(record, field));
  }
}

bool IsLength(const RecordField& field) { return std::string_view(field.unit) == "1/1000 mm"; }

std::wstring NumberText(const RecordField& field, std::int64_t number, LengthFormat format) {
  return format != nullptr && IsLength(field) ? format(number) : std::to_wstring(number);
}

}  // namespace orv
