/// Tests of `orv config`, run as a program.

#include <algorithm>
#include <map>
#include <regex>
#include <set>
#include <sstream>

#include "base/utf8.h"
#include "orv/config/config_parser.h"
#include "platform/files.h"
#include "tests/program_runs.h"
#include "tools/orv/config/check.h"

namespace {

using orv::test::ExpectDone;
using orv::test::ExpectRuns;
using orv::test::ReadBytes;
using orv::test::WriteBytes;
using testing::_;
using testing::HasSubstr;
using testing::StartsWith;

class ConfigTool : public testing::Test {
 protected:
  static std::string Output(const std::vector<std::string>& arguments) {
    std::string output = orv::test::RunProgram(ORV_PROGRAM, arguments).output;
    std::erase(output, '\r');
    return output;
  }
  static std::string Example(const std::string& name) {
    return std::string(ORV_EXAMPLES) + "/" + name;
  }
  std::string File(const std::string& name) { return (folder_.path() / name).string(); }

  orv::test::TemporaryFolder folder_;
};

TEST_F(ConfigTool, ReportsEveryRuleAtTheRightPosition) {
  const struct {
    std::string piece;
    std::string by;
    std::string findings;  // all except digest, as LINE:COLUMN:RULE
  } cases[] = {
      {"ORV model data<", "A < B<", "9:34:not-well-formed 9:7:not-well-formed"},
      {"ORV model data<", "A & B<", "9:34:not-strict-xml"},
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
      {"name=\"aRef\"", "nam=\"aRef\"", "24:9:property-without-name"},
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
      {"labelPositionStep\">500", "labelPositionStep\">300", "296:50:range-step"},
      {"wrapPosDefault\">180", "wrapPosDefault\">361", "543:47:default-outside-range"},
      {"darknessStep\">5", "darknessStep\">7", "105:39:darkness-list"},
      {"darknessDefault\">75", "darknessDefault\">76", "107:42:darkness-list"},
      {">12<", ">0<", "8:32:not-positive"},
      {">6600<", ">-1<", "19:34:not-positive"},
      {"DpiX\">600</property>\n        <property name=\"resolutionDpiY\">600",
       "DpiX\">0</property>\n        <property name=\"resolutionDpiY\">10001",
       "43:41:not-positive 44:41:resolution-scale"},
      {"XMin\">-1000</property>\n        <property name=\"headsOffsetXStep\">10<",
       "XMin\">0</property>\n        <property name=\"headsOffsetXStep\">0<", "98:43:range-step"},
      {"printWidth\">104000", "printWidth\">104", "42:37:unit-scale"},
      {"heightMax\">1000000", "heightMax\">1000000000", "35:36:unit-scale"},
      {">DXB-1<", ">NEW-1<", "21:36:placeholder-left"},
      {">6600</property>", " value=\"6600\"></property>", "19:34:unknown-attribute"},
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
      {"orv_conf_dx600p", "orv_conf_DX600P", "7:39:unreachable-file-name"},
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
  std::istringstream lines(Output(arguments));
  const std::regex form(
      "(.+\\.xml):(\\d+:\\d+): [a-z]+\\[([a-z0-9-]+)\\]: .+ \\| allowed: .+ \\| write: .+");
  std::map<std::string, std::string> found;
  std::set<std::string> rules = {"digest", "not-loaded"};  // ignored above; no file triggers it
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

  std::istringstream all(Output({"config", "check", "--explain"}));
  std::string text;
  for (std::getline(all, text); std::getline(all, text) && !text.empty();) {
    EXPECT_EQ(rules.count(text.substr(0, text.find(' '))), 1u) << text;
  }
}

/// Follows the first proposal that is a literal text, again and again. Returns the number of steps;
/// -1 if a text occurs twice.
int FollowProposals(std::wstring* text) {
  std::set<std::wstring> seen;
  for (int steps = 0;; ++steps) {
    if (!seen.insert(*text).second) return -1;
    const std::vector<orv::tool::Finding> findings = orv::tool::CheckConfig(*text, {});
    const auto first = std::find_if(findings.begin(), findings.end(),
                                    [](const auto& finding) { return !finding.edits.empty(); });
    if (first == findings.end()) return steps;
    *text = orv::tool::Edited(*text, first->edits);
  }
}

TEST(ConfigCheck, ProposesWhatATextMeans) {
  constexpr wchar_t kLength[] = L"thousandths of a millimetre";
  constexpr wchar_t kSpeed[] = L"millimetres a second multiplied by 1000";
  constexpr wchar_t kDpi[] = L"dots per inch, such as 300";
  const struct {
    const wchar_t* key;
    const wchar_t* rest;  // of the property, after its name
    const wchar_t* proposal;
    bool isText = true;  // otherwise a description
  } cases[] = {
      {L"widthMax", L">106 mm<", L"106000"},
      {L"widthMax", L">4 inch<", L"101600"},
      {L"widthMax", L">4\"<", L"101600"},
      {L"widthMax", L">4 in<", L"101600"},
      {L"widthMax", L">4 ft<", kLength, false},
      {L"widthMax", L">2 m<", kLength, false},
      {L"widthMax", L">106000 mm/s<", kLength, false},
      {L"widthMax", L">106<", L"106000"},
      {L"widthMax", L">106000000<", L"106000"},
      {L"printSpeed", L">8 ips<", L"203200"},
      {L"printSpeed", L">200 mm/s<", L"200000"},
      {L"printSpeed", L">200 mm/min<", kSpeed, false},
      {L"printSpeed", L">10 m/s<", kSpeed, false},
      {L"resolutionDpiX", L">300 dpi<", L"300"},
      {L"resolutionDpiX", L">12 dots/mm<", kDpi, false},
      {L"resolutionDpiX", L">300000<", L"300"},
      {L"modelId", L">300 x<", L"300"},
      {L"widthMax", L" type=\"int\" value=\"106000\"><", L"nothing", false},  // of type
      {L"widthMax", L" unit=\"106000\"><", L"<property name=\"widthMax\">106000</property>"},
      {L"culture", L" xml:lang=\"en\"><", L"nothing", false},
      {L"headsOffsetXStep", L">-5<", L"1"},
      {L"modelId", L">99999999000<", L"2147483647"},  // not divided by 1000
  };
  const std::wstring original =
      orv::Utf8ToWide(ReadBytes(std::string(ORV_EXAMPLES) + "/orv_conf_lx300.xml"));
  for (const auto& test : cases) {
    SCOPED_TRACE(orv::WideToUtf8(std::wstring(test.key) + test.rest));
    std::wstring text = original;
    const std::size_t start = text.find(L"\"" + std::wstring(test.key) + L"\"");
    ASSERT_NE(start, text.npos);
    const std::size_t rest = start + std::wstring_view(test.key).size() + 2;
    text.replace(rest, text.find(L"</", rest) + 1 - rest, test.rest);
    const std::size_t end = text.find(L'\n', rest);
    const std::vector<orv::tool::Finding> findings = orv::tool::CheckConfig(text, {});
    const auto found = std::find_if(findings.begin(), findings.end(), [&](const auto& finding) {
      const std::size_t at = static_cast<std::size_t>(finding.offset);
      return at >= rest && at < end;
    });
    ASSERT_NE(found, findings.end());
    EXPECT_EQ(orv::WideToUtf8(found->proposal), orv::WideToUtf8(test.proposal));
    EXPECT_EQ(!found->edits.empty(), test.isText);
  }
}

/// A number written in other ways, none of which the loader reads correctly. All mean the same.
std::vector<std::wstring> SpellingsOf(const std::wstring& number) {
  const std::size_t zeros = number.size() - number.find_last_not_of(L'0') - 1;
  std::vector<std::wstring> spellings = {L" " + number, number + L" ", number + L".0",
                                         number + L",00", number + L"e0"};
  if (zeros > 0) {
    const std::wstring start = number.substr(0, number.size() - zeros);
    spellings.push_back(start + L"e" + std::to_wstring(zeros));
    spellings.push_back(start + std::wstring(zeros, L'O'));
  }
  if (number.size() - number.starts_with(L'-') > 3) {
    for (const wchar_t* const separator : {L" ", L",", L".", L"'", L"\u00A0"}) {
      spellings.push_back(std::wstring(number).insert(number.size() - 3, separator));
    }
  }
  return spellings;
}

// Every finding of a single change leads to a file without others, and a number that is only
// written in another way is found.
TEST(ConfigCheck, ProposalsEndAndKeepRightNumbers) {
  const std::wstring original =
      orv::Utf8ToWide(ReadBytes(std::string(ORV_EXAMPLES) + "/orv_conf_lx300.xml"));
  constexpr const wchar_t* kTexts[] = {L"",       L"x",         L"0",    L"-1",
                                       L"1",      L"5",         L"7",    L"5000",
                                       L"106 mm", L"106000000", L"true", L"99999999999"};
#if defined(ORV_SANITIZED)
  constexpr std::size_t kStep = 3;  // a check takes ten times as long
#else
  constexpr std::size_t kStep = 1;
#endif
  std::size_t changes = 0;
  int longest = 0;
  const std::wregex property(L"<property name=\"([^\"]*)\">([^<]*)</property>");
  for (std::wsregex_iterator at(original.begin(), original.end(), property), end; at != end; ++at) {
    const std::wstring name = at->str(1);
    const std::wstring value = at->str(2);
    if (name == L"sha256") continue;
    const auto follow = [&](const std::wstring& changed) {
      std::wstring text = original;
      text.replace(static_cast<std::size_t>(at->position(2)), value.size(), changed);
      const int steps = FollowProposals(&text);
      EXPECT_GE(steps, 0) << orv::WideToUtf8(name + L": " + changed) << " does not end";
      longest = std::max(longest, steps);
      ++changes;
      return text;
    };
    for (std::size_t i = changes % kStep; i < std::size(kTexts); i += kStep) follow(kTexts[i]);
    const bool isNumber = value.find_first_not_of(L"-0123456789") == value.npos && value.size() > 1;
    if (!isNumber) continue;
    for (const std::wstring& spelling : SpellingsOf(value)) {
      EXPECT_EQ(follow(spelling), original) << orv::WideToUtf8(name + L": " + spelling);
    }
  }
  RecordProperty("changes", static_cast<int>(changes));
  RecordProperty("longest_chain", longest);
  EXPECT_GT(changes, 1000u / kStep);
  EXPECT_LE(longest, 16);
}

TEST_F(ConfigTool, PrintsTheDocumentOfItsRules) {
  std::string page = ReadBytes(ORV_RULES_PAGE);
  std::erase(page, '\r');
  // To regenerate it: orv config check --explain all --markdown > docs/config-check.md
  ExpectRuns({{{"config", "check", "--explain", "all", "--markdown"}, 0, page}});
}

TEST_F(ConfigTool, RejectsFilesThatAreTooLarge) {
  WriteBytes(File("large"), std::string(10'000'001, ' '));
  ExpectRuns({{{"config", "check", File("large")}, 3, HasSubstr("large is too large")}});
}

TEST_F(ConfigTool, AcceptsAnyFileNameThatTheSystemAllows) {
  const bool isPosix = std::filesystem::path::preferred_separator == '/';
  const std::string original = ReadBytes(Example("orv_conf_lx300.xml"));
  std::string deep;  // a thousand characters
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
    // The maximum length of a path depends on the system's settings.
    if (!isPosix && name.size() > 200) continue;
    SCOPED_TRACE(name);
    const std::string file = File(name);
    const std::wstring wide = orv::Utf8ToWide(file);
    if (!isAllowed) {
      ExpectRuns({{{"config", "show", file}, 3, StartsWith("orv: cannot read ")},
                  {{"config", "protect", Example("orv_conf_lx300.xml"), file},
                   3,
                   StartsWith("orv: cannot write ")}});
      EXPECT_FALSE(CMarkup(L"<a/>").Save(wide));
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
