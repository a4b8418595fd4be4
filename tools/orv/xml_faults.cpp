#include "tools/orv/xml_faults.h"

#include "orv/xml/markup.h"

namespace orv::tool {

std::vector<XmlFault> FaultsOf(const std::wstring& result) {
  constexpr struct {
    const wchar_t* entry;
    const wchar_t* text;
  } kTexts[] = {
      {L"root_has_sibling", L"there must be one root element"},
      {L"no_root_element", L"there is no element"},
      {L"lone_end_tag", L"the end tag closes no open element"},
      {L"unended_start_tag", L"the element is never closed"},
      {L"unterminated_tag_syntax", L"the text ends inside this markup"},
      {L"first_tag_syntax", L"'<' must be followed by a name, '/', '!' or '?'; write &lt;"},
      {L"exclamation_tag_syntax", L"'<!' must be followed by '--', '[CDATA[' or 'DOCTYPE'"},
      {L"doctype_tag_syntax", L"only declarations may stand here"},
      {L"comment_tag_syntax", L"a comment begins with '<!--'"},
      {L"cdata_section_syntax", L"a CDATA section begins with '<![CDATA['"},
  };
  std::vector<XmlFault> faults;
  CMarkup entries(result);
  while (entries.FindElem()) {
    for (const auto& [entry, text] : kTexts) {
      if (entries.GetTagName() != entry) continue;
      const std::wstring name = entries.GetAttrib(L"tagname");
      const std::wstring offset = entries.GetAttrib(L"offset");
      faults.push_back(
          {offset.empty() ? 0 : std::stoi(offset), name.empty() ? text : text + (L": " + name)});
    }
  }
  return faults;
}

}  // namespace orv::tool
