#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "orv/platform/export.h"

/// XML documents: parsing, navigation, editing, encodings and files.
///
///     CMarkup doc;
///     if (!doc.Load(L"list.xml")) throw std::runtime_error("not well formed");
///     doc.FindElem(L"list");
///     doc.IntoElem();
///     while (doc.FindElem(L"item")) {
///       if (doc.GetAttrib(L"state") == L"new") doc.SetData(L"seen: " + doc.GetData());
///     }
///     doc.AddElem(L"item", L"the last one");
///     doc.Save(L"list.xml");

namespace orv {
struct MarkupState;
}  // namespace orv

/// A text argument: a pointer to zero-terminated wide text that the caller owns and that outlives
/// the call. A null pointer stands for the empty text.
class MCD_CSTR {
 public:
  MCD_CSTR() = default;

  /// A text that is not copied; null is allowed.
  MCD_CSTR(const wchar_t* szText) : m_szText(szText) {}
  MCD_CSTR(const std::wstring& strText) : m_szText(strText.c_str()) {}

  /// Never null.
  const wchar_t* c_str() const { return m_szText != nullptr ? m_szText : L""; }

  /// The text without its terminating zero.
  std::wstring_view view() const { return c_str(); }

  /// Whether the pointer is null.
  bool IsNull() const { return m_szText == nullptr; }

  /// Whether the text is empty or null.
  bool IsEmpty() const { return *c_str() == 0; }

 private:
  const wchar_t* m_szText = nullptr;
};

/// An XML document: a wide text of UTF-16 code units, one for each element of the string, and an
/// index of its elements. There is no tree of objects: reading uses the index, and returns copies
/// that the caller owns. All offsets and lengths count code units of the text.
///
/// A document has a current place, which consists of three positions: the parent, the main position
/// (the current element or node, one of the parent's children) and the child position (the current
/// child of the main position). `FindElem` and `FindChildElem` move forward along siblings,
/// `IntoElem` and `OutOfElem` change the level. A search without a match leaves the positions
/// unchanged.
///
/// Every text is accepted: an ill-formed document has an index as well, and its errors are in the
/// result record (`GetResult`, `GetError`). Only a failed allocation throws; all headers report
/// errors as `orv/platform/types.h` describes. An edit that throws changes nothing, except that an
/// ill-formed document may then have the new text, but no elements and positions; the next edit
/// makes its index again. An element whose start tag has 4,194,303 or more code units can be read,
/// except for its content, and removed, but not changed. An object may be used by one thread at a
/// time, the static functions by any number.
class ORV_EXPORT CMarkup {
 public:
  /// Document flags, see `SetDocFlags`.
  enum : int {
    DOC_UTF16LEFILE = 1,         ///< files are UTF-16, little-endian; set by `Load`, used by `Save`
    DOC_UTF16BEFILE = 2,         ///< files are UTF-16, big-endian
    DOC_UTF8MARK = 4,            ///< UTF-8 files have a byte-order mark
    DOC_IGNORECASE = 8,          ///< names match without regard to ASCII case; set by default
    DOC_READFILE = 16,           ///< a file is being read in parts (`Open`)
    DOC_WRITEFILE = 32,          ///< a file is being written in parts (`Open`)
    DOC_APPENDFILE = 64,         ///< a file is being extended in parts (`Open`)
    DOC_TRIMWHITESPACE = 0x100,  ///< values are read without white space around them
    DOC_COLLAPSEWHITESPACE = 0x200,  ///< as well with each inner run of white space as one space

    /// Characters that a file's encoding lacks are written as `?`, in Unicode encodings as U+FFFD.
    DOC_LOSSY = 0x400,
  };

  /// Node types; each is a bit, so that `FindNode` takes any set of them.
  enum : int {
    NODE_NONE = 0,
    NODE_ELEMENT = 1,
    NODE_TEXT = 2,
    NODE_WHITESPACE = 4,  ///< text that is only white space
    NODE_CDATA_SECTION = 8,
    NODE_PROCESSING_INSTRUCTION = 16,  ///< including the XML declaration
    NODE_COMMENT = 32,
    NODE_DOCUMENT_TYPE = 64,
  };

