#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "orv/platform/export.h"

namespace orv {
class ElemPosArray;
class FileStream;
class ChildReader;
class MarkupReader;
class SavedPositions;
class TrailingCopy;
struct Attribute;
struct ElemPos;
struct NodePos;
struct TokenPos;
}  // namespace orv

/// A text argument: a pointer to zero-terminated wide text that somebody else owns and that
/// outlives the call. A null pointer reads as the empty text.
class MCD_CSTR {
 public:
  MCD_CSTR() = default;
  /// A text that stays where it is; null is allowed.
  MCD_CSTR(const wchar_t* szText) : m_szText(szText) {}
  MCD_CSTR(const std::wstring& strText) : m_szText(strText.c_str()) {}

  /// Never null.
  const wchar_t* c_str() const { return m_szText != nullptr ? m_szText : L""; }
  /// The text, up to its zero.
  std::wstring_view view() const { return c_str(); }
  /// Whether there was a null pointer, and whether the text is empty, as a null one is.
  bool IsNull() const { return m_szText == nullptr; }
  bool IsEmpty() const { return *c_str() == 0; }

 private:
  const wchar_t* m_szText = nullptr;
};

/// An XML document: one wide text of UTF-16 code units (one an element of the string) and an index
/// of its elements. Reading never builds a tree: it walks the index, and what it returns is a copy
/// that the caller owns. Offsets and lengths everywhere are counts of units of the text.
///
/// A document has a current place, made of three positions: the parent, the main position (the
/// current element or node, one of the parent's children) and the child position (the current child
/// of the main position). `FindElem` and `FindChildElem` move onward along siblings; `IntoElem` and
/// `OutOfElem` move between levels. What is not found leaves the positions as they were.
///
/// No text is refused: an ill-formed document has an index as well, and what is wrong with it
/// stands in the result record (`GetResult`, `GetError`). Nothing is thrown but the failure to
/// allocate memory. An element whose start tag has 4,194,303 units or more can be read but for its
/// content, and removed, but not changed. An object belongs to one thread at a time; the static
/// functions may run on any thread.
class ORV_EXPORT CMarkup {
 public:
  /// Document flags, see `SetDocFlags`.
  enum : int {
    DOC_UTF16LEFILE = 1,  ///< files are UTF-16, low byte first; set by `Load`, followed by `Save`
    DOC_UTF16BEFILE = 2,  ///< … high byte first
    DOC_UTF8MARK = 4,     ///< UTF-8 files have a byte-order mark
    DOC_IGNORECASE = 8,   ///< names match without regard to ASCII case; on by default
    DOC_READFILE = 16,    ///< a file is being read in parts (`Open`)
    DOC_WRITEFILE = 32,   ///< a file is being written in parts (`Open`)
    DOC_APPENDFILE = 64,  ///< … after what it held
    DOC_TRIMWHITESPACE = 0x100,      ///< values are read without white space around them
    DOC_COLLAPSEWHITESPACE = 0x200,  ///< … and with every inner run of white space as one space
  };

  /// Node types; each is a bit, so that `FindNode` takes any set of them.
  enum : int {
    NODE_NONE = 0,
    NODE_ELEMENT = 1,
    NODE_TEXT = 2,
    NODE_WHITESPACE = 4,  ///< text that is only white space
    NODE_CDATA_SECTION = 8,
    NODE_PROCESSING_INSTRUCTION = 16,  ///< the XML declaration too
    NODE_COMMENT = 32,
    NODE_DOCUMENT_TYPE = 64,
  };

  /// How markup is written: flags of the adding calls, which hand them on to `EscapeText`.
  enum : int {
    ADD_CDATA = 1,        ///< the value as a CDATA section instead of escaped text
    ADD_NOLINES = 2,      ///< no line breaks
    ADD_SPACEDEMPTY = 4,  ///< `<name />` instead of `<name/>`
    ADD_KEEPREFS = 8,     ///< an `&` that begins a well-formed reference stays as it is
    ADD_NOEND = 16,       ///< `<name>` without an end tag; not with a value
    ESC_ATTRIB = 0x100,   ///< quotes are escaped as well, as in attribute values
    /// For nodes: no line break, and the position stays where it is.
    ADD_STAY = 0x1000,
    /// Where: what the `Insert` and the `Child` forms add to the flags of any adding call.
    ADD_INSERT = 0x2000,  ///< before the current position instead of after it
    ADD_CHILD = 0x4000,   ///< on the child level under the main position
  };

