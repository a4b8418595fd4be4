#include "tests/program_runs.h"

namespace {

using testing::_;
using testing::HasSubstr;

/// The program on one file: `orv xml COMMAND FILE` and what follows.
class XmlTool : public testing::Test {
 protected:
  XmlTool() { orv::test::WriteBytes(file_, kDocument); }

  std::string File() const { return file_.string(); }
  std::string Content() const { return orv::test::ReadBytes(file_); }
  void ExpectRuns(std::vector<orv::test::ProgramRun> runs) {
    for (orv::test::ProgramRun& run : runs) {
      run.arguments.insert(run.arguments.begin(), "xml");
      run.arguments.insert(run.arguments.begin() + 2, File());
    }
    orv::test::ExpectRuns(runs);
  }

  static constexpr char kDocument[] =
      "<?xml version=\"1.0\"?><list><item id=\"1\">v\xC3\xA9</item><item><b/> <c/></item></list>";

  orv::test::TemporaryFolder folder_;
  std::filesystem::path file_ = folder_.path() / "document.xml";
  std::filesystem::path other_ = folder_.path() / "other.xml";
};

TEST_F(XmlTool, GetsValuesByPath) {
  const auto fails = testing::StartsWith("orv: ");
  ExpectRuns({{{"get", "/list/item"}, 0, "v\xC3\xA9\n"},
              {{"get", "/list/item/@id"}, 0, "1\n"},
              {{"get", "/list/item[2]"}, 0, "<item><b/> <c/></item>\n"},
              {{"get", "/list/item[2]/c"}, 0, "\n"},
              {{"get", "/list/item[3]"}, 1, fails},
              {{"get", "/list/item/@no"}, 1, fails},
              {{"get", "/list/none/x"}, 1, fails},
              {{"get", "list"}, 2, fails},
              {{"get", "/list/item[0]"}, 2, fails},
              {{"get", "/list/item[1"}, 2, fails},
              {{"get", "/list//item"}, 2, fails},
              {{"get", "/@id"}, 2, fails}});
}

TEST_F(XmlTool, SetsValuesInTheFilesEncoding) {
  ExpectRuns({{{"set", "/list/item", "<\xE2\x82\xAC>"}, 0, _},
              {{"set", "/list/item[2]/@new", "a\"b"}, 0, _},
              {{"set", "/list/none", "x"}, 1, _},
              {{"set", "/list/item/@a b", "x"}, 2, _}});
  EXPECT_EQ(Content(),
            "<?xml version=\"1.0\"?><list><item id=\"1\">&lt;\xE2\x82\xAC&gt;</item>"
            "<item new=\"a&quot;b\"><b/> <c/></item></list>");

  // What has no place in the encoding is refused, and the file stays.
  const std::string latin = "<?xml version=\"1.0\" encoding=\"iso-8859-1\"?><r>\xE9</r>";
  orv::test::WriteBytes(File(), latin);
  ExpectRuns({{{"set", "/r", "\xD0\x96"}, 1, _}});
  EXPECT_EQ(Content(), latin);
}

TEST_F(XmlTool, ChecksFiles) {
  ExpectRuns({{{"check"}, 0, File() + ": UTF-8, 79 bytes, well formed\n"},
              {{"check", (other_ / "none").string()}, 3, _}});
  orv::test::WriteBytes(File(), "<a>\n  <b>\n </a>\n<c/>");
  ExpectRuns(
      {{{"check"},
        1,
        File() + ": UTF-8, 20 bytes, not well formed\n" + File() +
            ":2:3: error: the element is never closed: b | allowed: one end tag for it | write: "
            "</b>\n" +
            File() +
            ":1:1: error: there is more than one root element | allowed: one root "
            "element with all others in it | write: one element around them, or "
            "nothing behind one\n"}});
}

TEST_F(XmlTool, Formats) {
  const std::string laidOut =
      "<?xml version=\"1.0\"?>\n<list>\n  <item id=\"1\">v\xC3\xA9</item>\n  <item>\n"
      "    <b/>\n    <c/>\n  </item>\n</list>\n";
  ExpectRuns({{{"format"}, 0, laidOut}});
  EXPECT_EQ(Content(), kDocument);
  ExpectRuns({{{"format", "--in-place"}, 0, _}, {{"format"}, 0, laidOut}});
  EXPECT_EQ(Content(), laidOut);

  const std::string kept = "<r xml:space=\"preserve\"> <a/> </r>\n";
  orv::test::WriteBytes(File(), kept);
  ExpectRuns({{{"format"}, 0, kept}});
  orv::test::WriteBytes(File(), "<r>");
  ExpectRuns({{{"format"}, 1, _}});
}

TEST_F(XmlTool, Converts) {
  ExpectRuns({{{"convert", "--to", "windows-1252", "-o", other_.string()}, 0, _},
              {{"convert", "--to", "us-ascii"}, 1, _},
              {{"convert", "--to", "UTF-7"}, 1, _},  // would not be read back
              {{"convert", "--to", "nonsense"}, 2, _}});
  const std::string converted = orv::test::ReadBytes(other_);
  EXPECT_THAT(converted, HasSubstr("encoding=\"windows-1252\"?>"));
  EXPECT_THAT(converted, HasSubstr(">v\xE9</item>"));
  EXPECT_EQ(Content(), kDocument);
  ExpectRuns({{{"convert", "--to", "us-ascii", "--lossy"}, 0, _}});
  EXPECT_THAT(Content(), HasSubstr(">v?</item>"));
  ExpectRuns({{{"convert", "--to", "UTF-16"}, 0, _}});
  EXPECT_EQ(Content().substr(0, 4), std::string("\xFF\xFE<\0", 4));
  ExpectRuns({{{"convert", "--to", "UTF-8", "--mark"}, 0, _}});
  EXPECT_EQ(Content().substr(0, 5), "\xEF\xBB\xBF<?");
}

}  // namespace