  /// Flags of the functions that add markup, and of `EscapeText`.
  enum : int {
    ADD_CDATA = 1,        ///< write the value as a CDATA section instead of escaped text
    ADD_NOLINES = 2,      ///< write no line breaks
    ADD_SPACEDEMPTY = 4,  ///< `<name />` instead of `<name/>`
    ADD_KEEPREFS = 8,     ///< an `&` that begins a well-formed reference is not escaped
    ADD_NOEND = 16,       ///< `<name>` without an end tag; not with a value
    ESC_ATTRIB = 0x100,   ///< escape quotes as well, as attribute values need it

    /// For nodes: no line break, and the position does not change.
    ADD_STAY = 0x1000,

    /// The place: the `Insert` and `Child` forms add these to the flags.
    ADD_INSERT = 0x2000,  ///< before the current position instead of after it
    ADD_CHILD = 0x4000,   ///< on the child level under the main position
  };

  /// An empty document with the default flags (`DOC_IGNORECASE`).
  CMarkup();

  /// A document with the default flags and this text.
  CMarkup(MCD_CSTR szDoc);

  /// An empty document with exactly these flags.
  CMarkup(int nFlags);

  /// An independent copy, including saved positions; an empty document if a file is open.
  CMarkup(const CMarkup& other);

  /// Makes this an independent copy; does nothing if either object has a file open.
  CMarkup& operator=(const CMarkup& other);
  ~CMarkup();

  /// Replaces the text and parses it. Resets the positions and the result record, and removes the
  /// saved positions. True if the document is well formed (`IsWellFormed`). A null text empties the
  /// document and frees its index. False at once while a file is open, and for a text of 2^31 or
  /// more code units, which leaves the document empty.
  bool SetDoc(const wchar_t* szDoc);
  bool SetDoc(const std::wstring& strDoc);

  /// Takes over the text without a copy.
  bool SetDoc(std::wstring&& strDoc);

  /// The text. The reference is valid until the document changes. The first call after edits takes
  /// time linear in the text, later ones in the text after the first new edit; all keep a second
  /// text in memory.
  const std::wstring& GetDoc() const;

  /// The findings of the last parse, load or save as a small XML text: one empty element for each.
  const std::wstring& GetResult() const;

  /// The result record in words: the first error of the parse, and what happened to the file.
  std::wstring GetError() const;

  /// The line and column of the error that `GetError` describes, as `orv::LineIndex` counts them.
  /// False, with both unchanged, without an error and for one that concerns the whole document.
  ///
  ///     CMarkup doc(L"<list>\n  <item>\n</list>");
  ///     int line = 0;
  ///     int column = 0;
  ///     if (doc.GetErrorPosition(line, column)) Use(line, column, doc.GetError());  // 2, 3
  ///
  /// For a file that is or was read in parts the call reads it again up to the error; false if that
  /// is impossible. After an edit, the position is that of the same offset in the changed text.
  bool GetErrorPosition(int& nLine, int& nColumn) const;

  /// Whether the document has exactly one root element and no errors. Always true while a file is
  /// open for writing; while one is open for reading, true until an error is met.
  bool IsWellFormed() const;

  /// The flags; loading a file sets those that describe its encoding.
  int GetDocFlags() const;

  /// Sets the flags, except the three of an open file. They apply from the next call on; the text
  /// is not parsed again.
  void SetDocFlags(int nFlags);

  /// Resets all positions: the next `FindElem` starts at the top level.
  void ResetPos();

  /// Resets the main and child positions: the next `FindElem` starts at the parent's first child.
  void ResetMainPos();

  /// Resets the child position.
  void ResetChildPos();

  /// Moves the main position to the next element with this name (any name if empty) after the main
  /// position, or among all children of the parent if there is no main position. Only the first
  /// name of a path counts: `item[2]` finds the next `item`. A name that begins with `/` and a
  /// malformed predicate match nothing.
  bool FindElem(MCD_CSTR szName = nullptr);

  /// Moves the child position to the next child of the main element with this name. Without a main
  /// position, the next element becomes the main one first.
  bool FindChildElem(MCD_CSTR szName = nullptr);