  /// An empty document with the default flags (`DOC_IGNORECASE`).
  CMarkup();
  /// A document with the default flags and this text.
  CMarkup(MCD_CSTR szDoc);
  /// An empty document with these flags, taken as they are.
  CMarkup(int nFlags);
  /// An independent copy, saved positions included.
  CMarkup(const CMarkup& other);
  /// Makes this an independent copy; does nothing when either object has a file open.
  CMarkup& operator=(const CMarkup& other);
  ~CMarkup();

  /// Replaces the text and parses it. The positions are reset, saved positions forgotten, the
  /// result record made anew. True when the document is well formed (`IsWellFormed`). A null text
  /// empties the document and frees its index. False at once while a file is open, and for a text
  /// of 2^31 units or more, which leaves the document empty.
  bool SetDoc(const wchar_t* szDoc);
  bool SetDoc(const std::wstring& strDoc);
  /// The same without a copy: takes the text over.
  bool SetDoc(std::wstring&& strDoc);

  /// The text. The reference stays valid until the document changes.
  const std::wstring& GetDoc() const { return m_strDoc; }

  /// What the last parse, load or save found, as a small XML text: one empty element a finding.
  const std::wstring& GetResult() const { return m_strResult; }
  /// The result record in words: the first fault of the parse, and what happened to the file.
  std::wstring GetError() const;

  /// Whether exactly one root element and no fault was found. With a file open for writing always
  /// true; with one open for reading true until a fault is met.
  bool IsWellFormed() const;

  /// The flags, with what the last load found out about its file's form.
  int GetDocFlags() const { return m_nDocFlags; }
  /// Sets the flags but for the three of an open file, which stay as the file has them. They apply
  /// from the next call on; the text is not parsed again.
  void SetDocFlags(int nFlags) {
    constexpr int kFileFlags = DOC_READFILE | DOC_WRITEFILE | DOC_APPENDFILE;
    m_nDocFlags =
        (nFlags & ~kFileFlags) | (m_pFileStream != nullptr ? m_nDocFlags & kFileFlags : 0);
  }

  /// All positions to none: the next `FindElem` starts at the top level.
  void ResetPos();
  /// The main and child positions to none: the next `FindElem` starts at the parent's first child.
  void ResetMainPos();
  /// The child position to none.
  void ResetChildPos();

  /// Moves the main position to the next element of this name (any name when empty) behind the main
  /// position, or among all the parent's children when there is no main position. Only the first
  /// name of a path counts: `item[2]` finds the next `item`. A name that begins with `/` and a
  /// malformed predicate find nothing.
  bool FindElem(MCD_CSTR szName = nullptr);
  /// Moves the child position to the next child of this name of the main element. Without a main
  /// position the next element becomes it first.
  bool FindChildElem(MCD_CSTR szName = nullptr);
  /// Moves the main position to the next node, in document order on the parent's level, whose type
  /// is in the set `nType` (any type when 0) and returns its type; 0 when there is none. On a node
  /// that is no element, `FindElem` goes on with the element after it.
  int FindNode(int nType = 0);
  /// One level down: the main element becomes the parent, the child position the main position.
  bool IntoElem();
  /// One level up: the parent becomes the main position, the main position the child position.
  bool OutOfElem();

  /// The type of the node at the main position, 0 for none.
  int GetNodeType() const { return m_nNodeType; }

  /// The name of the main (child) element. A node that is no element has a name of its own:
  /// "#comment", "#cdata-section", "#text", or the target of a processing instruction.
  std::wstring GetTagName() const;
  std::wstring GetChildTagName() const;

