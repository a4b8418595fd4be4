#include <filesystem>
#include <memory>
#include <utility>

#include "orv/text/format.h"
#include "orv/xml/line_index.h"
#include "orv/xml/markup.h"
#include "platform/files.h"
#include "tools/orv/common/commands.h"
#include "tools/orv/common/input.h"
#include "tools/orv/common/options.h"
#include "tools/orv/common/outcome.h"
#include "tools/orv/common/output.h"
#include "tools/orv/xml/faults.h"
#include "xml/document_reader.h"
#include "xml/encodings.h"
#include "xml/file_stream.h"
#include "xml/markup_state.h"
#include "xml/text_coding.h"
#include "xml/text_files.h"

namespace orv::tool {
namespace {

/// The document flags that describe the encoding of a file.
constexpr int kFileForms =
    CMarkup::DOC_UTF16LEFILE | CMarkup::DOC_UTF16BEFILE | CMarkup::DOC_UTF8MARK;

/// The facts about a read or written file, from its result document.
struct FileFacts {
  std::wstring encoding;
  std::wstring bytes;
  std::wstring failure;
  std::wstring loss;  ///< what the file has that is not in its text; empty for nothing
  bool isLossy = false;
};

/// What reading leaves out or replaces.
constexpr std::pair<std::wstring_view, const wchar_t*> kLosses[] = {
    {L"nulls_removed", L"characters U+0000"},
    {L"conversion_loss", L"bytes that are invalid in its encoding"},
    {L"truncation_error", L"half a character at its end"},
};

FileFacts FactsOf(const std::wstring& result, const wchar_t* work) {
  FileFacts facts;
  CMarkup entries(result);
  while (entries.FindElem()) {
    const std::wstring_view name = entries.GetTagNamePointer();
    if (name == work) {
      facts.encoding = entries.GetAttrib(L"encoding");
      facts.bytes = entries.GetAttrib(L"length");
    }
    if (name == L"file_error") facts.failure = entries.GetAttrib(L"msg");
    for (const auto& [entry, loss] : kLosses) {
      if (name == entry && facts.loss.empty()) facts.loss = loss;
    }
    if (name == L"conversion_loss") facts.isLossy = true;
  }
  return facts;
}

/// The text of a file, or of standard input for "-". When it cannot be read, the facts contain the
/// failure.
std::wstring ReadText(const std::wstring& path, FileFacts* facts, int* flags) {
  std::wstring text;
  std::wstring result;
  std::string bytes;
  if (!IsStream(path)) {
    NoteInput(path);
    CMarkup::ReadTextFile(0, path, text, &result, flags);
  } else if (ReadFile(path, &bytes)) {
    text = DecodeFile(bytes, &result, flags);
  } else {
    facts->failure = CannotRead(path);
    return text;
  }
  *facts = FactsOf(result, L"read");
  return text;
}

/// Whether two names mean the same encoding. Byte orders do not count, because the mark shows them.
bool IsSameEncoding(const std::wstring& a, const std::wstring& b) {
  const auto page = [](const std::wstring& name) {
    const int number = CMarkup::GetEncodingCodePage(name);
    return number == kUtf16BigEndianPage ? kUtf16Page : number;
  };
  return a == b || (page(a) > 0 && page(a) == page(b));
}

/// Reads a file into a document of its form; ends the command when it cannot, or when a part of the
/// file that is not in its text would be lost.
void LoadDocument(const std::wstring& path, bool mayLose, CMarkup* doc) {
  FileFacts facts;
  int flags = doc->GetDocFlags();
  std::wstring text = ReadText(path, &facts, &flags);
  if (!facts.failure.empty()) Fail(kUnreadable, facts.failure);
  if (!facts.loss.empty() && !mayLose) {
    Fail(kFindings, InputName(path) + L" contains " + facts.loss +
                        L", which would be lost (see orv xml check; --lossy allows it)");
  }
  if (text.empty()) Fail(kUnreadable, InputName(path) + L" is empty");
  doc->SetDoc(std::move(text));
  doc->SetDocFlags(flags);
}

/// Opens a file to read it in parts, so that memory does not limit its size. What is not a file, or
/// is empty, is loaded.
void OpenDocument(const std::wstring& path, CMarkup* doc) {
  std::error_code error;
  const std::filesystem::path file = ToPath(path);
  if (!std::filesystem::is_regular_file(file, error) ||
      std::filesystem::file_size(file, error) == 0) {
    return LoadDocument(path, true, doc);
  }
  NoteInput(path);
  if (!doc->Open(path, CMarkup::DOC_READFILE)) {
    Fail(kUnreadable, FactsOf(doc->GetResult(), L"read").failure);
  }
}

void LoadWellFormed(const std::wstring& path, bool mayLose, CMarkup* doc) {
  LoadDocument(path, mayLose, doc);
  if (!doc->IsWellFormed())
    Fail(kFindings, InputName(path) + L" is not well formed (see orv xml check)");
}

/// The bytes of a document as the contents of a file; ends the command when it cannot be encoded.
/// `isLossy`, if not null, is set to whether characters were lost.
std::string Encode(const CMarkup& doc, const std::wstring& file, bool mayLose,
                   bool* isLossy = nullptr) {
  std::wstring result;
  std::wstring obstacle;
  const int flags = doc.GetDocFlags() | (mayLose ? CMarkup::DOC_LOSSY : 0);
  std::string bytes = EncodeFile(doc.GetDoc(), flags, &result, &obstacle);
  if (!obstacle.empty()) {
    const std::wstring target = file == kStandardStream ? L"standard output" : file;
    Fail(kFindings,
         L"cannot write " + target + L": " + obstacle + L" (see orv xml convert --help)");
  }
  if (isLossy != nullptr) *isLossy = FactsOf(result, L"write").isLossy;
  return bytes;
}

void AddLossyFlag(CLI::App* command, bool* mayLose) {
  command->add_flag(
      "--lossy", *mayLose,
      "Write ? for characters that the encoding cannot express, and leave out what is "
      "not a character");
}

/// Sets the encoding in a document's declaration; adds the declaration if it is missing.
void DeclareEncoding(const std::wstring& encoding, CMarkup* doc) {
  doc->ResetPos();
  while (const int type = doc->FindNode()) {
    if (type == CMarkup::NODE_PROCESSING_INSTRUCTION && doc->GetTagName() == L"xml") {
      // The standalone declaration must come after the encoding.
      const std::wstring standalone = doc->GetAttrib(L"standalone");
      const bool isMoved = doc->GetAttrib(L"encoding").empty() && doc->RemoveAttrib(L"standalone");
      if (!doc->SetAttrib(L"encoding", encoding)) {
        Fail(kFindings, L"the XML declaration has an open quote or a '>'; correct it first");
      }
      if (isMoved) doc->SetAttrib(L"standalone", standalone);
      return;
    }
    if (type == CMarkup::NODE_ELEMENT) break;
  }
  doc->SetDoc(L"<?xml version=\"1.0\" encoding=\"" + encoding + L"\"?>\n" + doc->GetDoc());
}

bool IsAsDeclared(const FileFacts& facts, const std::wstring& declared) {
  return declared.empty() || IsSameEncoding(facts.encoding, declared);
}

/// How a file was read.
std::wstring ReadingOf(const FileFacts& facts, const std::wstring& declared) {
  return IsAsDeclared(facts, declared) ? facts.encoding
                                       : L"declared " + declared + L", read as " + facts.encoding;
}

/// What XML forbids in a file: that its bytes are in another encoding than the declared one, or
/// than UTF-8 and UTF-16 without a declaration, and faults of the text.
std::vector<XmlFault> StrictFaultsOfFile(const std::wstring& text, const FileFacts& facts,
                                         const std::wstring& declared) {
  std::vector<XmlFault> faults;
  const bool isUnicode = facts.encoding.starts_with(L"UTF-");
  // Other programs do not look for an encoding in a `meta` element, as the library does for HTML.
  const bool isDeclared = !declared.empty() && text.starts_with(L"<?xml");
  const bool isAscii = std::ranges::all_of(text, [](wchar_t unit) { return unit < 0x80; });
  if (isDeclared && !IsAsDeclared(facts, declared)) {
    constexpr std::wstring_view kName = L"encoding";
    faults.push_back({static_cast<int>(text.find(declared, text.find(kName) + kName.size())),
                      L"the file is not in the declared encoding, or it is not supported",
                      L"the encoding of the file", facts.encoding});
  } else if (facts.isLossy || (!isDeclared && !isUnicode && !isAscii)) {
    faults.push_back({0, L"bytes of the file are invalid in its encoding",
                      L"UTF-8, UTF-16 or another declared encoding",
                      L"<?xml version=\"1.0\" encoding=\"...\"?>"});
    return faults;  // others can follow from it
  }
  if (!facts.loss.empty()) {
    faults.push_back({0, L"the file contains " + facts.loss, L"characters of XML", L"nothing"});
  }
  for (XmlFault& fault : StrictFaultsOf(text)) faults.push_back(std::move(fault));
  return faults;
}

/// What the library does not accept in a file.
std::vector<XmlFault> LenientFaultsOfFile(const std::wstring& text) {
  CMarkup doc;
  const bool isAccepted = doc.SetDoc(text);
  std::vector<XmlFault> faults = FaultsOf(doc);
  if (!isAccepted && faults.empty()) {
    faults.push_back({0, L"the file is empty", L"one root element", L"<root/>"});
  }
  return faults;
}

void AddFault(const XmlFault& fault, const TextPosition& at, JsonWriter* json) {
  json->BeginObject();
  json->Member("line", at.line);
  json->Member("column", at.column);
  json->Member("text", fault.text);
  json->Member("allowed", fault.allowed);
  json->Member("write", fault.proposal);
  json->EndObject();
}

void PrintFault(const std::wstring& path, const XmlFault& fault, const TextPosition& at) {
  Print(FindingLine(path, at, Painted(L"error", TextColour::kRed), fault.text, fault.allowed,
                    fault.proposal));
}

/// Checks a file. Prints the findings, or adds them to `json` if it is not null. Returns the exit
/// code.
ExitCode CheckFile(const std::wstring& path, bool isLenient, JsonWriter* json) {
  FileFacts facts;
  const std::wstring text = ReadText(path, &facts, nullptr);
  if (!facts.failure.empty()) {
    PrintMessage(facts.failure);
    return kUnreadable;
  }
  const LineIndex lines(text);
  const std::wstring declared = CMarkup::GetDeclaredEncoding(text);
  const std::vector<XmlFault> faults =
      isLenient ? LenientFaultsOfFile(text) : StrictFaultsOfFile(text, facts, declared);
  const bool isGood = faults.empty();
  if (json != nullptr) {
    json->BeginObject();
    json->Member("file", path);
    json->Member("wellFormed", isGood);
    json->Member("encoding", facts.encoding);
    json->Member("declared", declared);
    json->Member("bytes", std::stoi(facts.bytes));
    json->Member("lossy", !facts.loss.empty());
    json->Key("faults");
    json->BeginArray();
    for (const XmlFault& fault : faults) AddFault(fault, lines.Find(fault.offset), json);
    json->EndArray();
    json->EndObject();
  } else {
    Print(Printable(Format(L"%ls: %ls, %ls bytes%ls, %ls", path.c_str(),
                           ReadingOf(facts, declared).c_str(), facts.bytes.c_str(),
                           facts.loss.empty() ? L"" : L" (characters lost)",
                           isGood ? L"well formed" : L"not well formed")) +
          '\n');
    for (const XmlFault& fault : faults) PrintFault(path, fault, lines.Find(fault.offset));
  }
  return isGood ? kDone : kFindings;
}

void AddCheckCommand(CLI::App* group) {
  struct Options {
    std::vector<std::string> files;
    bool isLenient = false;
    bool asJson = false;
  };
  auto options = std::make_shared<Options>();
  CLI::App* command = group->add_subcommand("check", "Check that files are well-formed XML");
  AddInputFile(command, "FILE", &options->files, "XML files in any encoding")->required();
  command->add_flag("--lenient", options->isLenient,
                    "Accept what the library reads, although XML forbids it");
  AddJsonFlag(command, &options->asJson);
  command->footer(
      "Shows each fault with line and column, and how the file was read. Accepts what XML 1.0 and\n"
      "its namespaces allow; the other commands accept more, such as a bare &. The contents of\n"
      "declarations in a document type are not checked.\n"
      "Exits with 1 when there is any fault, with 3 when a file cannot be read.\n"
      "Examples:\n  orv xml check settings.xml\n  orv xml check --json *.xml");
  command->callback([options] {
    JsonWriter json;
    int exitCode = kDone;
    json.BeginArray();
    for (const std::string& file : options->files) {
      const ExitCode found =
          CheckFile(ToWide(file), options->isLenient, options->asJson ? &json : nullptr);
      exitCode = std::max<int>(exitCode, found);
    }
    json.EndArray();
    if (options->asJson) Print(json.Text());
    if (exitCode != kDone) Finish(exitCode);
  });
}

// --- Paths ---

struct PathStep {
  std::wstring name;
  std::uint32_t number = 1;
};

/// A path in a document: the steps to an element, and an optional attribute.
struct XmlPath {
  std::vector<PathStep> steps;
  std::wstring attribute;
};

XmlPath ParsePath(const std::wstring& argument) {
  const auto isBad = [&argument] {
    Fail(kUsage, L"\"" + argument + L"\" is not a path such as /list/item[2]/@name");
  };
  XmlPath path;
  if (!argument.starts_with(L'/')) isBad();
  for (std::size_t at = 1; at <= argument.size();) {
    const std::size_t end = std::min(argument.find(L'/', at), argument.size());
    std::wstring step = argument.substr(at, end - at);
    at = end + 1;
    if (step.empty() || !path.attribute.empty()) isBad();
    if (step[0] == L'@') {
      path.attribute = step.substr(1);
      if (path.attribute.empty() || path.steps.empty()) isBad();
      continue;
    }
    PathStep next;
    const std::size_t bracket = step.find(L'[');
    next.name = step.substr(0, bracket);
    if (bracket != step.npos) {
      const bool isClosed = step.ends_with(L']');
      const std::wstring number = step.substr(bracket + 1, step.size() - bracket - 2);
      if (!isClosed || !ParseNumber(number, &next.number) || next.number == 0) isBad();
    }
    if (next.name.empty()) isBad();
    path.steps.push_back(std::move(next));
  }
  if (path.steps.empty()) isBad();
  return path;
}

/// Whether a name can be that of an attribute.
bool IsAttributeName(const std::wstring& name) {
  CMarkup doc;
  doc.AddElem(L"a");
  return doc.SetAttrib(name, L"");
}

/// Moves the main position to the element of a path; false when there is none.
bool GoTo(const XmlPath& path, CMarkup* doc) {
  doc->ResetPos();
  for (std::size_t i = 0; i < path.steps.size(); ++i) {
    if (i > 0 && !doc->IntoElem()) return false;
    for (std::uint32_t n = 0; n < path.steps[i].number; ++n) {
      if (!doc->FindElem(path.steps[i].name)) return false;
    }
  }
  return true;
}

/// Ends the command if a value cannot be text of an XML file.
void RequireXmlText(const std::wstring& value) {
  const std::vector<XmlFault> faults =
      StrictFaultsOf(L"<a>" + CMarkup::EscapeText(value.c_str()) + L"</a>");
  if (!faults.empty()) {
    Fail(kUsage,
         L"the value contains " + faults.front().text + L"; allowed are " + faults.front().allowed);
  }
}

/// Replaces characters by references in a value that was written to a document at `start`: carriage
/// returns, which a parser reads as line feeds, and in an attribute also tabs and line feeds, which
/// it reads as blanks. The library writes them as they are.
void ReplaceSpace(std::size_t start, const std::wstring& value, bool isAttribute, CMarkup* doc) {
  const std::wstring_view changed = isAttribute ? L"\t\n\r" : L"\r";
  if (value.find_first_of(changed) == value.npos) return;
  std::wstring text = doc->GetDoc();
  const int flags = isAttribute ? CMarkup::ESC_ATTRIB : 0;
  const std::wstring written = CMarkup::EscapeText(value.c_str(), flags);
  std::wstring with;
  for (const wchar_t unit : written) {
    with += changed.find(unit) == changed.npos ? std::wstring(1, unit)
                                               : L"&#" + std::to_wstring(unit) + L';';
  }
  doc->SetDoc(text.replace(start, written.size(), with));
}

/// Ends the command if reading the file of a document has failed.
void RequireRead(const CMarkup& doc) {
  const std::wstring failure = FactsOf(doc.GetResult(), L"read").failure;
  if (!failure.empty()) Fail(kUnreadable, failure);
}

/// Ends the command if the path was not found.
void RequirePlace(bool isThere, const std::wstring& name, const CMarkup& doc) {
  if (isThere) return;
  RequireRead(doc);
  Fail(kFindings,
       L"there is no " + name +
           (doc.IsWellFormed() ? L"" : L"; the file is not well formed (see orv xml check)"));
}

/// Loads a file that was read in parts, for what the parts cannot give: markup, and what the loaded
/// text of a file with errors means.
bool LoadInstead(const std::wstring& file, const XmlPath& path, CMarkup* doc) {
  doc->Close();
  LoadDocument(file, true, doc);
  return GoTo(path, doc);
}

bool IsReadInParts(const CMarkup& doc) { return (doc.GetDocFlags() & CMarkup::DOC_READFILE) != 0; }

/// A file that is read twice.
class FileReadTwice {
 public:
  explicit FileReadTwice(std::wstring path) : path_(std::move(path)), first_(Now()) {}

