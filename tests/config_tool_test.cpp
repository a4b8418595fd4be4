/// The orv program on configuration files, run as people run it.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <set>
#include <sstream>

#include "orv/text/utf8.h"
#include "tests/fixtures.h"

namespace {

using orv::test::ProgramResult;
using orv::test::ReadBytes;
using orv::test::WriteBytes;
using testing::HasSubstr;
using testing::StartsWith;

constexpr const char* kExamples[] = {"orv_conf_dx600p.xml", "orv_conf_lx300.xml",
                                     "orv_conf_lx300p.xml", "orv_conf_nx200.xml"};

class ConfigTool : public testing::Test {
 protected:
  static ProgramResult Run(std::vector<std::string> arguments) {
    ProgramResult result = orv::test::RunProgram(ORV_PROGRAM, arguments);
    std::erase(result.output, '\r');
    return result;
  }
  static std::string Example(const std::string& name) {
    return std::string(ORV_EXAMPLES) + "/" + name;
  }
  std::string File(const std::string& name) { return (folder_.path() / name).string(); }
  /// Writes an example under its own name, with one piece replaced.
  std::string Copy(const std::string& name, const std::string& piece = {},
                   const std::string& by = {}) {
    std::string bytes = ReadBytes(Example(name));
    if (!piece.empty()) bytes.replace(bytes.find(piece), piece.size(), by);
    WriteBytes(File(name), bytes);
    return File(name);
  }
  void ExpectClean(const std::string& file) {
    const ProgramResult result = Run({"config", "check", file});
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(result.output, "");
  }

