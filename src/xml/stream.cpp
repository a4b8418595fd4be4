#include "orv/xml/markup.h"
#include "xml/file_stream.h"
#include "xml/markup_index.h"
#include "xml/names.h"
#include "xml/open_names.h"
#include "xml/result.h"
#include "xml/scanner.h"
#include "xml/text_files.h"

using orv::ElemPos;

// The flags alone do not make a file: a constructor takes any.
bool CMarkup::x_IsReading() const {
  return m_pFileStream != nullptr && (m_nDocFlags & DOC_READFILE) != 0;
}

bool CMarkup::x_IsWriting() const {
  return m_pFileStream != nullptr && (m_nDocFlags & DOC_WRITEFILE) != 0;
}

bool CMarkup::Open(MCD_CSTR szFile, int nFlags) {
  if (x_HasFile()) return false;
  SetDoc(nullptr);
  auto stream = std::make_unique<orv::FileStream>();
  const std::wstring file = szFile.c_str();
  const int modes = nFlags & (DOC_READFILE | DOC_WRITEFILE | DOC_APPENDFILE);
  bool isOpen = false;
  if (modes == DOC_READFILE) {
    isOpen = stream->OpenToRead(file);
    if (isOpen) m_nDocFlags = orv::FlagsOfFile(stream->ReadEncoding(), m_nDocFlags);
  } else if (modes == DOC_WRITEFILE) {
    isOpen = stream->OpenToWrite(file);
  } else if ((modes & DOC_APPENDFILE) != 0 && (modes & DOC_READFILE) == 0) {
    isOpen = stream->OpenToAppend(file);
  }
  if (!isOpen) {
    orv::ReportFileError(L"cannot open ", file, &m_strResult);
    return false;
  }
  m_nDocFlags |= modes;
  if ((modes & DOC_APPENDFILE) != 0) m_nDocFlags |= DOC_WRITEFILE;
  m_pFileStream = std::move(stream);
  return true;
}

bool CMarkup::Flush() { return x_IsWriting() && x_WriteOut() && m_pFileStream->Flush(); }

bool CMarkup::Close() {
  if (m_pFileStream == nullptr) return false;
  const bool isGood = !x_IsWriting() || x_FinishWriting();
  std::wstring report;
  if (isGood) {
    m_pFileStream->Report(&report);
  } else {
    orv::ReportFileError(L"cannot write ", m_pFileStream->Name(), &report);
  }
  m_strResult.insert(0, report);
  m_pFileStream.reset();
  m_nDocFlags &= ~(DOC_READFILE | DOC_WRITEFILE | DOC_APPENDFILE);
  m_strDoc.clear();
  m_pElements->Clear();
  x_ParseDoc();
  return isGood;
}

// --- Writing ---

/// Writes what comes before the place where markup is added next and drops it from memory. The
/// current element stays as long as its start tag is at hand, and so does a parent that is not
/// opened yet. The index then holds the open elements and the current one.
bool CMarkup::x_WriteOut() {
  const auto isAtHand = [this](int i) { return x_Elem(i).StartTagLength() > orv::kWrittenTag; };
  int end = static_cast<int>(m_strDoc.size());
  int current = 0;
  if (x_IsOtherNode()) {
    end = m_nNodeOffset;
  } else if (m_iPos != 0 && isAtHand(m_iPos)) {
    current = m_iPos;
    end = static_cast<int>(x_Elem(m_iPos).start);
  } else if (m_iPos != 0) {
    end = static_cast<int>(x_Elem(m_iPos).End());
  } else if (m_iPosParent != 0) {
    end = x_Elem(m_iPosParent).IsTagOnly() ? static_cast<int>(x_Elem(m_iPosParent).start)
                                           : x_ContentEnd(m_iPosParent);
  }
  if (!m_pFileStream->Write(m_strDoc, end, m_nDocFlags)) return false;
  m_strDoc.erase(0, end);

  std::vector<ElemPos> open;
  if (current != 0) open.push_back(x_Elem(current));
  for (int i = m_iPosParent; i != 0; i = x_GetParent(i)) open.push_back(x_Elem(i));
  m_iPosFree = 1;
  x_Elem(0) = ElemPos{};
  x_Elem(0).length = static_cast<std::uint32_t>(m_strDoc.size());
  int parent = 0;
  while (!open.empty()) {
    ElemPos element = open.back();
    open.pop_back();
    const int elementEnd = static_cast<int>(element.End()) - end;
    const int start = static_cast<int>(element.start) - end;
    if (start < 0) element.SetStartTagLength(orv::kWrittenTag);
    element.start = std::max(start, 0);
    element.length = elementEnd - element.start;
    element.child = 0;
    const int i = x_GetFreePos();
    x_Elem(i) = element;
    x_LinkElem(parent, 0, i);
    if (current == 0 || !open.empty()) {
      parent = i;
    } else {
      current = i;
    }
  }
  const int nodeType = m_nNodeType;
  const int nodeLength = m_nNodeLength;
  const bool isOtherNode = x_IsOtherNode();
  x_SetPos(parent, current, 0);
  if (isOtherNode) {
    m_nNodeType = nodeType;
    m_nNodeLength = nodeLength;
  }
  return true;
}

