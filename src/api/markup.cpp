#include "orv/xml/markup.h"

#include <algorithm>
#include <cstring>
#include <optional>
#include <utility>

#include "base/utf8.h"
#include "orv/xml/line_index.h"
#include "xml/attributes.h"
#include "xml/characters.h"
#include "xml/cursor.h"
#include "xml/document.h"
#include "xml/document_writer.h"
#include "xml/editor.h"
#include "xml/encodings.h"
#include "xml/markup_state.h"
#include "xml/references.h"
#include "xml/result.h"
#include "xml/text_files.h"

namespace {

constexpr int kInsertChild = CMarkup::ADD_INSERT | CMarkup::ADD_CHILD;

/// A count that a caller passes; a negative one counts as 0.
std::size_t ToSize(int count) { return static_cast<std::size_t>(std::max(count, 0)); }

}  // namespace

CMarkup::CMarkup() : m_pState(std::make_unique<orv::MarkupState>()) {}

CMarkup::CMarkup(MCD_CSTR szDoc) : CMarkup() { SetDoc(szDoc.c_str()); }

CMarkup::CMarkup(int nFlags) : CMarkup() { m_pState->document.flags = nFlags; }

CMarkup::CMarkup(const CMarkup& other) : CMarkup() { *this = other; }

CMarkup& CMarkup::operator=(const CMarkup& other) {
  m_pState->Assign(*other.m_pState);
  return *this;
}

CMarkup::~CMarkup() = default;

// --- The document ---

bool CMarkup::SetDoc(const wchar_t* szDoc) {
  return szDoc != nullptr ? m_pState->CopyText(szDoc) : m_pState->Clear();
}

bool CMarkup::SetDoc(const std::wstring& strDoc) { return m_pState->CopyText(strDoc); }

bool CMarkup::SetDoc(std::wstring&& strDoc) { return m_pState->TakeText(std::move(strDoc)); }

const std::wstring& CMarkup::GetDoc() const { return m_pState->document.Closed(); }

const std::wstring& CMarkup::GetResult() const { return m_pState->document.result; }

std::wstring CMarkup::GetError() const { return orv::ResultText(m_pState->document.result); }

bool CMarkup::GetErrorPosition(int& nLine, int& nColumn) const {
  const std::optional<orv::TextPosition> found = m_pState->ErrorPosition();
  if (!found) return false;
  nLine = found->line;
  nColumn = found->column;
  return true;
}

bool CMarkup::IsWellFormed() const { return m_pState->document.IsWellFormed(); }

int CMarkup::GetDocFlags() const { return m_pState->document.flags; }

void CMarkup::SetDocFlags(int nFlags) { m_pState->SetFlags(nFlags); }

// --- Navigation ---

void CMarkup::ResetPos() { m_pState->cursor.Set(0, 0, 0); }

void CMarkup::ResetMainPos() { m_pState->cursor.Set(m_pState->cursor.Parent(), 0, 0); }

void CMarkup::ResetChildPos() {
  orv::Cursor& cursor = m_pState->cursor;
  cursor.Set(cursor.Parent(), cursor.Main(), 0);
}

bool CMarkup::FindElem(MCD_CSTR szName) { return m_pState->FindElement(szName.c_str()); }

bool CMarkup::FindChildElem(MCD_CSTR szName) { return m_pState->FindChild(szName.c_str()); }

int CMarkup::FindNode(int nType) { return m_pState->FindNode(nType); }

bool CMarkup::IntoElem() { return m_pState->IntoElement(); }

bool CMarkup::OutOfElem() { return m_pState->OutOfElement(); }

bool CMarkup::SavePos(MCD_CSTR szPosName, int nMap) {
  return m_pState->SavePosition(szPosName.c_str(), nMap);
}

bool CMarkup::RestorePos(MCD_CSTR szPosName, int nMap) {
  return m_pState->RestorePosition(szPosName.c_str(), nMap);
}

bool CMarkup::SetMapSize(int nSize, int nMap) { return m_pState->ReservePositions(nSize, nMap); }

// --- Reading ---

int CMarkup::GetNodeType() const { return m_pState->cursor.NodeType(); }