  /// The value of an attribute of the main (child) element, references decoded; empty when there is
  /// none. Names follow `DOC_IGNORECASE`; of two attributes of one name the first counts.
  /// `GetAttrib` reads the pseudo-attributes of a processing instruction as well.
  std::wstring GetAttrib(MCD_CSTR szAttrib) const;
  std::wstring GetChildAttrib(MCD_CSTR szAttrib) const;
  /// The name and value of the main element's attribute number `n` (from 0). False, and both
  /// untouched, when it has no such attribute.
  bool GetNthAttrib(int n, std::wstring& strAttrib, std::wstring& strValue) const;
  /// The name of the main element's attribute number `n` (from 0); empty when there is none.
  std::wstring GetAttribName(int n) const;

  /// The data of the main (child) element or node: its text, references decoded, and the text of
  /// its CDATA sections. Empty for an element that holds elements.
  std::wstring GetData();
  std::wstring GetChildData() const;
  /// The markup between the main element's start tag and its end tag, as it stands.
  std::wstring GetElemContent() const;
  /// The whole markup of the main (child) element, as it stands.
  std::wstring GetSubDoc() const;
  std::wstring GetChildSubDoc() const;

  /// Views of the text itself, valid until the document changes; a null view when there is nothing.
  /// The tag name of the main element, or the target of a processing instruction.
  std::wstring_view GetTagNamePointer() const;
  /// The data of the main element or node with its references as they stand: null for an element
  /// whose content is more than a single run of text.
  std::wstring_view GetDataPointer() const;

  /// The place of the main element as a path of tag names, with its number in brackets where
  /// brothers of its name stand before it: "/list/item[2]". Empty without a main element.
  std::wstring GetPath() const;

  /// Remembers the three positions under a name, in one of any number of tables; the name "" is one
  /// like others. Names compare exactly. A node that is no element is not remembered. False while a
  /// file is open.
  bool SavePos(MCD_CSTR szPosName = nullptr, int nMap = 0);
  /// Goes back to remembered positions; false when there are none of this name, or what they stood
  /// on was removed.
  bool RestorePos(MCD_CSTR szPosName = nullptr, int nMap = 0);
  /// Gives a table of remembered positions room for `nSize` names. False while a file is open and
  /// for a negative argument.
  bool SetMapSize(int nSize, int nMap = 0);

  /// Where in the text things stand, for messages; -1 when there is no such thing: the `<` of the
  /// main (child) element, or the start of the main node; the first unit of an attribute's name;
  /// the first unit of the main element's content. `orv::LineIndex` makes line and column of them.
  int GetElemOffset() const;
  int GetChildElemOffset() const;
  int GetAttribOffset(MCD_CSTR szAttrib) const;
  int GetContentOffset() const;

  /// Editing. Every call changes the text in place and keeps the index the same as a new parse of
  /// the text would make it, in time proportional to what lies behind the change (in an ill-formed
  /// document, to the whole text). All are refused while a file is open for reading, and when the
  /// position they work on is missing; a refused call returns false and changes nothing.
  ///
  /// `AddElem` writes a new element after the main position, or as the parent's last child when
  /// there is none, and makes it the main position; `InsertElem` writes it before, or as the first
  /// child. The `Child` forms do the same with the child position under the main element. An
  /// element without a value is an empty-element tag. A line break (CR LF) follows, and a parent
  /// that is an empty-element tag is opened with one, unless `ADD_NOLINES`. A name that could not
  /// stand in a tag is refused. While a file is open for writing, only the `Add` forms at the main
  /// level work.
  bool AddElem(MCD_CSTR szName, MCD_CSTR szValue = nullptr, int nFlags = 0) {
    return x_AddElem(szName, szValue, nFlags);
  }
  bool InsertElem(MCD_CSTR szName, MCD_CSTR szValue = nullptr, int nFlags = 0) {
    return x_AddElem(szName, szValue, nFlags | ADD_INSERT);
  }
  bool AddChildElem(MCD_CSTR szName, MCD_CSTR szValue = nullptr, int nFlags = 0) {
    return x_AddElem(szName, szValue, nFlags | ADD_CHILD);
  }
  bool InsertChildElem(MCD_CSTR szName, MCD_CSTR szValue = nullptr, int nFlags = 0) {
    return x_AddElem(szName, szValue, nFlags | ADD_INSERT | ADD_CHILD);
  }
  bool AddElem(MCD_CSTR szName, int nValue, int nFlags = 0) {
    return AddElem(szName, std::to_wstring(nValue), nFlags);
  }
  bool InsertElem(MCD_CSTR szName, int nValue, int nFlags = 0) {
    return InsertElem(szName, std::to_wstring(nValue), nFlags);
  }
  bool AddChildElem(MCD_CSTR szName, int nValue, int nFlags = 0) {
    return AddChildElem(szName, std::to_wstring(nValue), nFlags);
  }
  bool InsertChildElem(MCD_CSTR szName, int nValue, int nFlags = 0) {
    return InsertChildElem(szName, std::to_wstring(nValue), nFlags);
  }

