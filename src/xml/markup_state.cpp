#include "xml/markup_state.h"

#include <algorithm>
#include <utility>

#include "xml/element_index.h"
#include "xml/file_stream.h"
#include "xml/result.h"
#include "xml/text_files.h"

namespace orv {

void MarkupState::Assign(const MarkupState& other) {
  if (this == &other || document.HasFile() || other.document.HasFile()) return;
  // First everything that allocates, so that a failure leaves this document as it was.
  SavedPositions positions = other.saved;
  std::wstring file = other.readFile;
  document.Assign(other.document);
  saved = std::move(positions);
  readFile = std::move(file);
  cursor.Set(other.cursor.Get());
}

// --- Parsing ---

void MarkupState::ResetPositions() {
  cursor.Set(0, 0, 0);
  saved.Clear();
  readFile.clear();
}

bool MarkupState::Parse() {
  ResetPositions();
  document.Index();
  return document.IsWellFormed();
}

bool MarkupState::Clear() {
  if (document.HasFile()) return false;
  document.Clear();
  return Parse();
}

bool MarkupState::CopyText(std::wstring_view text) {
  if (document.HasFile()) return false;
  document.ReserveText(text.size());
  ResetPositions();
  document.CopyText(text);
  return document.IsWellFormed();
}

bool MarkupState::TakeText(std::wstring&& text) {
  if (document.HasFile()) return false;
  document.text = std::move(text);
  document.result.clear();
  return Parse();
}

/// The flags of an open file stay as the file has them.
void MarkupState::SetFlags(int flags) {
  const bool isOpen = reader != nullptr || writer != nullptr;
  document.flags = (flags & ~kFileFlags) | (isOpen ? document.flags & kFileFlags : 0);
}

// --- Navigation ---

bool MarkupState::FindElement(const wchar_t* path) {
  if (reader != nullptr) {
    return reader->FindForward(CMarkup::NODE_ELEMENT, path) != CMarkup::NODE_NONE;
  }
  return (document.flags & CMarkup::DOC_WRITEFILE) == 0 && cursor.FindElement(path);
}

bool MarkupState::FindChild(const wchar_t* path) {
  return !document.HasFile() && !cursor.IsOtherNode() && cursor.FindChild(path);
}

int MarkupState::FindNode(int types) {
  if (reader != nullptr) return reader->FindForward(types, L"");
  const bool isWriting = (document.flags & CMarkup::DOC_WRITEFILE) != 0;
  return isWriting ? CMarkup::NODE_NONE : cursor.FindNode(types);
}

bool MarkupState::IntoElement() {
  if (reader != nullptr && cursor.IsElement()) reader->EnterElement();
  return cursor.IntoElement();
}

bool MarkupState::OutOfElement() {
  if (reader != nullptr && cursor.Parent() != 0) reader->FinishElement();
  return cursor.OutOfElement();
}

std::wstring MarkupState::Data() {
  return reader != nullptr && cursor.IsElement() ? reader->Data() : Here().Data();
}

bool MarkupState::NextDataPiece(std::wstring* piece) {
  piece->clear();
  return reader != nullptr && reader->NextDataPiece(piece);
}

const Cursor& MarkupState::Here() {
  if (reader != nullptr) reader->CompleteNode();
  return cursor;
}

// --- Saved positions ---

bool MarkupState::SavePosition(const wchar_t* name, int table) {
  if (document.HasFile() || table < 0) return false;
  saved.At(table)[name] = {cursor.Parent(), cursor.Main(), cursor.Child()};
  return true;
}

bool MarkupState::RestorePosition(const wchar_t* name, int table) {
  if (document.HasFile() || table < 0) return false;
  const auto& positions = saved.At(table);
  const auto found = positions.find(name);
  if (found == positions.end()) return false;
  cursor.Set(found->second.parent, found->second.main, found->second.child);
  return true;
}

bool MarkupState::ReservePositions(int size, int table) {
  if (document.HasFile() || size < 0 || table < 0) return false;
  // The size is only a hint, so an absurd one must not fail.
  constexpr int kMaxReserved = 1 << 16;
  saved.At(table).reserve(static_cast<std::size_t>(std::min(size, kMaxReserved)));
  return true;
}

// --- Files ---

bool MarkupState::Load(const wchar_t* file) {
  if (document.HasFile()) return false;
  return ReadTextFile(file, document.text, &document.result, &document.flags) && Parse();
}

bool MarkupState::Save(const wchar_t* file) {
  if (document.HasFile()) return false;
  return WriteTextFile(file, document.Closed(), &document.result, &document.flags);
}

bool MarkupState::Open(const wchar_t* file, int flags) {
  if (document.HasFile()) return false;
  Clear();
  const int modes = flags & kFileFlags;
  const bool appends = (modes & CMarkup::DOC_APPENDFILE) != 0;
  std::wstring failure = L"the flags must be one of DOC_READFILE, DOC_WRITEFILE and DOC_APPENDFILE";
  if (modes == CMarkup::DOC_READFILE) {
    auto opened = std::make_unique<DocumentReader>(document, cursor);
    if (opened->Open(file)) {
      readFile = file;
      reader = std::move(opened);
    } else {
      failure = opened->File().FailureReason();
    }
  } else if (modes == CMarkup::DOC_WRITEFILE || (appends && (modes & CMarkup::DOC_READFILE) == 0)) {
    auto opened = std::make_unique<DocumentWriter>(document, cursor);
    if (appends ? opened->Append(file) : opened->Create(file)) {
      writer = std::move(opened);
    } else {
      failure = opened->File().FailureReason();
    }
  }
  if (reader == nullptr && writer == nullptr) {
    ReportFileError(L"cannot open ", file, failure, &document.result);
    return false;
  }
  document.flags |= modes;
  if (appends) document.flags |= CMarkup::DOC_WRITEFILE;
  return true;
}

bool MarkupState::Close() {
  if (reader == nullptr && writer == nullptr) return false;
  const bool isComplete = writer == nullptr || writer->Finish();
  const FileStream& file = writer != nullptr ? writer->File() : reader->File();
  std::wstring report;
  if (isComplete) {
    file.Report(&report);
  } else {
    ReportFileError(L"cannot write ", file.Name(), file.FailureReason(), &report);
  }
  document.result.insert(0, report);
  std::wstring name = std::move(readFile);
  reader.reset();
  writer.reset();
  document.flags &= ~kFileFlags;
  document.text.clear();
  document.elements.Clear();
  Parse();
  readFile = std::move(name);
  return isComplete;
}

std::optional<TextPosition> MarkupState::ErrorPosition() const {
  const int offset = ErrorOffset(document.result);
  if (offset < 0) return {};
  if (!readFile.empty()) return PositionInFile(readFile, static_cast<std::size_t>(offset));
  const std::wstring_view text = document.Closed();
  return LineIndex(text.substr(0, static_cast<std::size_t>(offset) + 1)).Find(offset);
}

}  // namespace orv
