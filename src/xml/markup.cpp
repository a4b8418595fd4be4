#include "orv/xml/markup.h"

#include <functional>
#include <limits>
#include <string_view>
#include <utility>

#include "platform/pages.h"
#include "xml/element_indexer.h"
#include "xml/file_stream.h"
#include "xml/markup_index.h"
#include "xml/result.h"
#include "xml/saved_positions.h"
#include "xml/trailing_copy.h"

using orv::ElemPos;

namespace {

/// The most units of a document; a longer one counts as empty.
constexpr std::size_t kMostUnits = std::numeric_limits<int>::max();

/// The most units that are copied while they are looked through: from there on the C library copies
/// past the caches, which takes less than what a second look at the text does.
constexpr std::size_t kMostTrailed = (std::size_t{32} << 20) / sizeof(wchar_t);

bool IsPartOf(std::wstring_view text, const std::wstring& whole) {
  const std::less<const wchar_t*> before;
  return !before(text.data(), whole.data()) && !before(whole.data() + whole.size(), text.data());
}

}  // namespace

CMarkup::CMarkup()
    : m_pSavedPositions(std::make_unique<orv::SavedPositions>()),
      m_pElements(std::make_unique<orv::ElemPosArray>()) {
  SetDoc(nullptr);
}

CMarkup::CMarkup(MCD_CSTR szDoc) : CMarkup() { SetDoc(szDoc.c_str()); }

CMarkup::CMarkup(int nFlags) : CMarkup() { m_nDocFlags = nFlags; }

CMarkup::CMarkup(const CMarkup& other) : CMarkup() { *this = other; }

CMarkup& CMarkup::operator=(const CMarkup& other) {
  if (this == &other || x_HasFile() || other.x_HasFile()) return *this;
  // Everything that takes memory comes first, so that there is a whole document without it too.
  std::wstring text = other.m_strDoc;
  std::wstring result = other.m_strResult;
  auto savedPositions = std::make_unique<orv::SavedPositions>(*other.m_pSavedPositions);
  auto elements = std::make_unique<orv::ElemPosArray>();
  elements->Assign(*other.m_pElements, other.m_iPosFree);

  m_strDoc = std::move(text);
  m_strResult = std::move(result);
  m_pSavedPositions = std::move(savedPositions);
  m_pElements = std::move(elements);
  m_iPosParent = other.m_iPosParent;
  m_iPos = other.m_iPos;
  m_iPosChild = other.m_iPosChild;
  m_iPosFree = other.m_iPosFree;
  m_iPosDeleted = other.m_iPosDeleted;
  m_nNodeType = other.m_nNodeType;
  m_nNodeOffset = other.m_nNodeOffset;
  m_nNodeLength = other.m_nNodeLength;
  m_nDocFlags = other.m_nDocFlags;
  return *this;
}

CMarkup::~CMarkup() = default;

bool CMarkup::SetDoc(const wchar_t* szDoc) {
  if (szDoc != nullptr) return x_CopyDoc(szDoc);
  if (x_HasFile()) return false;
  m_strDoc.clear();
  m_pElements->Clear();
  m_strResult.clear();
  return x_ParseDoc();
}

bool CMarkup::SetDoc(const std::wstring& strDoc) { return x_CopyDoc(strDoc); }

bool CMarkup::SetDoc(std::wstring&& strDoc) {
  if (x_HasFile()) return false;
  m_strDoc = std::move(strDoc);
  m_strResult.clear();
  return x_ParseDoc();
}

/// Takes a copy of a text, which may be a part of the document or of its result record, and behind
/// which a unit can be read. The document stays as it is when there is no memory for the copy.
bool CMarkup::x_CopyDoc(std::wstring_view text) {
  if (x_HasFile()) return false;
  if (text.size() > kMostUnits) text = {};
  if (text.size() > m_strDoc.capacity()) {
    std::wstring fresh;
    fresh.reserve(text.size());
    orv::PopulatePages(fresh.data(), text.size() * sizeof(wchar_t));
    m_strDoc.swap(fresh);
  }
  if (text.size() > kMostTrailed || IsPartOf(text, m_strDoc) || IsPartOf(text, m_strResult)) {
    m_strDoc.assign(text);
    m_strResult.clear();
    return x_ParseDoc();
  }
  m_strDoc.clear();
  orv::TrailingCopy copy(text, &m_strDoc);
  m_strResult.clear();
  return x_ParseDoc(text, &copy);
}

bool CMarkup::x_ParseDoc() {
  if (m_strDoc.size() > kMostUnits) std::wstring().swap(m_strDoc);
  return x_ParseDoc(m_strDoc, nullptr);
}

/// Makes the document's index anew from its text, or from the text that a copy is being made of.
bool CMarkup::x_ParseDoc(std::wstring_view text, orv::TrailingCopy* copy) {
  ResetPos();
  m_pSavedPositions->Clear();
  x_IndexDoc(text, copy);
  return IsWellFormed();
}

/// Makes the index of the whole text; what is wrong goes to the result record.
void CMarkup::x_IndexDoc(std::wstring_view text, orv::TrailingCopy* copy) {
  const int length = static_cast<int>(text.size());
  m_iPosFree = 1;
  m_iPosDeleted = 0;
  if (m_pElements->Capacity() != 0) x_Elem(0) = ElemPos{};  // whatever the next step throws
  // Configurations have an element about every 58 units, so that one request is enough.
  x_AllocElemPos(length / 48 + 8);
  x_Elem(0) = ElemPos{};
  if (length == 0) return;

  orv::TokenPos token;
  token.text = text.data();
  token.flags = m_nDocFlags;
  token.length = length;
  const int first = x_ParseElem(0, token, copy);
  m_pElements->Trim(m_iPosFree);
  ElemPos& document = x_Elem(0);
  document.length = length;
  document.child = first;
  if (first == 0) {
    orv::AddResult(m_strResult, L"no_root_element", nullptr, 0);
  } else if (x_Elem(first).next != 0) {
    orv::AddResult(m_strResult, L"root_has_sibling", nullptr, 0);
  }
}

int CMarkup::x_ParseElem(int iPosParent, orv::TokenPos& token, orv::TrailingCopy* copy) {
  return orv::IndexElements(*m_pElements, &m_iPosFree, iPosParent, token, m_strResult, copy);
}

bool CMarkup::IsWellFormed() const {
  if ((m_nDocFlags & DOC_WRITEFILE) != 0) return true;
  if (m_pElements->Capacity() == 0) return false;
  const ElemPos& document = x_Elem(0);
  const bool noFault = (document.levelFlags & orv::ELEM_ILLFORMED) == 0;
  if ((m_nDocFlags & DOC_READFILE) != 0) return noFault;
  return noFault && document.child != 0 && x_Elem(static_cast<int>(document.child)).next == 0;
}

/// Makes room for records; 0 means half as many again as are used.
void CMarkup::x_AllocElemPos(int nNewSize) {
  m_pElements->Grow(nNewSize != 0 ? nNewSize : m_iPosFree + m_iPosFree / 2);
}

int CMarkup::x_GetFreePos() {
  if (m_iPosFree >= m_pElements->Capacity()) x_AllocElemPos();
  return m_iPosFree++;
}

/// Puts a record on the chain of deleted ones; returns what was its next sibling.
int CMarkup::x_ReleasePos(int iPos) {
  ElemPos& element = x_Elem(iPos);
  const int next = static_cast<int>(element.next);
  element.next = m_iPosDeleted;
  element.levelFlags = orv::ELEM_DELETED;
  m_iPosDeleted = iPos;
  return next;
}
