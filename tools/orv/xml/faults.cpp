#include "tools/orv/xml/faults.h"

#include <algorithm>

#include "orv/xml/strict_check.h"

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
  int end;            ///< where the end tag of an element is missing
  std::wstring name;  ///< of the element
};

int NumberIn(const CMarkup& entry, const wchar_t* attribute) {
  const std::wstring number = entry.GetAttrib(attribute);
  return number.empty() ? 0 : std::stoi(number);
}

std::vector<Entry> EntriesOf(const std::wstring& result) {
  std::vector<Entry> found;
  CMarkup entries(result);
  while (entries.FindElem()) {
    for (const FaultKind& kind : kKinds) {
      if (entries.GetTagName() != kind.entry) continue;
      found.push_back({&kind, NumberIn(entries, L"offset"), NumberIn(entries, L"offset2"),
                       entries.GetAttrib(L"tagname")});
    }
  }
  std::ranges::stable_sort(found, [](const Entry& a, const Entry& b) {
    return std::pair(a.kind->cause, a.offset) < std::pair(b.kind->cause, b.offset);
  });
  return found;
}

/// The innermost element that is open at an unmatched end tag and is neither closed later nor by a
/// corrected end tag (`closed`); null for none.
const Entry* OpenAt(const Entry& endTag, const std::vector<Entry>& all,
                    const std::vector<const Entry*>& closed) {
  const Entry* open = nullptr;  // the inner ones follow the outer ones
  for (const Entry& other : all) {
    const bool isOpen = other.kind->cause == Cause::kStartTag && other.offset < endTag.offset &&
                        endTag.offset <= other.end &&
                        std::ranges::find(closed, &other) == closed.end();
    if (isOpen) open = &other;
  }
  return open;
}

/// Removes faults that only follow from others. Invalid markup can hide the root element, and after
/// a root element that is never closed its children count as further roots.
void RemoveConsequences(const CMarkup& doc, std::vector<Entry>* entries) {
  const auto isOfRoot = [](const Entry& entry) { return entry.kind->cause == Cause::kRoot; };
  if (std::ranges::none_of(*entries, isOfRoot)) return;
  CMarkup first(doc);
  first.ResetPos();
  first.FindElem();
  const auto isCause = [&](const Entry& entry) {
    return entry.kind->cause == Cause::kMarkup ||
           (entry.kind->cause == Cause::kStartTag && entry.offset == first.GetElemOffset());
  };
  if (std::ranges::none_of(*entries, isCause)) return;
  std::erase_if(*entries, isOfRoot);
}

}  // namespace

std::vector<XmlFault> FaultsOf(const CMarkup& doc) {
  std::vector<Entry> entries = EntriesOf(doc.GetResult());
  RemoveConsequences(doc, &entries);
  std::vector<XmlFault> faults;
  std::vector<const Entry*> closed;  // the elements that a corrected end tag closes
  for (const Entry& entry : entries) {
    if (std::ranges::find(closed, &entry) != closed.end()) continue;
    const Entry* unended = entry.kind->cause == Cause::kStartTag ? &entry : nullptr;
    if (entry.kind->cause == Cause::kEndTag) {
      unended = OpenAt(entry, entries, closed);
      if (unended != nullptr) closed.push_back(unended);
    }
    faults.push_back({entry.offset,
                      entry.kind->text + (entry.name.empty() ? L"" : L": " + entry.name),
                      entry.kind->allowed,
                      unended != nullptr ? L"</" + unended->name + L">" : entry.kind->proposal});
  }
  return faults;
}

std::vector<XmlFault> StrictFaultsOf(std::wstring_view text) {
  std::vector<XmlFault> faults;
  for (StrictFault& fault : CheckStrict(text)) {
    faults.push_back(
        {fault.offset, std::move(fault.text), std::move(fault.allowed), std::move(fault.fix)});
  }
  return faults;
}

}  // namespace orv::tool