std::wstring_view CMarkup::GetTagNamePointer() const { return m_pState->cursor.TagName(); }

std::wstring CMarkup::GetTagName() const { return std::wstring(GetTagNamePointer()); }

std::wstring CMarkup::GetChildTagName() const {
  const int child = m_pState->cursor.Child();
  return child != 0 ? std::wstring(m_pState->document.TagName(child)) : std::wstring();
}

std::wstring CMarkup::GetAttrib(MCD_CSTR szAttrib) const {
  return m_pState->Here().AttribValue(false, szAttrib.view());
}

std::wstring CMarkup::GetChildAttrib(MCD_CSTR szAttrib) const {
  return m_pState->cursor.AttribValue(true, szAttrib.view());
}

bool CMarkup::GetNthAttrib(int n, std::wstring& strAttrib, std::wstring& strValue) const {
  return m_pState->Here().NthAttrib(n, &strAttrib, &strValue);
}

std::wstring CMarkup::GetAttribName(int n) const {
  std::wstring name;
  std::wstring value;
  GetNthAttrib(n, name, value);
  return name;
}

std::wstring CMarkup::GetData() { return m_pState->Data(); }

bool CMarkup::ReadDataPiece(std::wstring& strPiece) { return m_pState->NextDataPiece(&strPiece); }

std::wstring CMarkup::GetChildData() const {
  const int child = m_pState->cursor.Child();
  return child != 0 ? m_pState->document.Data(child) : std::wstring();
}

std::wstring_view CMarkup::GetDataPointer() const { return m_pState->Here().RawData(); }

std::wstring CMarkup::GetElemContent() const {
  const orv::Cursor& cursor = m_pState->cursor;
  return cursor.IsElement() ? m_pState->document.CopyContent(cursor.Main()) : std::wstring();
}

std::wstring CMarkup::GetSubDoc() const {
  const orv::Cursor& cursor = m_pState->Here();
  return cursor.IsOtherNode() ? std::wstring(cursor.Markup())
                              : m_pState->document.CopyMarkup(cursor.Main());
}

std::wstring CMarkup::GetChildSubDoc() const {
  return m_pState->document.CopyMarkup(m_pState->cursor.Child());
}

std::wstring CMarkup::GetPath() const {
  const orv::Cursor& cursor = m_pState->cursor;
  return cursor.IsElement() ? m_pState->document.Path(cursor.Main()) : std::wstring();
}

int CMarkup::GetElemOffset() const { return m_pState->cursor.Offset(); }

int CMarkup::GetChildElemOffset() const {
  const int child = m_pState->cursor.Child();
  return child != 0 ? m_pState->document.StartOf(child) : -1;
}

int CMarkup::GetAttribOffset(MCD_CSTR szAttrib) const {
  orv::Attribute attribute;
  const bool isFound = m_pState->Here().FindAttribute(false, szAttrib.view(), &attribute);
  return isFound ? attribute.nameStart : -1;
}

int CMarkup::GetContentOffset() const { return m_pState->cursor.ContentOffset(); }

// --- Editing ---

bool CMarkup::AddElem(MCD_CSTR szName, MCD_CSTR szValue, int nFlags) {
  return m_pState->Edit().AddElement(szName.view(), szValue, nFlags);
}

bool CMarkup::InsertElem(MCD_CSTR szName, MCD_CSTR szValue, int nFlags) {
  return m_pState->Edit().AddElement(szName.view(), szValue, nFlags | ADD_INSERT);
}

bool CMarkup::AddChildElem(MCD_CSTR szName, MCD_CSTR szValue, int nFlags) {
  return m_pState->Edit().AddElement(szName.view(), szValue, nFlags | ADD_CHILD);
}

bool CMarkup::InsertChildElem(MCD_CSTR szName, MCD_CSTR szValue, int nFlags) {
  return m_pState->Edit().AddElement(szName.view(), szValue, nFlags | kInsertChild);
}

bool CMarkup::AddElem(MCD_CSTR szName, int nValue, int nFlags) {
  return AddElem(szName, std::to_wstring(nValue), nFlags);
}

bool CMarkup::InsertElem(MCD_CSTR szName, int nValue, int nFlags) {
  return InsertElem(szName, std::to_wstring(nValue), nFlags);
}

