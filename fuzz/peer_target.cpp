#include <libxml/parser.h>
#include <libxml/xmlerror.h>

#include <memory>
#include <string>
#include <string_view>

#include "base/utf8.h"
#include "fuzz/targets.h"
#include "orv/xml/strict_check.h"

namespace orv::fuzz {
namespace {

/// Whether a text has nothing that libxml2 judges by other rules. `tests/strict_xml` names them:
/// most concern declarations.
bool IsComparable(std::wstring_view text) {
  for (const std::wstring_view part : {L"<!DOCTYPE", L"encoding", L"1.'", L"1.\"", L"\uFEFF"}) {
    if (text.find(part) != text.npos) return false;
  }
  const bool hasEnd = text.find(L'\0') != text.npos;       // ends the text for libxml2
  return !hasEnd && Utf8ToWide(WideToUtf8(text)) == text;  // without unpaired surrogates
}

/// Whether libxml2 reports an error. Namespaces may be any text, not only URIs.
bool HasPeerFault(const std::string& bytes) {
  bool hasFault = false;
  const auto note = [](void* found, xmlErrorPtr error) {
    const bool isUri = error->code == XML_WAR_NS_URI || error->code == XML_WAR_NS_URI_RELATIVE;
    if (error->level >= XML_ERR_ERROR && !isUri) *static_cast<bool*>(found) = true;
  };
  xmlSetStructuredErrorFunc(&hasFault, note);
  const std::unique_ptr<xmlDoc, void (*)(xmlDoc*)> document(
      xmlReadMemory(bytes.data(), static_cast<int>(bytes.size()), nullptr, nullptr,
                    XML_PARSE_NONET | XML_PARSE_HUGE),
      &xmlFreeDoc);
  xmlSetStructuredErrorFunc(nullptr, nullptr);
  return hasFault || document == nullptr;
}

}  // namespace

void XmlPeer(Input input) {
  const std::wstring text = AsText(input);
  if (!IsComparable(text)) return;
  Require(CheckStrict(text).empty() == !HasPeerFault(WideToUtf8(text)),
          "a text is strict if libxml2 has no objection");
}

}  // namespace orv::fuzz