  /// Moves the main position to the next node, in document order on the parent's level, whose type
  /// is in the set `nType` (any type if 0). Returns its type, 0 for none. From a node that is not
  /// an element, `FindElem` continues with the element after it.
  int FindNode(int nType = 0);

  /// Moves one level down: the main element becomes the parent, the child position the main
  /// position.
  bool IntoElem();

  /// Moves one level up: the parent becomes the main position, the main position the child
  /// position.
  bool OutOfElem();

  /// The type of the node at the main position, 0 for none.
  int GetNodeType() const;

  /// The name of the main (child) element. For other nodes "#comment", "#cdata-section", "#text",
  /// or the target of a processing instruction.
  std::wstring GetTagName() const;
  std::wstring GetChildTagName() const;

  /// The value of an attribute of the main (child) element, references decoded; empty if it does
  /// not exist. `DOC_IGNORECASE` applies to names; of two attributes with one name the first
  /// counts. `GetAttrib` also reads the pseudo-attributes of a processing instruction.
  std::wstring GetAttrib(MCD_CSTR szAttrib) const;
  std::wstring GetChildAttrib(MCD_CSTR szAttrib) const;

  /// The name and value of the attribute with index `n` (from 0) of the main element. False, with
  /// both unchanged, if there is no such attribute.
  bool GetNthAttrib(int n, std::wstring& strAttrib, std::wstring& strValue) const;

  /// The name of the attribute with index `n` (from 0) of the main element; empty for none.
  std::wstring GetAttribName(int n) const;

  /// The data of the main (child) element or node: its text, references decoded, and the text of
  /// its CDATA sections. Empty for an element that contains elements.
  std::wstring GetData();
  std::wstring GetChildData() const;

  /// The next piece of the data of the main element or node of a file that is read in parts, so
  /// that long data need not fit into memory. False, with an empty piece, after the last one and
  /// if no file is being read. Together, the pieces are what `GetData` returns. No piece is empty,
  /// and none ends inside a character or a reference; few exceed 65,536 code units.
  ///
  ///     CMarkup doc;
  ///     doc.Open(L"archive.xml", CMarkup::DOC_READFILE);
  ///     std::wstring piece;
  ///     while (doc.FindNode() != 0) {
  ///       if (doc.GetNodeType() != CMarkup::NODE_COMMENT) continue;
  ///       while (doc.ReadDataPiece(piece)) Use(piece);
  ///     }
  ///
  /// The first piece is the start of the data, and moving on skips the rest of it. The content of
  /// an element is passed as it is read: `GetData` then returns what follows. The pieces end at its
  /// first child element, which `GetData` does not read past either: it returns nothing then.
  bool ReadDataPiece(std::wstring& strPiece);

  /// The markup between the main element's start tag and end tag.
  std::wstring GetElemContent() const;

  /// The markup of the main (child) element, tags included.
  std::wstring GetSubDoc() const;
  std::wstring GetChildSubDoc() const;

  /// Views of the text, valid until the document changes; null data if there is nothing to view.
  /// The tag name of the main element, or the target of a processing instruction.
  std::wstring_view GetTagNamePointer() const;

  /// The data of the main element or node, references not decoded. Null for an element whose
  /// content is more than one run of text.
  std::wstring_view GetDataPointer() const;

  /// The path of the main element, with its number in brackets if preceding siblings have its name:
  /// "/list/item[2]". Empty without a main element.
  std::wstring GetPath() const;

  /// Saves the three positions under a name in one of any number of tables; the name "" is a name
  /// like others. Names compare exactly. A node that is not an element is not saved. False while a
  /// file is open.
  bool SavePos(MCD_CSTR szPosName = nullptr, int nMap = 0);

  /// Restores saved positions; false if there are none with this name, or their element was
  /// removed.
  bool RestorePos(MCD_CSTR szPosName = nullptr, int nMap = 0);

  /// Reserves room for `nSize` names in a table of saved positions. False while a file is open and
  /// for a negative argument.
  bool SetMapSize(int nSize, int nMap = 0);

