#pragma once

#include "orv/xml/elem_pos_array.h"
#include "orv/xml/markup.h"

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