  /// The same with the root element of a well-formed document as it stands; what surrounds the root
  /// is left out. A sub-document that is not well formed is refused.
  bool AddSubDoc(MCD_CSTR szSubDoc, int nFlags = 0) { return x_AddSubDoc(szSubDoc, nFlags); }
  bool InsertSubDoc(MCD_CSTR szSubDoc, int nFlags = 0) {
    return x_AddSubDoc(szSubDoc, nFlags | ADD_INSERT);
  }
  bool AddChildSubDoc(MCD_CSTR szSubDoc, int nFlags = 0) {
    return x_AddSubDoc(szSubDoc, nFlags | ADD_CHILD);
  }
  bool InsertChildSubDoc(MCD_CSTR szSubDoc, int nFlags = 0) {
    return x_AddSubDoc(szSubDoc, nFlags | ADD_INSERT | ADD_CHILD);
  }

  /// The same with a node of a type of `NODE_…` at the main level: text (escaped), white space,
  /// CDATA, the inside of a comment or of a processing instruction, a whole document type
  /// declaration, or the name of an element. What would read back as something else is refused.
  /// Text and CDATA are never given a line break. With `ADD_CHILD` the node goes under the main
  /// element and becomes the main position there; the child position can only be an element.
  bool AddNode(int nType, MCD_CSTR szText, int nFlags = 0) {
    return x_AddNode(nType, szText, nFlags);
  }
  bool InsertNode(int nType, MCD_CSTR szText, int nFlags = 0) {
    return x_AddNode(nType, szText, nFlags | ADD_INSERT);
  }

  /// Sets an attribute of the main (child) element, or a pseudo-attribute of a processing
  /// instruction: replaces its value, which keeps its quotes, or adds it at the end of the tag.
  /// False, and nothing changes, without such a position, for what is no name, and in a tag where
  /// an equals sign and a quote stand within a name or a value without quotes.
  bool SetAttrib(MCD_CSTR szAttrib, MCD_CSTR szValue);
  bool SetChildAttrib(MCD_CSTR szAttrib, MCD_CSTR szValue);
  bool SetAttrib(MCD_CSTR szAttrib, int nValue) {
    return SetAttrib(szAttrib, std::to_wstring(nValue));
  }
  bool SetChildAttrib(MCD_CSTR szAttrib, int nValue) {
    return SetChildAttrib(szAttrib, std::to_wstring(nValue));
  }
  /// Other names for the same.
  bool AddAttrib(MCD_CSTR szAttrib, MCD_CSTR szValue) { return SetAttrib(szAttrib, szValue); }
  bool AddAttrib(MCD_CSTR szAttrib, int nValue) { return SetAttrib(szAttrib, nValue); }
  bool AddChildAttrib(MCD_CSTR szAttrib, MCD_CSTR szValue) {
    return SetChildAttrib(szAttrib, szValue);
  }
  bool AddChildAttrib(MCD_CSTR szAttrib, int nValue) { return SetChildAttrib(szAttrib, nValue); }
  /// Removes an attribute of the main element; false when it has none of this name, and in the tags
  /// that `SetAttrib` refuses.
  bool RemoveAttrib(MCD_CSTR szAttrib);