  const std::wstring& path() const { return path_; }
  /// Ends the command if the file was written after this object was made.
  void RequireUnchanged() const {
    if (Now() != first_) FailAsChanged();
  }
  [[noreturn]] void FailAsChanged() const { FailFor(L"it changed while it was read"); }
  [[noreturn]] void FailFor(const std::wstring& reason) const {
    Fail(kUnreadable, L"cannot read " + path_ + L": " + reason);
  }

 private:
  FileVersion Now() const { return VersionOf(ToPath(path_)); }

  std::wstring path_;
  FileVersion first_;
};

/// Prints a value in parts, alone or in an object with its path. An object of up to `kMaxKept`
/// bytes is printed only when it is complete, so that a failure leaves no part of it.
class ValuePrinter {
 public:
  ValuePrinter(const std::wstring& path, bool asJson) : asJson_(asJson) {
    json_.BeginObject();
    json_.Member("path", path);
    json_.Key("value");
    json_.BeginText();
  }

  void Add(std::wstring_view part) {
    if (!asJson_) return Print(part);
    json_.TextPart(part);
    kept_ += json_.TakeText();
    if (kept_.size() > kMaxKept) Print(std::exchange(kept_, {}));
  }
  void Finish() {
    json_.EndText();
    json_.EndObject();
    Print(asJson_ ? kept_ + json_.Text() : "\n");
  }

