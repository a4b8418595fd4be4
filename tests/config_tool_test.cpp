/// The orv program on configuration files, run as people run it.

#include <map>
#include <regex>
#include <set>
#include <sstream>

#include "orv/config/config_parser.h"
#include "orv/platform/files.h"
#include "orv/text/utf8.h"
#include "tests/program_runs.h"

namespace {

using orv::test::ExpectDone;
using orv::test::ExpectRuns;
using orv::test::ProgramResult;
using orv::test::ReadBytes;
using orv::test::WriteBytes;
using testing::_;
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
  static void ExpectClean(const std::string& file) {
    ExpectRuns({{{"config", "check", "--strict", file}, 0, ""}});
  }

  orv::test::TemporaryFolder folder_;
};

TEST_F(ConfigTool, FindsNothingInTheExamplesAndInANewFile) {
  for (const char* name : kExamples) ExpectClean(Example(name));
  std::vector<std::string> arguments = {"config", "new", "--output", File("orv_conf_new3.xml")};
  for (const int id : {0, 1, 2, 3, 4, 5, 6, 7, 9, 10, 14, 17, 18, 19, 20}) {
    arguments.insert(arguments.end(), {"--family", std::to_string(id)});
  }
  ASSERT_EQ(Run(arguments).exitCode, 0);
  ExpectClean(File("orv_conf_new3.xml"));
  const std::string bytes = ReadBytes(File("orv_conf_new3.xml"));
  ExpectRuns({{{"config", "sign", File("orv_conf_new3.xml")}, 0, _},
              {arguments, 1, HasSubstr("orv_conf_new3.xml")}});  // the file is there already
  EXPECT_EQ(ReadBytes(File("orv_conf_new3.xml")), bytes);
}

