#include <gtest/gtest.h>

#include <set>

#include "base/cpu.h"
#include "orv/text/format.h"
#include "orv/xml/line_index.h"
#include "orv/xml/strict_check.h"
#include "tests/fixtures.h"
#include "tests/hostile_texts.h"
#include "tests/xml_fixture.h"
#include "xml/child_reader.h"
#include "xml/delimiters.h"
#include "xml/name_tables.h"
#include "xml/scanner.h"
#include "xml/unit_search.h"

namespace {

using orv::test::DumpIndex;
using orv::test::ExpectTable;
using orv::test::Fields;
using orv::test::IndexFault;
using orv::test::Show;

// --- Parsing ---

TEST(XmlParse, FindingsOfEveryKind) {
  ExpectTable("xml_findings", [](const Fields& fields) {
    CMarkup doc;
    const bool isGood = doc.SetDoc(fields[0]);
    EXPECT_EQ(IndexFault(doc), L"") << Show(fields[0]);
    return (isGood ? L"good;" : L"bad;") + doc.GetResult() + L";" + doc.GetError();
  });
}

TEST(XmlParse, Records) {
  ExpectTable("xml_records", [](const Fields& fields) { return DumpIndex(CMarkup(fields[0])); });
}

TEST(XmlParse, PositionsOfErrors) {
  const struct {
    const wchar_t* text;
    int line;
    int column;
  } cases[] = {{L"<r/>", 0, 0},
               {L"<r/><s/>", 0, 0},
               {L"<list>\n  <item>\n</list>", 2, 3},
               {L"\r\n\r<r></x>\n</y></r>", 3, 4},
               {L"<r>\n</r>\n<", 3, 1}};
  for (const auto& test : cases) {
    std::pair<int, int> at;
    EXPECT_EQ(CMarkup(test.text).GetErrorPosition(at.first, at.second), test.line != 0);
    EXPECT_EQ(at, std::pair(test.line, test.column)) << Show(test.text);
  }
  // After an edit far before the error.
  CMarkup doc(L"<r><a n='1'/>" + std::wstring(2000, L'\n') + L"<b></r>");
  ASSERT_TRUE(doc.FindElem() && doc.IntoElem() && doc.FindElem() && doc.SetAttrib(L"n", L"2"));
  std::pair<int, int> at;
  EXPECT_TRUE(doc.GetErrorPosition(at.first, at.second));
  EXPECT_EQ(at, std::pair(2001, 1));
}

TEST(XmlStrict, FindsTheFaultsOfEveryRule) {
  std::set<orv::StrictRule> rules;
  ExpectTable("xml_strict", [&rules](const Fields& fields) {
    std::wstring found;
    for (const orv::StrictFault& fault : orv::CheckStrict(fields[0])) {
      rules.insert(fault.rule);
      if (!found.empty()) found += L"; ";
      found += orv::Format(L"%d:%d+%d %ls -> %ls", fault.at.line, fault.at.column, fault.length,
                           fault.text.c_str(), fault.fix.c_str());
    }
    return found;
  });
  EXPECT_EQ(rules.size(), static_cast<std::size_t>(orv::StrictRule::kNoRoot) + 1);
}

TEST(XmlStrict, ComparesManyAttributesInLinearTime) {
  std::wstring attributes = L"<r";
  std::wstring declarations = L"<r";
  std::wstring nested;
  for (int i = 0; i < orv::test::Rounds(100'000); ++i) {
    attributes += orv::Format(L" a%d=''", i);
    declarations += orv::Format(L" xmlns:p%d='u'", i);
    nested += orv::Format(L"<a xmlns:p='%d' p:a='' b=''>", i);
  }
  const struct {
    std::wstring text;
    std::size_t faults;
  } cases[] = {{attributes + L"/>", 0},
               {attributes + L" a7=''/>", 1},
               {declarations + L" p1:a='' p2:a=''/>", 1},
               {nested, 1000}};
  for (const auto& test : cases) {
    EXPECT_EQ(orv::CheckStrict(test.text).size(), test.faults) << Show(test.text.substr(0, 20));
  }
}

TEST(XmlParse, CaseOfNames) {
  CMarkup doc;
  EXPECT_TRUE(doc.SetDoc(L"<A></a>"));
  // After a non-ASCII code unit the comparison is case-sensitive.
  EXPECT_TRUE(doc.SetDoc(L"<A\u00e9></a\u00e9>"));
  EXPECT_FALSE(doc.SetDoc(L"<\u00e9A></\u00e9a>"));
  doc.SetDocFlags(0);
  EXPECT_FALSE(doc.SetDoc(L"<A></a>"));
  EXPECT_EQ(Show(doc.GetResult()),
            Show(L"<lone_end_tag tagname=\"a\" offset=\"3\"/>"
                 L"<unended_start_tag tagname=\"A\" offset=\"0\" offset2=\"7\"/>"));
}

/// An end tag is compared with all open elements, also when there are too many to try each.
TEST(XmlParse, ClosesManyElementsAtOnce) {
  std::wstring text = L"<r>";
  for (int i = 0; i < 40; ++i) text += L"<a>";
  const std::wstring result = CMarkup(text + L"</r>").GetResult();
  EXPECT_TRUE(result.starts_with(L"<unended_start_tag tagname=\"a\" offset=\"120\""))
      << Show(result);
}

TEST(XmlParse, ResultStopsAtAThousandUnits) {
  std::wstring text;
  for (int i = 0; i < 1000; ++i) text += L"<1></x>";
  const CMarkup doc(text);
  EXPECT_GE(doc.GetResult().size(), 1000u);
  EXPECT_LT(doc.GetResult().size(), 1100u);
}

TEST(XmlParse, TakesAnyTextAsACopy) {
  // Longer than one batch of delimiters, with a comment that is skipped.
  std::wstring text = L"<r><a/><!--" + std::wstring(2000, L'-') + L"--><b>";
  for (int i = 0; i < 400; ++i) text += L"<c/>";
  text += L"</b></r>";
  const std::wstring beyondCaches =
      L"<r>" + std::wstring((std::size_t{33} << 20) / sizeof(wchar_t), L'x') + L"</r>";
  CMarkup doc;
  const auto expectTaken = [&doc](const std::wstring& wanted) {
    CMarkup moved(L"</x>");
    moved.SetDoc(std::wstring(wanted));
    ASSERT_EQ(doc.GetDoc(), wanted);
    EXPECT_TRUE(orv::test::DumpIndex(doc) == orv::test::DumpIndex(moved));
    EXPECT_EQ(doc.GetResult(), moved.GetResult());
  };
  for (const std::wstring& each : {text, beyondCaches, std::wstring(L"<r>"), text}) {
    doc.SetDoc(each);
    expectTaken(each);
  }
  doc.SetDoc(doc.GetDoc());
  expectTaken(text);
  doc.SetDoc(doc.GetDoc().c_str() + 3);
  expectTaken(text.substr(3));
  const std::wstring result = doc.GetResult();
  doc.SetDoc(doc.GetResult());
  expectTaken(result);
}

TEST(XmlParse, FlagsAndCopies) {
  CMarkup doc(L"<a><b/></a>");
  doc.SetDocFlags(0xFF);
  EXPECT_EQ(doc.GetDocFlags(), 0x8F);
  EXPECT_EQ(CMarkup(0x21).GetDocFlags(), 0x21);
  ASSERT_TRUE(doc.FindElem());
  ASSERT_TRUE(doc.FindChildElem());
  doc.SavePos(L"here");
  CMarkup copy(doc);
  doc.SetDoc(nullptr);
  EXPECT_EQ(doc.GetDoc(), L"");
  EXPECT_FALSE(doc.IsWellFormed());
  EXPECT_EQ(copy.GetChildTagName(), L"b");
  EXPECT_EQ(copy.GetDocFlags(), 0x8F);
  copy.ResetPos();
  EXPECT_TRUE(copy.RestorePos(L"here"));
  EXPECT_EQ(copy.GetTagName(), L"a");
  EXPECT_EQ(IndexFault(copy), L"");
  EXPECT_TRUE(copy.SetDoc(L"<c/>"));  // shorter, in the same memory
  EXPECT_EQ(copy.GetDoc(), L"<c/>");
}

/// The offsets and lengths of the start tags that the scanner finds.
std::vector<std::pair<int, int>> StartTags(const std::wstring& text) {
  std::vector<std::pair<int, int>> tags;
  orv::ScanCursor scan;
  scan.text = text.c_str();
  scan.length = static_cast<int>(text.size());
  orv::ScannedNode node;
  for (int type = 0; type != orv::kScanEnd;) {
    const int before = scan.next;
    type = ScanNode(scan, node);
    if (type == CMarkup::NODE_ELEMENT) tags.emplace_back(node.start, node.length);
    EXPECT_EQ(node.start, before);
    EXPECT_TRUE(type == orv::kScanEnd || scan.next > before) << Show(text);
  }
  return tags;
}

/// A scan can stop after every code unit, and what was scanned can be dropped.
TEST(XmlScanner, ContinuesAtEveryBreak) {
  const std::wstring_view nodes[] = {
      L" \n text > 'a' ",
      L" \t\r\n  ",
      L"<!-- a - -- > -->",
      L"<![CDATA[ ] ]] > ]]>",
      L"<?target a='?' > ?>",
      L"</name  \n x>",
      L"<name a = '>' b=\t\"/>'\" c d' e=f='>' />",
      L"<n a= b' = \" > \" / >",
      L"<n = '/'/>",
      L"<!DOCTYPE r [<!ENTITY a '<!x>]'> <!-- ]> ' --> <?p ]> ?> <!ATTLIST x> ] [[]] >",
      L"<!DOCTYPE r \"]>\" [ <!ELEMENT x> <!BAD <!a <!- <!FOO '<!BAD' ]>",
      L"<!DOCTYPE[[]<!x>]>",
      L"<!-x >",
      L"<!other >",
      L"<![CDAT[ >",
      L"<1 >",
  };
  for (const std::wstring_view whole : nodes) {
    // With a terminator, and without for the last code unit.
    for (const std::wstring_view text : {whole, whole.substr(0, whole.size() - 1)}) {
      orv::ScanCursor scan = orv::ScanCursor::Of(text);
      scan.passed = 100;
      orv::ScannedNode expected;
      ScanNode(scan, expected);
      for (std::size_t first = 1; first <= text.size(); ++first) {
        orv::ScannedNode node;
        orv::ScanCursor part = orv::ScanCursor::Of(text.substr(0, first));
        part.passed = 100;
        ScanNode(part, node);
        if (node.hitEnd && node.state.rest == orv::ScanState::Rest::kUnknown) continue;
        int dropped = 0;
        for (std::size_t end = first; node.hitEnd && end < text.size(); ++end) {
          dropped += node.state.scanned;
          const auto start = static_cast<std::size_t>(dropped);
          part = orv::ScanCursor::Of(text.substr(start, end + 1 - start));
          part.passed = 100 + dropped;
          node.state.scanned = 0;
          node.start = -dropped;
          node.state.start = -dropped;
          ContinueNode(part, node);
        }
        ASSERT_EQ(node.type, expected.type) << Show(text) << " from " << first;
        ASSERT_EQ(node.length, expected.length) << Show(text) << " from " << first;
        ASSERT_EQ(node.isEmptyElement, expected.isEmptyElement) << Show(text);
        ASSERT_EQ(node.hitEnd, expected.hitEnd) << Show(text);
        ASSERT_EQ(Show(node.result), Show(expected.result)) << Show(text) << " from " << first;
      }
    }
  }
}

TEST(XmlScanner, ReportsTheStartOfANodeOfAnyLength) {
  orv::ScannedNode node;
  orv::ScanCursor scan = orv::ScanCursor::Of(L"<!-- a");
  ScanNode(scan, node);
  scan = orv::ScanCursor::Of(L"b");
  scan.passed = 0x70000000;
  node.state.scanned = 0;
  node.state.start = 10 - scan.passed;
  EXPECT_EQ(ContinueNode(scan, node), orv::kScanError);
  EXPECT_NE(node.result.find(L"offset=\"10\""), std::wstring::npos) << Show(node.result);
}

void ExpectSoundIndex(const std::wstring& text) {
  CMarkup doc;
  doc.SetDoc(text);
  ASSERT_EQ(IndexFault(doc), L"") << Show(text);
  const orv::Document& document = orv::CursorOf(doc).Doc();
  const auto tags = StartTags(text);
  ASSERT_EQ(tags.size() + 1, static_cast<std::size_t>(document.elements.Count())) << Show(text);
  for (std::size_t i = 0; i < tags.size(); ++i) {
    const orv::ElementEntry& element = document[static_cast<int>(i) + 1];
    ASSERT_EQ(tags[i].first, element.start) << Show(text);
    ASSERT_EQ(tags[i].second, element.StartTagLength()) << Show(text);
  }
  // All reading functions at every element stay inside the text.
  while (doc.FindElem()) {
    doc.GetData();
    doc.GetNthAttrib(0, *std::make_unique<std::wstring>(), *std::make_unique<std::wstring>());
    while (doc.FindChildElem()) doc.GetChildAttrib(L"a");
  }
  doc.ResetPos();
  while (doc.FindNode() != 0) doc.GetData();
}

TEST(XmlParse, EveryShortTextOfDelimiters) {
  constexpr wchar_t kDelimiters[] = L"<>/a!-[]\"=";
  constexpr int kDelimiterCount = 10;
  // The digits of `n` select the delimiters. Under a sanitizer texts of five are enough.
  int total = 1;
  for (int length = 0; length <= 6 && total <= orv::test::Rounds(2'000'000); ++length) {
    for (int n = 0; n < total; ++n) {
      std::wstring text;
      for (int rest = n, i = 0; i < length; ++i, rest /= kDelimiterCount)
        text += kDelimiters[rest % kDelimiterCount];
      ExpectSoundIndex(text);
      if (HasFatalFailure()) return;
    }
    total *= kDelimiterCount;
  }
}

TEST(XmlParse, RandomPiecesOfMarkup) {
  const wchar_t* pieces[] = {
      L"<a>",  L"</a>",  L"<b x='1>'>", L"</b>",        L"<a/>", L"<c y=\"</a>\"/>",
      L"text", L"<!--",  L"-->",        L"<![CDATA[",   L"]]>",  L"<!DOCTYPE a [",
      L"]>",   L"<?p",   L"?>",         L"<!ENTITY",    L"'",    L"\"",
      L"<",    L">",     L" ",          L"</",          L"<!",   L"<aa=b>",
      L"=",    L"<B\n>", L"</A >",      L"\xD83D\xDE00"};
  std::uint32_t state = 12345;
  const auto random = [&state](std::uint32_t limit) {
    state = state * 1664525 + 1013904223;
    return (state >> 8) % limit;
  };
  for (int round = 0; round < orv::test::Rounds(20000); ++round) {
    std::wstring text;
    for (auto n = random(60); n > 0; --n) text += pieces[random(std::size(pieces))];
    ExpectSoundIndex(text);
    if (HasFatalFailure()) return;
  }
}

TEST(XmlParse, HostileTextsOfAnyLengthTakeASmallStack) {
  for (const orv::test::HostileText& hostile : orv::test::kHostileTexts) {
    const std::wstring text = hostile.Make(orv::test::Rounds(1 << 20));
    orv::test::RunOnSmallStack([&] {
      CMarkup doc;
      doc.SetDoc(text);
      EXPECT_EQ(IndexFault(doc), L"") << hostile.name;
      EXPECT_LE(orv::CheckStrict(text).size(), 1000u) << hostile.name;
    });
  }
}

TEST(XmlParse, DelimitersAreTheSameOnEveryPath) {
  constexpr std::size_t kBlocks = 5;
  std::wstring text;
  std::vector<std::uint32_t> expected;
  std::uint32_t state = 99;
  for (std::size_t i = 0; i < kBlocks * orv::kDelimiterBlock; ++i) {
    // Delimiters, and code units that look like one in their low byte or when narrowed; one block
    // is full of them.
    constexpr std::uint32_t kUnits[] = {'<',    '>',    '"',    '\'', 'a',
                                        0x3C3C, 0x8022, 0xFF3E, 0,    0xFFFF};
    state = state * 1664525 + 1013904223;
    const bool isFull = i / orv::kDelimiterBlock == 2;
    text += static_cast<wchar_t>(kUnits[(state >> 16) % (isFull ? 4 : std::size(kUnits))]);
    if (std::wstring_view(L"<>\"'").find(text.back()) != std::wstring_view::npos) {
      expected.push_back(static_cast<std::uint32_t>(1000 + i));
    }
  }
  for (const orv::CpuLevel level : {orv::CpuLevel::kPlain, orv::CpuLevel::kSse41,
                                    orv::CpuLevel::kAvx2, orv::CpuLevel::kAvx512}) {
    if (level > orv::SupportedCpuLevel()) continue;
    std::vector<std::uint32_t> offsets(text.size() + 16);
    offsets.resize(orv::DelimiterScannerFor(level)(text.data(), kBlocks, 1000, offsets.data()));
    EXPECT_EQ(offsets, expected);
  }
}

// --- Navigation ---

TEST(XmlNavigate, WalksLevels) {
  CMarkup doc(L"<r><a/><b/></r>");
  EXPECT_FALSE(doc.IntoElem());
  EXPECT_FALSE(doc.OutOfElem());
  EXPECT_FALSE(doc.FindElem(L"/r"));
  EXPECT_FALSE(doc.FindElem(L"//r"));
  EXPECT_TRUE(doc.FindElem(L"r"));
  EXPECT_TRUE(doc.IntoElem());
  EXPECT_EQ(doc.GetNodeType(), CMarkup::NODE_NONE);
  EXPECT_TRUE(doc.FindElem(L"b"));
  EXPECT_FALSE(doc.FindElem(L"b"));
  EXPECT_EQ(doc.GetTagName(), L"b");
  doc.ResetMainPos();
  EXPECT_TRUE(doc.FindElem());
  EXPECT_EQ(doc.GetTagName(), L"a");
  EXPECT_TRUE(doc.OutOfElem());
  EXPECT_EQ(doc.GetTagName(), L"r");
  EXPECT_EQ(doc.GetChildTagName(), L"a");
  EXPECT_TRUE(doc.FindChildElem());
  EXPECT_EQ(doc.GetChildTagName(), L"b");
  EXPECT_FALSE(doc.FindChildElem());
  doc.ResetChildPos();
  EXPECT_EQ(doc.GetChildTagName(), L"");
  EXPECT_EQ(doc.GetNodeType(), CMarkup::NODE_ELEMENT);
  doc.ResetPos();
  EXPECT_TRUE(doc.FindChildElem(L"b"));
  EXPECT_EQ(doc.GetTagName(), L"r");
}

TEST(XmlNavigate, NamesInPaths) {
  ExpectTable("xml_paths", [](const Fields& fields) {
    CMarkup doc(L"<abc/><ab/><\u00e9B/><y\tz/>");
    if (fields.size() > 1) doc.SetDocFlags(0);
    const bool isFound = doc.FindElem(fields[0]);
    EXPECT_EQ(isFound, !doc.GetTagName().empty());
    return doc.GetTagName();
  });
  CMarkup doc(L"<abc/>");
  EXPECT_TRUE(doc.FindElem(nullptr));
}

TEST(XmlNavigate, PathsCountElementsOfOneName) {
  const std::pair<int, std::wstring> cases[] = {
      {0, L"/r/a /r/b /r/a[2] /r/A "}, {CMarkup::DOC_IGNORECASE, L"/r/a /r/b /r/a[2] /r/A[3] "}};
  for (const auto& [flags, expected] : cases) {
    CMarkup doc(L"<r><a/><b/><a/><A/></r>");
    doc.SetDocFlags(flags);
    EXPECT_EQ(doc.GetPath(), L"");
    doc.FindElem();
    doc.IntoElem();
    std::wstring paths;
    while (doc.FindElem()) paths += doc.GetPath() + L' ';
    EXPECT_EQ(Show(paths), Show(expected));
  }
}

TEST(XmlNavigate, Nodes) {
  CMarkup doc(
      L"<?xml version='1.0'?>\r\n<!DOCTYPE r[]><!--c--><r> t&amp;<b>x</b><![CDATA[<]]></r>");
  std::wstring walk;
  const auto walkLevel = [&] {
    while (const int type = doc.FindNode()) {
      walk += std::to_wstring(type) + L":" + doc.GetTagName() + L"=" + doc.GetData() + L";";
    }
  };
  walkLevel();
  EXPECT_EQ(doc.GetAttrib(L"version"), L"");
  doc.ResetPos();
  ASSERT_TRUE(doc.FindElem());
  doc.IntoElem();
  walkLevel();
  EXPECT_EQ(
      Show(walk),
      "16:xml=<?xml version='1.0'?>;4:#text=\\r\\n;64:DOCTYPE=<!DOCTYPE r[]>;32:#comment=c;1:r=;"
      "2:#text= t&;1:b=x;8:#cdata-section=<;");
  doc.ResetPos();
  EXPECT_EQ(doc.FindNode(CMarkup::NODE_PROCESSING_INSTRUCTION), 16);
  EXPECT_EQ(doc.GetAttrib(L"version"), L"1.0");
  EXPECT_FALSE(doc.IntoElem());
  EXPECT_TRUE(doc.FindElem(L"r"));
  doc.IntoElem();
  EXPECT_EQ(doc.FindNode(CMarkup::NODE_CDATA_SECTION | CMarkup::NODE_COMMENT), 8);
  EXPECT_EQ(doc.GetSubDoc(), L"<![CDATA[<]]>");
  EXPECT_FALSE(doc.FindElem());
  EXPECT_FALSE(doc.FindChildElem());
}

TEST(XmlNavigate, SavedPositions) {
  CMarkup doc(L"<r><a><b/></a><c/></r>");
  doc.FindElem();
  doc.IntoElem();
  doc.FindChildElem(L"b");
  EXPECT_TRUE(doc.SetMapSize(1 << 30, 3));
  EXPECT_FALSE(doc.SetMapSize(-1) || doc.SetMapSize(1, -1));
  EXPECT_FALSE(doc.SavePos(L"x", -1) || doc.RestorePos(L"x", -1));
  EXPECT_TRUE(doc.SavePos(L"x", 3));
  doc.FindElem(L"c");
  EXPECT_TRUE(doc.SavePos());
  EXPECT_FALSE(doc.RestorePos(L"x"));
  EXPECT_TRUE(doc.RestorePos(L"x", 3));
  EXPECT_EQ(doc.GetPath(), L"/r/a");
  EXPECT_EQ(doc.GetChildTagName(), L"b");
  EXPECT_TRUE(doc.RestorePos());
  EXPECT_EQ(doc.GetTagName(), L"c");
  doc.SetDoc(L"<r/>");
  EXPECT_FALSE(doc.RestorePos());
}

// --- Reading ---

TEST(XmlRead, Attributes) {
  ExpectTable("xml_attributes", [](const Fields& fields) {
    CMarkup found(fields[0]);
    EXPECT_TRUE(found.FindElem());
    const int offset = found.GetAttribOffset(fields[1]);
    std::wstring buffer;
    std::wstring_view value;
    EXPECT_EQ(orv::CursorOf(found).Attrib(fields[1], &buffer, &value), offset >= 0);
    EXPECT_EQ(value, found.GetAttrib(fields[1]));
    return std::to_wstring(offset) + L" (" + std::wstring(value) + L")";
  });
  CMarkup doc(L"<a x='1' =2 y=\"&amp;\" z/>");
  EXPECT_EQ(doc.GetAttrib(L"x"), L"");
  doc.FindElem();
  EXPECT_EQ(doc.GetAttrib(nullptr), L"");
  std::wstring name;
  std::wstring value;
  EXPECT_TRUE(doc.GetNthAttrib(1, name, value));
  EXPECT_EQ(name + L"=" + value, L"y=&");
  EXPECT_TRUE(doc.GetNthAttrib(2, name, value));
  EXPECT_EQ(name + L"=" + value, L"z=");
  EXPECT_FALSE(doc.GetNthAttrib(3, name, value));
  EXPECT_EQ(doc.GetAttribName(0), L"x");
}

TEST(XmlRead, Data) {
  ExpectTable("xml_data", [](const Fields& fields) {
    CMarkup doc(fields[0]);
    doc.SetDocFlags(fields.size() > 1 ? CMarkup::DOC_TRIMWHITESPACE : 0);
    EXPECT_TRUE(doc.FindElem());
    std::wstring buffer;
    EXPECT_EQ(orv::CursorOf(doc).Data(&buffer), doc.GetData());
    return L"'" + doc.GetData() + L"'";
  });
}

TEST(XmlRead, NamesAndValuesEndAtTheFirstUnitThatEndsThem) {
  constexpr orv::UnitSet kEnds(L" \n\t\r/=>?");
  // Code units that end nothing; some share their low bits with code units that do.
  for (const wchar_t other : std::wstring_view(L"a!:;<@\x8000\xFFFD\x103D\x2020")) {
    for (std::size_t length = 0; length <= 20; ++length) {
      for (std::size_t at = 0; at <= length; ++at) {
        std::wstring text(length, other);
        const wchar_t* const first = text.data();
        for (const wchar_t end : std::wstring_view(L"\"& \n\t\r/=>?")) {
          if (at < length) text[at] = end;
          const bool isEither = end == L'"' || end == L'&';
          const auto found = static_cast<std::size_t>(
              isEither ? orv::FindEither(first, first + length, L'"', L'&') - first
                       : orv::FindNameEnd(first, first + length, kEnds) - first);
          ASSERT_EQ(found, at) << int(other) << " x " << length << " " << int(end);
        }
      }
    }
  }
}

TEST(XmlRead, NamesDifferInAnyUnit) {
  for (std::size_t length = 0; length <= 40; ++length) {
    const std::wstring name(length, L'n');
    std::wstring other = name;
    EXPECT_TRUE(orv::SameUnits(name.data(), other.data(), length)) << length;
    for (wchar_t& unit : other) {
      for (const unsigned bit : {0u, 8 * unsigned{sizeof unit} - 1}) {
        unit = static_cast<wchar_t>(L'n' ^ 1u << bit);
        EXPECT_FALSE(orv::SameUnits(name.data(), other.data(), length)) << length;
      }
      unit = L'n';
    }
  }
}

/// The reader returns what moving the child position returns.
TEST(XmlRead, ChildrenAreReadAlikeInEveryWay) {
  constexpr std::wstring_view kOpening = L"<a n=\"";
  const std::wstring children[] = {L"<a n=\"12\">34</a>",
                                   L"<a n=\"1\" n='2'>3</a>",
                                   L"<a n=\"123\"/>",
                                   L"<a n=\"\"></a>",
                                   L"<a  n='1'>&lt;</a>",
                                   L"<A N=\"&#49;2\">1</A>",
                                   L"<a n=\"&#49;2\">1</a>",
                                   L"<a m='1' n='12'> 1 </a>",
                                   L"<a n=\"12'>3</a>\">4</a>",
                                   L"<a n=\"1<2>\">3<b/>4</a>",
                                   L"<a>1<![CDATA[<2]]></a>",
                                   L"<a/>",
                                   L"<ab n=\"1\">2</ab>",
                                   L"<b n=\"1\">2</b>",
                                   L"<a n=\"1\">2<!--3-->4</a>",
                                   L"<a n=\"12\">"};
  for (const std::wstring& first : children) {
    for (const std::wstring& second : children) {
      for (const int flags :
           {0, int{CMarkup::DOC_IGNORECASE}, int{CMarkup::DOC_COLLAPSEWHITESPACE}}) {
        CMarkup doc;
        doc.SetDocFlags(flags);
        doc.SetDoc(L"<r>" + first + second + L"</r>");
        for (const std::wstring_view expected :
             {std::wstring_view(), std::wstring_view(L"1"), std::wstring_view(L"12"),
              std::wstring_view(L"123"), std::wstring_view(L"0")}) {
          doc.ResetPos();
          doc.FindElem();
          const orv::Cursor& cursor = orv::CursorOf(doc);
          orv::ChildReader reader(cursor, cursor.Main(), kOpening);
          std::wstring_view value;
          std::wstring_view data;
          while (reader.Next(expected, &value, &data)) {
            ASSERT_TRUE(doc.FindChildElem(L"a")) << orv::WideToUtf8(doc.GetDoc());
            EXPECT_EQ(value, doc.GetChildAttrib(L"n")) << orv::WideToUtf8(doc.GetDoc());
            EXPECT_EQ(data, doc.GetChildData()) << orv::WideToUtf8(doc.GetDoc());
          }
          EXPECT_FALSE(doc.FindChildElem(L"a")) << orv::WideToUtf8(doc.GetDoc());
        }
      }
    }
  }
}

TEST(XmlRead, PiecesAndPlaces) {
  CMarkup doc(L"<r>\r\n <a x='1'>d&amp;</a>\n</r>");
  EXPECT_EQ(doc.GetElemOffset(), -1);
  EXPECT_EQ(doc.GetContentOffset(), -1);
  ASSERT_TRUE(doc.FindChildElem());
  EXPECT_EQ(doc.GetChildSubDoc(), L"<a x='1'>d&amp;</a>");
  EXPECT_EQ(doc.GetChildData(), L"d&");
  EXPECT_EQ(doc.GetChildAttrib(L"X"), L"1");
  std::wstring buffer;
  EXPECT_EQ(orv::CursorOf(doc).Data(&buffer), L"");
  EXPECT_EQ(doc.GetChildElemOffset(), 6);
  EXPECT_EQ(doc.GetSubDoc(), doc.GetDoc());
  EXPECT_EQ(doc.GetElemContent(), L"\r\n <a x='1'>d&amp;</a>\n");
  EXPECT_EQ(doc.GetDataPointer().data(), nullptr);
  doc.IntoElem();
  EXPECT_EQ(doc.GetTagNamePointer(), L"a");
  EXPECT_EQ(doc.GetDataPointer(), L"d&amp;");
  EXPECT_EQ(doc.GetContentOffset(), 15);

  const orv::LineIndex lines(doc.GetDoc());
  const int cases[][3] = {{-1, 1, 1}, {0, 1, 1},  {4, 1, 5}, {5, 2, 1},
                          {6, 2, 2},  {26, 3, 1}, {99, 3, 5}};
  for (const auto& [offset, line, column] : cases) {
    EXPECT_EQ(lines.Find(offset).line, line) << offset;
    EXPECT_EQ(lines.Find(offset).column, column) << offset;
  }
  EXPECT_EQ(orv::LineIndex(L"a\rb\n\nc").Find(5).line, 4);
  // Offsets are not truncated to an int.
  EXPECT_EQ(lines.Find(std::int64_t{1} << 32).line, 3);
}

TEST(XmlRead, Unescape) {
  ExpectTable("xml_unescape", [](const Fields& fields) {
    const std::wstring& how = fields[1];
    const int flags = how == L"collapse" ? CMarkup::DOC_COLLAPSEWHITESPACE
                      : how == L"trim"   ? CMarkup::DOC_TRIMWHITESPACE
                                         : 0;
    return L"'" + CMarkup::UnescapeText(fields[0].c_str(), -1, flags) + L"'";
  });
  EXPECT_EQ(CMarkup::UnescapeText(L"a&lt;b", 4), L"a&lt");
  EXPECT_EQ(CMarkup::UnescapeText(nullptr), L"");
  EXPECT_EQ(CMarkup::EscapeText(nullptr), L"");
}

TEST(XmlRead, WholeBucketsOfNames) {
  const std::tuple<const wchar_t* (*)(std::size_t), std::size_t, const wchar_t*> cases[] = {
      {&orv::EntityBucket, 0, L"60216oslash60217ugrave60248oslash60249ugrave"},
      {&orv::EntityBucket, 1, L"50937omega60221yacute58968lceil50969omega60253yacute"},
      {&orv::EntityBucket, 3, L"40185sup1"},
      {&orv::EncodingBucket, 0, L"0800949ksc_5601"},
      {&orv::EncodingBucket, 1, L"1920932cseucpkdfmtjapanese0920003x-cp20003"},
      {&orv::EncodingBucket, 2, L"0228591l10920004x-cp20004"},
      {&orv::EncodingBucket, 4, L"0600850ibm8501000858ccsid00858"}};
  for (const auto& [bucket, number, entries] : cases) EXPECT_STREQ(bucket(number), entries);
}

// --- The cursor; that it reads like the class is tested with the edits ---

TEST(XmlCursor, VisitsElementsInDocumentOrder) {
  const CMarkup doc(L"<?p?><r>t<a><b/>u<c x='1'>v</c></a><!--d--><e/></r><f/>");
  std::wstring names;
  for (CMarkupCursor cursor(doc); cursor.NextElem();) names += cursor.GetTagName();
  EXPECT_EQ(names, L"rabcef");
  // From a node, the elements after it follow.
  CMarkupCursor cursor(doc);
  EXPECT_EQ(cursor.FindNode(CMarkup::NODE_PROCESSING_INSTRUCTION), 16);
  EXPECT_TRUE(cursor.NextElem() && cursor.IntoElem());
  EXPECT_EQ(cursor.FindNode(CMarkup::NODE_TEXT), 2);
  EXPECT_TRUE(cursor.NextElem());
  EXPECT_EQ(cursor.GetTagName(), L"a");
  EXPECT_EQ(cursor.FindNode(CMarkup::NODE_COMMENT), 32);
  EXPECT_TRUE(cursor.NextElem());
  EXPECT_EQ(cursor.GetTagName(), L"e");
  EXPECT_TRUE(cursor.NextElem());
  EXPECT_FALSE(cursor.NextElem());
  EXPECT_EQ(cursor.GetTagName(), L"f");
}

TEST(XmlCursor, SharesItsPositionsWithTheDocument) {
  CMarkup doc(L"<r><a/><b><c y='2'/></b></r>");
  CMarkupCursor cursor(doc);
  EXPECT_TRUE(cursor.FindElem(L"r") && cursor.IntoElem() && cursor.FindElem(L"b"));
  EXPECT_TRUE(cursor.FindChildElem());
  EXPECT_EQ(doc.GetPath(), L"");
  cursor.MoveTo(doc);
  EXPECT_EQ(doc.GetPath() + L" " + doc.GetChildTagName(), L"/r/b c");
  EXPECT_TRUE(doc.IntoElem());
  const CMarkupCursor copy = CMarkupCursor::At(doc);
  std::wstring buffer;
  std::wstring_view value;
  EXPECT_TRUE(copy.GetAttrib(L"Y", &buffer, &value));
  EXPECT_EQ(value, L"2");
  EXPECT_FALSE(copy.GetAttrib(L"z", &buffer, &value));
}

TEST(XmlCursor, ViewsAreOfTheTextUnlessDecoded) {
  CMarkup doc(L"<r ='0' a='1' b='&lt;' 'v' c d='2'/e>" + std::wstring(32, L' '));
  CMarkupCursor cursor(doc);
  ASSERT_TRUE(cursor.NextElem());
  std::wstring seen;
  std::wstring buffer;
  for (const CMarkupAttrib& attrib : cursor.GetAttribs()) {
    const std::wstring_view value = attrib.GetValue(&buffer);
    EXPECT_EQ(doc.GetDoc().compare(static_cast<std::size_t>(attrib.nOffset), attrib.strName.size(),
                                   attrib.strName),
              0);
    seen += std::wstring(attrib.strName) + L"=" + std::wstring(value);
    seen += attrib.bIsPlain && value.data() == attrib.strRawValue.data() ? L";" : L"!";
  }
  EXPECT_EQ(Show(seen), "a=1;b=<!'v'=;c=;d=2;e=;");
  CMarkup trimmed(L"<r a=' 1 '/>");
  trimmed.SetDocFlags(CMarkup::DOC_TRIMWHITESPACE);
  CMarkupCursor atTrimmed(trimmed);
  ASSERT_TRUE(atTrimmed.NextElem());
  EXPECT_EQ(atTrimmed.GetAttribs().begin()->GetValue(&buffer), L"1");
  CMarkup empty;
  EXPECT_FALSE(CMarkupCursor(empty).NextElem());
  EXPECT_TRUE(CMarkupCursor(empty).GetAttribs().begin() == std::default_sentinel);
}

TEST(XmlCursor, OffsetsOfAttributesAfterAnEdit) {
  CMarkup doc(L"<r><i/><e a='1' b='&lt;'c>text</e></r>");
  EXPECT_TRUE(doc.FindElem() && doc.IntoElem() && doc.FindElem());
  EXPECT_TRUE(doc.SetAttrib(L"added", L"1"));  // leaves a gap in the text
  EXPECT_TRUE(doc.FindElem());
  std::wstring names;
  std::vector<int> offsets;
  for (const CMarkupAttrib& attrib : CMarkupCursor::At(doc).GetAttribs()) {
    names += attrib.strName;
    offsets.push_back(attrib.nOffset);
  }
  EXPECT_EQ(names, L"abc");
  std::wstring found;
  for (const int offset : offsets) found += doc.GetDoc().at(static_cast<std::size_t>(offset));
  EXPECT_EQ(found, names);
}

// Attributes are compared in blocks of code units.
TEST(XmlCursor, AttributesOfAllLengths) {
  for (std::size_t n = 1; n < 70; ++n) {
    const std::wstring name(n, L'n');
    const std::wstring value = std::wstring(n % 37, L'#') + L"'";
    const CMarkup doc(L"<e-1 " + name + L"=\"" + value + L"\" b-1='\"'  c\n='x' d='y'>e='z'" +
                      std::wstring(n % 5 * 10, L' '));
    CMarkupCursor cursor(doc);
    ASSERT_TRUE(cursor.NextElem());
    std::wstring seen;
    for (const CMarkupAttrib& attrib : cursor.GetAttribs()) {
      seen += std::wstring(attrib.strName) + L"=" + std::wstring(attrib.strRawValue) + L";";
    }
    EXPECT_EQ(seen, name + L"=" + value + L";b-1=\";c=x;d=y;");
  }
}

TEST(XmlCursor, ChildrenWithOneName) {
  const CMarkup doc(L"<r><p n=\"1\">a</p><q n='2'>b</q><p m='3' n='4'>c&amp;</p><p><s/></p></r>");
  CMarkupCursor cursor(doc);
  std::wstring seen;
  for (const CMarkupChild& child : CMarkupChildren(cursor, L"p", L"n")) seen += child.strValue;
  EXPECT_EQ(seen, L"");
  ASSERT_TRUE(cursor.NextElem());
  for (const CMarkupChild& child : CMarkupChildren(cursor, L"p", L"n")) {
    seen += std::wstring(child.strValue) + L":" + std::wstring(child.strData) + L";";
  }
  EXPECT_EQ(seen, L"1:a;4:c&;:;");
}

}  // namespace