  /// Offsets for messages; -1 if the thing does not exist: the `<` of the main (child) element, or
  /// the start of the main node; the name of an attribute; the content of the main element.
  int GetElemOffset() const;
  int GetChildElemOffset() const;
  int GetAttribOffset(MCD_CSTR szAttrib) const;
  int GetContentOffset() const;

  /// Editing. Every call changes the text in place and keeps the index the same as a new parse
  /// would make it. It takes time linear in the change, in its distance from the previous one and
  /// in the text up to the next tag, so that edits in document order cost in proportion to the
  /// document; the first edit and some later ones copy the text. In a document with a syntax error
  /// each edit takes time linear in the text, and so does one that removes a lone end tag; one with
  /// `ADD_NOEND` passes the elements that follow. All calls are refused while a
  /// file is open for reading, and if the position they work on is missing; a refused call returns
  /// false and changes nothing.
  ///
  /// `AddElem` writes a new element after the main position, or as the parent's last child without
  /// one, and makes it the main position; `InsertElem` writes it before, or as the first child.
  /// The `Child` forms do the same with the child position under the main element. An element
  /// without a value is an empty-element tag. Unless `ADD_NOLINES` is set, a line break (CR LF)
  /// follows, and a parent that is an empty-element tag is opened with one. A name that XML does
  /// not allow is refused. While a file is open for writing, only the `Add` forms at the main level
  /// work.
  bool AddElem(MCD_CSTR szName, MCD_CSTR szValue = nullptr, int nFlags = 0);
  bool InsertElem(MCD_CSTR szName, MCD_CSTR szValue = nullptr, int nFlags = 0);
  bool AddChildElem(MCD_CSTR szName, MCD_CSTR szValue = nullptr, int nFlags = 0);
  bool InsertChildElem(MCD_CSTR szName, MCD_CSTR szValue = nullptr, int nFlags = 0);
  bool AddElem(MCD_CSTR szName, int nValue, int nFlags = 0);
  bool InsertElem(MCD_CSTR szName, int nValue, int nFlags = 0);
  bool AddChildElem(MCD_CSTR szName, int nValue, int nFlags = 0);
  bool InsertChildElem(MCD_CSTR szName, int nValue, int nFlags = 0);

  /// The same with the root element of a well-formed document; what surrounds the root is dropped.
  /// A sub-document that is not well formed is refused.
  bool AddSubDoc(MCD_CSTR szSubDoc, int nFlags = 0);
  bool InsertSubDoc(MCD_CSTR szSubDoc, int nFlags = 0);
  bool AddChildSubDoc(MCD_CSTR szSubDoc, int nFlags = 0);
  bool InsertChildSubDoc(MCD_CSTR szSubDoc, int nFlags = 0);

  /// The same with a node of a type of `NODE_…` at the main level: text (which is escaped), white
  /// space, CDATA, the inside of a comment or of a processing instruction, a whole document type
  /// declaration, or the name of an element. A node that would read back as something else is
  /// refused, and so are a comment that contains `--` or ends with `-`, and an instruction whose
  /// target is not a valid name. No line break follows text and CDATA. With `ADD_CHILD` the node
  /// goes under the main element and becomes the main position there; the child position can only
  /// be an element.
  bool AddNode(int nType, MCD_CSTR szText, int nFlags = 0);
  bool InsertNode(int nType, MCD_CSTR szText, int nFlags = 0);

  /// Sets an attribute of the main (child) element, or a pseudo-attribute of a processing
  /// instruction: replaces its value, which keeps its quotes, or adds it at the end of the tag.
  /// False, with nothing changed, without such a position, for a name that XML does not allow, in
  /// an instruction with a `>` or an open quote, and in a tag in which an equals sign and a quote
  /// lie inside a name or an unquoted value.
  bool SetAttrib(MCD_CSTR szAttrib, MCD_CSTR szValue);
  bool SetChildAttrib(MCD_CSTR szAttrib, MCD_CSTR szValue);
  bool SetAttrib(MCD_CSTR szAttrib, int nValue);
  bool SetChildAttrib(MCD_CSTR szAttrib, int nValue);