TEST_F(ConfigTool, FindsTheFaultsOfEveryRuleWhereTheyAre) {
  const struct {
    std::string piece;
    std::string by;
    std::string findings;  // every one but that of the digest, as LINE:COLUMN:RULE
  } cases[] = {
      {"ORV model data<", "A < B<", "9:34:not-well-formed 9:7:not-well-formed"},
      {">DXB-1<", ">DXB\xE9<", "21:39:not-utf8"},
      {"UTF-8", "latin1", "1:21:declared-encoding"},
      {"<label>", "<label/><label>", "29:5:missing-element 29:13:duplicate-element"},
      {"<headsOffsetX>", "<darkness/><headsOffsetX>", "94:5:duplicate-element"},
      {"<model>", "<labels/>text<model>", "17:5:unknown-element 17:14:stray-text"},
      {"<printModes>", "<printModes><printMode/>", "72:17:element-not-read"},
      {"<printSpeeds>\n        <properties>", "<printSpeeds>\n        <properties/><properties>",
       "113:9:no-print-speed 113:22:duplicate-element"},
      {"</printSpeeds>", "</printSpeeds><property name=\"printSpeedDefault\">75000</property>",
       "112:7:element-order 119:21:duplicate-property"},
      {"name=\"aRef\"", "nam=\"aRef\"", "18:7:missing-property 24:9:property-without-name"},
      {"\"boardName\"", "\"widthMin\"", "18:7:missing-property 21:9:unknown-property"},
      {"<property name=\"color\"",
       "<property name=\"Color\">false</property><property name=\"color\"",
       "159:48:duplicate-property"},
      {"\"globalOffsetYMax\"", "\"globalOffsetYStep\"",
       "88:7:required-property 91:9:duplicate-property"},
      {">DXB-1<", "><b/><", "21:36:element-in-value"},
      {">6600<", ">66OO<", "19:34:not-a-number"},
      {">6600<", ">99999999999<", "19:34:number-too-large"},
      {"\"doubleSided\">true", "\"doubleSided\">yes", "158:38:not-a-boolean"},
      {"XEnabled\">TRUE", "XEnabled\">true", "96:46:true-in-capitals"},
      {"2026-03-02T08", "2026-02-29T08", "10:32:not-a-time"},
      {"2026-03-02", "2027-03-02", "11:37:time-order"},
      {">centered<", ">center<", "45:43:unknown-value"},
      {">ORV-DX 600+<", "> <", "20:9:empty-name 20:36:white-space"},
      {"MDL:", "MODE:", "23:35:device-id"},
      {"YMin\">-20000", "YMin\">20100", "89:43:range-order"},
      {"labelPositionStep\">500", "labelPositionStep\">300",
       "296:50:range-step 297:53:default-outside-range"},
      {"wrapPosDefault\">180", "wrapPosDefault\">361", "543:47:default-outside-range"},
      {"darknessStep\">5", "darknessStep\">7", "105:39:darkness-list"},
      {"darknessDefault\">75", "darknessDefault\">76", "107:42:darkness-list"},
      {">12<", ">0<", "8:32:not-positive"},
      {">6600<", ">-1<", "19:34:not-positive"},
      {"DpiX\">600</property>\n        <property name=\"resolutionDpiY\">600",
       "DpiX\">0</property>\n        <property name=\"resolutionDpiY\">10001",
       "43:41:not-positive 44:41:resolution-scale"},
      {"XMin\">-1000</property>\n        <property name=\"headsOffsetXStep\">10<",
       "XMin\">1000</property>\n        <property name=\"headsOffsetXStep\">0<",
       "98:43:range-step"},
      {"printWidth\">104000", "printWidth\">104", "42:37:unit-scale"},
      {"printWidth\">104000", "printWidth\">104001", "42:37:print-width"},
      {"maxGapDistance\">20000", "maxGapDistance\">1000001", "37:41:label-gap"},
      {"ribbonSaverEnabled\">true", "ribbonSaverEnabled\">false", "67:47:default-not-offered"},
      {">ReflectiveTop<", ">SensorTypeGap<", "123:44:default-not-listed"},
      {"\"ThermalTransfer\">true", "\"ThermalTransfer\">false", "74:43:default-disabled"},
      {"\"DirectThermal\"", "\"thermaltransfer\"", "74:43:default-disabled 83:11:duplicate-entry"},
      {"\"printSpeed\">50000", "\"printSpeed\">125000", "116:39:speed-order"},
      {"\"conveyorSpeed\">100000", "\"conveyorSpeed\">50000",
       "302:53:default-not-listed 307:48:speed-duplicate"},
      {"<conveyorSpeed>", "<conveyorSpeed><properties/></conveyorSpeed><conveyorSpeed>",
       "304:28:empty-list 304:57:duplicate-element"},
      {">17<", ">8<", "237:43:unknown-family"},
      {">10</property>\n          <property name=\"optionFamilyType",
       ">1</property>\n          <property name=\"optionFamilyType",
       "342:45:family-type 398:7:duplicate-family"},
      {">PeelOff<", ">PealOff<", "401:45:unknown-family-type"},
      {">Perforator</property>\n          <property name=\"optionFamilyIm",
       ">Cutter</property>\n          <property name=\"optionFamilyIm",
       "423:45:duplicate-family-name"},
      {"</optionFamily>", "</optionFamily><optionFamily/>",
       "234:22:family-without-properties 234:22:duplicate-family 234:22:no-options"},
      {">Guillotine<", "><", "324:15:option-without-name"},
      {"<options>", "<options><option/>", "170:18:option-without-properties"},
      {">Stamp 400<", ">Stamp 200<", "204:43:duplicate-option"},
      {"Verifier V1</property>\n              <property "
       "name=\"optionImageFile\">verifier.png</property>\n              <property "
       "name=\"defaultOption\">FALSE",
       "V</property><property name=\"optionImageFile\"></property><property "
       "name=\"defaultOption\">TRUE</property></properties></"
       "option>\n<option><properties><property name=\"optionName\">W</property><property "
       "name=\"optionImageFile\"></property><property name=\"defaultOption\">TRUE",
       "246:136:two-defaults"},
      {"orv_conf_dx600p", "orv_conf_dx600", "7:39:file-name"},
      {">12<", ">13<", "8:32:version-skips-device"},
      {"4a6cd222c4ae19dd916afd8569f330cd6d558f9467be48752b4929d3fb9df197", "", "5:5:not-signed"},
      {"<model>", "<!-- orv-check: allow digests, no-print-speed -->\n<model>",
       "17:27:bad-allowance 17:36:bad-allowance"},
      {"<model>", "<!-- orv-check: allow speed-order -->\n<model>", "17:27:unused-allowance"},
      {"printWidth\">104000</property>",
       "printWidth\">104001</property> <!-- orv-check: allow print-width -->", ""},
  };
  const std::string original = ReadBytes(Example("orv_conf_dx600p.xml"));
  std::vector<std::string> arguments = {"config", "check", "--ignore", "digest"};
  std::vector<std::string> files;
  for (const auto& test : cases) {
    const std::string folder = File(std::to_string(files.size()));
    std::filesystem::create_directory(folder);
    files.push_back(folder + "/orv_conf_dx600p.xml");
    std::string bytes = original;
    ASSERT_NE(bytes.find(test.piece), std::string::npos) << test.piece;
    WriteBytes(files.back(), bytes.replace(bytes.find(test.piece), test.piece.size(), test.by));
  }
  arguments.insert(arguments.end(), files.begin(), files.end());
  std::istringstream lines(Run(arguments).output);
  const std::regex form(
      "(.+\\.xml):(\\d+:\\d+): [a-z]+\\[([a-z0-9-]+)\\]: .+ \\| allowed: .+ \\| write: .+");
  std::map<std::string, std::string> found;
  std::set<std::string> rules = {"digest", "not-loaded"};  // the one ignored, and what is left over
  for (std::string text; std::getline(lines, text);) {
    std::smatch parts;
    ASSERT_TRUE(std::regex_match(text, parts, form)) << text;
    std::string& findings = found[parts[1]];
    findings += (findings.empty() ? "" : " ") + parts[2].str() + ":" + parts[3].str();
    rules.insert(parts[3]);
  }
  for (std::size_t i = 0; i < files.size(); ++i) {
    EXPECT_EQ(found[files[i]], cases[i].findings) << cases[i].by;
  }

  std::istringstream all(Run({"config", "check", "--explain"}).output);
  std::string text;
  for (std::getline(all, text); std::getline(all, text) && !text.empty();) {
    EXPECT_EQ(rules.count(text.substr(0, text.find(' '))), 1u) << text;
  }
}