bool CMarkup::AddChildElem(MCD_CSTR szName, int nValue, int nFlags) {
  return AddChildElem(szName, std::to_wstring(nValue), nFlags);
}

bool CMarkup::InsertChildElem(MCD_CSTR szName, int nValue, int nFlags) {
  return InsertChildElem(szName, std::to_wstring(nValue), nFlags);
}

bool CMarkup::AddSubDoc(MCD_CSTR szSubDoc, int nFlags) {
  return m_pState->Edit().AddSubDocument(szSubDoc.view(), nFlags);
}

bool CMarkup::InsertSubDoc(MCD_CSTR szSubDoc, int nFlags) {
  return m_pState->Edit().AddSubDocument(szSubDoc.view(), nFlags | ADD_INSERT);
}

bool CMarkup::AddChildSubDoc(MCD_CSTR szSubDoc, int nFlags) {
  return m_pState->Edit().AddSubDocument(szSubDoc.view(), nFlags | ADD_CHILD);
}

bool CMarkup::InsertChildSubDoc(MCD_CSTR szSubDoc, int nFlags) {
  return m_pState->Edit().AddSubDocument(szSubDoc.view(), nFlags | kInsertChild);
}

bool CMarkup::AddNode(int nType, MCD_CSTR szText, int nFlags) {
  return m_pState->Edit().AddNode(nType, szText, nFlags);
}

bool CMarkup::InsertNode(int nType, MCD_CSTR szText, int nFlags) {
  return m_pState->Edit().AddNode(nType, szText, nFlags | ADD_INSERT);
}

bool CMarkup::SetAttrib(MCD_CSTR szAttrib, MCD_CSTR szValue) {
  return m_pState->Edit().SetAttribute(false, szAttrib.view(), szValue);
}

bool CMarkup::SetChildAttrib(MCD_CSTR szAttrib, MCD_CSTR szValue) {
  return m_pState->Edit().SetAttribute(true, szAttrib.view(), szValue);
}

bool CMarkup::SetAttrib(MCD_CSTR szAttrib, int nValue) {
  return SetAttrib(szAttrib, std::to_wstring(nValue));
}

bool CMarkup::SetChildAttrib(MCD_CSTR szAttrib, int nValue) {
  return SetChildAttrib(szAttrib, std::to_wstring(nValue));
}

bool CMarkup::AddAttrib(MCD_CSTR szAttrib, MCD_CSTR szValue) {
  return SetAttrib(szAttrib, szValue);
}

bool CMarkup::AddAttrib(MCD_CSTR szAttrib, int nValue) { return SetAttrib(szAttrib, nValue); }

bool CMarkup::AddChildAttrib(MCD_CSTR szAttrib, MCD_CSTR szValue) {
  return SetChildAttrib(szAttrib, szValue);
}

bool CMarkup::AddChildAttrib(MCD_CSTR szAttrib, int nValue) {
  return SetChildAttrib(szAttrib, nValue);
}

bool CMarkup::RemoveAttrib(MCD_CSTR szAttrib) {
  return m_pState->Edit().RemoveAttribute(szAttrib.view());
}

bool CMarkup::SetData(MCD_CSTR szValue, int nFlags) {
  return m_pState->Edit().SetData(szValue, nFlags);
}

bool CMarkup::SetChildData(MCD_CSTR szValue, int nFlags) {
  return m_pState->Edit().SetChildData(szValue, nFlags);
}

bool CMarkup::SetData(int nValue) { return SetData(std::to_wstring(nValue)); }

bool CMarkup::SetChildData(int nValue) { return SetChildData(std::to_wstring(nValue)); }

bool CMarkup::SetElemContent(MCD_CSTR szContent) {
  return m_pState->Edit().SetContent(szContent.view());
}

bool CMarkup::RemoveElem() { return m_pState->Edit().RemoveElement(); }

bool CMarkup::RemoveChildElem() { return m_pState->Edit().RemoveChild(); }

bool CMarkup::RemoveNode() { return m_pState->Edit().RemoveNode(); }

// --- Text ---

