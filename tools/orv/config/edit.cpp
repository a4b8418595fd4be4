#include "tools/orv/config/edit.h"

#include <algorithm>
#include <set>

#include "base/utf8.h"
#include "config/config_loader.h"
#include "config/values.h"
#include "orv/config/config_parser.h"
#include "orv/crypto/crypto_helper.h"
#include "orv/xml/cursor.h"
#include "orv/xml/line_index.h"
#include "orv/xml/markup.h"
#include "tools/orv/common/outcome.h"
#include "tools/orv/common/output.h"
#include "tools/orv/common/spelling.h"
#include "tools/orv/config/text.h"

namespace orv::tool {
namespace {

/// The position of the digest in a document.
struct DigestPlace {
  std::size_t offset;  ///< of the value
  std::size_t length;
};

/// Finds the digest of a document and adds an empty one if it is missing; false when the document
/// has no property to add it after.
bool FindDigest(std::wstring* text, DigestPlace* place) {
  CMarkup xml(*text);
  if (!xml.FindElem(L"xmlData") || !xml.FindChildElem(L"fileInfo") || !xml.IntoElem() ||
      !xml.FindChildElem(L"properties") || !xml.IntoElem()) {
    return false;
  }
  bool found = false;
  std::size_t emptyTagEnd = 0;
  std::size_t last = 0;
  std::size_t lastEnd = 0;
  while (xml.FindChildElem(L"property")) {
    xml.IntoElem();
    last = static_cast<std::size_t>(xml.GetElemOffset());
    lastEnd = last + xml.GetSubDoc().size();
    if (EqualsIgnoringAsciiCase(xml.GetAttrib(L"name"), L"sha256")) {
      // The loader uses the last of several digests.
      const int content = xml.GetContentOffset();
      *place = {static_cast<std::size_t>(content), xml.GetElemContent().size()};
      emptyTagEnd = content < 0 ? lastEnd : 0;
      found = true;
    }
    xml.OutOfElem();
  }
  if (emptyTagEnd != 0) {
    // Split an empty-element tag into a start tag and an end tag.
    const std::size_t slash = text->rfind(L'/', emptyTagEnd);
    text->replace(slash, emptyTagEnd - slash, L"></property>");
    *place = {slash + 1, 0};
  }
  if (found) return true;
  if (lastEnd == 0) return false;
  // Add a line, indented like the property before it.
  const std::size_t line = text->find_last_not_of(L" \t", last - 1) + 1;
  const std::wstring start =
      L"\n" + text->substr(line, last - line) + L"<property name=\"sha256\">";
  text->insert(lastEnd, start + L"</property>");
  *place = {lastEnd + start.size(), 0};
  return true;
}

/// A property of a file with the names of the elements around it.
struct PlacedProperty {
  FoundProperty property;
  std::vector<std::wstring_view> around;
};

/// All properties, in the order of the text.
std::vector<PlacedProperty> PropertiesOf(CMarkup* xml) {
  struct Element {
    std::wstring_view name;
    int end;
  };
  std::vector<PlacedProperty> found;
  std::vector<Element> around;
  for (CMarkupCursor cursor(*xml); cursor.NextElem();) {
    const int offset = cursor.GetOffset();
    while (!around.empty() && around.back().end <= offset) around.pop_back();
    if (cursor.GetTagName() == L"property") {
      cursor.MoveTo(*xml);
      found.push_back({PropertyAt(xml), {}});
      for (const Element& element : around) found.back().around.push_back(element.name);
    }
    around.push_back({cursor.GetTagName(), offset + static_cast<int>(cursor.GetMarkup().size())});
  }
  return found;
}

/// The property that a key names, see `SetProperty`; ends the command unless there is exactly one.
FoundProperty FindProperty(const EditedConfig& file, const std::wstring& key, int line) {
  const std::size_t dot = key.rfind(L'.');
  const std::wstring section = dot == key.npos ? L"" : key.substr(0, dot);
  const std::wstring name = key.substr(dot + 1);  // npos + 1 is 0
  CMarkup xml(file.text);
  if (!xml.IsWellFormed()) {
    Fail(kFindings, file.path + L": " + xml.GetError() + L" (see orv config check)");
  }
  const LineIndex lines(file.text);
  std::vector<PlacedProperty> found = PropertiesOf(&xml);
  const auto isInSection = [&](const PlacedProperty& placed) {
    return section.empty() ||
           std::any_of(placed.around.begin(), placed.around.end(), [&](std::wstring_view element) {
             return EqualsIgnoringAsciiCase(element, section);
           });
  };
  std::erase_if(found, [&](const PlacedProperty& placed) {
    return !EqualsIgnoringAsciiCase(placed.property.name, name) || !isInSection(placed) ||
           (line != 0 && lines.Find(placed.property.offset).line != line);
  });
  if (found.size() == 1) return std::move(found.front().property);
  if (found.empty()) {
    const std::vector<PlacedProperty> all = PropertiesOf(&xml);
    std::vector<std::wstring_view> names;
    for (const PlacedProperty& placed : all) names.push_back(placed.property.name);
    const std::wstring where =
        line != 0 ? L" in line " + std::to_wstring(line) : DidYouMean(name, names);
    Fail(kUsage, file.path + L" has no property '" + key + L"'" + where);
  }
  std::wstring numbers;
  for (const PlacedProperty& each : found) {
    numbers +=
        (numbers.empty() ? L"" : L", ") + std::to_wstring(lines.Find(each.property.offset).line);
  }
  Fail(kUsage, file.path + L" has several properties '" + key + L"', in the lines " + numbers +
                   L"; choose one with SECTION.KEY or --line LINE");
}

/// A finding as one line.
std::wstring Described(const Finding& finding) {
  return finding.text + L" | allowed: " + finding.allowed + L" | write: " + finding.proposal;
}

}  // namespace

EditedConfig OpenForEdit(const std::wstring& path) {
  EditedConfig file = {path, {}, IsProtectedFile(path)};
  file.text = LoadConfigText(path);
  if (file.text.find(kReplacement) != file.text.npos) {
    Fail(kFindings, path + L" contains bytes that are not UTF-8; a change would lose them");
  }
  return file;
}

void SaveEdited(const EditedConfig& file) {
  const std::string bytes = WideToUtf8(file.text);
  SaveFile(file.path, file.isProtected ? Converted(&ProtectBytes, bytes, file.path) : bytes);
}

void Sign(EditedConfig* file) {
  if (CMarkup xml; !xml.SetDoc(file->text)) {
    Fail(kFindings, file->path + L": " + xml.GetError() + L" (see orv config check)");
  }
  DigestPlace place{};
  if (!FindDigest(&file->text, &place)) {
    Fail(kFindings,
         file->path +
             L" has no <xmlData><fileInfo><properties> with a <property> to add the digest after");
  }
  file->text.replace(place.offset, place.length, kDigestPlaceholder);
  file->text.replace(place.offset, std::size(kDigestPlaceholder) - 1, ConfigDigest(file->text, {}));
}

void FollowProposals(EditedConfig* file,
                     const std::function<std::vector<Finding>(const std::wstring&)>& check) {
  const std::wstring original = file->text;
  std::set<std::wstring> seen;
  bool isUnsigned = false;
  while (seen.insert(file->text).second) {
    const std::vector<Finding> findings = check(file->text);
    const auto first = std::find_if(findings.begin(), findings.end(),
                                    [](const Finding& finding) { return !finding.edits.empty(); });
    if (first == findings.end()) {
      isUnsigned = std::any_of(findings.begin(), findings.end(), [](const Finding& finding) {
        return finding.rule->name == L"digest" || finding.rule->name == L"not-signed";
      });
      break;
    }
    file->text = Edited(file->text, first->edits);
  }
  if (isUnsigned || file->text != original) Sign(file);
}

void SetProperty(EditedConfig* file, const std::wstring& key, const std::wstring& value, int line,
                 bool isForced) {
  const FoundProperty property = FindProperty(*file, key, line);
  const TextEdit edit = ReplacedValue(property, value);
  file->text = Edited(file->text, {edit});
  if (isForced) return;
  const int end = edit.offset + static_cast<int>(edit.text.size());
  for (const Finding& finding : CheckConfig(file->text, {})) {
    const std::wstring_view rule = finding.rule->name;
    const bool isHere = finding.offset >= property.offset && finding.offset <= end;
    if (isHere && rule != L"digest" && rule != L"placeholder-left") {
      Fail(kFindings, Described(finding) + L" (nothing was written)");
    }
  }
}

FoundProperty PropertyWithValueAt(const std::wstring& text, int offset) {
  CMarkup xml(text);
  for (PlacedProperty& placed : PropertiesOf(&xml)) {
    if (placed.property.valueOffset == offset) return std::move(placed.property);
  }
  return {};
}

}  // namespace orv::tool