  /// Replaces the content of the main (child) element by a text, or the text of a node that is no
  /// element. Of the flags `ADD_CDATA` and those of `EscapeText` count.
  bool SetData(MCD_CSTR szValue, int nFlags = 0);
  bool SetChildData(MCD_CSTR szValue, int nFlags = 0);
  bool SetData(int nValue) { return SetData(std::to_wstring(nValue)); }
  bool SetChildData(int nValue) { return SetChildData(std::to_wstring(nValue)); }
  /// Replaces the content of the main element by markup; what holds a fault is refused.
  bool SetElemContent(MCD_CSTR szContent);

  /// Removes the main (child) element or the main node with one line break right after it. The main
  /// position becomes the element before it, or none under the parent; the child position likewise.
  bool RemoveElem();
  bool RemoveChildElem();
  bool RemoveNode();

  /// Decodes the character references of a text: numeric ones and the named ones of HTML 4. Kept
  /// for compatibility: names are looked up without regard to case, and of a pair such as "Oslash"
  /// and "oslash" both give the upper-case letter. What is no known reference stays as it is.
  /// `nTextLength` -1 means up to the terminating zero; of `nFlags` the two white space flags
  /// count.
  static std::wstring UnescapeText(const wchar_t* szText, int nTextLength = -1, int nFlags = 0);

  /// Escapes the signs of markup in a text; of the flags `ADD_KEEPREFS` and `ESC_ATTRIB` count.
  static std::wstring EscapeText(MCD_CSTR szText, int nFlags = 0);

  /// Characters. Decoding moves the pointer behind the character and gives its code point, U+FFFD
  /// for ill-formed input, 0 at the end; a null end means up to the terminating zero. Encoding
  /// writes up to four bytes or two units and gives their number; with a null target only that.
  static int DecodeCharUTF8(const char*& pszUTF8, const char* pszUTF8End = nullptr);
  static void EncodeCharUTF8(int nUChar, char* pszUTF8, int& nUTF8Len);
  static int DecodeCharUTF16(const wchar_t*& pszUTF16, const wchar_t* pszUTF16End = nullptr);
  static void EncodeCharUTF16(int nUChar, wchar_t* pwszUTF16, int& nUTF16Len);

  /// Converts a zero-terminated text; returns the bytes written, without a terminator, or needed
  /// when the target is null. `nUTF8Count` is the room of the target: what does not fit is left
  /// out, never half a character.
  static int UTF16To8(char* pszUTF8, const wchar_t* pwszUTF16, int nUTF8Count);
  /// Converts up to `nUTF8Count` bytes, or up to a zero; returns the units written, or needed when
  /// the target is null. A target of as many units as there are bytes is always large enough.
  static int UTF8To16(wchar_t* pwszUTF16, const char* pszUTF8, int nUTF8Count);

  /// Whether bytes, up to a zero, could be UTF-8, overlong forms included. The outputs, which may
  /// be null, get the number of lead bytes beyond ASCII (up to the first fault), and whether the
  /// only fault is a sequence that the end cuts off.
  static bool DetectUTF8(const char* pText, int nTextLen, int* pnNonASCII = nullptr,
                         bool* pbErrorAtEnd = nullptr);

  /// The Windows code page of an encoding's name: 0 for an empty name, -1 for an unknown one.
  static int GetEncodingCodePage(MCD_CSTR szEncoding);
  /// The encoding that a document declares: in its XML declaration or, if that has no encoding, in
  /// the "Content-Type" of an HTML head. Empty if there is neither.
  static std::wstring GetDeclaredEncoding(MCD_CSTR szDoc);

  /// Base64: a leading line break (CR LF), lines of 64 characters, each ended by one. Kept for
  /// compatibility: a short last line has no line break unless it is padded.
  static std::wstring EncodeBase64(const unsigned char* pBuffer, int nBufferLen);
  /// Decodes Base64 and returns the bytes written. Line breaks are skipped, other strange
  /// characters count as some value. Stops at a group that the buffer has no room for and at a
  /// group that is not complete. With a size of 0 returns a size that is enough.
  static int DecodeBase64(const std::wstring& strBase64, unsigned char* pBuffer, int nBufferLen);

