#include <algorithm>

#include "orv/text/format.h"
#include "orv/xml/markup.h"
#include "xml/file_stream.h"
#include "xml/markup_index.h"
#include "xml/names.h"
#include "xml/saved_positions.h"
#include "xml/scanner.h"

using orv::ElemPos;

void CMarkup::ResetPos() { x_SetPos(0, 0, 0); }

void CMarkup::ResetMainPos() { x_SetPos(m_iPosParent, 0, 0); }

void CMarkup::ResetChildPos() { x_SetPos(m_iPosParent, m_iPos, 0); }

/// The first element that a path names behind `iPos`, or among the children of `iPosParent` when
/// `iPos` is 0; 0 when there is none.
int CMarkup::x_FindElem(int iPosParent, int iPos, MCD_CSTR szPath) const {
  const wchar_t* path = szPath.c_str();
  auto found = static_cast<int>(iPos != 0 ? x_Elem(iPos).next : x_Elem(iPosParent).child);
  if (*path == 0) return found;
  // Mostly a plain name is looked for and the first element has it.
  if (found != 0 && orv::IsWholeName(m_strDoc.c_str() + x_Elem(found).start + 1, path)) {
    return found;
  }
  if (orv::PathNameLength(path) < 0) return 0;
  const bool ignoreCase = (m_nDocFlags & DOC_IGNORECASE) != 0;
  while (found != 0) {
    const ElemPos& element = x_Elem(found);
    if (orv::NameInMarkupIs(m_strDoc.c_str() + element.start + 1, path, ignoreCase)) break;
    found = static_cast<int>(element.next);
  }
  return found;
}

bool CMarkup::FindElem(MCD_CSTR szName) {
  if ((m_nDocFlags & DOC_WRITEFILE) != 0 || m_pElements->Capacity() == 0) return false;
  if (x_IsReading()) return x_ReadTo(NODE_ELEMENT, szName) != NODE_NONE;
  const int found = x_FindElem(m_iPosParent, m_iPos, szName);
  if (found == 0) return false;
  x_SetPos(x_GetParent(found), found, 0);
  return true;
}

bool CMarkup::FindChildElem(MCD_CSTR szName) {
  if (x_HasFile() || x_IsOtherNode()) return false;
  if (m_iPos == 0) FindElem();
  if (m_iPos == 0) return false;
  const int found = x_FindElem(m_iPos, m_iPosChild, szName);
  if (found == 0) return false;
  x_SetPos(m_iPosParent, m_iPos, found);
  return true;
}

bool CMarkup::IntoElem() {
  if (!x_IsElement()) return false;
  if (x_IsReading()) m_pFileStream->EnterElement(x_GetTagName(m_iPos));
  x_SetPos(m_iPos, m_iPosChild, 0);
  return true;
}

bool CMarkup::OutOfElem() {
  if (m_iPosParent == 0) return false;
  if (x_IsReading()) x_ReadOut();
  const int main = m_iPosParent;
  x_SetPos(x_GetParent(main), main, m_iPos);
  return true;
}

int CMarkup::FindNode(int nType) {
  if ((m_nDocFlags & DOC_WRITEFILE) != 0 || m_pElements->Capacity() == 0) return NODE_NONE;
  if (x_IsReading()) return x_ReadTo(nType, nullptr);
  const ElemPos& parent = x_Elem(m_iPosParent);
  const int end = static_cast<int>(parent.ContentEnd());
  int at = static_cast<int>(parent.ContentStart());
  if (x_IsOtherNode()) {
    at = m_nNodeOffset + m_nNodeLength;
  } else if (m_iPos != 0) {
    at = static_cast<int>(x_Elem(m_iPos).End());
  }
  if (m_iPosParent != 0 && parent.IsTagOnly()) at = end;

  int before = m_iPos;  // the element last passed
  orv::TokenPos token = x_TokenAt(at, end);
  orv::NodePos node;
  for (;;) {
    const int type = ScanNode(token, node);
    if (type == orv::kScanEnd) return NODE_NONE;
    if (type == NODE_ELEMENT) {
      before = static_cast<int>(before != 0 ? x_Elem(before).next : parent.child);
      token.next = static_cast<int>(x_Elem(before).End());
    }
    if (type <= NODE_NONE || (nType != 0 && (type & nType) == 0)) continue;
    x_SetPos(m_iPosParent, before, 0);
    m_nNodeType = type;
    if (type != NODE_ELEMENT) {
      m_nNodeOffset = node.start;
      m_nNodeLength = node.length;
    }
    return type;
  }
}

bool CMarkup::SavePos(MCD_CSTR szPosName, int nMap) {
  if (x_HasFile() || nMap < 0) return false;
  m_pSavedPositions->At(nMap)[szPosName.c_str()] = {m_iPosParent, m_iPos, m_iPosChild};
  return true;
}

bool CMarkup::RestorePos(MCD_CSTR szPosName, int nMap) {
  if (x_HasFile() || nMap < 0) return false;
  const auto& table = m_pSavedPositions->At(nMap);
  const auto saved = table.find(szPosName.c_str());
  if (saved == table.end()) return false;
  x_SetPos(saved->second.parent, saved->second.main, saved->second.child);
  return true;
}

bool CMarkup::SetMapSize(int nSize, int nMap) {
  if (x_HasFile() || nSize < 0 || nMap < 0) return false;
  // Room is only a hint, and no reason to fail.
  constexpr int kMostRoom = 1 << 16;
  m_pSavedPositions->At(nMap).reserve(std::min(nSize, kMostRoom));
  return true;
}

std::wstring CMarkup::GetPath() const { return x_IsElement() ? x_GetPath(m_iPos) : std::wstring(); }

/// "/name[n]" for each level; "[n]" is left out for the first of its name.
std::wstring CMarkup::x_GetPath(int iPos) const {
  std::wstring path;
  for (int element = iPos; element != 0; element = x_GetParent(element)) {
    const std::wstring_view name = x_GetTagName(element);
    int number = 1;
    for (int i = element; (x_Elem(i).levelFlags & orv::ELEM_FIRST) == 0;) {
      i = static_cast<int>(x_Elem(i).previous);
      number += orv::SameName(x_GetTagName(i), name, (m_nDocFlags & DOC_IGNORECASE) != 0);
    }
    std::wstring step = L"/" + std::wstring(name);
    if (number > 1) step += orv::Format(L"[%d]", number);
    path.insert(0, step);
  }
  return path;
}
