#include <gtest/gtest.h>

#include <functional>
#include <vector>

#include "fuzz/xml_edits.h"
#include "tests/fixtures.h"
#include "tests/xml_fixture.h"

namespace {

using orv::fuzz::ApplyEdit;
using orv::fuzz::EditStep;
using orv::test::DumpIndex;
using orv::test::IndexFault;
using orv::test::ReadFault;
using orv::test::Show;

/// Expects the index to be the same as after a new parse.
void ExpectFreshIndex(const CMarkup& doc) {
  CMarkup fresh;
  fresh.SetDocFlags(doc.GetDocFlags());
  fresh.SetDoc(doc.GetDoc());
  EXPECT_EQ(Show(DumpIndex(doc)), Show(DumpIndex(fresh))) << Show(doc.GetDoc());
  EXPECT_EQ(IndexFault(doc), L"") << Show(doc.GetDoc());
}

struct EditCase {
  const wchar_t* before;
  std::function<bool(CMarkup&)> edit;
  const wchar_t* after;  ///< null when the edit is refused
};

/// Edits the document `d`; returns whether every step succeeded.
#define EDIT(...) [=]([[maybe_unused]] CMarkup& d) { return __VA_ARGS__; }

void RunCases(const std::vector<EditCase>& cases) {
  for (const EditCase& c : cases) {
    CMarkup doc(c.before);
    EXPECT_EQ(c.edit(doc), c.after != nullptr) << Show(c.before);
    EXPECT_EQ(Show(doc.GetDoc()), Show(c.after != nullptr ? c.after : c.before));
    ExpectFreshIndex(doc);
  }
}

TEST(XmlEdit, AddElements) {
  const auto into = [](CMarkup& d, const wchar_t* name) {
    return d.FindElem(name) && d.IntoElem();
  };
  RunCases({
      {L"", EDIT(d.AddElem(L"r")), L"<r/>\r\n"},
      {L"", EDIT(d.AddElem(L"r", L"", 2)), L"<r/>"},
      {L"", EDIT(d.AddElem(L"r", L"", 6)), L"<r />"},
      {L"", EDIT(d.AddElem(L"a", L"x<y", 2)), L"<a>x&lt;y</a>"},
      {L"", EDIT(d.AddElem(L"a", L"x<y", 3)), L"<a><![CDATA[x<y]]></a>"},
      {L"", EDIT(d.AddElem(L"a", L"]]>b", 3)), L"<a><![CDATA[]]]]><![CDATA[>b]]></a>"},
      {L"", EDIT(d.AddElem(L"a", L"&amp;&", 10)), L"<a>&amp;&amp;</a>"},
      {L"", EDIT(d.AddElem(L"a", L"\"'", 0x102)), L"<a>&quot;&apos;</a>"},
      {L"", EDIT(d.AddElem(L"a", -7, 2)), L"<a>-7</a>"},
      {L"", EDIT(d.AddElem(L"a", L"v", 16)), nullptr},
      {L"", EDIT(d.AddElem(L"a", L"", 18)), L"<a>"},
      {L"", EDIT(d.AddElem(L"")), nullptr},
      {L"", EDIT(d.AddElem(L"a/")), nullptr},
      {L"", EDIT(d.AddElem(L"1")), nullptr},
      {L"<r/>", EDIT(d.AddChildElem(L"a")), nullptr},
      {L"<r/>", EDIT(d.AddElem(L"s", L"", 2)), L"<r/><s/>"},
      {L"<r/>", EDIT(d.InsertElem(L"s", L"", 2)), L"<s/><r/>"},
      {L"<r/> ", EDIT(d.FindElem() && d.AddElem(L"s")), L"<r/><s/>\r\n "},
      {L"<r/> <t/>", EDIT(d.FindElem() && d.AddElem(L"s")), L"<r/> <s/>\r\n<t/>"},
      {L"<r/> <t/>", EDIT(d.FindElem() && d.AddElem(L"s", L"", 2)), L"<r/><s/> <t/>"},
      {L"<r/> x", EDIT(d.FindElem() && d.AddElem(L"s")), L"<r/><s/>\r\n x"},
      {L"<r/>", EDIT(into(d, L"r") && d.AddElem(L"a")), L"<r>\r\n<a/>\r\n</r>"},
      {L"<r />", EDIT(into(d, L"r") && d.AddElem(L"a", L"", 2)), L"<r ><a/></r>"},
      {L"<r//>", EDIT(into(d, L"r") && d.AddElem(L"a", L"", 2)), L"<r><a/></r>"},
      {L"<r></r>", EDIT(into(d, L"r") && d.AddElem(L"a")), L"<r><a/>\r\n</r>"},
      {L"<r><a/> </r>", EDIT(into(d, L"r") && d.AddElem(L"b")), L"<r><a/> <b/>\r\n</r>"},
      {L"<r>\n<a/></r>", EDIT(into(d, L"r") && d.InsertElem(L"b")), L"<r>\n<b/>\r\n<a/></r>"},
      {L"<r><a/><b/></r>", EDIT(d.FindChildElem(L"b") && d.InsertChildElem(L"x", L"1", 2)),
       L"<r><a/><x>1</x><b/></r>"},
      {L"<r><a/></r><s/>", EDIT(d.FindElem() && d.AddChildElem(L"b", 2, 2)),
       L"<r><a/><b>2</b></r><s/>"},
      // An unended parent gets its end tag.
      {L"<r><a><b/></r>",
       EDIT(d.FindElem() && d.IntoElem() && d.FindElem() && d.IntoElem() && d.AddElem(L"x")),
       L"<r><a>\r\n<x/>\r\n</a><b/></r>"},
  });
  // The stored length of a long end tag lacks multiples of 1,024; another end tag follows.
  for (const std::size_t units : {1023, 1024, 1025, 2048}) {
    for (const std::wstring data : {L"x", L""}) {
      CMarkup doc(L"<r><a>" + data + L"</a" + std::wstring(units - 4, L' ') + L"></r>");
      EXPECT_TRUE(doc.FindChildElem() && doc.IntoElem() && doc.AddChildElem(L"b", L"", 2));
      EXPECT_EQ(doc.GetDoc().substr(0, 14 + data.size()), L"<r><a>" + data + L"<b/></a ") << units;
      ExpectFreshIndex(doc);
    }
  }
}

TEST(XmlEdit, PlacesAndPositions) {
  RunCases({
      {L"",
       EDIT(d.AddElem(L"r", L"", 2) && d.AddChildElem(L"a", 1, 2) && d.AddChildElem(L"b", 2, 2) &&
            d.IntoElem() && d.GetData() == L"2" && d.InsertElem(L"c") && d.FindElem(L"b")),
       L"<r><a>1</a><c/>\r\n<b>2</b></r>"},
      // A call adds its bits to those of the flags and takes none away.
      {L"<r><a/></r>",
       EDIT(d.FindChildElem() && d.AddElem(L"x", L"", 0x6002) && d.GetChildTagName() == L"x"),
       L"<r><x/><a/></r>"},
      {L"<r><a/></r>", EDIT(d.FindElem() && d.InsertElem(L"x", 1, 0x4002)), L"<r><x>1</x><a/></r>"},
      {L"<r><a/></r>", EDIT(d.FindElem() && d.AddChildElem(L"x", 1, 0x2002)),
       L"<r><x>1</x><a/></r>"},
      {L"<r><a/></r>", EDIT(d.FindElem() && d.AddSubDoc(L"<x/>", 0x6002)), L"<r><x/><a/></r>"},
      {L"<r><a/></r>", EDIT(d.FindElem() && d.InsertSubDoc(L"<x/>", 0x4002)), L"<r><x/><a/></r>"},
      {L"<r><a/></r>", EDIT(d.FindElem() && d.AddChildSubDoc(L"<x/>", 0x2002)), L"<r><x/><a/></r>"},
      {L"<r><a/></r>", EDIT(d.FindElem() && d.AddNode(1, L"x", 0x6002)), L"<r><x/><a/></r>"},
      {L"<r><a/></r>", EDIT(d.FindElem() && d.InsertNode(2, L"t", 0x4000) && d.GetData() == L"t"),
       L"<r>t<a/></r>"},
      // The new element takes the end tag of its parent, and becomes a sibling.
      {L"<r><a><b/></a></r>",
       EDIT(d.FindElem() && d.IntoElem() && d.FindElem() &&
            d.InsertChildElem(L"a", L"", CMarkup::ADD_NOEND | CMarkup::ADD_NOLINES) &&
            d.GetTagName() == L"a" && d.GetChildTagName().empty()),
       L"<r><a><a><b/></a></r>"},
  });
}

TEST(XmlEdit, Attributes) {
  const auto set = [](const wchar_t* name, const wchar_t* value) {
    return EDIT(d.FindElem() && d.SetAttrib(name, value));
  };
  const auto remove = [](const wchar_t* name) {
    return EDIT(d.FindElem() && d.RemoveAttrib(name));
  };
  RunCases({
      {L"<r/>", set(L"x", L"1"), L"<r x=\"1\"/>"},
      {L"<r />", set(L"x", L"1"), L"<r x=\"1\" />"},
      {L"<r><a/></r><s/>", set(L"x", L"<'\"&"), L"<r x=\"&lt;&apos;&quot;&amp;\"><a/></r><s/>"},
      {L"<r x='1' y='2'/>", set(L"X", L"345"), L"<r x='345' y='2'/>"},
      {L"<r x=1/>", set(L"x", L"2"), L"<r x=\"2\"/>"},
      {L"<r x=1 y='2'/>", set(L"x", L"3"), L"<r x=\"3\" y='2'/>"},
      {L"<r x= />", set(L"x", L"2"), L"<r x= \"2\"/>"},
      {L"<r x= >", set(L"y", L"2"), L"<r x= \"\" y=\"2\">"},
      {L"<r x y/>", set(L"x", L"2"), L"<r x=\"2\" y/>"},
      {L"<r=></r=>", set(L"x", L"2"), L"<r= x=\"2\"></r=>"},
      {L"<r x=\"='\" y= '=\"'/>", set(L"z", L"2"), L"<r x=\"='\" y= '=\"' z=\"2\"/>"},
      {L"<r=\" x= |='1 y=\"2\"3>4</r>", set(L"x", L"2"), nullptr},  // is parsed otherwise than read
      {L"<r x=a=' y='1'2>3</r>", remove(L"y"), nullptr},
      {L"<r/>", set(L"", L"2"), nullptr},
      {L"<r/>", set(L"a b", L"2"), nullptr},
      {L"<r/>", EDIT(d.SetAttrib(L"x", 1)), nullptr},
      {L"<r><a/><b/></r>", EDIT(d.FindChildElem() && d.AddChildAttrib(L"n", 5)),
       L"<r><a n=\"5\"/><b/></r>"},
      {L"<?xml version='1'?><r/>", EDIT(d.FindNode() == 16 && d.SetAttrib(L"encoding", L"UTF-8")),
       L"<?xml version='1' encoding=\"UTF-8\"?><r/>"},
      {L"<r x='1' y='2'><a/></r>", remove(L"x"), L"<r y='2'><a/></r>"},
      {L"<r x='1'y='2'/>", remove(L"x"), L"<r y='2'/>"},
      {L"<r/x='1'>", remove(L"x"), L"<r/ >"},
      {L"<r x/>", remove(L"x"), L"<r/>"},
      {L"<r x/>", remove(L"y"), nullptr},
      // After another edit.
      {L"<r><a/><b x='1' y='2'/></r>",
       EDIT(d.FindElem() && d.IntoElem() && d.FindElem() && d.SetData(L"longer") &&
            d.FindElem(L"b") && d.RemoveAttrib(L"y")),
       L"<r><a>longer</a><b x='1'/></r>"},
  });
}

TEST(XmlEdit, Content) {
  RunCases({
      {L"<r><a/>t</r><s/>", EDIT(d.FindElem() && d.SetData(L"<")), L"<r>&lt;</r><s/>"},
      {L"<r/>", EDIT(d.FindElem() && d.SetData(7)), L"<r>7</r>"},
      {L"<r/>", EDIT(d.FindElem() && d.SetData(L"")), L"<r/>"},
      {L"<r>x</r>", EDIT(d.FindElem() && d.SetData(L"")), L"<r></r>"},
      {L"<r><a/><b/></r>", EDIT(d.FindChildElem() && d.SetChildData(L"1", 1)),
       L"<r><a><![CDATA[1]]></a><b/></r>"},
      {L"<r>x</r>", EDIT(d.SetData(L"")), nullptr},
      {L"<r/><s/>", EDIT(d.FindElem() && d.SetElemContent(L"a<b><c/></b><d/>")),
       L"<r>a<b><c/></b><d/></r><s/>"},
      {L"<r/>", EDIT(d.FindElem() && d.SetElemContent(L"</r><r>")), nullptr},
      {L"<r/>", EDIT(d.FindElem() && d.SetElemContent(L"<a>")), nullptr},
      {L"<r/><s/>", EDIT(d.FindElem() && d.SetElemContent(L"")), L"<r/><s/>"},
      {L"<r/>", EDIT(d.FindElem() && d.AddChildSubDoc(L"<?xml?><!--c--><s><t/></s>\n", 2)),
       L"<r><s><t/></s></r>"},
      {L"<r><a/></r>", EDIT(d.FindElem() && d.InsertChildSubDoc(L"<s><t/></s>")),
       L"<r><s><t/></s>\r\n<a/></r>"},
      {L"<r/>", EDIT(d.FindElem() && d.AddSubDoc(L"<s/><s/>")), nullptr},
      {L"<r/>", EDIT(d.FindElem() && d.InsertSubDoc(L"<s>")), nullptr},
  });
}

TEST(XmlEdit, Removal) {
  RunCases({
      {L"<r>\r\n<a/>\r\n<b/>\n</r>",
       EDIT(d.FindChildElem(L"b") && d.RemoveChildElem() && d.GetChildTagName() == L"a"),
       L"<r>\r\n<a/>\r\n</r>"},
      {L"<r><a><x/></a><b/></r>",
       EDIT(d.FindChildElem() && d.RemoveChildElem() && d.GetChildTagName().empty()),
       L"<r><b/></r>"},
      {L"<a/><b/>\r\n<c/>", EDIT(d.FindElem(L"b") && d.RemoveElem() && d.GetTagName() == L"a"),
       L"<a/><c/>"},
      {L"<a/>\r", EDIT(d.FindElem() && d.RemoveElem()), L""},
      {L"<a/>", EDIT(d.RemoveElem()), nullptr},
      // Without the error the document is well formed again.
      {L"<r><a></x></a></r>", EDIT(d.FindChildElem() && d.RemoveChildElem()), L"<r></r>"},
  });
  CMarkup doc(L"<r><a><b/></a><c/></r>");
  doc.FindChildElem();
  doc.SavePos(L"a");
  doc.IntoElem();
  doc.FindElem(L"c");
  doc.SavePos(L"c");
  doc.ResetMainPos();
  doc.FindElem();
  EXPECT_TRUE(doc.RemoveElem());
  EXPECT_FALSE(doc.RestorePos(L"a"));
  EXPECT_TRUE(doc.RestorePos(L"c"));
  EXPECT_EQ(doc.GetTagName(), L"c");
}

TEST(XmlEdit, RefusesWhatCannotBeReadBack) {
  RunCases({
      {L"", EDIT(d.AddElem(L"a=b")), nullptr},
      {L"", EDIT(d.AddElem(L"a&b")), nullptr},
      {L"", EDIT(d.AddElem(L"1a")), nullptr},
      {L"", EDIT(d.AddElem(L"\u00f7")), nullptr},
      {L"", EDIT(d.AddElem(L"a\u2003b")), nullptr},
      {L"", EDIT(d.AddElem(L"a:b:c")), nullptr},
      {L"", EDIT(d.AddElem(L"\xD800")), nullptr},
      {L"<?p?>", EDIT(d.FindNode() != 0 && d.SetData(L"\u00f7 x")), nullptr},
      {L"<?p?>", EDIT(d.FindNode() != 0 && d.SetData(L"a:b x")), nullptr},
      {L"", EDIT(d.AddElem(L"\u00e9:a-1.b_", L"", 2)), L"<\u00e9:a-1.b_/>"},
      {L"<r/>", EDIT(d.FindElem() && d.SetAttrib(L"1a", L"x")), nullptr},
      {L"<r/>", EDIT(d.FindElem() && d.SetAttrib(L"a&b", L"x")), nullptr},
      {L"<?a b>c?><r/>", EDIT(d.FindNode() == 16 && d.SetAttrib(L"n", L"x")), nullptr},
      {L"<?a b=\"c?><r/>", EDIT(d.FindNode() == 16 && d.SetAttrib(L"n", L"x")), nullptr},
      {L"<?a b=\">\"?><r/>", EDIT(d.FindNode() == 16 && d.SetAttrib(L"n", L"x")),
       L"<?a b=\">\" n=\"x\"?><r/>"},
  });
}

TEST(XmlEdit, Nodes) {
  RunCases({
      {L"", EDIT(d.AddNode(16, L"xml version=\"1.0\"") && d.AddElem(L"r")),
       L"<?xml version=\"1.0\"?><r/>\r\n\r\n"},
      {L"<r/>", EDIT(d.FindElem() && d.AddNode(32, L" c ")), L"<r/><!-- c -->\r\n"},
      {L"<r/>", EDIT(d.FindElem() && d.InsertNode(32, L"c", 2)), L"<!--c--><r/>"},
      {L"<r/>",
       EDIT(d.FindElem() && d.IntoElem() && d.AddNode(2, L"a<") && d.AddNode(8, L"]]>") &&
            d.AddElem(L"x", L"", 2) && d.GetTagName() == L"x"),
       L"<r>a&lt;<![CDATA[]]]]><![CDATA[>]]><x/></r>"},
      {L"<r/>", EDIT(d.AddNode(32, L"-->")), nullptr},
      {L"<r/>", EDIT(d.AddNode(32, L"a--b")), nullptr},
      {L"<r/>", EDIT(d.AddNode(32, L"a-")), nullptr},
      {L"<r/>", EDIT(d.AddNode(16, L"]]>")), nullptr},
      {L"<r/>", EDIT(d.AddNode(16, L"a?>")), nullptr},
      {L"<r/>", EDIT(d.AddNode(4, L"x")), nullptr},
      {L"<r/>", EDIT(d.InsertNode(64, L"<!DOCTYPE r>")), L"<!DOCTYPE r>\r\n<r/>"},
      {L"<r/>",
       EDIT(d.FindElem() && d.InsertNode(32, L"c", CMarkup::ADD_STAY) && d.GetTagName() == L"r"),
       L"<!--c--><r/>"},
      {L"<!--c-->\n<r/>", EDIT(d.FindNode() == 32 && d.RemoveNode() && d.FindElem(L"r")), L"<r/>"},
      {L"<!--c-->\n<r/>", EDIT(d.FindNode() == 32 && d.SetData(L"longer")), L"<!--longer-->\n<r/>"},
      // The node stays the current one in an ill-formed document.
      {L"<r><!--c--></r><!x>",
       EDIT(d.FindElem() && d.IntoElem() && d.FindNode() == 32 && d.SetData(L"d") &&
            d.GetData() == L"d" && d.OutOfElem()),
       L"<r><!--d--></r><!x>"},
      // The text is in a comment, which is not such a node.
      {L"<!--a", EDIT(d.AddNode(2, L"b") && d.GetNodeType() == 0), L"<!--ab"},
  });
}

TEST(XmlEdit, EscapeText) {
  orv::test::ExpectTable("xml_escape", [](const orv::test::Fields& fields) {
    return CMarkup::EscapeText(fields[0].c_str(), std::stoi(fields[1]));
  });
}

/// Whether the positions are at start tags or nodes of the text.
bool PositionsHold(const CMarkup& doc) {
  const int size = static_cast<int>(doc.GetDoc().size());
  const int child = doc.GetChildElemOffset();
  return doc.GetElemOffset() < size && child < size && (child < 0 || doc.GetDoc()[child] == L'<');
}

TEST(XmlEdit, RandomEditsKeepTheIndexOfANewParse) {
  std::uint32_t state = 2024;
  const auto random = [&state] {
    state = state * 1664525 + 1013904223;
    return state >> 8;
  };
  const std::wstring starts[] = {
      L"",
      L"<r/>",
      L"<?xml version='1.0'?>\r\n<r>\r\n<a x='1'>t</a>\r\n<b />\r\n</r>\r\n",
      L"<r> <a>1<b/>2</a><!--c--><![CDATA[<]]></r>",
      L"<r><a><b></r>",
      L"<r><b></c><a></b><a><e/></r><d>",
      L"<r></x><a x=1/ ></r><!",
      L"<?p a='1' b='<x'?><r><a/><?p c='1' d='<y'?><b/></r>"};
  constexpr int kRounds = orv::test::Rounds(4000);
  constexpr int kSteps = 60;
  for (int round = 0; round < kRounds; ++round) {
    CMarkup doc(starts[round % std::size(starts)]);
    CMarkup fresh;
    for (int i = 0; i < kSteps; ++i) {
      const EditStep step = {random(), random(), random()};
      ApplyEdit(doc, step);
      // The text is not asked for after every edit, because that ends a series of edits.
      if (step.where % 4 == 0) continue;
      if (step.where % 16 == 1) {
        ASSERT_EQ(Show(ReadFault(doc)), "") << "round " << round << " step " << i;
      }
      fresh.SetDoc(doc.GetDoc());
      ASSERT_TRUE(DumpIndex(doc) == DumpIndex(fresh) && IndexFault(doc).empty() &&
                  PositionsHold(doc))
          << "round " << round << " step " << i << ": " << step.what << ' ' << step.where << ' '
          << step.flags << " makes\n"
          << Show(doc.GetDoc());
    }
  }
}

// The index of a parsed document is trimmed; it grows again from there, across its segments.
TEST(XmlEdit, ElementsAreAddedToALargeParsedDocument) {
  std::wstring text = L"<r>";
  for (int i = 0; i < 60'000; ++i) text += L"<a/>";
  CMarkup doc(text + L"</r>");
  ASSERT_TRUE(doc.FindElem());
  for (int i = 0; i < 10'000; ++i) ASSERT_TRUE(doc.AddChildElem(L"b"));
  EXPECT_EQ(IndexFault(doc), L"");
  const CMarkup fresh(doc.GetDoc());
  EXPECT_TRUE(DumpIndex(doc) == DumpIndex(fresh));
}

#if !defined(ORV_TINY_BLOCKS)  // with tiny blocks it grows often
TEST(XmlEdit, TheIndexGrowsRarely) {
  CMarkup doc(L"<r/>");
  ASSERT_TRUE(doc.FindElem() && doc.IntoElem());
  int changes = 0;
  int capacity = 0;
  for (int i = 0; i < 3000; ++i) {
    ASSERT_TRUE(doc.AddSubDoc(L"<a><b/></a>"));
    const int now = orv::CursorOf(doc).Doc().elements.Capacity();
    changes += now != capacity;
    capacity = now;
  }
  EXPECT_LT(changes, 40);
}
#endif

/// Edits in document order, in reverse order and in a mixed one, on enough siblings that the gap is
/// widened several times. The expected text is made without the class.
TEST(XmlEdit, ManySiblingsInAnyOrder) {
  constexpr int kSiblings = 1000;
  const auto markup = [](int number, int changes) {
    const std::wstring changed(static_cast<std::size_t>(changes), L'c');
    return L"<a n=\"" + std::to_wstring(number) + changed + L"\">" + changed + L"<b/></a>\r\n";
  };
  std::wstring text = L"<r>\r\n";
  for (int i = 0; i < kSiblings; ++i) text += markup(i, 0);
  CMarkup doc(text + L"</r>");
  ASSERT_TRUE(doc.FindElem() && doc.IntoElem());
  for (int i = 0; i < kSiblings; ++i) {
    ASSERT_TRUE(doc.FindElem() && doc.SavePos(std::to_wstring(i)));
  }
  std::vector<int> changes(kSiblings);
  for (const int step : {1, kSiblings - 1, 7, 389}) {  // coprime to the number of siblings
    for (int i = 0, at = 0; i < kSiblings; ++i, at = (at + step) % kSiblings) {
      const std::wstring number = std::to_wstring(at);
      ASSERT_TRUE(doc.RestorePos(number));
      const std::wstring changed(static_cast<std::size_t>(++changes[at]), L'c');
      ASSERT_TRUE(doc.SetAttrib(L"n", number + changed));
      ASSERT_TRUE(doc.SetElemContent(changed + L"<b/>"));
      ASSERT_EQ(doc.GetAttrib(L"n"), number + changed);
    }
    std::wstring expected = L"<r>\r\n";
    for (int i = 0; i < kSiblings; ++i) expected += markup(i, changes[i]);
    ASSERT_TRUE(doc.GetDoc() == expected + L"</r>") << step;
    ASSERT_EQ(IndexFault(doc), L"");
  }
}

/// What was returned before the text was asked for stays valid until the next edit.
TEST(XmlEdit, ViewsOutliveTheTextInOnePiece) {
  CMarkup doc(L"<r><a>1</a><b x='2'>3</b></r>");
  ASSERT_TRUE(doc.FindElem() && doc.IntoElem() && doc.FindElem() && doc.SetData(L"longer"));
  ASSERT_TRUE(doc.FindElem(L"b"));
  const std::wstring_view name = doc.GetTagNamePointer();
  const std::wstring_view data = doc.GetDataPointer();
  const std::wstring& text = doc.GetDoc();
  EXPECT_EQ(text, L"<r><a>longer</a><b x='2'>3</b></r>");
  EXPECT_EQ(std::wstring(name) + std::wstring(data), L"b3");
  EXPECT_EQ(&doc.GetDoc(), &text);
  EXPECT_TRUE(doc.SetDoc(doc.GetDoc().c_str() + 3) == false && doc.FindElem(L"b"));
}

/// A value that extends beyond its tag, because reading sees other quotes than the parse, extends
/// over the place of an edit as well.
TEST(XmlEdit, ValuesBeyondTheirTags) {
  CMarkup doc(L"<r><a b=c=\"d 'e=\"f/><x/><y z=\"1\"/></r>");
  ASSERT_TRUE(doc.FindElem() && doc.IntoElem() && doc.FindElem(L"x") && doc.SetData(L"t"));
  doc.ResetMainPos();
  ASSERT_TRUE(doc.FindElem(L"a"));
  EXPECT_EQ(doc.GetAttrib(L"'e"), L"f/><x>t</x><y z=");
  doc.ResetPos();
  ASSERT_TRUE(doc.FindElem());
  CMarkupChildren children(CMarkupCursor::At(doc), L"a", L"'e");
  EXPECT_EQ(children.begin()->strValue, L"f/><x>t</x><y z=");
}

/// The rest of an edited instruction can contain a `<`.
TEST(XmlEdit, InstructionsWithMarkupInTheirValues) {
  CMarkup doc(L"<r><s/><?p a='1' b='<xyz' c='7'?><t/></r>");
  ASSERT_TRUE(doc.FindElem() && doc.IntoElem());
  while (doc.FindNode() != CMarkup::NODE_PROCESSING_INSTRUCTION) ASSERT_FALSE(doc.GetDoc().empty());
  EXPECT_TRUE(doc.SetAttrib(L"a", L"a much longer value"));
  EXPECT_EQ(doc.GetAttrib(L"b"), L"<xyz");
  EXPECT_TRUE(doc.SetAttrib(L"c", L"8"));
  EXPECT_EQ(doc.GetDoc(), L"<r><s/><?p a='a much longer value' b='<xyz' c='8'?><t/></r>");
}

/// A start tag too long for its entry can be read but not changed.
TEST(XmlEdit, StartTagsOfFourMillionUnits) {
  constexpr std::size_t kMax = orv::ElementEntry::kMaxStartTag;
  for (const std::wstring end : {L"'>", L"'/>", L"'></r>", L"'>x<c/></r>"}) {
    for (const std::size_t size : {kMax - 1, kMax + 1}) {
      SCOPED_TRACE(Show(end) + std::to_string(size));
      const std::size_t value = size - 6 - (end.find(L'>') + 1);
      const std::wstring text = L"<r a='" + std::wstring(value, L'x') + end;
      const bool fits = size < kMax;
      CMarkup doc;
      const bool isGood = doc.SetDoc(text);
      EXPECT_EQ(isGood, end != L"'>");
      EXPECT_TRUE(doc.FindElem());
      EXPECT_EQ(doc.GetAttrib(L"a").size(), value);
      EXPECT_EQ(Show(doc.GetElemContent()), fits && end.size() > 8 ? "x<c/>" : "");
      std::wstring buffer;
      EXPECT_EQ(orv::CursorOf(doc).Data(&buffer), doc.GetData());
      // A refused edit leaves the text.
      const auto startAgain = [&] {
        if (fits) doc.SetDoc(text);
        doc.ResetPos();
        return doc.FindElem();
      };
      EXPECT_EQ(doc.SetAttrib(L"b", L""), fits);
      EXPECT_EQ(startAgain() && doc.SetData(L"d"), fits);
      EXPECT_EQ(startAgain() && doc.IntoElem() && doc.AddElem(L"b"), fits);
      EXPECT_EQ(startAgain() && doc.AddNode(CMarkup::NODE_COMMENT, L"after"), true);
      EXPECT_EQ(doc.GetDoc().compare(0, text.size(), text), 0);
    }
  }
}

}  // namespace
