#include "tools/orv/xml/faults.h"

#include <algorithm>

#include "orv/xml/markup.h"
#include "tools/orv/common/spelling.h"

namespace orv::tool {
namespace {

/// Faults by cause, because one fault causes others: invalid markup hides tags, a missing tag
/// leaves its partner unmatched, and both leave more than one root element.
enum class Cause { kMarkup, kEndTag, kStartTag, kRoot };

struct FaultKind {
  const wchar_t* entry;
  Cause cause;
  const wchar_t* text;
  const wchar_t* allowed;
  const wchar_t* proposal;
};
constexpr FaultKind kKinds[] = {
    {L"unterminated_tag_syntax", Cause::kMarkup, L"the text ends inside this markup",
     L"markup with its end", L">"},
    {L"first_tag_syntax", Cause::kMarkup, L"this '<' is not valid markup",
     L"a name, '/', '!' or '?' after it", L"&lt;"},
    {L"exclamation_tag_syntax", Cause::kMarkup, L"this '<!' is not valid markup",
     L"'--', '[CDATA[' or 'DOCTYPE' after it", L"&lt;!"},
    {L"doctype_tag_syntax", Cause::kMarkup, L"this is not a valid declaration",
     L"only declarations", L"nothing"},
    {L"comment_tag_syntax", Cause::kMarkup, L"this is not a valid comment", L"a comment", L"<!--"},
    {L"cdata_section_syntax", Cause::kMarkup, L"this is not a valid CDATA section",
     L"a CDATA section", L"<![CDATA["},
    {L"lone_end_tag", Cause::kEndTag, L"the end tag closes no open element",
     L"the end tag of the element that is open", L"nothing"},
    {L"unended_start_tag", Cause::kStartTag, L"the element is never closed", L"one end tag for it",
     L"nothing"},
    {L"root_has_sibling", Cause::kRoot, L"there is more than one root element",
     L"one root element with all others in it",
     L"one element around them, or nothing after the first"},
    {L"no_root_element", Cause::kRoot, L"there is no root element", L"one root element",
     L"<root/>"},
};

/// A fault in the result document.
struct Entry {
  const FaultKind* kind;
  int offset;
  std::wstring name;  ///< of the element
};

std::vector<Entry> EntriesOf(const std::wstring& result) {
  std::vector<Entry> found;
  CMarkup entries(result);
  while (entries.FindElem()) {
    for (const FaultKind& kind : kKinds) {
      if (entries.GetTagName() != kind.entry) continue;
      const std::wstring offset = entries.GetAttrib(L"offset");
      found.push_back(
          {&kind, offset.empty() ? 0 : std::stoi(offset), entries.GetAttrib(L"tagname")});
    }
  }
  std::ranges::stable_sort(found, [](const Entry& a, const Entry& b) {
    return std::pair(a.kind->cause, a.offset) < std::pair(b.kind->cause, b.offset);
  });
  return found;
}

/// The missing end tag of a fault: for an element its own; for an unmatched end tag that of the
/// open element with the nearest name.
std::wstring EndTagFor(const Entry& entry, const std::vector<Entry>& all) {
  std::wstring name = entry.name;
  if (entry.kind->cause == Cause::kEndTag) {
    std::vector<std::wstring_view> open;
    for (const Entry& other : all) {
      const bool isOpen = other.kind->cause == Cause::kStartTag && other.offset < entry.offset;
      if (isOpen) open.push_back(other.name);
    }
    name = Nearest(entry.name, open);
  }
  return name.empty() ? entry.kind->proposal : L"</" + name + L">";
}

}  // namespace

std::vector<XmlFault> FaultsOf(const std::wstring& result) {
  const std::vector<Entry> entries = EntriesOf(result);
  std::vector<XmlFault> faults;
  for (const Entry& entry : entries) {
    const bool isTag = entry.kind->cause == Cause::kEndTag || entry.kind->cause == Cause::kStartTag;
    faults.push_back(
        {entry.offset, entry.kind->text + (entry.name.empty() ? L"" : L": " + entry.name),
         entry.kind->allowed, isTag ? EndTagFor(entry, entries) : entry.kind->proposal});
  }
  return faults;
}

}  // namespace orv::tool