  /// Other names for the same.
  bool AddAttrib(MCD_CSTR szAttrib, MCD_CSTR szValue);
  bool AddAttrib(MCD_CSTR szAttrib, int nValue);
  bool AddChildAttrib(MCD_CSTR szAttrib, MCD_CSTR szValue);
  bool AddChildAttrib(MCD_CSTR szAttrib, int nValue);

  /// Removes an attribute of the main element; false if it does not exist, and in the tags that
  /// `SetAttrib` refuses.
  bool RemoveAttrib(MCD_CSTR szAttrib);

  /// Replaces the content of the main (child) element by a text, or the text of a node that is not
  /// an element. `ADD_CDATA` and the flags of `EscapeText` apply.
  bool SetData(MCD_CSTR szValue, int nFlags = 0);
  bool SetChildData(MCD_CSTR szValue, int nFlags = 0);
  bool SetData(int nValue);
  bool SetChildData(int nValue);

  /// Replaces the content of the main element by markup; markup with errors is refused.
  bool SetElemContent(MCD_CSTR szContent);

  /// Removes the main (child) element or the main node, and one line break right after it. The main
  /// position becomes the element before it, or none under the parent; the child position likewise.
  bool RemoveElem();
  bool RemoveChildElem();
  bool RemoveNode();

  /// Decodes the character references of a text: numeric ones and the named ones of HTML 4. An
  /// unknown reference is kept. Kept for compatibility: names are case-insensitive, and names such
  /// as "Oslash" and "oslash" both yield the upper-case letter. `nTextLength` -1 means up to the
  /// terminating zero. The two white space flags apply.
  static std::wstring UnescapeText(const wchar_t* szText, int nTextLength = -1, int nFlags = 0);

  /// Escapes the delimiters of markup in a text; the flags `ADD_KEEPREFS` and `ESC_ATTRIB` apply.
  static std::wstring EscapeText(MCD_CSTR szText, int nFlags = 0);

  /// Characters. Decoding moves the pointer past the character and returns its code point, U+FFFD
  /// for ill-formed input, 0 at the end; a null end means the terminating zero. Encoding writes up
  /// to four bytes or two code units and sets their number; with a null target it only sets the
  /// number.
  static int DecodeCharUTF8(const char*& pszUTF8, const char* pszUTF8End = nullptr);
  static void EncodeCharUTF8(int nUChar, char* pszUTF8, int& nUTF8Len);
  static int DecodeCharUTF16(const wchar_t*& pszUTF16, const wchar_t* pszUTF16End = nullptr);
  static void EncodeCharUTF16(int nUChar, wchar_t* pwszUTF16, int& nUTF16Len);

  /// Converts a zero-terminated text. Returns the bytes written, without a terminator, or the bytes
  /// needed if the target is null. `nUTF8Count` is the capacity of the target: what does not fit is
  /// dropped, but never half a character.
  static int UTF16To8(char* pszUTF8, const wchar_t* pwszUTF16, int nUTF8Count);

  /// Converts up to `nUTF8Count` bytes, or up to a zero. Returns the code units written, or needed
  /// if the target is null. A target with as many code units as there are bytes is always large
  /// enough.
  static int UTF8To16(wchar_t* pwszUTF16, const char* pszUTF8, int nUTF8Count);

  /// Whether bytes, up to a zero, could be UTF-8, overlong forms included. The outputs, which may
  /// be null, are the number of lead bytes beyond ASCII (up to the first error), and whether the
  /// only error is a sequence cut off by the end.
  static bool DetectUTF8(const char* pText, int nTextLen, int* pnNonASCII = nullptr,
                         bool* pbErrorAtEnd = nullptr);

  /// The Windows code page of an encoding's name: 0 for an empty name, -1 for an unknown one.
  static int GetEncodingCodePage(MCD_CSTR szEncoding);

  /// The encoding that a document declares: in its XML declaration or, if that has none, in the
  /// "Content-Type" of an HTML head. Empty if there is neither.
  static std::wstring GetDeclaredEncoding(MCD_CSTR szDoc);