TEST_F(ConfigTool, WarningsCountWhenTheyAreAskedToAndNotIgnored) {
  const std::string file = Copy("orv_conf_nx200.xml", ">13<", ">13 <");
  ExpectRuns(
      {{{"config", "check", File("none.xml"), file},
        3,
        testing::AllOf(HasSubstr("cannot read " + File("none.xml")),
                       HasSubstr(":9:32: warning[not-a-number]: "))},
       {{"config", "check", file}, 0, _},
       {{"config", "check", "--strict", file}, 1, _},
       {{"config", "check", "--strict", "--ignore", "digest", "--ignore", "not-a-number", file},
        0,
        ""},
       {{"config", "check", "--explain", "range-stpe"}, 2, HasSubstr("mean range-step?")},
       {{"config", "check", "--ignore", "range-stpe", file}, 2, HasSubstr("mean range-step?")},
       {{"config", "show", "a", "b", "c"}, 2, HasSubstr("no place for b c (")},
       {{"help", "config", "chekc"}, 2, HasSubstr("mean check?")},
       {{"help", "config", "check"}, 0, Run({"config", "check", "--help"}).output},
       {{"config", "show", Example("broken.xml")}, 1, _}});
  const ProgramResult broken = Run({"config", "check", Example("broken.xml")});
  EXPECT_EQ(broken.exitCode, 1);
  // Causes come before what they bring about.
  std::istringstream lines(broken.output);
  std::string places;
  for (std::string line; std::getline(lines, line) && line.find("well-formed") != line.npos;) {
    places += std::regex_replace(line, std::regex(".+\\.xml:(\\d+:\\d+): .+"), "$1 ");
  }
  EXPECT_EQ(places, "7:34 11:3 8:37 12:3 7:7 8:7 1:1 ");
  EXPECT_THAT(broken.output, HasSubstr("closes no open element: propety | allowed: the end tag of "
                                       "the element that is open | write: </property>\n"));
  // A wide encoding is one fault, not those of every character.
  for (const std::string encoding : {"UTF-16LE", "UTF-16BE"}) {
    const std::string wide = Copy("orv_conf_lx300.xml");
    ExpectRuns(
        {{{"xml", "convert", wide, "--to", encoding}, 0, _},
         {{"config", "check", wide},
          1,
          testing::EndsWith(
              "orv_conf_lx300.xml:1:1: error[not-well-formed]: the file is in UTF-16 and is read "
              "as UTF-8 | allowed: UTF-8 | write: orv xml convert --to UTF-8\n")}});
  }
  // Lengths and speeds with units are put into the units of the file.
  for (const auto& [piece, by, meant] :
       {std::tuple{"widthMax\">106000", "widthMax\">106.5 mm", "106500"},
        {"widthMax\">106000", "widthMax\">4in", "101600"},
        {"printSpeed\">50000", "printSpeed\">60 mm/s", "60000"},
        {"widthMax\">106000", "widthMax\">106 cm", "106"}}) {
    EXPECT_THAT(Run({"config", "check", Copy("orv_conf_lx300.xml", piece, by)}).output,
                HasSubstr("nothing else | write: " + std::string(meant) + "\n"));
  }
  std::string page = ReadBytes(ORV_RULES_PAGE);
  std::erase(page, '\r');
  EXPECT_EQ(Run({"config", "check", "--explain", "all", "--markdown"}).output, page)
      << "print it anew: orv config check --explain all --markdown > docs/config-check.md";
}

