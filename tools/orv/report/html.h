#pragma once

#include <initializer_list>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

/// Writes an HTML document that is also well-formed XML.

namespace orv::tool {

/// A name, which is not escaped, and a value, which is escaped. An attribute with an empty value is
/// not written.
using HtmlAttribute = std::pair<std::string_view, std::wstring>;
using HtmlAttributes = std::initializer_list<HtmlAttribute>;

/// Escapes all text, so the content of a file cannot become markup. Control characters are shown as
/// escapes such as "\t"; a line feed breaks the line.
///
///   html.Begin("p", {{"class", L"note"}});
///   html.Text(L"written by ");
///   html.Element("code", name);
///   html.End();
class HtmlWriter {
 public:
  void Begin(std::string_view tag, HtmlAttributes attributes = {});
  /// Ends the innermost element that was begun.
  void End();
  void Text(std::wstring_view text);
  /// An element that contains only text.
  void Element(std::string_view tag, std::wstring_view text, HtmlAttributes attributes = {});
  /// An element that never has content, such as `img`.
  void Empty(std::string_view tag, HtmlAttributes attributes);
  /// Trusted markup, not escaped.
  void Raw(std::string_view markup) { text_ += markup; }

  const std::string& text() const { return text_; }

 private:
  void Start(std::string_view tag, HtmlAttributes attributes);

  std::string text_;
  std::vector<std::string> open_;
};

/// A cell's text, and a note below it in small print.
struct HtmlCell {
  std::wstring text;
  std::wstring note = {};
};

/// A table with a caption; the first column names the rows. On a narrow screen, tables with more
/// than two columns show the cells of a row below each other, each after its column title.
class HtmlTable {
 public:
  HtmlTable(HtmlWriter* html, std::wstring_view caption, std::vector<std::wstring> titles);
  HtmlTable(const HtmlTable&) = delete;
  HtmlTable& operator=(const HtmlTable&) = delete;
  ~HtmlTable();

  /// Adds a row of as many cells as there are titles; `kind` is its class for the style sheet.
  void Row(const std::vector<HtmlCell>& cells, const std::wstring& kind = {});

 private:
  HtmlWriter& html_;
  std::vector<std::wstring> titles_;
};

}  // namespace orv::tool