bool CMarkup::x_FinishWriting() {
  return m_pFileStream->Write(m_strDoc, m_strDoc.size(), m_nDocFlags) &&
         m_pFileStream->Finish(m_nDocFlags);
}

// --- Reading: records 1 and up are the open elements from the outside in, and the main one ---

/// Drops what has been passed but for the start tags of the elements at hand, and reads more.
/// Offsets in the unread text move, also when there turns out to be no more; `*at` is one of them.
/// False, and nothing moved, when the end was met before.
bool CMarkup::x_ReadMore(int* at) {
  orv::FileStream& stream = *m_pFileStream;
  if (stream.IsEnded()) return false;
  std::wstring kept;
  for (int i = 1; i < m_iPosFree; ++i) {
    ElemPos& element = x_Elem(i);
    const auto start = static_cast<std::uint32_t>(kept.size());
    kept += m_strDoc.substr(element.start, element.StartTagLength());
    element.start = start;
  }
  const int shift = static_cast<int>(kept.size()) - stream.next;
  m_strDoc.replace(0, stream.next, kept);
  stream.next += shift;
  stream.passed -= shift;
  *at += shift;
  // Reading as much as there is keeps the rescanning of a long node within twice its length.
  stream.Read(m_strDoc.size(), &m_strDoc);
  x_Elem(0).length = static_cast<std::uint32_t>(m_strDoc.size());
  return true;
}

/// Scans the node at `*at` and moves that behind it; reads more of the file as needed.
int CMarkup::x_ReadNode(orv::NodePos& node, int* at) {
  for (;;) {
    orv::TokenPos token = x_TokenAt(*at, static_cast<int>(m_strDoc.size()));
    constexpr std::int64_t kMostPassed = 1 << 30;
    token.passed = static_cast<int>(std::min(m_pFileStream->passed, kMostPassed));
    const int type = ScanNode(token, node);
    if (node.hitEnd && x_ReadMore(at)) continue;
    *at = token.next;
    if (type == orv::kScanError) {
      x_Elem(0).levelFlags |= orv::ELEM_ILLFORMED;
      if (!orv::IsResultFull(m_strResult)) m_strResult += node.result;
    }
    return type;
  }
}

/// Whether an end tag of this name closes one of the elements around the current place.
bool CMarkup::x_EndsOpenElem(std::wstring_view name) const {
  if (!m_pFileStream->parents.MayMatch(name)) return false;
  const bool ignoreCase = (m_nDocFlags & DOC_IGNORECASE) != 0;
  for (int i = m_iPosParent; i != 0; i = x_GetParent(i)) {
    if (orv::SameName(x_GetTagName(i), name, ignoreCase)) return true;
  }
  return false;
}

/// Passes the content and the end tag of an element whose start tag has been passed. False when it
/// is not closed before an element around it is.
bool CMarkup::x_ReadPast(std::wstring strName) {
  const bool ignoreCase = (m_nDocFlags & DOC_IGNORECASE) != 0;
  orv::FileStream& stream = *m_pFileStream;
  std::vector<std::wstring> open;
  orv::OpenNames names(ignoreCase);
  const auto push = [&](std::wstring name) {
    names.Add(name);
    open.push_back(std::move(name));
  };
  push(std::move(strName));
  orv::NodePos node;
  while (!open.empty()) {
    int at = stream.next;
    const int type = x_ReadNode(node, &at);
    const int start = node.start;
    if (type == orv::kScanEnd) break;
    if (type == NODE_ELEMENT) {
      stream.next = at;
      if (node.flags != orv::ELEM_EMPTY) push(std::wstring(orv::TagNameAt(m_strDoc, start + 1)));
    } else if (type == orv::kScanEndTag) {
      const std::wstring_view name = orv::TagNameAt(m_strDoc, start + 2);
      const bool closes = names.MayMatch(name);
      if (!closes && x_EndsOpenElem(name)) break;
      stream.next = at;
      if (!closes) {
        x_Elem(0).levelFlags |= orv::ELEM_ILLFORMED;
        continue;
      }
      while (!open.empty()) {
        const bool isIt = orv::SameName(open.back(), name, ignoreCase);
        names.Remove(open.back());
        open.pop_back();
        if (isIt) break;
        x_Elem(0).levelFlags |= orv::ELEM_ILLFORMED;
      }
    } else {
      stream.next = at;
    }
  }
  if (open.empty()) return true;
  x_Elem(0).levelFlags |= orv::ELEM_ILLFORMED;
  return false;
}

