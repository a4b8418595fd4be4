#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/fixtures.h"

namespace {

using orv::test::ProgramResult;
using testing::HasSubstr;

/// The program on one file.
class XmlTool : public testing::Test {
 protected:
  XmlTool() { orv::test::WriteBytes(file_, kDocument); }

  std::string File() const { return file_.string(); }
  std::string Content() const { return orv::test::ReadBytes(file_); }

  /// Runs `orv xml COMMAND FILE` and what follows.
  ProgramResult Run(const std::string& command, const std::vector<std::string>& more = {}) {
    std::vector<std::string> arguments = {"xml", command, File()};
    arguments.insert(arguments.end(), more.begin(), more.end());
    ProgramResult result = orv::test::RunProgram(ORV_PROGRAM, arguments);
    std::erase(result.output, '\r');
    return result;
  }

  static constexpr char kDocument[] =
      "<?xml version=\"1.0\"?><list><item id=\"1\">v\xC3\xA9</item><item><b/> <c/></item></list>";

 private:
  orv::test::TemporaryFolder folder_;
  std::filesystem::path file_ = folder_.path() / "document.xml";

 protected:
  std::filesystem::path other_ = folder_.path() / "other.xml";
};

TEST_F(XmlTool, GetsValuesByPath) {
  const struct {
    const char* path;
    int exitCode;
    const char* output;
  } cases[] = {{"/list/item", 0, "v\xC3\xA9\n"},
               {"/list/item/@id", 0, "1\n"},
               {"/list/item[2]", 0, "<item><b/> <c/></item>\n"},
               {"/list/item[2]/c", 0, "\n"},
               {"/list/item[3]", 1, ""},
               {"/list/item/@no", 1, ""},
               {"/list/none/x", 1, ""},
               {"list", 2, ""},
               {"/list/item[0]", 2, ""},
               {"/list/item[1", 2, ""},
               {"/list//item", 2, ""},
               {"/@id", 2, ""}};
  for (const auto& c : cases) {
    const ProgramResult result = Run("get", {c.path});
    EXPECT_EQ(result.exitCode, c.exitCode) << c.path;
    EXPECT_EQ(result.output, c.output) << c.path;
    EXPECT_EQ(result.messages.empty(), c.exitCode == 0) << c.path;
  }
  EXPECT_EQ(Run("get", {"/list/item/@id", "--json"}).output,
            "{\n  \"path\": \"/list/item/@id\",\n  \"value\": \"1\"\n}\n");
}

TEST_F(XmlTool, SetsValuesInTheFilesEncoding) {
  EXPECT_EQ(Run("set", {"/list/item", "<\xE2\x82\xAC>"}).exitCode, 0);
  EXPECT_EQ(Run("set", {"/list/item[2]/@new", "a\"b"}).exitCode, 0);
  EXPECT_EQ(Content(),
            "<?xml version=\"1.0\"?><list><item id=\"1\">&lt;\xE2\x82\xAC&gt;</item>"
            "<item new=\"a&quot;b\"><b/> <c/></item></list>");
  EXPECT_EQ(Run("set", {"/list/none", "x"}).exitCode, 1);
  EXPECT_EQ(Run("set", {"/list/item/@a b", "x"}).exitCode, 2);

  // What has no place in the encoding is refused, and the file stays.
  const std::string latin = "<?xml version=\"1.0\" encoding=\"iso-8859-1\"?><r>\xE9</r>";
  orv::test::WriteBytes(File(), latin);
  EXPECT_EQ(Run("set", {"/r", "\xD0\x96"}).exitCode, 1);
  EXPECT_EQ(Content(), latin);
}

TEST_F(XmlTool, ChecksFiles) {
  const ProgramResult good = Run("check");
  EXPECT_EQ(good.exitCode, 0);
  EXPECT_EQ(good.output, File() + ": UTF-8, 79 bytes, well formed\n");

  orv::test::WriteBytes(File(), "<a>\n  <b>\n </a>\n<c/>");
  const ProgramResult bad = Run("check");
  EXPECT_EQ(bad.exitCode, 1);
  EXPECT_EQ(
      bad.output,
      File() + ": UTF-8, 20 bytes, not well formed\n" + File() +
          ":2:3: error: the element is never closed: b | allowed: one end tag for it | write: "
          "</b>\n" +
          File() +
          ":1:1: error: there is more than one root element | allowed: one root "
          "element with all others in it | write: one element around them, or "
          "nothing behind one\n");
  EXPECT_THAT(Run("check", {"--json"}).output,
              HasSubstr("\"line\": 2,\n        \"column\": 3,\n        \"text\": \"the element"));
  EXPECT_EQ(Run("check", {(other_ / "none").string()}).exitCode, 3);
}

TEST_F(XmlTool, Formats) {
  const std::string laidOut =
      "<?xml version=\"1.0\"?>\n<list>\n  <item id=\"1\">v\xC3\xA9</item>\n  <item>\n"
      "    <b/>\n    <c/>\n  </item>\n</list>\n";
  EXPECT_EQ(Run("format").output, laidOut);
  EXPECT_EQ(Content(), kDocument);
  EXPECT_EQ(Run("format", {"--in-place"}).exitCode, 0);
  EXPECT_EQ(Content(), laidOut);
  EXPECT_EQ(Run("format").output, laidOut);

  const std::string kept = "<r xml:space=\"preserve\"> <a/> </r>\n";
  orv::test::WriteBytes(File(), kept);
  EXPECT_EQ(Run("format").output, kept);
  orv::test::WriteBytes(File(), "<r>");
  EXPECT_EQ(Run("format").exitCode, 1);
}

TEST_F(XmlTool, Converts) {
  EXPECT_EQ(Run("convert", {"--to", "windows-1252", "-o", other_.string()}).exitCode, 0);
  const std::string converted = orv::test::ReadBytes(other_);
  EXPECT_THAT(converted, HasSubstr("encoding=\"windows-1252\"?>"));
  EXPECT_THAT(converted, HasSubstr(">v\xE9</item>"));
  EXPECT_EQ(Run("convert", {"--to", "us-ascii"}).exitCode, 1);
  EXPECT_EQ(Run("convert", {"--to", "UTF-7"}).exitCode, 1);  // would not be read back
  EXPECT_EQ(Content(), kDocument);
  EXPECT_EQ(Run("convert", {"--to", "us-ascii", "--lossy"}).exitCode, 0);
  EXPECT_THAT(Content(), HasSubstr(">v?</item>"));
  EXPECT_EQ(Run("convert", {"--to", "UTF-16"}).exitCode, 0);
  EXPECT_EQ(Content().substr(0, 4), std::string("\xFF\xFE<\0", 4));
  EXPECT_EQ(Run("convert", {"--to", "UTF-8", "--mark"}).exitCode, 0);
  EXPECT_EQ(Content().substr(0, 5), "\xEF\xBB\xBF<?");
  EXPECT_EQ(Run("convert", {"--to", "nonsense"}).exitCode, 2);
}

}  // namespace
