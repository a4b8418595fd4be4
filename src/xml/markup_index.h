#pragma once

#include <string_view>

#include "orv/xml/markup.h"
#include "xml/elem_pos_array.h"
#include "xml/names.h"
#include "xml/unit_search.h"

/// What every move and every read does, in line.

inline orv::ElemPos& CMarkup::x_Elem(int iPos) const { return (*m_pElements)[iPos]; }

inline int CMarkup::x_GetParent(int iPos) const { return static_cast<int>(x_Elem(iPos).parent); }

inline void CMarkup::x_SetPos(int iPosParent, int iPos, int iPosChild) {
  m_iPosParent = iPosParent;
  m_iPos = iPos;
  m_iPosChild = iPosChild;
  m_nNodeOffset = 0;
  m_nNodeLength = 0;
  m_nNodeType = iPos != 0 ? NODE_ELEMENT : NODE_NONE;
}

namespace orv {

/// Whether reading changes the white space of values and data.
inline bool ShapesWhiteSpace(int flags) {
  return (flags & (CMarkup::DOC_TRIMWHITESPACE | CMarkup::DOC_COLLAPSEWHITESPACE)) != 0;
}

/// Whether an element has a tag name, which has no units that could end it.
inline bool IsNamed(std::wstring_view text, const ElemPos& element, std::wstring_view tagName,
                    int flags) {
  // The name and the two signs around it.
  if (element.length < tagName.size() + 2) return false;
  const wchar_t* const name = text.data() + element.start + 1;
  return EndsTagName(name[tagName.size()]) &&
         SameName({name, tagName.size()}, tagName, (flags & CMarkup::DOC_IGNORECASE) != 0);
}

/// The content of an element that is one run of text without references. Null data when it is not.
inline std::wstring_view PlainContent(std::wstring_view text, const ElemPos& element) {
  if (element.child != 0 || element.IsTagOnly()) return {};
  const wchar_t* const start = text.data() + element.ContentStart();
  const wchar_t* const contentEnd = text.data() + element.ContentEnd();
  // The text goes on behind the content, with the end tag's `<`, which ends the search.
  if (FindEither(start, text.data() + text.size(), L'<', L'&') != contentEnd) return {};
  return {start, static_cast<std::size_t>(contentEnd - start)};
}

}  // namespace orv
