#include <gtest/gtest.h>

#ifndef _WIN32
#include <sys/stat.h>

#include <thread>
#endif

#include "base/utf8.h"
#include "platform/code_pages.h"
#include "platform/files.h"
#include "tests/fixtures.h"
#include "tests/xml_fixture.h"
#include "xml/file_stream.h"
#include "xml/name_tables.h"
#include "xml/result.h"
#include "xml/text_coding.h"

namespace {

using namespace std::string_literals;
using orv::test::ExpectTable;
using orv::test::Fields;
using orv::test::Show;

class XmlFile : public testing::Test {
 protected:
  std::wstring Path(const wchar_t* name) const { return folder_.Name(name); }

  std::wstring Put(const wchar_t* name, const std::string& bytes) const {
    orv::test::WriteBytes(orv::ToPath(Path(name)), bytes);
    return Path(name);
  }

  std::string Get(const wchar_t* name) const {
    return orv::test::ReadBytes(orv::ToPath(Path(name)));
  }

 private:
  orv::test::TemporaryFolder folder_;
};

// --- Base64 ---

/// Base64 by its definition.
std::wstring PlainBase64(const std::string& bytes) {
  const std::wstring alphabet = L"ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::wstring text = L"\r\n";
  for (std::size_t i = 0; i < bytes.size(); i += 3) {
    unsigned group = 0;
    for (std::size_t j = 0; j < 3; ++j) {
      group = group << 8 | (i + j < bytes.size() ? static_cast<unsigned char>(bytes[i + j]) : 0u);
    }
    const std::size_t count = std::min<std::size_t>(3, bytes.size() - i);
    for (std::size_t j = 0; j < 4; ++j) {
      text += j <= count ? alphabet[group >> (18 - 6 * j) & 63] : L'=';
    }
    if (text.size() % 66 == 0 || count < 3) text += L"\r\n";
  }
  return text;
}

TEST(XmlBase64, EveryLengthAroundTheLineBreak) {
  std::string bytes;
  for (int length = 0; length <= 200; ++length) {
    const auto* data = reinterpret_cast<const unsigned char*>(bytes.data());
    const std::wstring text = CMarkup::EncodeBase64(data, length);
    EXPECT_EQ(Show(text), Show(PlainBase64(bytes)));
    std::string decoded(bytes.size() + 3, '#');
    auto* target = reinterpret_cast<unsigned char*>(decoded.data());
    EXPECT_GE(CMarkup::DecodeBase64(text, nullptr, 0), length);
    EXPECT_EQ(CMarkup::DecodeBase64(text, target, length + 3), length);
    EXPECT_EQ(decoded, bytes + "###");
    // Decoding into a small buffer stops at the last group that fits and writes nothing after it.
    if (length >= 4) {
      std::fill(decoded.begin(), decoded.end(), '#');
      const int written = CMarkup::DecodeBase64(text, target, length - 1);
      EXPECT_LE(written, length - 1);
      EXPECT_GE(written, length - 3);
      EXPECT_EQ(decoded.find_first_not_of('#', written), decoded.npos);
    }
    bytes += static_cast<char>(length * 89 + 7);
  }
}

TEST(XmlBase64, StrangeInput) {
  const std::pair<const wchar_t*, std::string> cases[] = {{L"Y\r\nW\nI\r=", "ab"},
                                                          {L"Y\r\nWJjZGVm", "abcdef"},
                                                          {L"YWJjZ", "abc"},
                                                          {L"YQ==YWI=", "a"},
                                                          {L"YWI=YWJj", "abab"},
                                                          {L"!!!!", "\0\0\0"s},
                                                          {L"", ""},
                                                          {L"\u20acAAA", "\x94\0\0"s}};
  for (const auto& [text, bytes] : cases) {
    unsigned char buffer[16];
    const int length = CMarkup::DecodeBase64(text, buffer, sizeof buffer);
    EXPECT_EQ(std::string(reinterpret_cast<char*>(buffer), length), bytes) << Show(text);
  }
}

// --- Characters ---

TEST(XmlCharacters, EveryCodePointGoesRound) {
  for (int code = 1; code <= 0x10FFFF; ++code) {
    if (code >= 0xD800 && code < 0xE000) continue;
    char bytes[4];
    wchar_t units[2];
    int byteCount = 0;
    int unitCount = 0;
    CMarkup::EncodeCharUTF8(code, bytes, byteCount);
    CMarkup::EncodeCharUTF16(code, units, unitCount);
    const char* byte = bytes;
    const wchar_t* unit = units;
    ASSERT_EQ(CMarkup::DecodeCharUTF8(byte, bytes + byteCount), code);
    ASSERT_EQ(CMarkup::DecodeCharUTF16(unit, units + unitCount), code);
    ASSERT_TRUE(byte == bytes + byteCount && unit == units + unitCount) << code;
  }
  const wchar_t unpaired[] = {L'a', static_cast<wchar_t>(0xDC00)};
  const wchar_t* unit = unpaired;
  EXPECT_EQ(CMarkup::DecodeCharUTF16(unit, unpaired + 2), L'a');
  EXPECT_EQ(unit, unpaired + 1);
}

TEST(XmlCharacters, WholeStrings) {
  const std::wstring text = {L'a', L'\u20ac', static_cast<wchar_t>(0xD83D),
                             static_cast<wchar_t>(0xDE00), static_cast<wchar_t>(0xDC00)};
  const std::string bytes = "a\xE2\x82\xAC\xF0\x9F\x98\x80\xEF\xBF\xBD";
  EXPECT_EQ(CMarkup::UTF16To8(nullptr, text.c_str(), 0), 11);
  // Never half a character.
  const int fits[] = {0, 1, 1, 1, 4, 4, 4, 4, 8, 8, 8, 11, 11};
  for (int room = 0; room < 13; ++room) {
    char buffer[16] = "###############";
    EXPECT_EQ(CMarkup::UTF16To8(buffer, text.c_str(), room), fits[room]) << room;
    EXPECT_EQ(std::string(buffer, fits[room]), bytes.substr(0, fits[room]));
    EXPECT_EQ(buffer[fits[room]], '#');
  }
  EXPECT_EQ(CMarkup::UTF8To16(nullptr, bytes.c_str(), 100), 5);
  wchar_t units[16];
  EXPECT_EQ(CMarkup::UTF8To16(units, bytes.c_str(), 4), 2);
  EXPECT_EQ(std::wstring(units, 2), L"a\u20ac");
}

TEST(XmlCharacters, DetectUtf8) {
  ExpectTable("xml_detect", [](const Fields& fields) {
    const std::string bytes(fields[0].begin(), fields[0].end());
    int nonAscii = -1;
    bool errorAtEnd = true;
    const bool isUtf8 =
        CMarkup::DetectUTF8(bytes.data(), static_cast<int>(bytes.size()), &nonAscii, &errorAtEnd);
    return orv::Format(L"%ls, %d%ls", isUtf8 ? L"UTF-8" : L"none", nonAscii,
                       errorAtEnd ? L", ends in one" : L"");
  });
}

// --- Names of encodings ---

TEST(XmlEncodings, Names) {
  ExpectTable("xml_encodings", [](const Fields& fields) {
    return std::to_wstring(CMarkup::GetEncodingCodePage(fields[0]));
  });
  ExpectTable("xml_declarations",
              [](const Fields& fields) { return CMarkup::GetDeclaredEncoding(fields[0]); });
}

/// Every name of the table with its code page.
std::vector<std::pair<std::wstring, int>> AllEncodings() {
  std::vector<std::pair<std::wstring, int>> all;
  for (std::size_t bucket = 0; bucket < orv::kEncodingBuckets; ++bucket) {
    const std::wstring text = orv::EncodingBucket(bucket);
    for (std::size_t at = 0; at < text.size();) {
      const std::size_t length = std::stoul(text.substr(at, 2));
      all.emplace_back(text.substr(at + 7, length), std::stoi(text.substr(at + 2, 5)));
      at += 7 + length;
    }
  }
  return all;
}

/// The example at the top of the header.
TEST_F(XmlFile, Example) {
  const std::wstring file =
      Put(L"list.xml", "<list><item state='new'>1</item><item>2</item></list>");
  CMarkup doc;
  ASSERT_TRUE(doc.Load(file));
  doc.FindElem(L"list");
  doc.IntoElem();
  while (doc.FindElem(L"item")) {
    if (doc.GetAttrib(L"state") == L"new") doc.SetData(L"seen: " + doc.GetData());
  }
  doc.AddElem(L"item", L"the last one");
  doc.Save(file);
  EXPECT_EQ(Get(L"list.xml"),
            "<list><item state='new'>seen: 1</item><item>2</item><item>the last one</item>\r\n"
            "</list>");
}

TEST_F(XmlFile, EveryEncodingOfTheTableGoesRound) {
  int converted = 0;
  for (const auto& [name, page] : AllEncodings()) {
    // The letters that this code page supports.
    std::wstring letters;
    for (const wchar_t letter :
         std::wstring_view(L"az<&\u00e9\u0141\u0416\u03b1\u05d0\u0e01\u3042\u4e2d\uac00")) {
      std::string bytes;
      bool lost = false;
      std::wstring back;
      if (orv::EncodeCodePage(page, {&letter, 1}, &bytes, &lost) && !lost &&
          orv::DecodeCodePage(page, bytes, &back, &lost) && !lost &&
          back == std::wstring(1, letter)) {
        letters += letter;
      }
    }
    const bool isWide = page == 1200 || page == 1201 || page >= 65000;
    if (!letters.starts_with(L"az") && !isWide) continue;
    ++converted;
    CMarkup doc;
    doc.AddNode(CMarkup::NODE_PROCESSING_INSTRUCTION,
                L"xml version=\"1.0\" encoding=\"" + name + L"\"");
    doc.AddElem(L"r", isWide ? std::wstring(L"\u4e2d<") : letters);
    const std::wstring text = doc.GetDoc();
    ASSERT_TRUE(doc.Save(Path(L"x.xml"))) << Show(doc.GetError());
    CMarkup loaded;
    EXPECT_TRUE(loaded.Load(Path(L"x.xml"))) << Show(name) << Show(loaded.GetError());
    EXPECT_EQ(Show(loaded.GetDoc()), Show(text)) << Show(loaded.GetError());
    EXPECT_EQ(loaded.GetResult().find(L"conversion_loss"), std::wstring::npos) << Show(name);
    CMarkup parts;
    EXPECT_TRUE(parts.Open(Path(L"x.xml"), CMarkup::DOC_READFILE) && parts.FindElem(L"r"));
    EXPECT_EQ(Show(parts.GetData()), Show(doc.GetData())) << Show(name);
    const auto hasMark = [&](std::string_view mark) { return Get(L"x.xml").starts_with(mark); };
    EXPECT_TRUE(name != L"utf-16be" || hasMark("\xFE\xFF"));
    EXPECT_TRUE(name != L"utf-32be" || hasMark("\0\0\xFE\xFF"s));
  }
  EXPECT_GT(converted, 200);
}

/// UTF-7 text decodes to itself after every mix of code units written directly and in Base64.
TEST(XmlEncodings, Utf7) {
  constexpr std::wstring_view kUnits = L"a<+-\u00e9\\\u4e2d\xD83D\xDE00~/";
  orv::TextEncoding encoding{.form = orv::TextForm::kCodePage, .codePage = 65000};
  for (unsigned seed = 0; seed < 500; ++seed) {
    std::wstring text;
    for (unsigned rest = seed * 2654435761u; rest != 0; rest /= 11) {
      const wchar_t unit = kUnits[rest % 11];
      text += unit;
      if (unit == 0xD83D) text += L'\xDE00';
      if (unit == 0xDE00) text.back() = L'b';
    }
    orv::TextEncoder encoder(encoding);
    std::string bytes;
    encoder.Encode(text, true, &bytes);
    EXPECT_FALSE(encoder.HasLost());
    std::wstring back;
    bool lost = false;
    ASSERT_TRUE(orv::DecodeCodePage(65000, bytes, &back, &lost));
    ASSERT_EQ(Show(back), Show(text)) << bytes;
  }
  orv::TextEncoder encoder(encoding);
  std::string bytes;
  encoder.Encode(L"<a>+\u00e9\u00e8-\xDE00</a>", true, &bytes);
  EXPECT_EQ(bytes, "<a>+-+AOkA6A--+AD8-</a>");
  EXPECT_EQ(encoder.FirstLost(), 7u);
  if constexpr (sizeof(wchar_t) > 2) {
    for (const int unit : {0x1F600, 0x1D800}) {
      bytes.clear();
      orv::TextEncoder wide(encoding);
      wide.Encode(std::wstring{L'a', L'\u00e9', static_cast<wchar_t>(unit)}, true, &bytes);
      EXPECT_EQ(bytes, "a+AOkAPw-");
      EXPECT_EQ(wide.FirstLost(), 2u);
    }
  }
}

#ifndef _WIN32
/// Text in a code page with states ends in the first state; one question mark replaces a pair.
TEST(XmlEncodings, StatesAndLostPairs) {
  std::string bytes;
  bool lost = false;
  EXPECT_TRUE(orv::EncodeCodePage(50220, L"\u3042", &bytes, &lost) && !lost);
  EXPECT_EQ(bytes, "\x1B$B$\"\x1B(B");
  bytes.clear();
  EXPECT_TRUE(orv::EncodeCodePage(1252, L"\xD83D\xDE00z\xDE00", &bytes, &lost) && lost);
  EXPECT_EQ(bytes, "?z?");
  bytes.clear();
  EXPECT_TRUE(orv::EncodeCodePage(20924, L"a\u20AC\u00A4", &bytes, &lost));
  EXPECT_EQ(bytes, "\x81\x9F\x6F");
  // A state lasts beyond the end of a part.
  orv::TextDecoder decoder({.form = orv::TextForm::kCodePage, .codePage = 50220});
  std::wstring text;
  decoder.Decode("\x1B$B$\"", false, &text);
  decoder.Decode("$\"\x1B(B", true, &text);
  EXPECT_EQ(text, L"\u3042\u3042");
}
#endif

TEST_F(XmlFile, FormsOfFiles) {
  ExpectTable("xml_forms", [this](const Fields& fields) {
    const std::wstring file = Put(L"in.xml", std::string(fields[0].begin(), fields[0].end()));
    CMarkup loaded;
    EXPECT_TRUE(loaded.Load(file));
    const std::wstring text = loaded.GetDoc();
    const std::wstring error = loaded.GetError();
    const int flags = loaded.GetDocFlags();
    // Reading in parts reports the same, except how the end is found.
    CMarkup parts;
    EXPECT_TRUE(parts.Open(file, CMarkup::DOC_READFILE));
    EXPECT_TRUE(parts.FindElem(L"r"));
    EXPECT_EQ(Show(parts.GetData()), loaded.FindElem(L"r") ? Show(loaded.GetData()) : "");
    EXPECT_FALSE(parts.FindElem());
    EXPECT_TRUE(parts.Close());
    EXPECT_EQ(Show(parts.GetError()), Show(error));
    return text + L"; " + error + L"; " + std::to_wstring(flags);
  });
}

TEST_F(XmlFile, SavingSaysWhatItDid) {
  ExpectTable("xml_saved", [this](const Fields& fields) {
    std::wstring result;
    const int wanted = std::stoi(fields[1]);
    int flags = wanted;
    EXPECT_TRUE(CMarkup::WriteTextFile(0, Path(L"out.xml"), fields[0], &result, &flags));
    std::wstring written;
    for (const unsigned char byte : Get(L"out.xml")) written += byte;
    CMarkup doc;
    doc.SetDoc(fields[0]);
    doc.SetDocFlags(wanted);
    EXPECT_TRUE(doc.SaveWIN(Path(L"out.xml")));
    return written + L"; " + doc.GetError();
  });
}

TEST_F(XmlFile, CharactersAreLostOnlyOnRequest) {
  const std::wstring file = Path(L"out.xml");
  struct {
    const wchar_t* text;
    const wchar_t* reason;
  } const cases[] = {
      {L"<?xml encoding='l1'?><r>a\u20ac\u20ac</r>",
       L"l1 lacks the character at line 1, column 26"},
      {L"<?xml encoding='l1'?><r>\xD83D\xDE00</r>", L"l1 lacks the character at line 1, column 25"},
      {L"<?xml encoding='l1'?><r/>\n\u20ac", L"l1 lacks the character at line 2, column 1"},
      {L"<r>\xD83D\xDE00\n\xD83D</r>", L"UTF-8 lacks the character at line 2, column 1"},
      {L"<?xml encoding='foo'?><r/>",
       L"the text declares the encoding foo, which this system does not support"},
  };
  for (const auto& [text, reason] : cases) {
    Put(L"out.xml", "old");
    CMarkup doc(text);
    EXPECT_FALSE(doc.Save(file));
    EXPECT_EQ(Show(doc.GetError()), Show(L"cannot write " + file + L": " + reason));
    EXPECT_EQ(Get(L"out.xml"), "old");
  }
  // The parts before the character are not written either.
  CMarkup parts;
  ASSERT_TRUE(parts.Open(file, CMarkup::DOC_WRITEFILE));
  parts.AddNode(CMarkup::NODE_PROCESSING_INSTRUCTION, L"xml encoding='l1'", CMarkup::ADD_NOLINES);
  parts.AddElem(L"r", L"", CMarkup::ADD_NOLINES);
  EXPECT_TRUE(parts.Flush());
  parts.AddElem(L"s", L"\u20ac");
  EXPECT_FALSE(parts.Close());
  EXPECT_EQ(
      Show(parts.GetError()),
      Show(L"cannot write " + file + L": l1 lacks the character at offset 28 of the written text"));
  EXPECT_EQ(Get(L"out.xml"), "old");
  EXPECT_FALSE(parts.Open(file, CMarkup::DOC_READFILE | CMarkup::DOC_WRITEFILE));
  EXPECT_EQ(Show(parts.GetError()),
            Show(L"cannot open " + file +
                 L": the flags must be one of DOC_READFILE, DOC_WRITEFILE and DOC_APPENDFILE"));
}

TEST_F(XmlFile, FailuresLeaveFilesAndDocumentsWhole) {
  CMarkup doc(L"<r/>");
  EXPECT_FALSE(doc.Load(Path(L"missing.xml")));
  EXPECT_EQ(doc.GetDoc(), L"<r/>");
  EXPECT_EQ(doc.GetError(), L"cannot read " + Path(L"missing.xml") + L": no such file or folder");
  EXPECT_FALSE(doc.Save(Path(L"missing/x.xml")));
  EXPECT_EQ(doc.GetError(),
            L"cannot write " + Path(L"missing/x.xml") + L": no such file or folder");
  for (const auto& [name, flag] : {std::pair(L"missing.xml", CMarkup::DOC_READFILE),
                                   std::pair(L"missing/x.xml", CMarkup::DOC_WRITEFILE)}) {
    EXPECT_FALSE(doc.Open(Path(name), flag));
    EXPECT_EQ(doc.GetError(), L"cannot open " + Path(name) + L": no such file or folder");
  }
  EXPECT_FALSE(doc.Open(Path(L"x.xml"), 0));
  // Abandoning a file that is being written keeps the old one.
  Put(L"old.xml", "<old/>");
  {
    CMarkup writer;
    ASSERT_TRUE(writer.Open(Path(L"old.xml"), CMarkup::DOC_WRITEFILE));
    writer.AddElem(L"new");
    EXPECT_TRUE(writer.Flush());
    EXPECT_EQ(Get(L"old.xml"), "<old/>");
  }
  EXPECT_EQ(Get(L"old.xml"), "<old/>");
  int files = 0;
  for (const auto& entry : std::filesystem::directory_iterator(orv::ToPath(Path(L"")))) {
    files += entry.is_regular_file();
  }
  EXPECT_EQ(files, 1);
}

// --- Files in parts ---

TEST_F(XmlFile, RefusalsWhileAFileIsOpen) {
  Put(L"in.xml", "<r><a x='1'>v</a></r>");
  CMarkup doc;
  ASSERT_TRUE(doc.Open(Path(L"in.xml"), CMarkup::DOC_READFILE));
  EXPECT_EQ(doc.GetDocFlags() & 0x70, 16);
  doc.SetDocFlags(CMarkup::DOC_IGNORECASE | CMarkup::DOC_WRITEFILE);
  EXPECT_EQ(doc.GetDocFlags() & 0x70, 16);
  for (const bool isDone :
       {doc.SavePos(L"a"), doc.RestorePos(L"a"), doc.Open(Path(L"in.xml"), CMarkup::DOC_READFILE),
        doc.SetDoc(L"<r/>"), doc.SetMapSize(1), doc.Load(Path(L"in.xml")),
        doc.Save(Path(L"in.xml")), !doc.FindElem(L"r"), doc.FindChildElem(), doc.AddElem(L"x"),
        doc.SetAttrib(L"x", 1), doc.SetData(L"x"), doc.RemoveElem(), doc.Flush()}) {
    EXPECT_FALSE(isDone);
  }
  EXPECT_EQ(doc.GetChildTagName(), L"");
  CMarkup copy(L"<keep/>");
  copy = doc;
  EXPECT_EQ(copy.GetDoc(), L"<keep/>");
  EXPECT_TRUE(doc.IntoElem());
  EXPECT_TRUE(doc.FindElem());
  EXPECT_EQ(doc.GetAttrib(L"x"), L"1");
  EXPECT_TRUE(doc.OutOfElem() && doc.IsWellFormed());
  EXPECT_TRUE(doc.Close());
  EXPECT_FALSE(doc.Close());
  EXPECT_EQ(doc.GetDoc(), L"");

  ASSERT_TRUE(doc.Open(Path(L"out.xml"), CMarkup::DOC_WRITEFILE));
  EXPECT_TRUE(doc.IsWellFormed());
  for (const bool isDone : {!doc.AddElem(L"r"), doc.FindElem(), doc.AddChildElem(L"x"),
                            doc.InsertElem(L"x"), doc.SetData(L"x"), doc.SetDoc(L"<r/>")}) {
    EXPECT_FALSE(isDone);
  }
  EXPECT_TRUE(doc.Close());
  EXPECT_EQ(Get(L"out.xml"), "<r/>\r\n");
  // The flags alone do not open a file.
  CMarkup flagged(CMarkup::DOC_READFILE);
  EXPECT_FALSE(flagged.FindElem());
  EXPECT_FALSE(flagged.Close());
}

/// Adds the same document to a CMarkup in memory or to one that writes a file.
void WriteRecords(CMarkup& doc, int records, bool flushes) {
  doc.AddNode(CMarkup::NODE_PROCESSING_INSTRUCTION, L"xml version=\"1.0\" encoding=\"UTF-8\"");
  doc.AddElem(L"list", L"its text");
  if (flushes) doc.Flush();
  doc.IntoElem();
  if (flushes) doc.Flush();
  for (int i = 0; i < records; ++i) {
    doc.AddNode(CMarkup::NODE_TEXT, L"text");
    doc.AddElem(L"record");
    doc.AddAttrib(L"n", i);
    const bool flushesNow = flushes && i % 7 == 0;
    if (flushesNow) doc.Flush();
    doc.IntoElem();
    doc.AddElem(L"name", L"\xD83D\xDE00 & \u00e9");
    doc.AddAttrib(L"m", i);
    if (flushesNow) doc.Flush();
    doc.AddSubDoc(L"<sub a='>'><x/></sub>");
    doc.AddNode(CMarkup::NODE_COMMENT, L" > ");
    doc.OutOfElem();
    ASSERT_EQ(doc.GetTagName(), L"record");
    if (!flushesNow) continue;
    ASSERT_EQ(doc.GetAttribName(0), L"");  // the file contains the start tag already
    doc.Flush();
  }
  doc.OutOfElem();
  doc.AddNode(CMarkup::NODE_COMMENT, L"end");
}

TEST_F(XmlFile, WritingInPartsGivesWhatMemoryGives) {
  for (const bool flushes : {false, true}) {
    constexpr int kRecords = orv::test::Rounds(20000);
    CMarkup memory;
    WriteRecords(memory, kRecords, false);
    CMarkup writer;
    ASSERT_TRUE(writer.Open(Path(L"out.xml"), CMarkup::DOC_WRITEFILE));
    WriteRecords(writer, kRecords, flushes);
    EXPECT_LT(writer.GetDoc().size(), 300000u);
    ASSERT_TRUE(writer.Close());
    std::wstring text;
    ASSERT_TRUE(CMarkup::ReadTextFile(0, Path(L"out.xml"), text));
    EXPECT_TRUE(text == memory.GetDoc());

    CMarkup reader;
    ASSERT_TRUE(reader.Open(Path(L"out.xml"), CMarkup::DOC_READFILE));
    EXPECT_EQ(reader.FindNode(), CMarkup::NODE_PROCESSING_INSTRUCTION);
    EXPECT_EQ(reader.GetAttrib(L"encoding"), L"UTF-8");
    ASSERT_TRUE(reader.FindElem(L"list") && reader.IntoElem());
    int records = 0;
    for (; reader.FindElem(L"record"); ++records) {
      if (reader.GetAttrib(L"n") != std::to_wstring(records)) break;
      if (records % 3 == 0) continue;
      reader.IntoElem();
      if (records % 3 == 1) {
        ASSERT_TRUE(reader.FindElem(L"name"));
        ASSERT_EQ(reader.GetData(), L"\xD83D\xDE00 & \u00e9");
        ASSERT_TRUE(reader.FindElem(L"sub") && reader.IntoElem() && reader.FindElem(L"x"));
        ASSERT_FALSE(reader.IntoElem() && reader.FindElem());
        reader.OutOfElem();
        reader.OutOfElem();
      }
      reader.OutOfElem();
      ASSERT_EQ(reader.GetTagName(), L"record");
    }
    EXPECT_EQ(records, kRecords);
    EXPECT_LT(reader.GetDoc().size(), 300000u);
    EXPECT_TRUE(reader.OutOfElem());
    EXPECT_EQ(reader.FindNode(CMarkup::NODE_COMMENT), CMarkup::NODE_COMMENT);
    EXPECT_EQ(reader.GetData(), L"end");
    EXPECT_TRUE(reader.IsWellFormed());
    EXPECT_TRUE(reader.Close());
  }
}

TEST_F(XmlFile, AnElementEnteredAgainIsExtendedAtItsEnd) {
  for (const bool flushes : {false, true}) {
    CMarkup writer;
    ASSERT_TRUE(writer.Open(Path(L"again.xml"), CMarkup::DOC_WRITEFILE));
    EXPECT_TRUE(writer.AddElem(L"r") && writer.IntoElem() && writer.AddElem(L"a"));
    EXPECT_TRUE(writer.AddNode(CMarkup::NODE_COMMENT, L"c") && writer.OutOfElem());
    if (flushes) writer.Flush();
    EXPECT_TRUE(writer.IntoElem() && writer.AddElem(L"b") && writer.Close());
    EXPECT_EQ(Get(L"again.xml"), "<r>\r\n<a/>\r\n<!--c-->\r\n<b/>\r\n</r>\r\n");
  }
}

TEST_F(XmlFile, ReadingInPartsIsTheSameAcrossEveryBreak) {
  // A long run before the document moves it across the end of the first part.
  const std::string document =
      "<r><e/><a x=\">\">t&amp;\xE2\x82\xAC\xE0\xB8\x81\xF0\x9F\x98\x80</a><![CDATA[<]]><!-- - "
      "--><c><e/><d>2</d></c><b/></r>";
  for (std::size_t shift = 0; shift <= document.size(); ++shift) {
    Put(L"in.xml", "<!--" + std::string(65536 - 7 - shift, ' ') + "-->" + document);
    CMarkup doc;
    ASSERT_TRUE(doc.Open(Path(L"in.xml"), CMarkup::DOC_READFILE));
    ASSERT_TRUE(doc.FindElem(L"r") && doc.IntoElem() && doc.FindElem(L"a")) << shift;
    ASSERT_EQ(doc.GetAttrib(L"x"), L">");
    ASSERT_EQ(doc.GetData(), L"t&\u20ac\u0e01\xD83D\xDE00");
    ASSERT_EQ(doc.FindNode(), CMarkup::NODE_CDATA_SECTION);
    ASSERT_EQ(doc.GetData(), L"<");
    ASSERT_EQ(doc.FindNode(), CMarkup::NODE_COMMENT);
    ASSERT_EQ(doc.GetData(), L" - ");
    ASSERT_TRUE(doc.FindElem(L"b"));
    ASSERT_FALSE(doc.FindElem());
    ASSERT_TRUE(doc.OutOfElem());
    ASSERT_FALSE(doc.FindElem());
    ASSERT_TRUE(doc.IsWellFormed());
  }
}

TEST_F(XmlFile, FaultsInPartsAreFound) {
  const char* const faulty[] = {"<r><a></R>",  "<r></x></r>",   "<r><a><b></a></r>",
                                "<r><!x></r>", "<r>",           "<r><a><",
                                "</r>",        "<r><a></b></a>"};
  // A line break across the end of the first part.
  std::string lines = "<!---";
  while (lines.size() < 70000) lines += "\r\n";
  for (const std::string text : faulty) {
    Put(L"in.xml", lines + "-->\r" + text);
    const CMarkup memory(orv::Utf8ToWide(lines + "-->\r" + text));
    std::pair<int, int> expected;
    ASSERT_TRUE(memory.GetErrorPosition(expected.first, expected.second)) << text;
    EXPECT_GT(expected.first, 30000) << text;
    // Reads all, goes into every second element, or skips all.
    for (const int step : {1, 2, 100}) {
      CMarkup doc;
      ASSERT_TRUE(doc.Open(Path(L"in.xml"), CMarkup::DOC_READFILE));
      for (int moves = 0; moves < 20; ++moves) {
        if (!doc.FindElem()) doc.OutOfElem();
        if (moves % step == 0 && step < 100) doc.IntoElem();
      }
      EXPECT_FALSE(doc.IsWellFormed()) << text;
      EXPECT_EQ(Show(doc.GetError()), Show(memory.GetError())) << text << ", step " << step;
      std::pair<int, int> found;
      EXPECT_TRUE(doc.GetErrorPosition(found.first, found.second)) << text;
      EXPECT_EQ(found, expected) << text << ", step " << step;
      found = {};
      doc.Close();
      EXPECT_TRUE(doc.GetErrorPosition(found.first, found.second)) << text;
      EXPECT_EQ(found, expected) << text << ", closed";
      std::filesystem::remove(orv::ToPath(Path(L"in.xml")));
      EXPECT_FALSE(doc.GetErrorPosition(found.first, found.second)) << text;
      Put(L"in.xml", lines + "-->\r" + text);
    }
  }
  // The second end tag closes neither the ended element nor those around it, which are skipped.
  const CMarkup memory(L"<r><a></a></a></r>");
  CMarkup doc;
  ASSERT_TRUE(doc.Open(Put(L"in.xml", "<r><a></a></a></r>"), CMarkup::DOC_READFILE));
  EXPECT_TRUE(doc.FindElem() && !doc.FindElem());
  EXPECT_EQ(Show(doc.GetResult()), Show(memory.GetResult()));
}

/// A text of many parts in which references and pairs end at every distance from the breaks.
std::string LongText(const std::string& unit) {
  std::string text;
  while (text.size() < 140000) text += unit;
  return text;
}

/// The data of the current node or element; of a file that is read in parts by pieces.
std::wstring DataOf(CMarkup& doc, bool byPieces) {
  if (!byPieces) return doc.GetData();
  std::wstring data;
  std::wstring piece;
  while (doc.ReadDataPiece(piece)) {
    EXPECT_FALSE(piece.empty());
    EXPECT_LE(piece.size(), 70000u);
    EXPECT_NE(piece.back() & 0xFC00, 0xD800);
    data += piece;
  }
  EXPECT_TRUE(piece.empty());
  EXPECT_FALSE(doc.ReadDataPiece(piece));
  return data;
}

/// What a walk over the nodes of a set of types finds; it reads those of the set `read`, and goes
/// into every element but `e`, whose content is read.
std::wstring WalkOf(CMarkup& doc, int types, int read, bool byPieces) {
  std::wstring seen;
  for (int level = 0; level >= 0;) {
    const int type = doc.FindNode(types);
    if (type == CMarkup::NODE_NONE) {
      if (doc.OutOfElem())
        seen += L'/' + doc.GetTagName() + (read != 0 ? doc.GetAttrib(L"a") : L"");
      --level;
      continue;
    }
    seen += std::to_wstring(type) + doc.GetTagName();
    const bool hasChildren = type == CMarkup::NODE_ELEMENT && doc.GetTagName() != L"e";
    if ((type & read) != 0) {
      seen += L'=' + doc.GetAttrib(L"a");
      if (!hasChildren) seen += L'=' + DataOf(doc, byPieces);
      if (type != CMarkup::NODE_ELEMENT) seen += L'=' + doc.GetSubDoc() + doc.GetData();
    }
    if (hasChildren && doc.IntoElem()) ++level;
  }
  return seen;
}

TEST_F(XmlFile, LongNodesInPartsAreReadLikeInMemory) {
  const std::string text = LongText("\xF0\x9F\x98\x80 &amp;&#x1F600;\xC3\xA9\t &unknown; ");
  const std::string nodes[] = {
      text,
      LongText(" \n"),
      LongText(" \n") + "&lt;",
      "<!--" + text + "-->",
      "<![CDATA[x" + LongText("\xF0\x9F\x98\x80") + "]]>",
      "<?p a='" + text + "' ?>",
      "<e a=\"" + text + "\"/>",
      "<e a='" + text + "' >" + text + "<!--" + text + "--><![CDATA[" + text + "]]></e>",
      "<f " + text + ">" + text + "<g a='>" + text + "'>" + text + "</g></f>",
      "<f=x>" + text + "</f>",
      "<" + text,
      "<!x " + text + ">",
      "<e a='" + text,
      "<!--" + text + "<f/>",
  };
  constexpr int kTexts = CMarkup::NODE_TEXT | CMarkup::NODE_WHITESPACE;
  constexpr std::pair<int, int> kWalks[] = {
      {0, 0}, {0, -1}, {CMarkup::NODE_ELEMENT, 0}, {kTexts | CMarkup::NODE_COMMENT, -1}};
  for (const std::string& node : nodes) {
    const std::string markup = "<!DOCTYPE r [<!--" + text + "-->]><r a='1'>" + node + "</r> ";
    Put(L"in.xml", markup);
    for (const auto& [types, read] : kWalks) {
      for (const bool byPieces : {false, true}) {
        if (byPieces && read == 0) continue;
        const int normalized =
            types == 0 ? CMarkup::DOC_COLLAPSEWHITESPACE : CMarkup::DOC_TRIMWHITESPACE;
        const int flags = byPieces ? normalized : 0;
        CMarkup memory(orv::Utf8ToWide(markup));
        memory.SetDocFlags(flags);
        CMarkup parts(flags);
        ASSERT_TRUE(parts.Open(Path(L"in.xml"), CMarkup::DOC_READFILE));
        const std::wstring seen = WalkOf(parts, types, read, byPieces);
        // In memory, an element without an end tag has no content.
        if (memory.IsWellFormed()) {
          EXPECT_TRUE(seen == WalkOf(memory, types, read, false))
              << node.substr(0, 9) << ", types " << types << ", read " << read << byPieces;
        }
        EXPECT_EQ(Show(parts.GetError()), Show(memory.GetError())) << node.substr(0, 9);
        EXPECT_EQ(parts.IsWellFormed(), memory.IsWellFormed()) << node.substr(0, 9);
        // What was passed over is not in memory.
        if (read == 0) {
          EXPECT_LT(parts.GetDoc().size(), 140000u) << node.substr(0, 9);
        }
      }
    }
  }
}

TEST_F(XmlFile, MovesOnAfterTheFirstPiece) {
  // Each would be noticed in the place of the other.
  const std::string text = LongText("t &amp; --> ");
  Put(L"in.xml", "<r><a>" + text + "</a><b>1</b><!--" + LongText("c") + "--><c>2</c></r>");
  CMarkup doc;
  ASSERT_TRUE(doc.Open(Path(L"in.xml"), CMarkup::DOC_READFILE));
  ASSERT_TRUE(doc.FindElem(L"r") && doc.IntoElem() && doc.FindElem(L"a"));
  std::wstring piece;
  EXPECT_TRUE(doc.ReadDataPiece(piece) && piece.starts_with(L"t & --> t"));
  ASSERT_TRUE(doc.FindElem());
  EXPECT_EQ(Show(doc.GetTagName() + doc.GetData()), "b1");
  ASSERT_TRUE(doc.FindNode(CMarkup::NODE_COMMENT) && doc.ReadDataPiece(piece));
  ASSERT_TRUE(doc.FindElem());
  EXPECT_EQ(Show(doc.GetTagName() + doc.GetData()), "c2");
  EXPECT_FALSE(doc.FindElem());
  EXPECT_TRUE(doc.IsWellFormed());
}

/// Reading goes on after a long node was read again, which fails once the file is shorter.
TEST_F(XmlFile, LongNodesAreReadAgainWhileTheFileLasts) {
  std::string markup;
  for (const char c : {'a', 'b', 'c'}) markup += "<!--" + std::string(140000, c) + "-->";
  Put(L"in.xml", markup);
  CMarkup doc;
  ASSERT_TRUE(doc.Open(Path(L"in.xml"), CMarkup::DOC_READFILE));
  for (const wchar_t unit : {L'a', L'b', L'c'}) {
    ASSERT_EQ(doc.FindNode(), CMarkup::NODE_COMMENT);
    if (unit == L'c') Put(L"in.xml", "short");
    EXPECT_EQ(doc.GetData() == std::wstring(140000, unit), unit != L'c');
  }
  EXPECT_EQ(Show(doc.GetError()),
            Show(L"cannot read " + Path(L"in.xml") + L": it became shorter while it was read"));
}

TEST_F(XmlFile, RangesOfTheText) {
  const std::wstring file = Put(L"in.xml", LongText("a\xF0\x9F\x98\x80 \xC3\xA9"));
  std::wstring text;
  ASSERT_TRUE(CMarkup::ReadTextFile(0, file, text));
  const auto size = static_cast<std::int64_t>(text.size());
  std::wstring read;
  const auto add = [&read](std::wstring_view part) { read += part; };
  for (const auto& [start, end] :
       {std::pair<std::int64_t, std::int64_t>(0, 7), {5, 60000}, {8, size}, {3, 3}}) {
    read.clear();
    EXPECT_EQ(Show(orv::ReadTextRange(file, start, end, add)), "");
    EXPECT_TRUE(read ==
                text.substr(static_cast<std::size_t>(start), static_cast<std::size_t>(end - start)))
        << start;
  }
  EXPECT_EQ(orv::ReadTextRange(file, 0, size + 1, add), L"it became shorter while it was read");
}

#ifndef _WIN32
/// A pipe cannot be read twice: its long nodes are kept in memory while they are current.
TEST_F(XmlFile, LongNodesOfAPipe) {
  const std::filesystem::path pipe = orv::ToPath(Path(L"pipe"));
  ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
  const std::string text = LongText("t\xC3\xA9 ");
  const std::wstring wide = orv::Utf8ToWide(text);
  std::thread writer([&] {
    const std::string comment = "<!--" + text + "-->";
    orv::test::WriteBytes(pipe,
                          "<r>" + comment + comment + "<a x='" + text + "'>" + text + "</a></r>");
  });
  CMarkup doc;
  const bool isOpen = doc.Open(Path(L"pipe"), CMarkup::DOC_READFILE);
  EXPECT_TRUE(isOpen && doc.FindElem(L"r") && doc.IntoElem());
  EXPECT_TRUE(doc.FindNode(CMarkup::NODE_COMMENT) && doc.GetData() == wide);
  EXPECT_TRUE(doc.FindElem(L"a") && doc.GetAttrib(L"x") == wide);
  EXPECT_TRUE(DataOf(doc, true) == wide);
  EXPECT_TRUE(!doc.FindElem() && doc.OutOfElem() && !doc.FindElem());
  EXPECT_TRUE(doc.IsWellFormed());
  EXPECT_TRUE(doc.Close());
  writer.join();
}
#endif

/// Deeply nested end tags that close nothing, or everything at once: none may be compared with
/// every open element each time that it is met.
TEST_F(XmlFile, DeepAndFaultyFileInParts) {
  constexpr int kDepth = orv::test::Rounds(20000);
  std::string starts;
  std::string ends;
  for (int i = 0; i < kDepth; ++i) {
    starts += "<a>";
    ends += "</b>";
  }
  for (const bool closesAll : {false, true}) {
    Put(L"in.xml", "<r>" + starts + (closesAll ? "</r>" : ends) + "<c/>");
    CMarkup doc;
    ASSERT_TRUE(doc.Open(Path(L"in.xml"), CMarkup::DOC_READFILE));
    ASSERT_TRUE(doc.FindElem(L"r") && doc.IntoElem());
    for (int i = 0; i < kDepth; ++i) ASSERT_TRUE(doc.FindElem(L"a") && doc.IntoElem());
    EXPECT_EQ(doc.FindElem(L"c"), !closesAll);
    for (int i = 0; i <= kDepth; ++i) ASSERT_TRUE(doc.OutOfElem());
    EXPECT_FALSE(doc.OutOfElem());
    EXPECT_EQ(doc.FindElem(L"c"), closesAll);
    EXPECT_FALSE(doc.IsWellFormed());
  }
}

TEST_F(XmlFile, TheLastNodeIsFoundWhereTheTextHasMovedTo) {
  Put(L"in.xml", "<?xml version='1.0'?>\n<r>v</r>\n");
  CMarkup doc;
  ASSERT_TRUE(doc.Open(Path(L"in.xml"), CMarkup::DOC_READFILE));
  std::wstring seen;
  while (doc.FindNode() != 0) seen += L'[' + doc.GetTagName() + L'|' + doc.GetData() + L']';
  EXPECT_EQ(Show(seen), "[xml|<?xml version='1.0'?>][#text|\\n][r|v][#text|\\n]");
}

TEST_F(XmlFile, AFileOfOneLineIsReadInParts) {
  // Two-byte characters, of which every part of the file cuts some; "ISO-2022-JP" is read whole.
  const std::pair<const char*, std::string> cases[] = {
    {"gbk", "\xB0\xA1"},
    {"shift_jis", "\x88\x9F"},
#if !defined(_WIN32)  // Wine does not have this code page
    {"iso-2022-jp", "\x1B$B0!\x1B(B"},
#endif
  };
  for (const auto& [encoding, character] : cases) {
    SCOPED_TRACE(encoding);
    std::string bytes = std::string("<?xml encoding='") + encoding + "'?><r>";
    constexpr int kItems = 20'000;
    for (int i = 0; i < kItems; ++i) bytes += "<item>" + character + character + "</item>";
    Put(L"in.xml", bytes + "</r>");
    CMarkup doc;
    ASSERT_TRUE(doc.Open(Path(L"in.xml"), CMarkup::DOC_READFILE));
    ASSERT_TRUE(doc.FindElem() && doc.IntoElem());
    int items = 0;
    std::size_t longest = 0;
    for (; doc.FindElem(L"item"); ++items) {
      longest = std::max(longest, doc.GetDoc().size());
      const std::wstring data = doc.GetData();
      ASSERT_TRUE(data.size() == 2 && data[0] == data[1] && data[0] >= 0x4E00) << Show(data);
    }
    EXPECT_EQ(items, kItems);
    EXPECT_TRUE(doc.IsWellFormed());
    const bool isShifted = std::string_view(encoding) == "iso-2022-jp";
    EXPECT_EQ(longest < bytes.size() / 2, !isShifted) << longest;
  }
}

TEST_F(XmlFile, AppendingGoesOnInTheFilesEncoding) {
  Put(L"log.xml", "\xFF\xFE<\0a\0/\0>\0"s);
  for (const wchar_t* name : {L"b", L"c"}) {
    CMarkup doc;
    ASSERT_TRUE(doc.Open(Path(L"log.xml"), CMarkup::DOC_APPENDFILE));
    doc.AddElem(name, L"", CMarkup::ADD_NOLINES);
    ASSERT_TRUE(doc.Close());
  }
  std::wstring text;
  ASSERT_TRUE(CMarkup::ReadTextFile(0, Path(L"log.xml"), text));
  EXPECT_EQ(text, L"<a/><b/><c/>");
  CMarkup cut;
  for (const std::string& bytes : {"\xFF\xFE<"s, "\xFF\xFE\0\0<\0"s}) {
    Put(L"cut.xml", bytes);
    EXPECT_FALSE(cut.Open(Path(L"cut.xml"), CMarkup::DOC_APPENDFILE));
    EXPECT_EQ(cut.GetError(), L"cannot open " + Path(L"cut.xml") + L": it ends inside a character");
  }
  // A new file begins with the mark of its own encoding.
  CMarkup made;
  ASSERT_TRUE(made.Open(Path(L"new.xml"), CMarkup::DOC_APPENDFILE));
  made.AddNode(CMarkup::NODE_PROCESSING_INSTRUCTION, L"xml encoding='UTF-16'");
  ASSERT_TRUE(made.Close());
  EXPECT_TRUE(Get(L"new.xml").starts_with("\xFF\xFE<\0?\0"s));
  Put(L"log.xml", "<?xml encoding='l1'?>");
  CMarkup doc;
  ASSERT_TRUE(doc.Open(Path(L"log.xml"), CMarkup::DOC_APPENDFILE));
  doc.AddElem(L"a", L"\u20ac");
  EXPECT_FALSE(doc.Close());
  EXPECT_EQ(Show(doc.GetError()),
            Show(L"cannot write " + Path(L"log.xml") +
                 L": l1 lacks the character at offset 3 of the written text"));
}

TEST(XmlResult, EntriesOfEveryKind) {
  std::wstring result;
  orv::AddResult(result, L"a", L"v<", orv::kResultType, -1, 5);
  orv::AddResult(result, L"b", L"e", orv::kResultEncoding | orv::kResultLength, 7);
  orv::AddResult(result, L"c", L"m", orv::kResultMessage);
  orv::AddResult(result, L"d", nullptr, orv::kResultNumber, 3);
  EXPECT_EQ(Show(result),
            "<a type=\"v&lt;\" offset2=\"5\"/><b encoding=\"e\" length=\"7\"/>"
            "<c msg=\"m\"/><d n=\"3\"/>");
  result.assign(1000, L'x');  // is full
  orv::AddResult(result, L"a", nullptr, 0);
  EXPECT_EQ(result.size(), 1000u);
}

}  // namespace
