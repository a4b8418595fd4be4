/// The orv program: what its commands are made of, and the commands themselves, run as people run
/// them.

#include <cmath>
#include <limits>
#include <regex>
#include <sstream>

#include "orv/text/utf8.h"
#include "orv/version.h"
#include "tests/program_runs.h"
#include "tools/orv/exit_code.h"
#include "tools/orv/input.h"
#include "tools/orv/lengths.h"
#include "tools/orv/output.h"
#include "tools/orv/reg_file.h"

namespace orv::tool {
namespace {

using test::ExpectRuns;
using test::ProgramResult;
using test::TemporaryFolder;
using testing::_;
using testing::AnyOf;
using testing::HasSubstr;

TEST(Table, LinesUpInCodePointsAndShowsControlCharacters) {
  Table table({L"NAME", L"N"});
  table.Add({L"\u00e9\u00e9\u00e9\u00e9\u00e9\u00e9", L"1"});
  table.Add({L"a\tb\r\n\x01", L""});
  EXPECT_EQ(table.TakeText(),
            "NAME          N\n"
            "\u00e9\u00e9\u00e9\u00e9\u00e9\u00e9        1\n"
            "a\\tb\\r\\n\\x01\n");
  table.Add({L"b", L"2"});
  EXPECT_EQ(table.TakeText(), "b             2\n");  // as wide as before
}

TEST(Json, IsWellFormedWhateverItHolds) {
  const std::wstring lone(1, static_cast<wchar_t>(0xD800));
  JsonWriter json;
  json.BeginObject();
  json.Member("text", L"\"\\\x1f\n\u20ac" + lone);
  json.Key("empty");
  json.BeginArray();
  json.EndArray();
  json.Key("numbers");
  json.BeginArray();
  json.Value(std::numeric_limits<std::int64_t>::min());
  json.Value(std::numeric_limits<std::uint64_t>::max());
  json.Value(0.1);
  json.Value(std::nan(""));
  json.Value(true);
  json.EndArray();
  json.EndObject();
  EXPECT_EQ(json.Text(),
            "{\n"
            "  \"text\": \"\\\"\\\\\\u001f\\u000a\u20ac\uFFFD\",\n"
            "  \"empty\": [],\n"
            "  \"numbers\": [\n"
            "    -9223372036854775808,\n"
            "    18446744073709551615,\n"
            "    0.1,\n"
            "    null,\n"
            "    true\n"
            "  ]\n"
            "}\n");
}

TEST(Input, NumbersAreWholeTexts) {
  std::uint32_t number = 0;
  EXPECT_TRUE(ParseNumber(L"4294967295", &number));
  EXPECT_EQ(number, 4294967295u);
  EXPECT_TRUE(ParseNumber(L"0XfF", &number));
  EXPECT_EQ(number, 255u);
  for (const wchar_t* text : {L"", L"0x", L"4294967296", L"-1", L"1 ", L" 1", L"1a", L"0x1g"}) {
    EXPECT_FALSE(ParseNumber(text, &number)) << text;
  }
}

TEST(Lengths, AreMillimetresOrHaveAUnit) {
  EXPECT_EQ(ParseMillimetres("12.5"), 12.5);
  EXPECT_EQ(ParseMillimetres("50mm"), 50);
  EXPECT_EQ(ParseMillimetres("2in"), 50.8);
  for (const char* text : {"", "in", "1cm", "1 mm", "2inch", "nan", "inf", "1e999"}) {
    EXPECT_EQ(ParseMillimetres(text), std::nullopt) << text;
  }
  EXPECT_EQ(LengthText(105700), L"105.7 mm");
  EXPECT_EQ(LengthText(-10), L"-0.01 mm");
  EXPECT_EQ(LengthText(0), L"0 mm");
}

/// What the lines behind the header of a registry file say.
struct RegText {
  explicit RegText(const std::wstring& lines) {
    ParseRegFile(L"Windows Registry Editor Version 5.00\r\n\r\n" + lines, &changes, &faults);
  }
  std::vector<RegChange> changes;
  std::vector<RegFault> faults;
};

TEST(RegFile, ReadsWhatItWrites) {
  const RegistryValue values[] = {
      RegistryValue::FromText(L""),
      RegistryValue::FromText(L"C:\\a\\ \"\u20ac\"\\"),
      RegistryValue::FromText(L"two\r\nlines"),
      {REG_SZ, {'a', 0}},              // no terminator
      {REG_SZ, {0, 0, 'a', 0, 0, 0}},  // and one too many
      {REG_SZ, {}},
      RegistryValue::FromNumber(0xDEADBEEF),
      {REG_DWORD, {1, 2}},
      {REG_BINARY, {}},
      {REG_BINARY, std::vector<BYTE>(200, 0xA5)},
      {7, {'a', 0, 0, 0}},
  };
  for (const RegistryValue& value : values) {
    for (const wchar_t* name : {L"", L"plain", L"q\"\\=[;"}) {
      const std::wstring text =
          FormatRegKey(L"HKEY_CURRENT_USER\\a]b\\c") + FormatRegValue(name, value);
      const RegText read(text);
      ASSERT_TRUE(read.faults.empty() && read.changes.size() == 2u) << WideToUtf8(text);
      EXPECT_EQ(read.changes[0].path, L"a]b\\c");
      EXPECT_EQ(read.changes[1].name, name);
      EXPECT_EQ(read.changes[1].value.type, value.type);
      EXPECT_EQ(read.changes[1].value.data, value.data);
      for (std::size_t start = 0; start < text.size();) {
        const std::size_t end = text.find(L"\r\n", start);
        EXPECT_LE(end - start, 80u);
        start = end + 2;
      }
    }
  }
}

TEST(RegFile, UnderstandsDeletionCommentsAndLooseSpacing) {
  const RegText read(L"; comment\n\n [hkcu\\a]\n\"n\" = hex:01,\\\n  2 \n@=-\n[-HKLM\\b]\n");
  ASSERT_TRUE(read.faults.empty() && read.changes.size() == 4u);
  EXPECT_EQ(read.changes[1].value.data, (std::vector<BYTE>{1, 2}));
  EXPECT_EQ(read.changes[2].kind, RegChange::Kind::kDeleteValue);
  EXPECT_EQ(read.changes[2].line, 8u);
  EXPECT_EQ(read.changes[3].kind, RegChange::Kind::kDeleteKey);
  EXPECT_EQ(read.changes[3].root, HKEY_LOCAL_MACHINE);
}

TEST(RegFile, NamesEveryFaultByItsLine) {
  const std::pair<const wchar_t*, std::vector<std::wstring>> cases[] = {
      {L"the key has no closing bracket", {L"[HKCU\\a"}},
      {L"the key lies below neither HKEY_CURRENT_USER nor HKEY_LOCAL_MACHINE", {L"[HKXX\\a]"}},
      {L"a whole hive is not deleted", {L"[-HKCU]"}},
      {L"the line is neither a key in brackets, a value nor a comment",
       {L"nonsense", L"\"name", L"\"name\\"}},
      {L"there is no equals sign behind the value's name", {L"\"name\"", L"@ \"x\""}},
      {L"the text has no closing quote", {L"@=\"x"}},
      {L"something follows the text", {L"@=\"x\" y"}},
      {L"a dword has one to eight hexadecimal digits",
       {L"@=dword:", L"@=dword:123456789", L"@=dword:0x1"}},
      {L"the type in brackets is no hexadecimal number", {L"@=hex(:1"}},
      {L"there is no colon behind the type", {L"@=hex(7)1"}},
      {L"bytes are pairs of hexadecimal digits with commas between them",
       {L"@=hex:1,,2", L"@=hex:123"}},
      {L"the data is neither \"text\", dword:, hex: nor hex(type):", {L"@=1", L"@="}}};
  for (const auto& [message, lines] : cases) {
    for (const std::wstring& line : lines) {
      const RegText read(L"[HKCU\\x]\n" + line + L"\n;\n@=oops");
      ASSERT_EQ(read.faults.size(), 2u) << WideToUtf8(line);  // reading goes on behind a fault
      EXPECT_EQ(read.faults[0].line, 4u);
      EXPECT_EQ(read.faults[0].message, message);
      EXPECT_EQ(read.faults[1].line, 6u);
    }
  }
  for (const wchar_t* text : {L"", L"\n", L"[HKCU\\a]", L"\\\\\\"}) {
    std::vector<RegChange> changes;
    std::vector<RegFault> faults;
    ParseRegFile(text, &changes, &faults);
    ASSERT_EQ(faults.size(), 1u);
    EXPECT_EQ(faults[0].line, 1u);
  }
}

/// A log with everything that its lines can be.
constexpr std::wstring_view kLog =
    L"Date\tTime\tMessage Type\tProcess\tDLL\tSource\tMessage\r\n"
    L"05.03.2024\t14:07:09.042\tERR\tp.exe\tm.dll\tConfig\ta\ttab\r\n"
    L"05.03.2024\t14:07:09.043\tp.exe\t\tDevMode\tno tag\r\n"
    L"05.03.2024\t14:07:10.000\tTRC\tq.exe\tm.dll\t\tfirst\r\nsecond\r\n\r\n"
    L"05.03.2024\t14:07:11";  // cut off

class ToolTest : public testing::Test {
 protected:
  static ProgramResult Run(const std::vector<std::string>& arguments) {
    return test::RunProgram(ORV_PROGRAM, arguments);
  }