std::wstring CMarkup::UnescapeText(const wchar_t* szText, int nTextLength, int nFlags) {
  if (szText == nullptr) return {};
  const std::wstring_view text =
      nTextLength < 0 ? std::wstring_view(szText) : std::wstring_view(szText, szText + nTextLength);
  return orv::UnescapeText(text, nFlags);
}

std::wstring CMarkup::EscapeText(MCD_CSTR szText, int nFlags) {
  return orv::EscapeText(szText.c_str(), nFlags);
}

int CMarkup::DecodeCharUTF8(const char*& pszUTF8, const char* pszUTF8End) {
  return orv::DecodeCharUtf8(&pszUTF8, pszUTF8End);
}

void CMarkup::EncodeCharUTF8(int nUChar, char* pszUTF8, int& nUTF8Len) {
  orv::EncodeCharUtf8(nUChar, pszUTF8, &nUTF8Len);
}

int CMarkup::DecodeCharUTF16(const wchar_t*& pszUTF16, const wchar_t* pszUTF16End) {
  return orv::DecodeCharUtf16(&pszUTF16, pszUTF16End);
}

void CMarkup::EncodeCharUTF16(int nUChar, wchar_t* pwszUTF16, int& nUTF16Len) {
  orv::EncodeCharUtf16(nUChar, pwszUTF16, &nUTF16Len);
}

int CMarkup::UTF16To8(char* pszUTF8, const wchar_t* pwszUTF16, int nUTF8Count) {
  return static_cast<int>(orv::WideToUtf8(pwszUTF16, pszUTF8, ToSize(nUTF8Count)));
}

int CMarkup::UTF8To16(wchar_t* pwszUTF16, const char* pszUTF8, int nUTF8Count) {
  const std::string_view bytes(pszUTF8, strnlen(pszUTF8, ToSize(nUTF8Count)));
  return static_cast<int>(orv::Utf8ToWide(bytes, pwszUTF16));
}

bool CMarkup::DetectUTF8(const char* pText, int nTextLen, int* pnNonASCII, bool* pbErrorAtEnd) {
  return orv::DetectUtf8({pText, ToSize(nTextLen)}, pnNonASCII, pbErrorAtEnd);
}

int CMarkup::GetEncodingCodePage(MCD_CSTR szEncoding) {
  return orv::EncodingCodePage(szEncoding.view());
}

std::wstring CMarkup::GetDeclaredEncoding(MCD_CSTR szDoc) {
  return orv::DeclaredEncoding(szDoc.view());
}

std::wstring CMarkup::EncodeBase64(const unsigned char* pBuffer, int nBufferLen) {
  return orv::EncodeBase64({pBuffer, ToSize(nBufferLen)});
}

int CMarkup::DecodeBase64(const std::wstring& strBase64, unsigned char* pBuffer, int nBufferLen) {
  return orv::DecodeBase64(strBase64, pBuffer, nBufferLen);
}

// --- Files ---

bool CMarkup::ReadTextFile(int, MCD_CSTR szFile, std::wstring& strDoc, std::wstring* pstrResult,
                           int* pnDocFlags) {
  return orv::ReadTextFile(szFile.c_str(), strDoc, pstrResult, pnDocFlags);
}

bool CMarkup::WriteTextFile(int, MCD_CSTR szFile, const std::wstring& strDoc,
                            std::wstring* pstrResult, int* pnDocFlags) {
  return orv::WriteTextFile(szFile.c_str(), strDoc, pstrResult, pnDocFlags);
}

bool CMarkup::Load(MCD_CSTR szFile) { return m_pState->Load(szFile.c_str()); }

bool CMarkup::LoadWIN(MCD_CSTR szFile) { return Load(szFile); }

bool CMarkup::Save(MCD_CSTR szFile) { return m_pState->Save(szFile.c_str()); }

bool CMarkup::SaveWIN(MCD_CSTR szFile) { return Save(szFile); }

bool CMarkup::Open(MCD_CSTR szFile, int nFlags) { return m_pState->Open(szFile.c_str(), nFlags); }

bool CMarkup::Flush() { return m_pState->writer != nullptr && m_pState->writer->Flush(); }

bool CMarkup::Close() { return m_pState->Close(); }