  /// Base64: a leading line break (CR LF), then lines of 64 characters, each followed by one. Kept
  /// for compatibility: a short last line has a line break only if it is padded.
  static std::wstring EncodeBase64(const unsigned char* pBuffer, int nBufferLen);

  /// Decodes Base64 and returns the number of bytes written. Line breaks are skipped; other invalid
  /// characters have unspecified values. Decoding stops at a group that exceeds the buffer and at
  /// an incomplete group. With a size of 0, returns a sufficient size.
  static int DecodeBase64(const std::wstring& strBase64, unsigned char* pBuffer, int nBufferLen);

  /// Reads a whole file as text: by its byte-order mark, as UTF-16 or UTF-32 by its first bytes, in
  /// the encoding that it declares, as UTF-8, or in the system's narrow encoding. The result
  /// record, if not null, describes what was done; the flags take over the form of the file. The
  /// variant (0 or 1) has no effect: both use the system's own files. False, with the text
  /// unchanged, if the file cannot be read.
  static bool ReadTextFile(int nVariant, MCD_CSTR szFile, std::wstring& strDoc,
                           std::wstring* pstrResult = nullptr, int* pnDocFlags = nullptr);

  /// Writes a text as a file: as UTF-16, or as UTF-8 with a mark, if the flags say so, otherwise in
  /// the encoding that it declares, otherwise as UTF-8. The file is replaced only when it is
  /// complete: a failure keeps the old one. False, with a "file_error" in the result, if the file
  /// cannot be written, if the system does not support the declared encoding, and if the encoding
  /// lacks a character and `DOC_LOSSY` is not set.
  static bool WriteTextFile(int nVariant, MCD_CSTR szFile, const std::wstring& strDoc,
                            std::wstring* pstrResult = nullptr, int* pnDocFlags = nullptr);

  /// `ReadTextFile` and `SetDoc`; true if the document is well formed. The result record describes
  /// the file, then the parse. If the file cannot be read, the document does not change.
  bool Load(MCD_CSTR szFile);
  bool LoadWIN(MCD_CSTR szFile);

  /// `WriteTextFile` for the document, with its result record and flags.
  bool Save(MCD_CSTR szFile);
  bool SaveWIN(MCD_CSTR szFile);

  /// Opens a file to read or write it in parts, so that memory does not limit its size; the
  /// document is emptied first. `nFlags` is one of `DOC_READFILE`, `DOC_WRITEFILE` and
  /// `DOC_APPENDFILE`. False, with a "file_error" in the result record, if the file cannot be
  /// opened, or if it is to be extended and ends inside a code unit of UTF-16 or UTF-32.
  ///
  /// Reading only moves forward: `FindElem`, `FindNode`, `IntoElem`, `OutOfElem` and `GetData` move
  /// through the file, and what they pass cannot be read again, even if they find nothing. The
  /// start tags of the current element and of those around it stay available.
  ///
  /// Memory holds one part of the file, the names of the open elements and their start tags, if
  /// these are no longer than a part. The rest of a longer start tag or node is read from the file
  /// again when it is asked for (`GetAttrib`, `GetData`, `GetSubDoc` and others), which invalidates
  /// views of the document. The next move drops it, but the memory stays reserved. `ReadDataPiece`
  /// does not need memory for it, except for white space that `DOC_TRIMWHITESPACE` holds back until
  /// other text follows. If the file is not a regular one, such as a pipe, longer tags and nodes
  /// are kept in memory while they are current.
  ///
  /// Writing only moves forward too: `AddElem`, `AddSubDoc` and `AddNode` append, `IntoElem` and
  /// `OutOfElem` change the level, and attributes can be added to the start tag of an element until
  /// something follows it. A written file replaces the old one in `Close`; an appended one grows in
  /// place.
  bool Open(MCD_CSTR szFile, int nFlags);

  /// Passes the complete part of a file being written to the system; false if that fails.
  bool Flush();

  /// Ends the file and empties the document; the result record describes what was read or written.
  /// False if no file was open or the file is incomplete: a write failed, or the text cannot be
  /// encoded (see `WriteTextFile`).
  bool Close();

 private:
  friend struct orv::MarkupState;

  std::unique_ptr<orv::MarkupState> m_pState;
};
