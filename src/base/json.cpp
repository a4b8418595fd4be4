#include "base/json.h"

#include <charconv>
#include <cmath>

#include "base/hex.h"
#include "base/utf8.h"

namespace orv {

std::string JsonString(std::wstring_view text) {
  std::string json = "\"";
  for (const char byte : WideToUtf8(text)) {
    if (byte == '"' || byte == '\\') {
      json += {'\\', byte};
    } else if (static_cast<unsigned char>(byte) < 0x20) {
      json += "\\u00" + HexOf({&byte, 1});
    } else {
      json += byte;
    }
  }
  return json + '"';
}

void JsonWriter::Key(std::string_view name) {
  StartElement();
  text_ += JsonString(Utf8ToWide(name)) + ": ";
  afterKey_ = true;
}

void JsonWriter::Value(std::wstring_view text) { Element(JsonString(text)); }

void JsonWriter::TextPart(std::wstring_view text) {
  const std::string quoted = JsonString(text);
  text_.append(quoted, 1, quoted.size() - 2);
}

void JsonWriter::Value(std::int64_t number) { Element(std::to_string(number)); }

void JsonWriter::Value(std::uint64_t number) { Element(std::to_string(number)); }

void JsonWriter::Value(double number) {
  if (!std::isfinite(number)) return Null();
  char buffer[32];
  // A double has 15 exact digits; more would show rounding errors (0.06000000000000001).
  const std::to_chars_result result =
      std::to_chars(buffer, buffer + sizeof buffer, number, std::chars_format::general, 15);
  Element(std::string_view(buffer, static_cast<std::size_t>(result.ptr - buffer)));
}

void JsonWriter::Value(bool truth) { Element(truth ? "true" : "false"); }

void JsonWriter::Null() { Element("null"); }

void JsonWriter::Begin(char bracket) {
  StartElement();
  text_ += bracket;
  ++depth_;
  isFirst_ = true;
}

void JsonWriter::End(char bracket) {
  --depth_;
  if (!isFirst_) NewLine();
  text_ += bracket;
  isFirst_ = false;
}

void JsonWriter::Element(std::string_view written) {
  StartElement();
  text_ += written;
}

void JsonWriter::StartElement() {
  if (!afterKey_ && depth_ > 0) {
    if (!isFirst_) text_ += ',';
    NewLine();
  }
  afterKey_ = false;
  isFirst_ = false;
}

void JsonWriter::NewLine() {
  if (style_ == Style::kOneLine) return;
  text_ += '\n';
  text_.append(depth_ * 2, ' ');
}

}  // namespace orv
