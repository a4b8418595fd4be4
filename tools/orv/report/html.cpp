#include "tools/orv/report/html.h"

#include <algorithm>

#include "tools/orv/common/output.h"

namespace orv::tool {
namespace {

std::string Escaped(std::wstring_view text) {
  constexpr std::pair<char, std::string_view> kEntities[] = {
      {'&', "&amp;"}, {'<', "&lt;"}, {'>', "&gt;"}, {'"', "&quot;"}, {'\'', "&#39;"}};
  std::string escaped;
  for (const char byte : Printable(text)) {
    const auto* const entity =
        std::find_if(std::begin(kEntities), std::end(kEntities),
                     [byte](const auto& candidate) { return candidate.first == byte; });
    if (entity != std::end(kEntities)) {
      escaped += entity->second;
    } else {
      escaped += byte;
    }
  }
  return escaped;
}

}  // namespace

void HtmlWriter::Start(std::string_view tag, HtmlAttributes attributes) {
  text_.append("<").append(tag);
  for (const auto& [name, value] : attributes) {
    if (value.empty()) continue;
    text_.append(" ").append(name).append("=\"").append(Escaped(value)).append("\"");
  }
}

void HtmlWriter::Begin(std::string_view tag, HtmlAttributes attributes) {
  Start(tag, attributes);
  text_ += '>';
  open_.emplace_back(tag);
}

void HtmlWriter::End() {
  text_ += "</" + open_.back() + ">\n";
  open_.pop_back();
}

void HtmlWriter::Text(std::wstring_view text) {
  for (std::size_t end = text.find(L'\n'); end != text.npos; end = text.find(L'\n')) {
    text_ += Escaped(text.substr(0, end)) + "<br/>";
    text.remove_prefix(end + 1);
  }
  text_ += Escaped(text);
}

void HtmlWriter::Element(std::string_view tag, std::wstring_view text, HtmlAttributes attributes) {
  Start(tag, attributes);
  text_ += '>';
  Text(text);
  text_.append("</").append(tag).append(">");
}

void HtmlWriter::Empty(std::string_view tag, HtmlAttributes attributes) {
  Start(tag, attributes);
  text_ += "/>\n";
}

// These are the default roles of the elements, written out because some screen readers drop them
// when a style sheet changes the display of a table.

HtmlTable::HtmlTable(HtmlWriter* html, std::wstring_view caption, std::vector<std::wstring> titles)
    : html_(*html), titles_(std::move(titles)) {
  html_.Begin("table", {{"role", L"table"}, {"class", titles_.size() > 2 ? L"wide" : L""}});
  html_.Element("caption", caption);
  html_.Begin("thead", {{"role", L"rowgroup"}});
  html_.Begin("tr", {{"role", L"row"}});
  for (const std::wstring& title : titles_) {
    html_.Element("th", title, {{"scope", L"col"}, {"role", L"columnheader"}});
  }
  html_.End();
  html_.End();
  html_.Begin("tbody", {{"role", L"rowgroup"}});
}

HtmlTable::~HtmlTable() {
  html_.End();
  html_.End();
}

void HtmlTable::Row(const std::vector<HtmlCell>& cells, const std::wstring& kind) {
  html_.Begin("tr", {{"role", L"row"}, {"class", kind}});
  for (std::size_t i = 0; i < cells.size(); ++i) {
    if (i == 0) {
      html_.Begin("th", {{"scope", L"row"}, {"role", L"rowheader"}});
    } else {
      html_.Begin("td", {{"role", L"cell"}, {"data-title", titles_[i]}});
    }
    // A single child, so that it stays next to the title on a narrow screen.
    html_.Begin("div");
    html_.Text(cells[i].text);
    if (!cells[i].note.empty()) html_.Element("small", cells[i].note);
    html_.End();
    html_.End();
  }
  html_.End();
}

}  // namespace orv::tool
