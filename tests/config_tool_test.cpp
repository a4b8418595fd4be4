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
  const std::string original = ReadBytes(Example("orv_conf_dx600p.xml"));
  std::vector<std::string> arguments = {"config", "check", "--ignore", "digest"};
  std::vector<std::string> files;
  for (const orv::test::Fields& fields : orv::test::TableRows("config_findings")) {
    const std::string piece(fields[0].begin(), fields[0].end());  // bytes
    const std::string by(fields[1].begin(), fields[1].end());
    const std::string folder = File(std::to_string(files.size()));
    std::filesystem::create_directory(folder);
    files.push_back(folder + "/orv_conf_dx600p.xml");
    std::string bytes = original;
    ASSERT_NE(bytes.find(piece), std::string::npos) << piece;
    WriteBytes(files.back(), bytes.replace(bytes.find(piece), piece.size(), by));
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
  auto file = files.begin();
  orv::test::ExpectTable("config_findings", [&](const orv::test::Fields& /*fields*/) {
    return orv::Utf8ToWide(found[*file++]);
  });

  std::istringstream all(Output({"config", "check", "--explain"}));
  std::set<std::string> explained;
  std::string text;
  for (std::getline(all, text); std::getline(all, text) && !text.empty();) {
    explained.insert(text.substr(0, text.find(' ')));
  }
  EXPECT_EQ(explained, rules);
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
      {L"resolutionDpiX", L">11.8<", kDpi, false},  // dots per millimetre
      {L"modelId", L">300 x<", L"300"},
      {L"modelId", L">33 00<", L"the intended number", false},
      {L"printSpeed", L">50,75,100<", kSpeed, false},
      {L"widthMin", L">20000</property><property name=\"widthMn\">5<", L"nothing", false},
      {L"widthMax", L" type=\"int\" value=\"106000\"><", L"nothing", false},  // of type
      {L"widthMax", L" unit=\"106000\"><", L"<property name=\"widthMax\">106000</property>"},
      {L"culture", L" xml:lang=\"en\"><", L"nothing", false},
      {L"headsOffsetXStep", L">-5<", L"1"},
      {L"darknessMax", L">2147483640<",
       L"2143185098, and 2149634 for \"darknessStep\", and 0 for \"darknessDefault\""},
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
  constexpr std::size_t kStep = 7;  // a check takes ten times as long
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
                {{"config", "protect", file, file, "--force"}, 0, _},
                {{"config", "sign", file}, 0, _}});
    EXPECT_THAT(ReadBytes(orv::ToPath(wide)), StartsWith("CNF\x01"));
    Config* config = nullptr;
    EXPECT_TRUE(CConfigParser::Load(wide, &config, nullptr, nullptr));
    delete config;
    ExpectDone({"config", "unprotect", file, file, "--force"});
    EXPECT_EQ(ReadBytes(orv::ToPath(wide)), original);
    ExpectDone({"xml", "convert", file, "--to", "UTF-16"});
    CMarkup doc;
    EXPECT_TRUE(doc.Load(wide) && doc.Save(wide)) << orv::WideToUtf8(doc.GetError());
    std::filesystem::remove(orv::ToPath(wide));
    EXPECT_TRUE(std::filesystem::is_empty(orv::ToPath(wide).parent_path()));
    std::filesystem::remove_all(folder_.path() / name.substr(0, name.find('/')));
  }
}

}  // namespace