TEST_F(ConfigTool, TellsTwoModelsApartByMeaning) {
  const std::string file = Copy("orv_conf_lx300.xml");
  std::string bytes = ReadBytes(file);
  const std::pair<std::string, std::string> changes[] = {
      {"widthMax\">106000", "WidthMax\">114500"},  // letter case says nothing
      {"2026-03-02", "2025-03-02"},                // nor does when the file was made
      {"printSpeed\">50000", "printSpeed\">60000"},
      {">Rotary knife<", ">Rotary cutter<"},
      {"offset1Max\">20000", "offset1Max\">25000"},
      {"Family>\n        <properties>\n          <property name=\"optionFamilyId\">0",
       "Family>\n        <properties>\n          <property name=\"optionFamilyId\">5"},
      {"\"DirectThermal\"", "\"Swap\""},
      {"\"ThermalTransfer\">", "\"DirectThermal\">"},
      {"\"Swap\"", "\"ThermalTransfer\""},
  };
  for (const auto& [piece, by] : changes) bytes.replace(bytes.find(piece), piece.size(), by);
  WriteBytes(file, bytes);
  ExpectRuns({{{"config", "diff", file, file}, 0, _},
              {{"config", "diff", Example("orv_conf_lx300.xml"), file},
               1,
               "label\n"
               "  ~  widthMax  106 mm -> 114.5 mm\n"
               "printModes\n"
               "  ~  order     ThermalTransfer, DirectThermal -> DirectThermal, ThermalTransfer\n"
               "printSpeeds\n"
               "  -  50 mm/s\n"
               "  +  60 mm/s\n"
               "optionFamilies\n"
               "  ~  cutter \"Guillotine\" offset1Max  20 mm -> 25 mm\n"
               "  -  tearOff\n"
               "  -  cutter \"Rotary knife\"\n"
               "  +  cutter \"Rotary cutter\"\n"
               "  +  rewinder\n"}});
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
    ExpectDone({"config", "sign", file});
    EXPECT_EQ(ReadBytes(file), original) << by;
  }
  // Of two digests the last one is that of the file.
  std::string file =
      Copy("orv_conf_lx300.xml", property, "<property name=\"sha256\">0</property>" + property);
  ExpectRuns({{{"config", "sign", file}, 0, _},
              {{"config", "check", file}, 0, testing::Not(HasSubstr("[digest]"))}});
  file = Copy("orv_conf_lx300.xml", ">LXB-2<", ">LXB-3<");
  ExpectRuns({{{"config", "check", file}, 0, HasSubstr(":13:31: warning[digest]: ")},
              {{"config", "protect", file, file}, 0, _},
              {{"config", "sign", file}, 0, _}});
  EXPECT_THAT(ReadBytes(file), StartsWith("CNF\x01"));
  ExpectClean(file);
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder_.path()), {}), 1);

  for (const std::string& bytes :
       {std::string("<xmlData/>"), original + "\xE9", original + "<a>"}) {
    WriteBytes(file, bytes);
    ExpectRuns({{{"config", "sign", file}, 1, _}});
    EXPECT_EQ(ReadBytes(file), bytes);
  }
}

TEST_F(ConfigTool, ProtectsAndUnprotectsWholeFilesOrNone) {
  const std::string file = Copy("orv_conf_lx300.xml");
  ExpectRuns({{{"config", "protect", file, File("made")}, 0, _},
              {{"config", "protect", File("made"), File("out")}, 1, _},
              {{"config", "unprotect", file, File("out")}, 1, _},
              {{"config", "unprotect", File("made"), File("out")}, 0, _}});
  EXPECT_EQ(ReadBytes(File("out")), ReadBytes(file));
  std::string bytes = ReadBytes(File("made"));
  bytes.pop_back();
  WriteBytes(File("made"), bytes);
  ExpectRuns({{{"config", "unprotect", File("made"), File("out")}, 3, _}});
  EXPECT_EQ(ReadBytes(File("out")), ReadBytes(file));
}

