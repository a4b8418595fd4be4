#include "tools/orv/config/check.h"

#include <algorithm>

#include "base/utf8.h"
#include "config/config_loader.h"
#include "config/values.h"
#include "orv/config/config.h"
#include "orv/config/config_parser.h"
#include "orv/platform/types.h"
#include "orv/xml/markup.h"
#include "tools/orv/config/check_properties.h"
#include "tools/orv/config/checker.h"
#include "tools/orv/config/rules.h"
#include "tools/orv/xml/faults.h"

namespace orv::tool {

std::vector<Finding> Checker::Run() {
  // A system that stopped while the file was written can leave only zeros of it.
  if (!isWellFormed_ && xml_.GetDoc().find_first_not_of(L'\0') == std::wstring::npos &&
      !xml_.GetDoc().empty()) {
    Report(L"not-well-formed", 0, L"the file contains only zero bytes", L"<xmlData>",
           L"a copy of the file from elsewhere");
    return findings_.Take();
  }
  // Read as UTF-8, a UTF-16 file has many errors with one cause.
  constexpr std::size_t kBeginning = 4;
  if (!isWellFormed_ && xml_.GetDoc().find(L'\0') < kBeginning) {
    Report(L"not-well-formed", 0, L"the file is in UTF-16 and is read as UTF-8", L"UTF-8",
           L"orv xml convert --to UTF-8");
    return findings_.Take();
  }
  CheckEncoding();
  for (const XmlFault& fault : FaultsOf(xml_)) {
    Report(L"not-well-formed", fault.offset, fault.text, fault.allowed, fault.proposal);
  }
  if (isWellFormed_) {
    for (const XmlFault& fault : StrictFaultsOf(xml_.GetDoc())) {
      Report(L"not-strict-xml", fault.offset, fault.text, fault.allowed, fault.proposal);
    }
  }
  xml_.ResetPos();
  if (xml_.FindElem(L"xmlData")) {
    CheckRoot();
  } else if (isWellFormed_) {
    Report(L"missing-element", 0, L"the root element is not <xmlData>", L"<xmlData>",
           L"<xmlData> ... </xmlData>");
  }
  // The loader may reject the file for a reason that no rule covers.
  Config config;
  CMarkup fresh;
  fresh.SetDoc(xml_.GetDoc());
  const CString error = CConfigParser::Parse(fresh, config, nullptr);
  if (isWellFormed_ && !error.empty() && !findings_.HasErrors()) {
    Report(L"not-loaded", 0, error, L"a file that loads", L"what the message asks for");
  }
  return WithoutAllowed(xml_.GetDoc(), findings_.Take());
}

void Checker::CheckEncoding() {
  const std::size_t bad = xml_.GetDoc().find(kReplacement);
  if (bad != std::wstring::npos) {
    Report(L"not-utf8", static_cast<int>(bad), L"there are bytes here that are not UTF-8", L"UTF-8",
           L"the same text, saved as UTF-8");
  }
  if (xml_.FindNode(CMarkup::NODE_PROCESSING_INSTRUCTION) == 0 || xml_.GetTagName() != L"xml") {
    return;
  }
  const std::wstring encoding = xml_.GetAttrib(L"encoding");
  if (!encoding.empty() && !EqualsIgnoringAsciiCase(encoding, L"utf-8")) {
    Report(L"declared-encoding", xml_.GetAttribOffset(L"encoding"),
           L"the file declares " + encoding + L" and is read as UTF-8", L"UTF-8", L"UTF-8");
  }
}

void Checker::CheckRoot() {
  rootOffset_ = xml_.GetElemOffset();
  ReadFileInfo();
  const FoundProperty* const version = Find(fileInfo_, L"version");
  readsDevice_ = version == nullptr || ToInt(version->value) < kFirstVersionWithoutDevice;
  xml_.IntoElem();
  CheckChildren(readsDevice_ ? std::span<const ElementRule>(kRoot)
                             : std::span<const ElementRule>(kRootWithoutDevice),
                L"xmlData", rootOffset_);
  xml_.OutOfElem();
}

void Checker::ReadFileInfo() {
  CMarkup look(xml_);
  if (!look.FindChildElem(L"fileInfo") || !look.IntoElem() || !look.FindChildElem(L"properties") ||
      !look.IntoElem()) {
    return;
  }
  look.IntoElem();
  while (look.FindElem(L"property")) {
    fileInfo_.push_back({look.GetAttrib(L"name"), look.GetData(), look.GetElemOffset(), 0});
  }
}

std::wstring Edited(std::wstring text, std::vector<TextEdit> edits) {
  std::sort(edits.begin(), edits.end(),
            [](const TextEdit& a, const TextEdit& b) { return a.offset > b.offset; });
  for (const TextEdit& edit : edits) {
    text.replace(static_cast<std::size_t>(edit.offset), static_cast<std::size_t>(edit.length),
                 edit.text);
  }
  return text;
}

std::vector<Finding> CheckConfig(const std::wstring& text, const std::wstring& fileName) {
  return Checker(text, fileName).Run();
}

}  // namespace orv::tool