 private:
  static constexpr std::size_t kMaxKept = 1 << 24;

  std::string kept_;  ///< the start of the object
  bool asJson_;
  JsonWriter json_;
};

/// Prints the text or the markup of the element at the main position of a file that is read in
/// parts. False, and nothing printed, if the file has errors.
///
/// What it is, and whether there are errors, is known only after the element. Memory holds one
/// part, so a longer value is read again.
bool PrintPartsOf(const FileReadTwice& file, const XmlPath& path, CMarkup* doc,
                  ValuePrinter* printer) {
  const DocumentReader& reader = *MarkupState::Of(*doc).reader;
  const std::int64_t start = reader.NodeStart();
  std::wstring text;
  std::wstring more;
  bool isLong = false;
  doc->ReadDataPiece(text);
  while (doc->ReadDataPiece(more)) isLong = true;
  if (!doc->IntoElem() || !doc->FindElem()) {
    if (!doc->IsWellFormed()) return false;
    if (!isLong) {
      printer->Add(text);
      return true;
    }
    doc->Close();
    OpenDocument(file.path(), doc);
    const bool isThere = GoTo(path, doc);
    RequireRead(*doc);
    if (!isThere) file.FailAsChanged();
    while (doc->ReadDataPiece(text)) printer->Add(text);
    RequireRead(*doc);
    file.RequireUnchanged();
    return true;
  }
  doc->OutOfElem();
  const std::int64_t end = reader.NodeEnd();
  while (doc->OutOfElem()) {
  }
  while (doc->FindNode() != 0) {
  }
  if (!doc->IsWellFormed()) return false;
  const std::wstring failure =
      ReadTextRange(file.path(), start, end, [&](std::wstring_view part) { printer->Add(part); });
  if (!failure.empty()) file.FailFor(failure);
  file.RequireUnchanged();
  return true;
}

/// Prints the value of the element at the main position, to which the path leads: its text, or its
/// markup if it contains elements.
void PrintElement(const FileReadTwice& file, const XmlPath& path, CMarkup* doc,
                  ValuePrinter* printer) {
  if (IsReadInParts(*doc)) {
    if (PrintPartsOf(file, path, doc, printer)) return;
    LoadInstead(file.path(), path, doc);
  }
  if (!doc->IsWellFormed()) {
    PrintNote(
        L"the file is not well formed, so this may not be the whole value (see orv xml check)");
  }
  printer->Add(doc->FindChildElem() ? doc->GetSubDoc() : doc->GetData());
}

void AddGetCommand(CLI::App* group) {
  struct Options {
    std::string file;
    std::string path;
    bool asJson = false;
  };
  auto options = std::make_shared<Options>();
  CLI::App* command = group->add_subcommand("get", "Show the value of an element or attribute");
  AddInputFile(command, "FILE", &options->file, "An XML file in any encoding")->required();
  command->add_option("PATH", options->path, "Such as /list/item[2]/@name")->required();
  AddJsonFlag(command, &options->asJson);
  command->footer(
      "An element that contains elements is shown as markup. Exits with 1 if the path does not "
      "exist.\n"
      "Examples:\n  orv xml get settings.xml /settings/printer/name\n"
      "  orv xml get settings.xml \"/settings/printer[2]/@id\"");
  command->callback([options] {
    const std::wstring name = ToWide(options->path);
    const XmlPath path = ParsePath(name);
    CMarkup doc;
    const FileReadTwice file(ToWide(options->file));
    OpenDocument(file.path(), &doc);
    bool isThere = GoTo(path, &doc);
    if (!isThere && IsReadInParts(doc) && !doc.IsWellFormed()) {
      isThere = LoadInstead(file.path(), path, &doc);
    }
    RequirePlace(isThere, name, doc);
    ValuePrinter printer(name, options->asJson);
    if (path.attribute.empty()) {
      PrintElement(file, path, &doc, &printer);
    } else {
      if (doc.GetAttribOffset(path.attribute) < 0) Fail(kFindings, L"there is no " + name);
      printer.Add(doc.GetAttrib(path.attribute));
    }
    RequireRead(doc);
    printer.Finish();
  });
}

void AddSetCommand(CLI::App* group) {
  struct Options {
    std::string file;
    std::string path;
    std::string value;
    bool mayLose = false;
  };
  auto options = std::make_shared<Options>();
  CLI::App* command = group->add_subcommand("set", "Change the value of an element or attribute");
  AddInputFile(command, "FILE", &options->file,
               "An XML file, which is replaced and keeps its encoding")
      ->required();
  command->add_option("PATH", options->path, "Such as /list/item[2]/@name")->required();
  command->add_option("VALUE", options->value, "The new text")->required();
  AddLossyFlag(command, &options->mayLose);
  command->footer(
      "The element must exist; the attribute may be new. The whole content of the element is "
      "replaced.\n"
      "With - for the file, standard input is changed and written to standard output.\n"
      "Examples:\n  orv xml set settings.xml /settings/printer/name \"Packing line 2\"\n"
      "  orv xml set settings.xml /settings/printer/@id 7");
  command->callback([options] {
    const std::wstring file = ToWide(options->file);
    const EditGuard guard(file);
    CMarkup doc;
    LoadWellFormed(file, options->mayLose, &doc);
    const std::wstring name = ToWide(options->path);
    const XmlPath path = ParsePath(name);
    RequirePlace(GoTo(path, &doc), name, doc);
    const std::wstring value = ToWide(options->value);
    RequireXmlText(value);
    const bool isAttribute = !path.attribute.empty();
    const bool isSet = isAttribute ? doc.SetAttrib(path.attribute, value) : doc.SetData(value);
    if (!isSet && !IsAttributeName(path.attribute)) {
      Fail(kUsage, L"\"" + path.attribute + L"\" is not a valid attribute name");
    }
    if (!isSet) {
      Fail(kFindings, L"the quotes in the tag of " + name.substr(0, name.find(L"/@")) +
                          L" are ambiguous; the file was not changed");
    }
    const auto start = static_cast<std::size_t>(isAttribute ? doc.GetAttribOffset(path.attribute)
                                                            : doc.GetContentOffset());
    ReplaceSpace(isAttribute ? doc.GetDoc().find_first_of(L"\"'", start) + 1 : start, value,
                 isAttribute, &doc);
    SaveFile(file, Encode(doc, file, options->mayLose), Written::kChangedFile);
  });
}

// --- Formatting ---

/// Whether an element contains only elements and white space, so that it can be reformatted.
bool HoldsOnlyElements(CMarkup* doc) {
  if (doc->GetAttrib(L"xml:space") == L"preserve" || !doc->IntoElem()) return false;
  const bool hasText = doc->FindNode(CMarkup::NODE_TEXT | CMarkup::NODE_CDATA_SECTION) != 0;
  doc->ResetMainPos();
  const bool hasElement = doc->FindElem();
  doc->ResetMainPos();
  doc->OutOfElem();
  return hasElement && !hasText;
}

std::wstring FormatDocument(CMarkup* doc, std::size_t indent) {
  std::wstring text;
  std::size_t depth = 0;
  const auto addLine = [&](std::wstring_view line) {
    text.append(depth * indent, L' ');
    text += line;
    text += L'\n';
  };
  doc->ResetPos();
  for (;;) {
    const int type = doc->FindNode();
    if (type == CMarkup::NODE_NONE) {
      if (depth == 0) return text;
      doc->OutOfElem();
      --depth;
      addLine(L"</" + doc->GetTagName() + L">");
    } else if (type == CMarkup::NODE_ELEMENT && HoldsOnlyElements(doc)) {
      const std::size_t start = doc->GetElemOffset();
      addLine(std::wstring_view(doc->GetDoc()).substr(start, doc->GetContentOffset() - start));
      doc->IntoElem();
      doc->ResetMainPos();
      ++depth;
    } else if (type != CMarkup::NODE_WHITESPACE) {
      addLine(doc->GetSubDoc());
    }
  }
}

void AddFormatCommand(CLI::App* group) {
  struct Options {
    std::string file;
    std::uint32_t indent = 2;
    bool inPlace = false;
    bool mayLose = false;
  };
  auto options = std::make_shared<Options>();
  CLI::App* command = group->add_subcommand("format", "Reformat a file with one line per element");
  AddInputFile(command, "FILE", &options->file, "A well-formed XML file")->required();
  command->add_option("--indent", options->indent, "Blanks per level, 0 to 16")
      ->check(InRange(0, 16))
      ->capture_default_str();
  command->add_flag("--in-place", options->inPlace, "Replace the file instead of printing it");
  AddLossyFlag(command, &options->mayLose);
  command->footer(
      "The text is printed as UTF-8, a replaced file keeps its encoding; a declaration that names\n"
      "another encoding is corrected. Elements that contain text or have xml:space=\"preserve\"\n"
      "are not changed.\n"
      "Examples:\n  orv xml format settings.xml\n  orv xml format --indent 4 --in-place "
      "settings.xml");
  command->callback([options] {
    const std::wstring file = ToWide(options->file);
    const std::wstring target = options->inPlace ? file : kStandardStream;
    const EditGuard guard(target);
    CMarkup doc;
    LoadWellFormed(file, options->mayLose, &doc);
    doc.SetDoc(FormatDocument(&doc, options->indent));
    const std::wstring declared = CMarkup::GetDeclaredEncoding(doc.GetDoc());
    if (!options->inPlace) doc.SetDocFlags(doc.GetDocFlags() & ~kFileForms);
    const TextEncoding written =
        options->inPlace ? EncodingFor(doc.GetDoc(), doc.GetDocFlags()) : TextEncoding();
    const bool isWrong = !declared.empty() && !IsSameEncoding(written.name, declared);
    if (isWrong && written.unsupported.empty()) DeclareEncoding(written.name, &doc);
    SaveFile(target, Encode(doc, target, options->mayLose), Written::kChangedFile);
  });
}

// --- Encodings ---

void AddConvertCommand(CLI::App* group) {
  struct Options {
    std::string file;
    std::string encoding;
    std::string output;
    bool hasMark = false;
    bool mayLose = false;
  };
  auto options = std::make_shared<Options>();
  CLI::App* command = group->add_subcommand("convert", "Convert a file to another encoding");
  AddInputFile(command, "FILE", &options->file, "An XML file in any encoding")->required();
  command->add_option("--to", options->encoding, "The encoding, such as UTF-8 or windows-1252")
      ->type_name("ENCODING")
      ->required();
  AddOutputFile(command, "-o,--output", &options->output, "The file to write")
      ->default_str("FILE itself, which is replaced");
  command->add_flag("--mark", options->hasMark, "Begin UTF-8 with a byte-order mark");
  AddLossyFlag(command, &options->mayLose);
  command->footer(
      "The declaration names the new encoding. Nothing is written when characters would be lost,\n"
      "unless --lossy. Without -o the file itself is replaced, as by orv xml set; with - for the\n"
      "file, standard input is converted to standard output.\n"
      "Examples:\n  orv xml convert settings.xml --to UTF-8\n"
      "  orv xml convert settings.xml --to UTF-16 -o settings16.xml");
  command->callback([options] {
    const std::wstring encoding = ToWide(options->encoding);
    if (CMarkup::GetEncodingCodePage(encoding) <= 0) {
      Fail(kUsage, L"\"" + encoding + L"\" is not a known encoding");
    }
    if (options->hasMark && !IsSameEncoding(L"UTF-8", encoding)) {
      Fail(kUsage, L"--mark is for UTF-8; UTF-16 and UTF-32 always have a mark");
    }
    const std::wstring file = ToWide(options->file);
    const bool isInPlace = options->output.empty();
    const std::wstring output = isInPlace ? file : ToWide(options->output);
    const EditGuard guard(output);
    CMarkup doc;
    LoadDocument(file, options->mayLose, &doc);
    doc.SetDocFlags((doc.GetDocFlags() & ~kFileForms) |
                    (options->hasMark ? CMarkup::DOC_UTF8MARK : 0));
    DeclareEncoding(encoding, &doc);
    bool isLossy = false;
    std::string bytes = Encode(doc, output, options->mayLose, &isLossy);
    // In a few encodings the declaration itself cannot be read.
    int flags = doc.GetDocFlags();
    if (!isLossy && DecodeFile(bytes, nullptr, &flags) != doc.GetDoc()) {
      Fail(kFindings, encoding + L" cannot be detected when the file is read");
    }
    SaveFile(output, std::move(bytes), isInPlace ? Written::kChangedFile : Written::kResult);
  });
}

}  // namespace

void AddXmlCommands(CLI::App* program) {
  CLI::App* group = program->add_subcommand("xml", "Check, read and change XML files");
  group->require_subcommand(1);
  group->footer(
      "Examples:\n  orv xml check settings.xml\n"
      "  orv xml get settings.xml /settings/printer/name");
  AddCheckCommand(group);
  AddGetCommand(group);
  AddSetCommand(group);
  AddFormatCommand(group);
  AddConvertCommand(group);
}

}  // namespace orv::tool