TEST_F(ConfigTool, SaysWhyThereIsNoTextToReadOrFileToWrite) {
  const std::string good = Copy("orv_conf_lx300.xml");
  WriteBytes(File("empty"), "");
  WriteBytes(File("large"), std::string(10'000'001, ' '));
  WriteBytes(File("bad"), "CNF\x01" + std::string(32, 'x'));
  const std::string folder = folder_.path().string();
  const std::pair<std::vector<std::string>, const char*> cases[] = {
      {{"show", ""}, "cannot read \"\": the path is empty"},
      {{"show", File("none")}, "cannot read "},
      {{"check", folder}, "cannot read "},
      {{"sign", folder}, "cannot read "},
      {{"sign", File("empty")}, "empty is empty"},
      {{"check", File("large")}, "large is too large"},
      {{"show", File("bad")}, "bad cannot be decrypted"},
      {{"unprotect", File("bad"), File("out")}, "bad cannot be decrypted"},
      {{"protect", good, File("none/out")}, "cannot write "},
      {{"protect", good, folder}, "cannot write "}};
  for (auto [arguments, message] : cases) {
    arguments.insert(arguments.begin(), "config");
    ExpectRuns({{arguments, 3, HasSubstr(message)}});
  }
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder_.path()), {}), 4);
}

TEST_F(ConfigTool, FilesMayHaveAnyNameThatTheSystemAllows) {
  const bool isPosix = std::filesystem::path::preferred_separator == '/';
  const std::string original = ReadBytes(Example("orv_conf_lx300.xml"));
  std::string deep;  // of a thousand characters
  while (folder_.path().string().size() + deep.size() < 890) deep += std::string(100, 'd') + "/";
  deep += std::string(1000 - folder_.path().string().size() - 1 - deep.size(), 'f');
  const struct {
    std::string name;
    bool isAllowed = true;
  } cases[] = {{"a b  c.xml"},
               {"it's & so; $on%PATH%.xml"},
               {"q\"uote\\.xml", isPosix},
               {"\xF0\x9F\x98\x80 \xC3\xA9\xE2\x82\xAC.xml"},
               {std::string(150, 'n')},
               {std::string(255, 'n')},
               {deep},
               {std::string(256, 'n'), false},
               {std::string(1000, 'n'), false}};
  for (const auto& [name, isAllowed] : cases) {
    // How long a path may be there depends on the system's settings.
    if (!isPosix && name.size() > 200) continue;
    SCOPED_TRACE(name);
    const std::string file = File(name);
    const std::wstring wide = orv::Utf8ToWide(file);
    if (!isAllowed) {
      const std::string good = Copy("orv_conf_lx300.xml");
      ExpectRuns({{{"config", "show", file}, 3, StartsWith("orv: cannot read ")},
                  {{"config", "protect", good, file}, 3, StartsWith("orv: cannot write ")}});
      EXPECT_FALSE(CMarkup(L"<a/>").Save(wide));
      std::filesystem::remove(good);
      continue;
    }
    std::filesystem::create_directories(orv::ToPath(wide).parent_path());
    WriteBytes(orv::ToPath(wide), original);
    ExpectRuns({{{"config", "show", file}, 0, _},
                {{"config", "protect", file, file}, 0, _},
                {{"config", "sign", file}, 0, _}});
    EXPECT_THAT(ReadBytes(orv::ToPath(wide)), StartsWith("CNF\x01"));
    Config* config = nullptr;
    EXPECT_TRUE(CConfigParser::Load(wide, &config, nullptr, nullptr));
    delete config;
    ExpectDone({"config", "unprotect", file, file});
    EXPECT_EQ(ReadBytes(orv::ToPath(wide)), original);
    ExpectDone({"xml", "convert", file, "--to", "UTF-16", "-o", file});
    CMarkup doc;
    EXPECT_TRUE(doc.Load(wide) && doc.Save(wide)) << orv::WideToUtf8(doc.GetError());
    std::filesystem::remove(orv::ToPath(wide));
    EXPECT_TRUE(std::filesystem::is_empty(orv::ToPath(wide).parent_path()));
    std::filesystem::remove_all(folder_.path() / name.substr(0, name.find('/')));
  }
}

}  // namespace
