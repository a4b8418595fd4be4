#include <algorithm>
#include <vector>

#include "fuzz/targets.h"
#include "fuzz/xml_edits.h"
#include "orv/xml/line_index.h"
#include "orv/xml/markup.h"
#include "platform/files.h"
#include "tests/xml_fixture.h"

namespace orv::fuzz {
namespace {

using test::DumpIndex;
using test::IndexFault;

/// Reads everything at the current place. Functions that take time linear in the element are called
/// only for short ones, so that a document takes time linear in its length.
void AskAll(CMarkup& doc) {
  const int length = static_cast<int>(doc.GetDoc().size());
  Require(doc.GetElemOffset() < std::max(length, 1), "an element is inside the text");
  Require(doc.GetChildElemOffset() < std::max(length, 1), "a child is inside the text");
  Require(doc.GetContentOffset() <= length, "content is inside the text");
  doc.GetTagName();
  doc.GetChildTagName();
  doc.GetNodeType();
  doc.GetTagNamePointer();
  doc.GetDataPointer();
  std::wstring name;
  std::wstring value;
  for (int i = 0; i < 20 && doc.GetNthAttrib(i, name, value); ++i) {
    Require(doc.GetAttribName(i) == name, "an attribute has one name");
    Require(doc.GetAttribOffset(name.c_str()) < length, "an attribute is inside the text");
  }
  if (length > 4096) return;
  doc.GetPath();
  doc.GetData();
  doc.GetChildData();
  doc.GetElemContent();
  doc.GetChildSubDoc();
  const std::wstring part = doc.GetSubDoc();
  Require(doc.GetDoc().find(part) != std::wstring::npos, "a sub-document is part of the text");
}

/// Visits every element in document order.
void WalkElements(CMarkup& doc) {
  doc.ResetPos();
  for (int depth = 0; depth >= 0;) {
    if (doc.FindElem()) {
      AskAll(doc);
      doc.FindChildElem();
      doc.ResetChildPos();
      doc.IntoElem();
      ++depth;
    } else if (--depth >= 0) {
      Require(doc.OutOfElem(), "what was gone into is come out of");
    }
  }
}

/// Visits every node of the top level, and of each element that `descend` picks.
void WalkNodes(CMarkup& doc, Reader* choices) {
  doc.ResetPos();
  for (std::size_t steps = 0; steps < 2 * doc.GetDoc().size() + 2; ++steps) {
    if (doc.FindNode() == 0) {
      if (!doc.OutOfElem()) break;
      continue;
    }
    AskAll(doc);
    if (doc.GetNodeType() == CMarkup::NODE_ELEMENT && choices->Byte() % 2 == 0) doc.IntoElem();
  }
}

}  // namespace

void XmlParse(Input input) {
  Reader reader(input);
  CMarkup doc(reader.Below(0x400) & 0x308);
  Reader choices(reader.Bytes(8));
  const std::wstring text = AsText(reader.Rest());
  const bool isGood = doc.SetDoc(text);
  Require(doc.GetDoc() == std::wstring(text.c_str()) || doc.GetDoc() == text, "a text is kept");
  Require(isGood == doc.IsWellFormed(), "parsing tells what the document says");
  Require(IndexFault(doc).empty(), "the index agrees with itself");
  doc.GetError();
  WalkElements(doc);
  WalkNodes(doc, &choices);
  if (doc.SavePos(L"here")) Require(doc.RestorePos(L"here"), "a saved place is found again");
  LineIndex(doc.GetDoc()).Find(static_cast<int>(doc.GetDoc().size()));
  CMarkup again;
  again.SetDocFlags(doc.GetDocFlags());
  again.SetDoc(doc.GetDoc());
  Require(DumpIndex(doc) == DumpIndex(again), "reading changes nothing");
  Require(CMarkup(doc).GetDoc() == doc.GetDoc(), "a copy is equal");
}

void XmlEdit(Input input) {
  Reader reader(input);
  Reader steps(reader.Bytes(reader.Byte()));
  CMarkup doc(AsText(reader.Bytes(2000)));
  CMarkup fresh;
  while (!steps.IsAtEnd()) {
    const unsigned what = steps.Byte();
    const unsigned where = static_cast<unsigned>(steps.Below(0x10000));
    ApplyEdit(doc, {what, where, steps.Byte()});
    AskAll(doc);
    fresh.SetDoc(doc.GetDoc());
    Require(DumpIndex(doc) == DumpIndex(fresh), "the index is the one of a new parse");
    Require(IndexFault(doc).empty(), "the index agrees with itself");
  }
}

void XmlFile(Input input) {
  static constexpr int kForms[] = {0, CMarkup::DOC_UTF16LEFILE, CMarkup::DOC_UTF16BEFILE,
                                   CMarkup::DOC_UTF8MARK};
  const std::wstring file = FromPath(AsFile(input));
  const std::wstring copy = FromPath(OutputFile());
  CMarkup doc;
  doc.Load(file);
  doc.GetError();
  Require(IndexFault(doc).empty(), "the index agrees with itself");
  for (const int form : kForms) {
    int flags = form | CMarkup::DOC_LOSSY;
    std::wstring result;
    if (!CMarkup::WriteTextFile(0, copy, doc.GetDoc(), &result, &flags)) {
      Require(result.find(L"does not support") != result.npos, "only its encoding prevents it");
      continue;
    }
    std::wstring text;
    Require(CMarkup::ReadTextFile(0, copy, text), "what was written is read");
  }
  CMarkup parts;
  Require(parts.Open(file, CMarkup::DOC_READFILE), "a file is opened");
  for (std::size_t steps = 0; steps < 2 * input.size() + 8; ++steps) {
    if (parts.FindElem()) {
      parts.GetTagName();
      parts.GetData();
      parts.IntoElem();
    } else if (!parts.OutOfElem()) {
      break;
    }
  }
  parts.Close();
  Require(parts.Open(file, CMarkup::DOC_READFILE), "a file is opened again");
  for (std::size_t steps = 0; steps < input.size() + 8 && parts.FindNode() != 0; ++steps) {
    parts.GetData();
  }
  parts.Close();
}

void XmlEscape(Input input) {
  const std::wstring text(AsText(input).c_str());
  for (const int flags : {0, int{CMarkup::ESC_ATTRIB}}) {
    const std::wstring escaped = CMarkup::EscapeText(text, flags);
    Require(escaped.find(L'<') == std::wstring::npos, "an escaped text holds no markup");
    Require(CMarkup::UnescapeText(escaped.c_str()) == text, "escaping is undone by unescaping");
  }
  const std::wstring plain = CMarkup::UnescapeText(text.c_str());
  Require(CMarkup::UnescapeText(text.c_str(), static_cast<int>(text.size())) == plain,
          "a length says what the end says");
  const std::wstring kept = CMarkup::EscapeText(text, CMarkup::ADD_KEEPREFS);
  Require(CMarkup::EscapeText(kept, CMarkup::ADD_KEEPREFS) == kept, "kept references stay");
  CMarkup::UnescapeText(text.c_str(), -1,
                        CMarkup::DOC_TRIMWHITESPACE | CMarkup::DOC_COLLAPSEWHITESPACE);
}

void Base64(Input input) {
  const auto size = static_cast<int>(input.size());
  const std::wstring text = CMarkup::EncodeBase64(input.data(), size);
  std::vector<unsigned char> bytes(input.size());
  // Without a buffer the result is a size.
  if (size > 0) {
    Require(CMarkup::DecodeBase64(text, bytes.data(), size) == size, "all bytes come back");
  }
  Require(std::equal(bytes.begin(), bytes.end(), input.begin()), "the same bytes come back");
  const std::wstring any = AsText(input);
  const int room = CMarkup::DecodeBase64(any, nullptr, 0);
  for (const int limit : {room, room / 2, 1}) {
    std::vector<unsigned char> target(static_cast<std::size_t>(limit));
    if (limit > 0) {
      Require(CMarkup::DecodeBase64(any, target.data(), limit) <= limit, "the buffer is enough");
    }
  }
}

}  // namespace orv::fuzz
