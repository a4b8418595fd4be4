#include <algorithm>
#include <vector>

#include "base/block_size.h"
#include "fuzz/targets.h"
#include "fuzz/xml_edits.h"
#include "orv/xml/line_index.h"
#include "orv/xml/markup.h"
#include "orv/xml/strict_check.h"
#include "platform/files.h"
#include "tests/xml_fixture.h"

namespace orv::fuzz {
namespace {

using test::DumpIndex;
using test::IndexFault;
using test::ReadFault;

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

/// Characters that XML allows.
std::wstring AsCharacters(Input bytes) {
  std::wstring text = AsText(bytes);
  std::erase_if(text, [](wchar_t unit) {
    const auto code = static_cast<std::uint32_t>(unit);
    return (code < 0x20 && code != '\t' && code != '\n' && code != '\r') || code >= 0xD800;
  });
  return text;
}

/// Writes a document with any text inside its root element.
std::wstring WrittenText(Reader steps) {
  using Write = void (*)(CMarkup&, const std::wstring&, int flags);
  static constexpr Write kWrites[] = {
      [](CMarkup& d, const std::wstring& t, int flags) { d.AddElem(L"a", t.c_str(), flags); },
      [](CMarkup& d, const std::wstring& t, int flags) {
        d.InsertElem(L"\u00e9", t.c_str(), flags);
      },
      [](CMarkup& d, const std::wstring& t, int flags) {
        // The data of an instruction begins with its name.
        const bool isInstruction = d.GetNodeType() == CMarkup::NODE_PROCESSING_INSTRUCTION;
        d.SetData(((isInstruction ? L"p " : L"") + t).c_str(), flags);
      },
      [](CMarkup& d, const std::wstring& t, int) { d.SetAttrib(L"b", t.c_str()); },
      [](CMarkup& d, const std::wstring& t, int) { d.SetAttrib(L"xml:lang", t.c_str()); },
      [](CMarkup& d, const std::wstring& t, int) { d.AddNode(CMarkup::NODE_COMMENT, t.c_str()); },
      [](CMarkup& d, const std::wstring& t, int) {
        d.AddNode(CMarkup::NODE_PROCESSING_INSTRUCTION, (L"p " + t).c_str());
      },
      [](CMarkup& d, const std::wstring& t, int) { d.AddNode(CMarkup::NODE_TEXT, t.c_str()); },
      [](CMarkup& d, const std::wstring& t, int) {
        d.AddNode(CMarkup::NODE_CDATA_SECTION, t.c_str());
      },
      [](CMarkup& d, const std::wstring&, int) { d.RemoveNode(); },
      [](CMarkup& d, const std::wstring&, int) { d.FindNode(); },
      [](CMarkup& d, const std::wstring&, int) { d.IntoElem(); },
  };
  static constexpr int kFlags[] = {0, CMarkup::ADD_NOLINES, CMarkup::ADD_CDATA,
                                   CMarkup::ADD_SPACEDEMPTY};
  CMarkup doc;
  doc.AddElem(L"r");
  doc.IntoElem();
  while (!steps.IsAtEnd()) {
    const int write = steps.Below(int{std::size(kWrites)});
    const int flags = kFlags[steps.Below(int{std::size(kFlags)})];
    kWrites[write](doc, AsCharacters(steps.Bytes(steps.Byte() % 16)), flags);
  }
  return doc.GetDoc();
}

void RequireStrictFault(const StrictFault& fault, const std::wstring& text,
                        const LineIndex& lines) {
  const auto length = static_cast<int>(text.size());
  Require(fault.offset >= 0 && fault.length >= 0 && fault.offset <= length - fault.length,
          "a fault is inside the text");
  const TextPosition at = lines.Find(fault.offset);
  Require(fault.at.line == at.line && fault.at.column == at.column, "a fault has its position");
  Require(!fault.text.empty() && !fault.allowed.empty() && !fault.fix.empty(),
          "a fault is described");
}

/// An input with one byte repeated so often that its node is longer than a part of a file. Empty
/// for most inputs, which are not stretched because that takes time, and for encodings that a part
/// might not reveal.
std::vector<std::uint8_t> Stretched(Input input) {
  constexpr std::size_t kCopies = BlockSize(70'000, 5'000);
  std::uint32_t sum = 0;
  bool isAscii = true;
  for (const std::uint8_t byte : input) {
    sum = sum * 31 + byte;
    isAscii = isAscii && byte < 0x80;
  }
  if (input.empty() || !isAscii || (sum >> 16) % 8 != 0) return {};
  const auto at = static_cast<std::ptrdiff_t>(sum % input.size());
  std::vector<std::uint8_t> bytes(input.begin(), input.end());
  bytes.insert(bytes.begin() + at, kCopies, input[static_cast<std::size_t>(at)]);
  return bytes;
}

void ReadInParts(const std::wstring& file, std::size_t size) {
  CMarkup parts;
  Require(parts.Open(file, CMarkup::DOC_READFILE), "a file is opened");
  for (std::size_t steps = 0; steps < 2 * size + 8; ++steps) {
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
  for (std::size_t steps = 0; steps < size + 8 && parts.FindNode() != 0; ++steps) {
    parts.GetData();
  }
  parts.Close();
}

/// What a walk over the nodes finds; of a file in parts it reads the data in pieces.
std::wstring NodesOf(CMarkup& doc, std::size_t steps) {
  std::wstring seen;
  for (; steps > 0; --steps) {
    const int type = doc.FindNode();
    if (type == CMarkup::NODE_NONE && !doc.OutOfElem()) break;
    seen += std::to_wstring(type) + doc.GetTagName() + doc.GetAttrib(L"a");
    if (type == CMarkup::NODE_ELEMENT) doc.IntoElem();
    if (type <= CMarkup::NODE_ELEMENT) continue;
    std::wstring data;
    for (std::wstring piece; doc.ReadDataPiece(piece);) data += piece;
    seen += data.empty() ? doc.GetData() : data;
  }
  return seen;
}

void CompareParts(const std::wstring& file, std::size_t size) {
  CMarkup memory;
  if (!memory.Load(file)) return;
  CMarkup parts;
  Require(parts.Open(file, CMarkup::DOC_READFILE), "a long file is opened");
  Require(NodesOf(parts, size) == NodesOf(memory, size), "parts read like the whole");
}

}  // namespace

void XmlStrict(Input input) {
  Reader reader(input);
  const Reader steps(reader.Bytes(reader.Byte()));
  Require(CheckStrict(WrittenText(steps)).empty(), "what is written is strict");
  const std::wstring text = AsText(reader.Rest());
  const std::vector<StrictFault> faults = CheckStrict(text);
  const LineIndex lines(text);
  for (const StrictFault& fault : faults) RequireStrictFault(fault, text, lines);
  const auto order = [](const StrictFault& fault) {
    return std::pair(std::max(fault.rule, StrictRule::kInvalidNamespace), fault.offset);
  };
  Require(std::ranges::is_sorted(faults, {}, order), "faults are in order");
  Require(faults.size() <= 1000, "there is a limit");
  const std::vector<StrictFault> again = CheckStrict(text);
  const auto isSame = [](const StrictFault& a, const StrictFault& b) {
    return a.rule == b.rule && a.offset == b.offset && a.length == b.length && a.fix == b.fix;
  };
  Require(std::ranges::equal(faults, again, isSame), "the same text has the same faults");
  Require(!faults.empty() || CMarkup(text).IsWellFormed(), "what is strict is accepted");
}

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
    Require(ReadFault(doc).empty(), "an edited document is read like a copy");
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
  ReadInParts(file, input.size());
  if (const std::vector<std::uint8_t> stretched = Stretched(input); !stretched.empty()) {
    const std::wstring longFile = FromPath(AsFile(stretched));
    ReadInParts(longFile, input.size());
    CompareParts(longFile, input.size());
  }
}

void XmlWrite(Input input) {
  using Write = bool (*)(CMarkup&, const wchar_t* value, unsigned choice);
  static constexpr Write kWrites[] = {
      [](CMarkup& d, const wchar_t* value, unsigned) { return d.AddElem(L"a", value); },
      [](CMarkup& d, const wchar_t*, unsigned flags) {
        return d.AddElem(L"long-name", L"", static_cast<int>(flags % 2 * CMarkup::ADD_SPACEDEMPTY));
      },
      [](CMarkup& d, const wchar_t*, unsigned) { return d.AddSubDoc(L"<s x='>'>t<u/></s>"); },
      [](CMarkup& d, const wchar_t* value, unsigned type) {
        return d.AddNode(1 << type % 7, value);
      },
      [](CMarkup& d, const wchar_t* value, unsigned) { return d.SetAttrib(L"b", value); },
      [](CMarkup& d, const wchar_t*, unsigned) { return d.IntoElem(); },
      [](CMarkup& d, const wchar_t*, unsigned) { return d.OutOfElem(); },
  };
  constexpr std::size_t kSetAttrib = 4;
  constexpr std::size_t kInto = 5;
  constexpr std::size_t kOut = 6;
  static constexpr const wchar_t* kValues[] = {L"", L"v", L"a<b>&'\"", L"\u00e9"};
  const std::wstring file = FromPath(OutputFile());
  CMarkup memory;
  CMarkup parts;
  Require(parts.Open(file, CMarkup::DOC_WRITEFILE), "a file is created");
  bool isLeft = false;
  for (Reader steps(input); !steps.IsAtEnd();) {
    const auto what = static_cast<std::size_t>(steps.Byte()) % (std::size(kWrites) + 1);
    if (what == std::size(kWrites)) {
      Require(parts.Flush(), "a part is written");
      continue;
    }
    const wchar_t* const value = kValues[steps.Byte() % std::size(kValues)];
    const unsigned choice = steps.Byte();
    // In memory, an element that is entered again is not always extended at its end.
    if (what == kInto && isLeft) continue;
    // A start tag in the file takes no attribute.
    if (kWrites[what](parts, value, choice)) {
      Require(kWrites[what](memory, value, choice), "memory takes what a file takes");
      if (what != kSetAttrib) isLeft = what == kOut;
    }
    AskAll(parts);
  }
  Require(parts.Close(), "the file is completed");
  std::wstring text;
  Require(CMarkup::ReadTextFile(0, file, text), "what was written is read");
  Require(text == memory.GetDoc(), "a file in parts is the document in memory");
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