  TemporaryFolder folder_;
};

/// On Windows the program sees the real user hive: it gets a key of its own.
class RegistryToolTest : public ToolTest {
 protected:
  RegistryToolTest()
      : path_(L"Software\\orv tool test " + std::to_wstring(test::OwnProcessId())),
        key_("HKCU\\" + WideToUtf8(path_)) {
    test::SetVariable("ORV_REGISTRY_DIR", WideToUtf8(folder_.Name()));
  }
  ~RegistryToolTest() override {
    DeleteRegistryTree(HKEY_CURRENT_USER, path_);
    test::SetVariable("ORV_REGISTRY_DIR", {});
  }

  std::wstring path_;
  std::string key_;
};

TEST_F(RegistryToolTest, SetsShowsAndDeletes) {
  ExpectRuns(
      {{{"registry", "set", key_, "T\u00e9xt", "a \"b\" \\ \u20ac"}, kDone, ""},
       {{"registry", "set", key_, "Number", "0x10", "--type", "REG_DWORD"}, kDone, ""},
       {{"registry", "set", key_ + "\\Sub", "Bytes", "00fF", "--type", "REG_BINARY"}, kDone, ""},
       {{"registry", "get", key_, "t\u00c9XT"}, kDone, "a \"b\" \\ \u20ac\n"},
       {{"registry", "get", key_ + "\\sub", "Bytes"}, kDone, "00ff\n"},
       {{"registry", "list", key_},
        kDone,
        "NAME    TYPE       DATA\n"
        "Sub\\    key\n"
        "Number  REG_DWORD  16\n"
        "T\u00e9xt    REG_SZ     a \"b\" \\ \u20ac\n"},
       {{"registry", "delete", key_, "Number"}, kDone, ""},
       {{"registry", "get", key_, "Number"}, kFindings, HasSubstr("there is none of that name")},
       {{"registry", "delete", key_}, kDone, ""},
       {{"registry", "list", key_}, kFindings, HasSubstr("there is none of that name")}});
}

TEST_F(RegistryToolTest, ExportsWhatItImports) {
  const std::string file = WideToUtf8(folder_.Name(L"a.reg"));
  ExpectRuns({{{"registry", "set", key_ + "\\a\\b", "n", "text \u20ac"}, kDone, ""},
              {{"registry", "set", key_ + "\\c", "", "1", "--type", "REG_DWORD"}, kDone, ""},
              {{"registry", "export", key_, "-o", file}, kDone, ""}});
  const ProgramResult exported = Run({"registry", "export", key_});
  EXPECT_EQ(exported.exitCode, kDone);
  const std::string full = "[HKEY_CURRENT_USER\\" + WideToUtf8(path_);
  EXPECT_EQ(exported.output, "Windows Registry Editor Version 5.00\r\n\r\n" + full + "]\r\n\r\n" +
                                 full + "\\a]\r\n\r\n" + full + "\\a\\b]\r\n\"n\"=\"text \u20ac\"" +
                                 "\r\n\r\n" + full + "\\c]\r\n@=dword:00000001\r\n\r\n");
  const std::string bytes = test::ReadBytes(folder_.path() / "a.reg");
  EXPECT_EQ(bytes, "\xFF\xFE" + test::Utf16Bytes(Utf8ToWide(exported.output)));

  for (const std::string& text : {bytes, exported.output, "\xEF\xBB\xBF" + exported.output}) {
    test::WriteBytes(folder_.path() / "a.reg", text);
    ExpectRuns(
        {{{"registry", "delete", key_}, kDone, ""}, {{"registry", "import", file}, kDone, ""}});
    EXPECT_EQ(Run({"registry", "export", key_}).output, exported.output);
  }
  // One fault, and nothing is changed.
  test::WriteBytes(folder_.path() / "a.reg",
                   "Windows Registry Editor Version 5.00\n" + full + "\\new]\n@=1\n");
  ExpectRuns({{{"registry", "import", file}, kFindings, HasSubstr("a.reg:3: the data is neither")},
              {{"registry", "import", file + "x"}, kUnreadable, HasSubstr("cannot read")}});
  EXPECT_EQ(Run({"registry", "export", key_}).output, exported.output);
}

TEST_F(ToolTest, ShowsALogFilteredAsTextAndJson) {
  test::WriteBytes(folder_.path() / "a.log", test::Utf16Bytes(kLog));
  const std::string file = WideToUtf8(folder_.Name(L"a.log"));
  ExpectRuns(
      {{{"log", "show", "--file", file},
        kDone,
        "TIME          LEVEL  PROCESS  DLL    SOURCE   MESSAGE\n"
        "14:07:09.042  error  p.exe    m.dll  Config   a\\ttab\n"
        "14:07:09.043         p.exe           DevMode  no tag\n"
        "14:07:10.000  trace  q.exe    m.dll           first\\nsecond\\n05.03.2024\\t14:07:11\n"},
       {{"log", "show", "--file", file, "--source", "devmode", "--process", "P.EXE"},
        kDone,
        "TIME          LEVEL  PROCESS  DLL  SOURCE   MESSAGE\n"
        "14:07:09.043         p.exe         DevMode  no tag\n"},
       {{"log", "show", "--file", file, "--level", "warning,error", "--json"},
        kDone,
        "[\n  {\n    \"time\": \"2024-03-05T14:07:09.042\",\n    \"level\": \"error\",\n"
        "    \"process\": \"p.exe\",\n    \"dll\": \"m.dll\",\n    \"source\": \"Config\",\n"
        "    \"message\": \"a\\u0009tab\"\n  }\n]\n"},
       {{"log", "show", "--file", file + "x"}, kUnreadable, HasSubstr("cannot read the log")},
       {{"log", "show", "--file", ""}, kUnreadable, HasSubstr("cannot read the log")}});
  test::WriteBytes(folder_.path() / "a.log", test::Utf16Bytes(kLog.substr(0, 70)));
  ExpectRuns({{{"log", "show", "--file", file}, kFindings, HasSubstr("holds no log entries")}});
}

/// What completion offers behind some words: the first column of its lines.
std::vector<std::string> Offered(std::vector<std::string> words) {
  words.insert(words.begin(), {"complete", "orv"});
  std::istringstream lines(test::RunProgram(ORV_PROGRAM, words).output);
  std::vector<std::string> offered;
  for (std::string line; std::getline(lines, line);) {
    offered.push_back(line.substr(0, line.find('\t')));
  }
  EXPECT_FALSE(offered.empty()) << words.back();
  return offered;
}

/// A name as the manual's source has it.
std::string WithHyphens(const std::string& name) {
  return std::regex_replace(name, std::regex("-"), "\\-");
}

TEST_F(ToolTest, HasAManualOfEveryCommand) {
  EXPECT_THAT(Run({"--version"}).output, HasSubstr("orv " ORV_VERSION));
  ExpectRuns({{{"manual", WideToUtf8(folder_.Name())}, kDone, ""}});
  EXPECT_THAT(test::ReadBytes(folder_.path() / "orv.1"), HasSubstr("\\fBorv\\-log\\fR(1)"));
  for (const std::string& group : Offered({""})) {
    const std::string page = test::ReadBytes(folder_.path() / ("orv-" + group + ".1"));
    const bool isCommand = group == "report";
    for (const std::string& command :
         isCommand ? std::vector<std::string>{group} : Offered({group, ""})) {
      const std::size_t start = page.find("\n.SS " + WithHyphens(command) + "\n");
      ASSERT_NE(start, page.npos) << group << ' ' << command;
      const std::string section = page.substr(start, page.find("\n.S", start + 1) - start);
      if (group != "page") continue;  // each question is a process
      for (const std::string& option : Offered({group, command, "--"})) {
        if (option == "--help") continue;
        EXPECT_THAT(section, HasSubstr("\\fB" + WithHyphens(option) + "\\fR"));
      }
    }
    // Nothing of the help has become a request to the formatter.
    std::istringstream lines(page);
    for (std::string line; std::getline(lines, line);) {
      if (!line.starts_with('.') && !line.starts_with('\'')) continue;
      EXPECT_THAT(line.substr(0, 3),
                  AnyOf(".TH", ".SH", ".SS", ".TP", ".PP", ".nf", ".fi", ".br", ".nh"));
    }
  }
}

TEST_F(ToolTest, TellsWhatCommandsDidBesideWhatTheyWrite) {
  const ProgramResult made = Run({"config", "new", "--json"});
  EXPECT_EQ(made.output, Run({"config", "new"}).output);
  EXPECT_THAT(made.messages, HasSubstr("\"files\": [\n    \"-\"\n  ]\n}\n"));
  const std::string nowhere = WideToUtf8(folder_.Name(L"none")) + "/a.xml";
  ExpectRuns(
      {{{"config", "new", "-o", nowhere, "--json"}, kUnreadable, HasSubstr("cannot write")}});
}

TEST_F(ToolTest, HelpNamesValuesAndSaysWhatTheyGoWith) {
  ExpectRuns(
      {{{"report", "--help"},
        kDone,
        testing::AllOf(
            HasSubstr("  -o,--output FILE            The HTML file to write; - is standard output "
                      "(required)\n"),
            HasSubstr("  --date DATE                 Show the log of this day, as 2024-03-05 "
                      "(default: today; not with\n                              --log)\n"),
            HasSubstr("  --inch                      Show lengths in inches\n"),
            HasSubstr("only with --page)\n"))},
       {{"stock", "add", "--help"},
        kDone,
        testing::AllOf(HasSubstr("--width LENGTH "), HasSubstr("--set NAME=NUMBER "),
                       HasSubstr("(may be repeated)"))}});
}

TEST_F(ToolTest, SaysWhatIsWrongInTheWordsOfTheHelpAndWhatWasMeant) {
  test::SetVariable("ORV_REGISTRY_DIR", WideToUtf8(folder_.Name()));
  const std::pair<std::vector<std::string>, std::string> cases[] = {
      {{"confg"}, "did you mean config?"},
      {{"config", "chekc", "a"}, "did you mean check?"},
      {{"conf"}, "did you mean config?"},
      {{"config", "check", "--explain", "rang-step"}, "did you mean range-step?"},
      {{"config", "new", "--family", "cuter"}, "mean cutter?"},
      {{"page", "bounds", "a", "--jsno=1"}, "did you mean --json?"},
      {{"config", "show", "a", "-inch"}, "did you mean --inch?"},
      {{"page", "dither", "a", "b", "--method", "matrx4"}, "did you mean matrix4?"},
      {{"log", "show", "--level", "WARNIGN"}, "did you mean warning?"},
      {{"stock", "add", "A", "--common", "--set", "Darknes=1"}, "did you mean Darkness?"},
      {{}, "a command is missing (orv --help"},
      {{"registry"}, "a command is missing"},
      {{"-x"}, "no option -x (orv --help"},
      {{"config", "show", "a", "b"}, "no place for b (orv config show --help"},
      {{"report", "a", "-o", "b", "--paper-size", "A4"}, "not a number: --paper-size = A4"},
      {{"stock", "add", "A", "--common", "--width", "-1in"}, "--width takes a length from 0 to"},
      {{"stock", "add", "A", "--common", "--set", "Mirror"},
       "takes NAME=NUMBER, which is not Mirror"},
      {{"printers", "add", "", "ORV-LX"}, "a printer has a name and a driver"},
      {{"printers", "add", "Label", ""}, "a printer has a name and a driver"},
      {{"log", "show", "--date", "5.3.2024"}, "is no date"},
      {{"log", "show", "--date", "2024-13-01"}, "is no date"},
      {{"log", "show", "--date", "2024-01-00"}, "is no date"},
      {{"log", "show", "--date", ""}, "is no date"},
      {{"log", "show", "--level", "loud"}, "loud"},
      {{"registry", "list", "HKXX\\a"}, "\"HKXX\\a\" is no key"},
      {{"registry", "delete", "HKCU"}, "a whole hive is not deleted"},
      {{"registry", "set", "HKCU\\k", "n", "-1x", "--type", "REG_DWORD"}, "no number"},
      {{"registry", "set", "HKCU\\k", "n", "abc", "--type", "REG_BINARY"}, "pairs"},
      {{"registry", "set", "HKCU\\k", "n", "x", "--type", "REG_LINK"}, "REG_LINK"}};
  for (const auto& [arguments, text] : cases) ExpectRuns({{arguments, kUsage, HasSubstr(text)}});
  const auto noIdea = testing::Not(HasSubstr("did you mean"));
  ExpectRuns({{{"quit"}, kUsage, noIdea},
              {{"xml", "--loud"}, kUsage, noIdea},
              {{"printers", "remove", "No such printer"},
               kFindings,
               HasSubstr("there is no printer of that name")}});
  test::SetVariable("ORV_REGISTRY_DIR", {});
}

}  // namespace
}  // namespace orv::tool