/// Moves to the next node of one of the types (all for 0), an element by its name; returns its
/// type.
int CMarkup::x_ReadTo(int nTypes, MCD_CSTR szPath) {
  orv::FileStream& stream = *m_pFileStream;
  const wchar_t* path = szPath.c_str();
  if (orv::PathNameLength(path) < 0) return NODE_NONE;
  const bool ignoreCase = (m_nDocFlags & DOC_IGNORECASE) != 0;
  if (stream.isContentAhead) {
    stream.isContentAhead = false;
    x_ReadPast(std::wstring(x_GetTagName(m_iPos)));
  }
  x_SetPos(m_iPosParent, 0, 0);
  m_iPosFree = m_iPosParent + 1;

  orv::NodePos node;
  while (!stream.isParentEnded) {
    int at = stream.next;
    const int type = x_ReadNode(node, &at);
    if (type == orv::kScanEnd) {
      if (m_iPosParent != 0) x_Elem(0).levelFlags |= orv::ELEM_ILLFORMED;
      stream.isParentEnded = m_iPosParent != 0;
      return NODE_NONE;
    }
    if (type == orv::kScanEndTag) {
      const std::wstring_view name = orv::TagNameAt(m_strDoc, node.start + 2);
      const bool isParent =
          m_iPosParent != 0 && orv::SameName(x_GetTagName(m_iPosParent), name, ignoreCase);
      stream.isParentEnded = isParent || x_EndsOpenElem(name);
      if (!isParent) x_Elem(0).levelFlags |= orv::ELEM_ILLFORMED;
      // The end tag of an element further out stays for it.
      if (isParent || !stream.isParentEnded) stream.next = at;
      continue;
    }
    stream.next = at;
    if (type == NODE_ELEMENT) {
      const bool isEmpty = node.flags == orv::ELEM_EMPTY;
      const bool isWanted = nTypes == 0 || (nTypes & NODE_ELEMENT) != 0;
      const bool isNamed =
          *path == 0 || orv::NameInMarkupIs(m_strDoc.c_str() + node.start + 1, path, ignoreCase);
      if (!isWanted || !isNamed) {
        if (!isEmpty) x_ReadPast(std::wstring(orv::TagNameAt(m_strDoc, node.start + 1)));
        continue;
      }
      const int found = x_GetFreePos();
      ElemPos& element = x_Elem(found);
      element = ElemPos{};
      element.start = node.start;
      element.length = node.length;
      element.SetTagLengths(node.length, 0);
      element.levelFlags = x_LevelBelow(m_iPosParent) | node.flags | orv::ELEM_FIRST;
      element.parent = m_iPosParent;
      element.previous = found;
      stream.isContentAhead = !isEmpty;
      x_SetPos(m_iPosParent, found, 0);
      return NODE_ELEMENT;
    }
    if (type > NODE_ELEMENT && (nTypes == 0 || (nTypes & type) != 0)) {
      m_nNodeType = type;
      m_nNodeOffset = node.start;
      m_nNodeLength = node.length;
      return type;
    }
  }
  return NODE_NONE;
}

/// Passes the rest of the parent, which becomes the main element.
void CMarkup::x_ReadOut() {
  orv::FileStream& stream = *m_pFileStream;
  if (stream.isContentAhead) {
    stream.isContentAhead = false;
    x_ReadPast(std::wstring(x_GetTagName(m_iPos)));
  }
  m_iPosFree = m_iPosParent + 1;
  m_iPos = 0;
  if (!stream.isParentEnded) {
    const std::wstring name(x_GetTagName(m_iPosParent));
    const int parent = m_iPosParent;
    m_iPosParent = x_GetParent(parent);  // only elements further out end it before its end tag
    x_ReadPast(name);
    m_iPosParent = parent;
  }
  stream.parents.Remove(x_GetTagName(m_iPosParent));
  stream.isParentEnded = false;
}

/// The data of the main element; its content stays ahead, to be gone into or passed.
std::wstring CMarkup::x_ReadData() {
  orv::FileStream& stream = *m_pFileStream;
  if (!stream.isContentAhead) return {};
  std::wstring data;
  orv::NodePos node;
  for (int at = stream.next;;) {
    const int type = x_ReadNode(node, &at);
    const std::wstring_view markup = x_Range(node.start, node.start + node.length);
    if (type == NODE_ELEMENT) return {};
    if (type == orv::kScanEnd || type == orv::kScanEndTag) return data;
    if (type == NODE_TEXT || type == NODE_WHITESPACE) data += x_Unescape(markup);
    if (type == NODE_CDATA_SECTION) data += markup.substr(9, node.length - 12);
  }
}