  orv::test::TemporaryFolder folder_;
};

TEST_F(ConfigTool, FindsNothingInTheExamples) {
  for (const char* name : kExamples) ExpectClean(Example(name));
}

TEST_F(ConfigTool, FindsOneFaultOfEveryKind) {
  const ProgramResult result =
      Run({"config", "check", Example("faulty.xml"), Example("broken.xml")});
  EXPECT_EQ(result.exitCode, 1);
  std::set<std::string> rules;
  std::istringstream lines(result.output);
  int last = 0;
  std::string file = Example("faulty.xml") + ":";
  for (std::string text; std::getline(lines, text);) {
    if (!text.starts_with(file)) {
      file = Example("broken.xml") + ":";
      last = 0;
    }
    ASSERT_TRUE(text.starts_with(file)) << text;
    int line = 0;
    int column = 0;
    int end = 0;
    char severity[8] = "";
    char rule[40] = "";
    std::sscanf(text.c_str() + file.size(), "%d:%d: %7[a-z][%39[a-z-]]: %n", &line, &column,
                severity, rule, &end);
    EXPECT_THAT(severity, testing::AnyOf(testing::StrEq("error"), testing::StrEq("warning")));
    EXPECT_TRUE(end > 0 && text.size() > file.size() + static_cast<std::size_t>(end)) << text;
    rules.insert(rule);
    // In the order of their places, file by file.
    EXPECT_GE(line, last) << text;
    last = line;
  }
  EXPECT_EQ(rules, (std::set<std::string>{
                       "darkness-list",    "default-not-listed",  "default-outside-range",
                       "digest",           "duplicate-entry",     "duplicate-family",
                       "duplicate-option", "duplicate-property",  "element-order",
                       "file-name",        "missing-element",     "missing-property",
                       "no-options",       "not-a-boolean",       "not-a-number",
                       "not-a-time",       "not-signed",          "not-well-formed",
                       "number-too-large", "option-without-name", "property-without-name",
                       "range-order",      "range-step",          "speed-duplicate",
                       "speed-order",      "two-defaults",        "unknown-element",
                       "unknown-family",   "unknown-property",    "unknown-value"}));
}

TEST_F(ConfigTool, SaysWhereAndHowMuchEachFaultMatters) {
  const struct {
    const char* piece;
    const char* by;
    const char* finding;
  } cases[] = {
      {"\"modelId\">3300<", "\"modelId\">33OO<",
       ":19:34: warning[not-a-number]: \"modelId\" is read as 33; write only the digits of a whole "
       "number\n"},
      {"<label>", "<labels>", ":29:5: error[not-well-formed]: "},
      {"<property name=\"printSpeedDefault\">100000</property>\n      <printSpeeds>",
       "<printSpeeds>",
       ":110:5: warning[missing-property]: \"printSpeedDefault\" is missing and takes its "
       "default\n"},
      {"name=\"widthMin\"", "name=\"WidthMin\" type=\"int\"", ""},
      {"<model>", "<!-- -->\n<extra/><model>",
       ":18:1: warning[unknown-element]: <device> has no <extra> element\n"},
      {"\"modelId\"", "\"\x1b\"",
       ":19:9: warning[unknown-property]: \"\\x1b\" is not known here; known are modelId, "},
      // A belt applicator's option that is not read needs nothing.
      {"<optionFamilies>",
       "<optionFamilies><optionFamily><properties><property name=\"optionFamilyId\">14</property>"
       "</properties><options><option/></options></optionFamily>",
       ":149:114: warning[missing-element]: an option without <properties> is ignored\n"},
      // A family is of the kind before it until it says another.
      {"<property name=\"optionFamilyId\">1<", "<property name=\"optionFamilyID2\">1<",
       ":171:7: warning[duplicate-family]: the family stands here twice: its options are joined\n"},
  };
  for (const auto& test : cases) {
    const std::string file = Copy("orv_conf_lx300.xml", test.piece, test.by);
    Run({"config", "sign", file});
    const ProgramResult result = Run({"config", "check", file});
    EXPECT_THAT(result.output, HasSubstr(*test.finding != '\0' ? file + test.finding : ""));
    EXPECT_EQ(result.exitCode, *test.finding != '\0' ? 1 : 0) << result.output;
    const std::string_view error = "error[";  // a warning does not come with errors
    EXPECT_EQ(result.output.find(error) != std::string::npos,
              std::string_view(test.finding).find(error) != std::string_view::npos);
  }
}

TEST_F(ConfigTool, PrintsFindingsAsJsonAndGoesOnBehindAnUnreadableFile) {
  const std::string file = Copy("orv_conf_nx200.xml", ">13<", ">13 <");
  WriteBytes(File("bad.xml"), "CNF\x01" + std::string(32, 'x'));
  const ProgramResult result =
      Run({"config", "check", "--json", File("none.xml"), File("bad.xml"), file});
  EXPECT_EQ(result.exitCode, 3);
  EXPECT_THAT(result.messages, HasSubstr("cannot read " + File("none.xml")));
  EXPECT_THAT(result.messages, HasSubstr("bad.xml cannot be decrypted"));
  EXPECT_THAT(result.output, StartsWith("[\n  {\n    \"file\": \""));
  EXPECT_THAT(result.output, HasSubstr("\"line\": 8,\n    \"column\": 32,\n    \"severity\": "
                                       "\"warning\",\n    \"rule\": \"not-a-number\",\n"));
}

TEST_F(ConfigTool, SignsPlainAndProtectedFiles) {
  const std::string original = ReadBytes(Example("orv_conf_lx300.xml"));
  const std::size_t digest = original.find("\"sha256\">") + 9;
  const std::string property = original.substr(digest - 24, 24 + 64 + 11);
  // Whatever stands there, or whether anything does, the result is the same.
  for (const std::string by :
       {"<property name=\"sha256\"></property>", "", "<property name=\"sha256\">0</property>",
        "<property name=\"sha256\"/>", "<property name=\"sha256\"><![CDATA[0]]></property>"}) {
    const std::string file =
        Copy("orv_conf_lx300.xml", by.empty() ? "\n      " + property : property, by);
    EXPECT_EQ(Run({"config", "sign", file}).exitCode, 0);
    EXPECT_EQ(ReadBytes(file), original) << by;
  }

  // Of two digests the last one is that of the file.
  std::string file =
      Copy("orv_conf_lx300.xml", property, "<property name=\"sha256\">0</property>" + property);
  EXPECT_EQ(Run({"config", "sign", file}).exitCode, 0);
  EXPECT_THAT(Run({"config", "check", file}).output, testing::Not(HasSubstr("[digest]")));

  file = Copy("orv_conf_lx300.xml", ">LXB-2<", ">LXB-3<");
  EXPECT_THAT(Run({"config", "check", file}).output, HasSubstr(":13:7: warning[digest]: "));
  ASSERT_EQ(Run({"config", "protect", file, file}).exitCode, 0);
  EXPECT_EQ(Run({"config", "sign", file}).exitCode, 0);
  EXPECT_THAT(ReadBytes(file), StartsWith("CNF\x01"));
  ExpectClean(file);
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder_.path()), {}), 1);

  for (const std::string& bytes :
       {std::string("<xmlData/>"), original + "\xE9", original + "<a>"}) {
    WriteBytes(file, bytes);
    EXPECT_EQ(Run({"config", "sign", file}).exitCode, 1);
    EXPECT_EQ(ReadBytes(file), bytes);
  }
}