  /// Reads a whole file as text: by its byte-order mark, as UTF-16 or UTF-32 by its first bytes, in
  /// the encoding that it declares, as UTF-8, or in the system's narrow encoding. The result
  /// record, when asked for, says what was done; the flags take over the form of the file. The
  /// variant (0 or 1) makes no difference: both use the system's own files. False, the text
  /// untouched, when the file cannot be read.
  static bool ReadTextFile(int nVariant, MCD_CSTR szFile, std::wstring& strDoc,
                           std::wstring* pstrResult = nullptr, int* pnDocFlags = nullptr);
  /// Writes a text as a file: as UTF-16 or with a mark if the flags say so, else in the encoding
  /// that it declares, else as UTF-8. The file is replaced when it is complete: a failure leaves
  /// the old one whole.
  static bool WriteTextFile(int nVariant, MCD_CSTR szFile, const std::wstring& strDoc,
                            std::wstring* pstrResult = nullptr, int* pnDocFlags = nullptr);

  /// `ReadTextFile` and `SetDoc`; true when the document is well formed. The result record tells of
  /// the file, then of the parse. A file that cannot be read leaves the document as it was.
  bool Load(MCD_CSTR szFile) { return x_Load(0, szFile); }
  bool LoadWIN(MCD_CSTR szFile) { return x_Load(1, szFile); }
  /// `WriteTextFile` of the document; the result record tells of it.
  bool Save(MCD_CSTR szFile) { return x_Save(0, szFile); }
  bool SaveWIN(MCD_CSTR szFile) { return x_Save(1, szFile); }

  /// Opens a file to be read or written in parts, so that its size does not matter to memory; the
  /// document is emptied first. `nFlags` is one of `DOC_READFILE`, `DOC_WRITEFILE` and
  /// `DOC_APPENDFILE`. False, with a "file_error" in the result record, when it cannot be opened.
  ///
  /// Reading goes onward only: `FindElem`, `FindNode`, `IntoElem`, `OutOfElem` and `GetData` move
  /// through the file, and what they pass cannot be seen again, also when they find nothing. The
  /// start tags of the current element and of those around it stay at hand.
  ///
  /// Writing goes onward too: `AddElem`, `AddSubDoc` and `AddNode` add behind what is there,
  /// `IntoElem` and `OutOfElem` change the level, and the start tag of an element can take
  /// attributes until something is added after it. A written file takes the place of the old one in
  /// `Close`; an appended one grows in place.
  bool Open(MCD_CSTR szFile, int nFlags);
  /// Hands what is complete of a file being written to the system; false when that fails.
  bool Flush();
  /// Ends the file and empties the document; the result record tells what was read or written.
  /// False when no file was open or it could not be written whole.
  bool Close();

 private:
  friend class orv::ChildReader;
  friend class orv::MarkupReader;

  bool x_CopyDoc(std::wstring_view text);
  bool x_ParseDoc();
  bool x_ParseDoc(std::wstring_view text, orv::TrailingCopy* copy);
  void x_IndexDoc(std::wstring_view text, orv::TrailingCopy* copy = nullptr);
  int x_ParseElem(int iPosParent, orv::TokenPos& token, orv::TrailingCopy* copy = nullptr);
  void x_AllocElemPos(int nNewSize = 0);
  int x_GetFreePos();
  int x_ReleasePos(int iPos);
  orv::ElemPos& x_Elem(int iPos) const;
  int x_GetParent(int iPos) const;
  void x_SetPos(int iPosParent, int iPos, int iPosChild);
  bool x_HasFile() const { return (m_nDocFlags & (DOC_READFILE | DOC_WRITEFILE)) != 0; }
  bool x_IsReading() const;
  bool x_IsWriting() const;
  bool x_IsElement() const { return m_iPos != 0 && m_nNodeType == NODE_ELEMENT; }
  bool x_IsOtherNode() const { return m_nNodeType > NODE_ELEMENT; }
  int x_FindElem(int iPosParent, int iPos, MCD_CSTR szPath) const;
  orv::TokenPos x_TokenAt(int nStart, int nEnd) const;
  std::wstring_view x_GetTagName(int iPos) const;
  std::wstring_view x_Range(int nStart, int nEnd) const;
  std::wstring_view x_Content(int iPos) const;
  std::wstring_view x_NodeData() const;
  std::wstring x_MixedData(std::wstring_view content) const;
  std::wstring x_GetData(int iPos) const;
  std::wstring x_GetMainData() const;
  std::wstring x_GetSubDoc(int iPos) const;
  std::wstring x_Unescape(std::wstring_view text) const;
  bool x_AttribPlace(bool bChild, std::wstring_view* text, std::size_t* nameStart) const;
  bool x_FindAttrib(bool bChild, std::wstring_view name, orv::Attribute* attribute) const;
  std::wstring x_GetPath(int iPos) const;

