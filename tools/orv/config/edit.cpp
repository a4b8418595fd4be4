#include "tools/orv/config/edit.h"

#include <algorithm>
#include <map>
#include <set>
#include <utility>

#include "base/utf8.h"
#include "config/config_loader.h"
#include "config/values.h"
#include "orv/config/config_parser.h"
#include "orv/crypto/crypto_helper.h"
#include "orv/text/format.h"
#include "orv/xml/cursor.h"
#include "orv/xml/line_index.h"
#include "orv/xml/markup.h"
#include "tools/orv/common/input.h"
#include "tools/orv/common/outcome.h"
#include "tools/orv/common/output.h"
#include "tools/orv/common/spelling.h"
#include "tools/orv/config/check_rules.h"
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
  const bool isCrLf = line >= 2 && text->compare(line - 2, 2, L"\r\n") == 0;
  const std::wstring start =
      (isCrLf ? L"\r\n" : L"\n") + text->substr(line, last - line) + L"<property name=\"sha256\">";
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
    Fail(kFindings, InputName(file.path) + L": " + xml.GetError() + L" (see orv config check)");
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
        line != 0 ? L" on line " + std::to_wstring(line) : DidYouMean(name, names);
    Fail(kUsage, InputName(file.path) + L" has no property '" + key + L"'" + where);
  }
  std::wstring numbers;
  for (const PlacedProperty& each : found) {
    numbers +=
        (numbers.empty() ? L"" : L", ") + std::to_wstring(lines.Find(each.property.offset).line);
  }
  Fail(kUsage, InputName(file.path) + L" has several properties '" + key + L"', in lines " +
                   numbers + L"; choose one with " + (section.empty() ? L"SECTION.KEY or " : L"") +
                   L"orv config set --line LINE");
}

/// A finding as one line.
std::wstring Described(const Finding& finding) {
  return finding.text + L" | allowed: " + finding.allowed + L" | write: " + finding.proposal;
}

bool IsAboutDigest(const Finding& finding) {
  return finding.rule->name == L"digest" || finding.rule->name == L"not-signed";
}

/// Where the section of an offset begins: its last start tag of properties.
std::size_t SectionAt(const std::wstring& text, int offset) {
  return text.rfind(L"<properties", static_cast<std::size_t>(offset));
}

/// Whether a finding only removes a repeated speed that begins a line: such removals do not
/// affect each other.
bool RemovesLine(const std::wstring& text, const Finding& finding) {
  if (finding.rule->name != L"speed-duplicate") return false;
  const wchar_t first = text[static_cast<std::size_t>(finding.edits.front().offset)];
  return first == L'\r' || first == L'\n';
}

}  // namespace

void FailOn(const std::optional<EditProblem>& problem) {
  if (problem) Fail(problem->exitCode, problem->text);
}

std::optional<EditProblem> OpenForEdit(const std::wstring& path, EditedConfig* file) {
  *file = {path, {}, IsProtectedFile(path)};
  std::wstring problem;
  if (!ReadConfigText(path, &file->text, &problem)) return EditProblem{kUnreadable, problem};
  if (file->text.find(kReplacement) == file->text.npos) return {};
  return EditProblem{
      kFindings, InputName(path) + L" contains bytes that are not UTF-8; a change would lose them"};
}

void SaveEdited(const EditedConfig& file, Written written) {
  const std::string bytes = WideToUtf8(file.text);
  SaveFile(file.path, file.isProtected ? Converted(&ProtectBytes, bytes, file.path) : bytes,
           written);
}

std::optional<EditProblem> Sign(EditedConfig* file) {
  if (CMarkup xml; !xml.SetDoc(file->text)) {
    return EditProblem{kFindings,
                       InputName(file->path) + L": " + xml.GetError() + L" (see orv config check)"};
  }
  DigestPlace place{};
  if (!FindDigest(&file->text, &place)) {
    return EditProblem{
        kFindings,
        InputName(file->path) +
            L" has no <xmlData><fileInfo><properties> with a <property> to add the digest after"};
  }
  file->text.replace(place.offset, place.length, kDigestPlaceholder);
  file->text.replace(place.offset, std::size(kDigestPlaceholder) - 1, ConfigDigest(file->text, {}));
  constexpr std::size_t kProtection = 36;  // what a protected file has in addition, at most
  if (WideToUtf8(file->text).size() + (file->isProtected ? kProtection : 0) <= kMaxLoadedSize)
    return {};
  return EditProblem{kFindings, TooLargeToLoad(InputName(file->path))};
}

