#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>

namespace orv {

/// Composes a JSON document: two spaces a level, members in the order of the calls.
///
///   JsonWriter json;
///   json.BeginObject();
///   json.Member("name", name);  // the same as Key("name"), Value(name)
///   json.Key("rows");
///   json.BeginArray();
///   ...
///   json.EndArray();
///   json.EndObject();
///   Save(json.Text());
class JsonWriter {
 public:
  enum class Style { kIndented, kOneLine };
  explicit JsonWriter(Style style = Style::kIndented) : style_(style) {}

  void BeginObject() { Begin('{'); }
  void EndObject() { End('}'); }
  void BeginArray() { Begin('['); }
  void EndArray() { End(']'); }

  /// The name of the next member.
  void Key(std::string_view name);

  void Value(std::wstring_view text);
  void Value(const std::wstring& text) { Value(std::wstring_view(text)); }
  void Value(const wchar_t* text) { Value(std::wstring_view(text)); }
  void Value(std::int64_t number);
  void Value(std::uint64_t number);
  void Value(std::int32_t number) { Value(std::int64_t{number}); }
  void Value(std::uint32_t number) { Value(std::uint64_t{number}); }
  /// A number that is not finite becomes null.
  void Value(double number);
  void Value(bool truth);
  void Null();
  /// A text in parts, which must not divide a surrogate pair.
  void BeginText() { Element("\""); }
  void TextPart(std::wstring_view text);
  void EndText() { text_ += '"'; }

  template <typename T>
  void Member(std::string_view name, const T& value) {
    Key(name);
    Value(value);
  }

  /// The document with its line end.
  std::string Text() const { return text_ + "\n"; }
  /// Removes and returns what has been written so far, so that a long document can be printed in
  /// parts; the last part is `Text`.
  std::string TakeText() { return std::exchange(text_, {}); }

 private:
  void Begin(char bracket);
  void End(char bracket);
  void Element(std::string_view written);
  void StartElement();
  void NewLine();

  Style style_;
  std::string text_;
  std::size_t depth_ = 0;
  bool isFirst_ = true;    ///< the innermost brackets are empty so far
  bool afterKey_ = false;  ///< a member's name was written, its value was not
};

/// A JSON string with its quotes: control characters, quotes and backslashes are escaped; an
/// unpaired surrogate becomes U+FFFD.
std::string JsonString(std::wstring_view text);

}  // namespace orv