  bool x_Load(int nVariant, MCD_CSTR szFile);
  bool x_Save(int nVariant, MCD_CSTR szFile);
  bool x_ReadMore(int* at);
  int x_ReadNode(orv::NodePos& node, int* at);
  bool x_ReadPast(std::wstring strName);
  bool x_EndsOpenElem(std::wstring_view name) const;
  int x_ReadTo(int nTypes, MCD_CSTR szPath);
  void x_ReadOut();
  std::wstring x_ReadData();
  bool x_WriteOut();
  bool x_FinishWriting();

  struct InsertPlace;
  bool x_AddElem(MCD_CSTR szName, MCD_CSTR szValue, int nFlags);
  bool x_AddSubDoc(MCD_CSTR szSubDoc, int nFlags);
  bool x_AddNode(int nType, MCD_CSTR szText, int nFlags);
  static std::wstring x_CreateNode(int nType, MCD_CSTR szText);
  static std::wstring x_EncodeCDATASection(std::wstring_view text);
  bool x_FindPlace(int nFlags, InsertPlace* place) const;
  int x_InsertNew(const InsertPlace& place, const std::wstring& markup, int nFlags);
  void x_IndexNew(const InsertPlace& place, int iFirst, int nShift, int nFlags);
  bool x_SetAttrib(bool bChild, std::wstring_view name, MCD_CSTR szValue);
  bool x_SetData(int iPos, MCD_CSTR szValue, int nFlags);
  bool x_SetNodeData(MCD_CSTR szValue);
  void x_SetContent(int iPos, std::wstring_view content);
  void x_OpenTag(int iPos, std::wstring_view content);
  int x_ParseInPlace(int iPosParent, int nStart, int nEnd);
  int x_ContentEnd(int iPos) const;
  int x_TagClose(int iPos) const;
  std::uint32_t x_LevelBelow(int iPosParent) const;
  bool x_CanEdit(int iPos) const;
  bool x_BeginAdd();
  int x_AttribEnd(bool bChild) const;
  void x_ChangeTag(bool bChild, int nOffset, int nCut, std::wstring_view text);
  void x_RemoveElem(int iPos);
  void x_LinkElem(int iPosParent, int iPosBefore, int iPos);
  void x_UnlinkElem(int iPos);
  void x_ReleaseSubDoc(int iPos);
  void x_ReleaseChildren(int iPos);
  void x_CheckSavedPos();
  void x_DocChange(int nOffset, int nCut, std::wstring_view text);
  void x_Adjust(int iPos, int nShift, bool bAfterPos);
  void x_AdjustForNode(int iPosParent, int iPosBefore, int nShift);
  void x_FinishEdit();
  void x_CheckNode();
  void x_Reparse();

  std::wstring m_strDoc;
  std::wstring m_strResult;
  int m_iPosParent = 0;
  int m_iPos = 0;
  int m_iPosChild = 0;
  int m_iPosFree = 1;
  int m_iPosDeleted = 0;
  int m_nNodeType = 0;
  int m_nNodeOffset = 0;
  int m_nNodeLength = 0;
  int m_nDocFlags = DOC_IGNORECASE;
  std::unique_ptr<orv::FileStream> m_pFileStream;
  std::unique_ptr<orv::SavedPositions> m_pSavedPositions;
  std::unique_ptr<orv::ElemPosArray> m_pElements;
};
