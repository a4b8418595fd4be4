#include "xml/document.h"

#include <functional>
#include <utility>

#include "orv/text/format.h"
#include "platform/pages.h"
#include "xml/delimiters.h"
#include "xml/names.h"
#include "xml/references.h"
#include "xml/result.h"

namespace orv {
namespace {

/// The maximum length of a text that is copied during the parse. The C library copies longer texts
/// with non-temporal stores, which is faster even though the text is then read twice.
constexpr std::size_t kMaxTrailingCopy = (std::size_t{32} << 20) / sizeof(wchar_t);

}  // namespace

bool IsPartOf(std::wstring_view view, const std::wstring& text) {
  const std::less<const wchar_t*> before;
  return !before(view.data(), text.data()) && !before(text.data() + text.size(), view.data());
}

void ReserveUnits(std::size_t size, std::wstring* text) {
  if (size <= text->capacity()) return;
  text->reserve(size);
  wchar_t* const unused = text->data() + text->size();
  PopulatePages(unused, (size - text->size()) * sizeof(wchar_t));
}

bool Document::IsWellFormed() const {
  if ((flags & CMarkup::DOC_WRITEFILE) != 0) return true;
  if (elements.Capacity() == 0) return false;
  if ((flags & CMarkup::DOC_READFILE) != 0) return !IsIllFormed();
  const int root = elements[0].child;
  return !IsIllFormed() && root != 0 && elements[root].next == 0;
}

// --- Parsing ---

void Document::Clear() {
  text.clear();
  elements.Clear();
  result.clear();
}

void Document::ReserveText(std::size_t size) {
  if (size > kMaxDocument || size <= text.capacity()) return;
  std::wstring fresh;
  ReserveUnits(size, &fresh);
  text.swap(fresh);
}

void Document::CopyText(std::wstring_view newText) {
  if (newText.size() > kMaxDocument) newText = {};
  if (newText.size() > kMaxTrailingCopy || IsPartOf(newText, text) || IsPartOf(newText, closed_) ||
      IsPartOf(newText, result)) {
    text.assign(newText);
    result.clear();
    return Index();
  }
  text.clear();
  TrailingCopy copy(newText, &text);
  result.clear();
  Index(newText, &copy);
}

void Document::Index() {
  if (text.size() > kMaxDocument) std::wstring().swap(text);
  Index(text, nullptr);
}

/// Indexes the text, or the text that a copy is being made of.
void Document::Index(std::wstring_view newText, TrailingCopy* copy) {
  gap_ = {};
  std::wstring().swap(closed_);
  faults_ = {};
  needsParse_ = false;
  indexedFlags_ = flags;
  ScanCursor scan = ScanCursor::Of(newText);
  scan.flags = flags;
  const int length = scan.length;
  // Configurations have an element for about every 58 code units, and lists of records one for
  // about every 37, so that one allocation suffices.
  elements.Reset(length / 36 + 8);
  if (length == 0) return;

  const int first = IndexElements(elements, 0, scan, result, &faults_, copy);
  elements.Trim();
  elements[0].length = length;
  elements[0].child = first;
  if (first == 0) {
    AddResult(result, L"no_root_element", nullptr, 0);
  } else if (elements[first].next != 0) {
    AddResult(result, L"root_has_sibling", nullptr, 0);
  }
}

void Document::Assign(const Document& other) {
  std::wstring newText = other.text;
  std::wstring newResult = other.result;
  ElementIndex newElements;
  newElements.Assign(other.elements);

  text = std::move(newText);
  result = std::move(newResult);
  elements = std::move(newElements);
  gap_ = other.gap_;
  CloseGap();
  faults_ = other.faults_;
  needsParse_ = other.needsParse_;
  indexedFlags_ = other.indexedFlags_;
  flags = other.flags;
}

// --- Reading ---

std::wstring_view Document::TagName(int element) const {
  // The start tag of an element being written may be in the file already; its end tag is not.
  if (elements[element].StartTagLength() == kWrittenTag) {
    return NameAt(ContentEnd(element) + 2);
  }
  return NameAt(elements[element].start + 1);
}

std::wstring Document::Data(int element) const {
  std::wstring buffer;
  const std::wstring_view data = Data(element, &buffer);
  return buffer.empty() ? std::wstring(data) : std::move(buffer);
}

std::wstring_view Document::DecodedData(const ElementEntry& entry, std::wstring* buffer) const {
  const std::wstring_view content = Range(entry.ContentStart(), entry.ContentEnd());
  if (content.find(L'<') == content.npos) {
    UnescapeText(content, flags, buffer);
  } else {
    *buffer = MixedData(content);
  }
  return *buffer;
}

/// The data of a content that is more than one run of text.
std::wstring Document::MixedData(std::wstring_view content) const {
  std::wstring data;
  ScanCursor scan = ScanCursor::Of(content);
  ScannedNode node;
  for (;;) {
    switch (ScanNode(scan, node)) {
      case kScanEnd:
        return data;
      case CMarkup::NODE_ELEMENT:
        return {};
      case CMarkup::NODE_TEXT:
      case CMarkup::NODE_WHITESPACE:
        data += Unescape(node.In(content));
        break;
      case CMarkup::NODE_CDATA_SECTION:
        data += NodeData(node.type, node.In(content));
        break;
      default:
        break;
    }
  }
}

std::wstring Document::Unescape(std::wstring_view escaped) const {
  return UnescapeText(escaped, flags);
}

int Document::ContentEnd(int element) const {
  const ElementEntry& entry = elements[element];
  constexpr int kModulus = ElementEntry::kEndTagModulus;
  // A stored length of 0 stands for at least the modulus, because the element has an end tag.
  int end = entry.EndTagLength() != 0 ? entry.ContentEnd() : entry.End() - kModulus;
  while (end - kModulus >= entry.ContentStart() && Range(end, end + 2) != L"</") end -= kModulus;
  return end;
}

std::wstring Document::Path(int element) const {
  std::vector<int> steps;  // from the inside out
  for (int step = element; step != 0; step = elements[step].parent) steps.push_back(step);
  std::wstring path;
  for (; !steps.empty(); steps.pop_back()) {
    const int step = steps.back();
    const std::wstring_view name = TagName(step);
    int number = 1;
    for (int i = step; !elements[i].Has(kElementFirst);) {
      i = elements[i].previous;
      number += SameName(TagName(i), name, IgnoresCase());
    }
    path += L'/';
    path += name;
    if (number > 1) path += Format(L"[%d]", number);
  }
  return path;
}

}  // namespace orv
