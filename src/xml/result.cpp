#include "xml/result.h"

#include "orv/text/format.h"
#include "orv/xml/markup.h"

namespace orv {
namespace {

constexpr std::size_t kFull = 1000;

const wchar_t* ValueAttribute(int flags) {
  if ((flags & kResultType) != 0) return L"type";
  if ((flags & kResultEncoding) != 0) return L"encoding";
  if ((flags & kResultMessage) != 0) return L"msg";
  return L"tagname";
}

const wchar_t* NumberAttribute(int flags) {
  if ((flags & kResultNumber) != 0) return L"n";
  if ((flags & kResultCount) != 0) return L"count";
  if ((flags & kResultLength) != 0) return L"length";
  return L"offset";
}

}  // namespace

bool IsResultFull(const std::wstring& result) { return result.size() >= kFull; }

void AddResult(std::wstring& result, const wchar_t* name, const wchar_t* value, int flags,
               int number, int number2) {
  if (IsResultFull(result)) return;
  std::wstring entry = Format(L"<%ls", name);
  const auto add = [&entry](const wchar_t* attribute, const std::wstring& text) {
    entry += Format(L" %ls=\"%ls\"", attribute, text.c_str());
  };
  if (value != nullptr) add(ValueAttribute(flags), CMarkup::EscapeText(value, CMarkup::ESC_ATTRIB));
  const bool isNumber = (flags & (kResultNumber | kResultCount | kResultLength)) != 0;
  if (isNumber || number != -1) add(NumberAttribute(flags), std::to_wstring(number));
  if (number2 != -1) add(L"offset2", std::to_wstring(number2));
  result += entry + L"/>";
}

}  // namespace orv