TEST_F(ConfigTool, ProtectsAndUnprotectsWholeFilesOrNone) {
  const std::string file = Copy("orv_conf_lx300.xml");
  ASSERT_EQ(Run({"config", "protect", file, File("made")}).exitCode, 0);
  EXPECT_EQ(Run({"config", "protect", File("made"), File("out")}).exitCode, 1);
  EXPECT_EQ(Run({"config", "unprotect", file, File("out")}).exitCode, 1);
  ASSERT_EQ(Run({"config", "unprotect", File("made"), File("out")}).exitCode, 0);
  EXPECT_EQ(ReadBytes(File("out")), ReadBytes(file));
  std::string bytes = ReadBytes(File("made"));
  bytes.pop_back();
  WriteBytes(File("made"), bytes);
  EXPECT_EQ(Run({"config", "unprotect", File("made"), File("out")}).exitCode, 3);
  EXPECT_EQ(ReadBytes(File("out")), ReadBytes(file));
  // Where files can be pipes and devices, none is replaced by a file.
  if (std::filesystem::path::preferred_separator == '/') {
    ASSERT_EQ(orv::test::RunProgram("/usr/bin/mkfifo", {File("pipe")}).exitCode, 0);
    EXPECT_EQ(Run({"config", "protect", file, File("pipe")}).exitCode, 3);
    EXPECT_TRUE(std::filesystem::is_fifo(File("pipe")));
  }
}

TEST_F(ConfigTool, SaysWhyThereIsNoTextToReadOrFileToWrite) {
  const std::string good = Copy("orv_conf_lx300.xml");
  WriteBytes(File("empty"), "");
  WriteBytes(File("large"), std::string(10'000'001, ' '));
  WriteBytes(File("bad"), "CNF\x01" + std::string(32, 'x'));
  const std::string folder = folder_.path().string();
  const std::pair<std::vector<std::string>, const char*> cases[] = {
      {{"show", ""}, "cannot read "},
      {{"show", File("none")}, "cannot read "},
      {{"check", folder}, "cannot read "},
      {{"sign", folder}, "cannot read "},
      {{"sign", File("empty")}, "empty is empty"},
      {{"check", File("large")}, "large is too large"},
      {{"show", File("bad")}, "bad cannot be decrypted"},
      {{"unprotect", File("bad"), File("out")}, "that must be whole, readable and writable"},
      {{"protect", good, File("none/out")}, "that must be whole, readable and writable"},
      {{"protect", good, folder}, "cannot write "}};
  const auto countFiles = [&] {
    return std::distance(std::filesystem::directory_iterator(folder_.path()), {});
  };
  const auto before = countFiles();
  for (const auto& [arguments, message] : cases) {
    std::vector<std::string> all = {"config"};
    all.insert(all.end(), arguments.begin(), arguments.end());
    const ProgramResult result = Run(all);
    EXPECT_EQ(result.exitCode, 3);
    EXPECT_EQ(result.output, "");
    EXPECT_THAT(result.messages, HasSubstr(message));
    EXPECT_FALSE(std::filesystem::exists(folder + ".part"));
  }
  EXPECT_EQ(countFiles(), before);
}

TEST_F(ConfigTool, ShowsTheRecord) {
  const ProgramResult text = Run({"config", "show", Example("orv_conf_lx300p.xml")});
  EXPECT_EQ(text.exitCode, 0);
  EXPECT_THAT(text.output, testing::ContainsRegex("model.modelName +ORV-LX 300P\n"));
  const ProgramResult json = Run({"config", "show", "--json", Example("orv_conf_dx600p.xml")});
  for (const char* part :
       {"\"beltApplicator\"", "\"conveyorSpeeds\": [", "\"doubleSided\": true"}) {
    EXPECT_THAT(json.output, HasSubstr(part));
  }
  EXPECT_EQ(Run({"config", "show", Example("broken.xml")}).exitCode, 1);
}

TEST_F(ConfigTool, TellsWhichFileAPrinterUses) {
  orv::test::SetVariable("ORV_REGISTRY_DIR", folder_.path().string());
  const std::string name = "orv config test " + std::to_string(orv::test::OwnProcessId());
  {
    const orv::test::TestPrinter printer(orv::Utf8ToWide(name), L"ORV-LX 300P");
    const ProgramResult found =
        Run({"printers", "config", name, "--config-dir", ORV_EXAMPLES, "--json"});
    EXPECT_EQ(found.exitCode, 0) << found.messages;
    EXPECT_THAT(found.output, HasSubstr("orv_conf_lx300p.xml\""));
    EXPECT_THAT(found.output, HasSubstr("\"secondFromCache\": true"));
    const ProgramResult missing =
        Run({"printers", "config", name, "--config-dir", folder_.path().string()});
    EXPECT_EQ(missing.exitCode, 1);
    EXPECT_THAT(missing.messages, HasSubstr("does not load"));
  }
  EXPECT_EQ(Run({"printers", "config", name}).exitCode, 1);
  orv::test::SetVariable("ORV_REGISTRY_DIR", {});
}

}  // namespace