std::optional<EditProblem> FollowProposals(EditedConfig* file, const FindingsOf& findingsOf) {
  const std::wstring original = file->text;
  std::set<std::size_t> seen;  // hashes of texts: proposals that contradict each other end
  std::vector<Finding> findings;
  for (;;) {
    findings = findingsOf(file->text);
    std::vector<TextEdit> edits;
    std::map<std::size_t, bool> sections;  // whether all edits so far remove lines
    for (const Finding& finding : findings) {
      if (finding.edits.empty()) continue;
      const auto [section, isFirst] =
          sections.try_emplace(SectionAt(file->text, finding.offset), true);
      // One round for each repeated speed would take far too long for many of them.
      const bool canJoin = section->second && RemovesLine(file->text, finding);
      section->second = canJoin;
      if (!isFirst && !canJoin) continue;
      edits.insert(edits.end(), finding.edits.begin(), finding.edits.end());
    }
    if (edits.empty() || !seen.insert(std::hash<std::wstring>()(file->text)).second) break;
    file->text = Edited(file->text, std::move(edits));
  }
  const bool isUnsigned = std::ranges::any_of(findings, IsAboutDigest);
  if (!isUnsigned && file->text == original) return {};
  return Sign(file);
}

void SetProperty(EditedConfig* file, const std::wstring& key, const std::wstring& value, int line) {
  const FoundProperty property = FindProperty(*file, key, line);
  if (EqualsIgnoringAsciiCase(property.name, L"sha256")) {
    Fail(kUsage, L"sha256 is the digest of the file, which the command computes");
  }
  file->text = Edited(file->text, {ReplacedValue(property, value)});
}

std::wstring FaultOf(const EditedConfig& file, const std::vector<std::wstring>& keys, int line,
                     const std::vector<Finding>& before, const std::vector<Finding>& findings) {
  for (const std::wstring& key : keys) {
    const FoundProperty property = FindProperty(file, key, line);
    // An empty-element tag has no text, and its findings are at the tag.
    const int size = property.slot.text.empty() ? property.slot.length : 0;
    const auto isInValue = [&](int offset) {
      // An empty name is reported at its property.
      return offset == property.offset || offset == property.valueOffset ||
             (offset > property.valueOffset && offset < property.valueOffset + size);
    };
    for (const Finding& finding : findings) {
      const auto isSame = [&](const Finding& old) {
        return old.rule == finding.rule && old.offset == finding.offset;
      };
      if (isInValue(finding.offset) && finding.rule->name != L"placeholder-left" &&
          std::none_of(before.begin(), before.end(), isSame)) {
        return Described(finding);
      }
    }
  }
  return {};
}

void SetCheckedProperty(EditedConfig* file, const std::wstring& key, const std::wstring& value,
                        int line) {
  const std::vector<Finding> before = CheckConfig(file->text, {});
  SetProperty(file, key, value, line);
  std::vector<Finding> findings = CheckConfig(file->text, {});
  const std::wstring fault = FaultOf(*file, {key}, line, before, findings);
  if (!fault.empty()) Fail(kFindings, fault + L" (nothing was written)");
  NoteNewFindings(*file, before, std::move(findings));
}

void NoteNewFindings(const EditedConfig& file, const std::vector<Finding>& before,
                     std::vector<Finding> findings) {
  std::erase_if(findings, [&](const Finding& finding) {
    return IsAboutDigest(finding) || std::ranges::any_of(before, [&](const Finding& old) {
             return old.rule == finding.rule && old.text == finding.text;
           });
  });
  if (findings.empty()) return;
  const Finding& first = findings.front();
  const int line = LineIndex(file.text).Find(first.offset).line;
  const std::wstring count =
      findings.size() == 1 ? std::wstring(L"the check then finds")
                           : Format(L"the check then has %zu findings, the first", findings.size());
  PrintNote(count + Format(L" in line %d: ", line) + Described(first));
}

FoundProperty PropertyWithValueAt(const std::wstring& text, int offset) {
  CMarkup xml(text);
  for (PlacedProperty& placed : PropertiesOf(&xml)) {
    if (placed.property.valueOffset == offset) return std::move(placed.property);
  }
  return {};
}

}  // namespace orv::tool
