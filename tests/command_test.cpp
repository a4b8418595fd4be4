/// Runs the scenarios in commands/*.txt with the orv program and compares the output.
/// commands/README.md describes their format.

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <functional>
#include <map>
#include <optional>
#include <sstream>
#include <utility>

#include "base/utf8.h"
#include "orv/platform/registry.h"
#include "orv/settings/settings.h"
#include "platform/files.h"
#include "tests/devmode_names.h"
#include "tests/fixtures.h"

namespace orv::test {
namespace {

namespace fs = std::filesystem;
using Lines = std::vector<std::string>;

// Absolute paths: scenarios run in their own folders, on Windows perhaps on another drive.
const std::string kProgram = fs::absolute(ORV_PROGRAM).string();
const fs::path kExamples = fs::absolute(ORV_EXAMPLES);
const fs::path kModel = fs::absolute(ORV_TEST_DATA "/devmode_config.xml");

/// Matches any lines, and within a line any text.
constexpr std::string_view kAny = "...";
/// The keys that scenarios may use: on Windows the program uses the user's real registry.
const std::wstring kKeys[] = {L"Software\\orv test",
                              kSettingsKey + std::wstring(L"\\UI\\orv test")};

/// A file to write or a command to run: its first line, and the lines below it, which are the
/// file's content or the expected output.
struct Step {
  std::size_t line;  ///< counted from 1
  std::string text;
  Lines block;
};

struct Scenario {
  fs::path file;
  std::size_t line = 0;
  std::string heading;
  std::vector<Step> steps;
};
void PrintTo(const Scenario& scenario, std::ostream* stream) { *stream << scenario.heading; }

Lines ReadLines(const fs::path& file) {
  std::istringstream text(ReadBytes(file));
  Lines lines;
  for (std::string line; std::getline(text, line);) {
    std::erase(line, '\r');
    lines.push_back(line);
  }
  return lines;
}

bool StartsStep(std::string_view line) { return line.starts_with("$ ") || line.starts_with("> "); }

/// Adds the scenarios of a file; a file without a heading gives one that fails.
void ReadScenarios(const fs::path& file, std::vector<Scenario>* scenarios) {
  Lines lines = ReadLines(file);
  if (lines.empty()) lines.emplace_back();
  std::size_t number = 0;
  for (const std::string& line : lines) {
    const bool isHeading = line.starts_with("# ");
    if (++number == 1 || isHeading) {
      scenarios->push_back({file, number, isHeading ? line.substr(2) : "Nothing", {}});
    }
    std::vector<Step>& steps = scenarios->back().steps;
    if (StartsStep(line)) {
      steps.push_back({number, line, {}});
    } else if (!steps.empty()) {
      steps.back().block.push_back(line);
    }
  }
}

std::vector<Scenario> ReadScenarios() {
  std::vector<fs::path> files;
  for (const auto& entry : fs::directory_iterator(ORV_COMMANDS)) {
    if (entry.path().extension() == ".txt") files.push_back(fs::absolute(entry.path()));
  }
  std::sort(files.begin(), files.end());
  std::vector<Scenario> scenarios;
  for (const fs::path& file : files) ReadScenarios(file, &scenarios);
  for (Scenario& scenario : scenarios) {
    for (Step& step : scenario.steps) {
      while (!step.block.empty() && step.block.back().empty()) step.block.pop_back();
    }
  }
  if (scenarios.empty()) scenarios.push_back({ORV_COMMANDS, 1, "Nothing", {}});
  return scenarios;
}

/// Splits a line at blanks; single or double quotes keep blanks in a word.
Lines SplitWords(std::string_view text) {
  Lines words;
  char quote = 0;
  bool isWord = false;
  for (const char sign : text) {
    if (quote == 0 && sign == ' ') {
      isWord = false;
      continue;
    }
    if (!std::exchange(isWord, true)) words.emplace_back();
    if (quote == 0 && (sign == '"' || sign == '\'')) {
      quote = sign;
    } else if (quote == sign) {
      quote = 0;
    } else {
      words.back() += sign;
    }
  }
  EXPECT_EQ(quote, 0) << "no closing quote: " << text;
  return words;
}

constexpr std::string_view kHex = "0123456789abcdef";

/// Replaces escapes such as \x41 by bytes.
std::string Unescape(std::string text) {
  for (std::size_t at = 0; (at = text.find("\\x", at)) != text.npos; ++at) {
    text.replace(at, 4, 1,
                 static_cast<char>(kHex.find(text.at(at + 2)) << 4 | kHex.find(text.at(at + 3))));
  }
  return text;
}

/// The bytes of a file's content; a backslash at the end of a line suppresses the line end.
std::string ToBytes(const Lines& lines) {
  std::string bytes;
  for (const std::string& line : lines) {
    bytes += Unescape(line);
    if (line.ends_with('\\')) {
      bytes.pop_back();
    } else {
      bytes += '\n';
    }
  }
  return bytes;
}

/// The reverse: bytes as lines of a scenario.
Lines ToLines(const std::string& bytes) {
  Lines lines;
  for (std::size_t start = 0; start < bytes.size();) {
    const std::size_t end = std::min(bytes.find('\n', start), bytes.size());
    const std::string line = bytes.substr(start, end - start);
    const bool isText = WideToUtf8(Utf8ToWide(line)) == line && !line.starts_with("\xEF\xBB\xBF");
    std::string& shown = lines.emplace_back();
    for (const char sign : line) {
      const auto byte = static_cast<unsigned char>(sign);
      const bool isMark = shown.empty() && (StartsStep(line) || line.starts_with("# "));
      if (byte < ' ' || byte == 0x7F || isMark || (byte > 0x7F && !isText)) {
        shown += {'\\', 'x', kHex[byte >> 4], kHex[byte & 15]};
      } else {
        shown += sign;
      }
    }
    if (end == bytes.size()) shown += '\\';
    start = end + 1;
  }
  // Empty lines at the end would be taken for the ones between scenarios.
  for (auto line = lines.rbegin(); line != lines.rend() && line->empty(); ++line) *line = "\\x0a\\";
  return lines;
}

/// Whether a sequence matches a pattern, in which some elements match any number of elements.
template <typename Sequence, typename IsAny, typename IsSame>
bool Matches(const Sequence& pattern, const Sequence& actual, IsAny isAny, IsSame isSame) {
  std::size_t at = 0;
  std::size_t resumeAt = pattern.size() + 1;  // after the last wildcard
  std::size_t resumeFrom = 0;
  for (std::size_t i = 0; i < actual.size() || at < pattern.size();) {
    if (at < pattern.size() && isAny(pattern[at])) {
      resumeAt = ++at;
      resumeFrom = i;
    } else if (i < actual.size() && at < pattern.size() && isSame(pattern[at], actual[i])) {
      ++at;
      ++i;
    } else if (resumeAt <= pattern.size() && resumeFrom < actual.size()) {
      at = resumeAt;
      i = ++resumeFrom;
    } else {
      return false;
    }
  }
  return true;
}

bool LineMatches(std::string pattern, const std::string& actual) {
  for (std::size_t at; (at = pattern.find(kAny)) != pattern.npos;) {
    pattern.replace(at, kAny.size(), 1, '\0');
  }
  return Matches(
      pattern, actual, [](char sign) { return sign == '\0'; }, std::equal_to<>());
}

/// The difference between expected (-) and actual (+) lines, without common first and last lines.
std::string Difference(const Lines& expected, const Lines& actual) {
  const std::size_t shorter = std::min(expected.size(), actual.size());
  std::size_t head = 0;
  while (head < shorter && LineMatches(expected[head], actual[head])) ++head;
  std::size_t tail = 0;
  while (tail < shorter - head &&
         LineMatches(expected[expected.size() - 1 - tail], actual[actual.size() - 1 - tail])) {
    ++tail;
  }
  std::string text;
  const auto add = [&text](const char* mark, const Lines& lines, std::size_t from, std::size_t to) {
    for (std::size_t i = from; i < to; ++i) text += mark + lines[i] + '\n';
  };
  add("  ", actual, 0, head);
  add("- ", expected, head, expected.size() - tail);
  add("+ ", actual, head, actual.size() - tail);
  add("  ", actual, actual.size() - tail, actual.size());
  return text;
}

/// The new blocks of steps, written to the scenario files at the end (ORV_ACCEPT).
std::map<fs::path, std::map<std::size_t, std::pair<std::size_t, Lines>>> accepted;

class Commands : public testing::TestWithParam<Scenario> {
 protected:
  Commands() {
    SetVariable("ORV_REGISTRY_DIR", settings_.path().string());
    SetVariable("XDG_STATE_HOME", settings_.path().string());  // the day's log
    fs::current_path(folder_.path());
    fs::create_directory("examples");
    for (const auto& entry : fs::directory_iterator(kExamples)) {
      if (entry.is_regular_file()) fs::copy_file(entry, "examples" / entry.path().filename());
    }
  }
  ~Commands() override {
    printer_.reset();
    fs::current_path(start_);
    for (const std::wstring& key : kKeys) DeleteRegistryTree(HKEY_CURRENT_USER, key);
    SetVariable("ORV_REGISTRY_DIR", {});
    SetVariable("XDG_STATE_HOME", {});
  }
  static void TearDownTestSuite() {
    for (const auto& [file, blocks] : accepted) {
      Lines lines = ReadLines(file);
      for (auto block = blocks.rbegin(); block != blocks.rend(); ++block) {
        const auto at = lines.begin() + static_cast<std::ptrdiff_t>(block->first);
        const auto& [size, by] = block->second;
        lines.insert(lines.erase(at, at + static_cast<std::ptrdiff_t>(size)), by.begin(), by.end());
      }
      std::string text;
      for (const std::string& line : lines) text += line + '\n';
      WriteBytes(file, text);
    }
  }

  Lines Perform(Lines words);

  const fs::path start_ = fs::current_path();
  TemporaryFolder settings_;
  TemporaryFolder folder_;
  std::optional<TestPrinter> printer_;
};

/// Runs orv; its output, messages and exit code as a scenario shows them.
Lines RunOrv(Lines words) {
  std::map<std::string, std::string> streams;  // the files in place of standard ones
  while (words.size() > 1 && (words.end()[-2] == "<" || words.end()[-2] == ">")) {
    streams[words.end()[-2]] = words.back();
    words.resize(words.size() - 2);
  }
  ProgramResult result =
      RunProgram(kProgram, words, streams.contains("<") ? ReadBytes(streams["<"]) : "");
  if (streams.contains(">")) WriteBytes(streams[">"], std::exchange(result.output, {}));
  std::erase(result.output, '\r');
  std::erase(result.messages, '\r');
  Lines said = ToLines(result.output + result.messages);
  if (result.exitCode != 0) said.push_back('[' + std::to_string(result.exitCode) + ']');
  return said;
}

Lines ReplaceText(const Lines& words) {
  std::string bytes = ReadBytes(words[0]);
  const std::string text = Unescape(words[1]);
  const std::size_t at = bytes.find(text);
  if (at == bytes.npos) return {"[1]"};
  WriteBytes(words[0], bytes.replace(at, text.size(), Unescape(words[2])));
  return {};
}

Lines ListFiles(const Lines&) {
  Lines names;
  for (const auto& entry : fs::directory_iterator(".")) {
    if (entry.is_regular_file()) names.push_back(entry.path().filename().string());
  }
  std::sort(names.begin(), names.end());
  return names;
}

Lines CopyFile(const Lines& words) {
  WriteBytes(words[1], ReadBytes(words[0]));
  return {};
}

/// A command of scenarios besides orv.
struct ScenarioCommand {
  std::string_view name;
  std::size_t arguments;
  Lines (*run)(const Lines& words);
};
constexpr ScenarioCommand kScenarioCommands[] = {
    {"cat", 1, [](const Lines& words) { return ToLines(ReadBytes(words[0])); }},
    {"cp", 2, CopyFile},
    {"cmp", 2,
     [](const Lines& words) {
       return ReadBytes(words[0]) == ReadBytes(words[1]) ? Lines() : Lines{"[1]"};
     }},
    {"replace", 3, ReplaceText},
    {"ls", 0, ListFiles},
};

Lines Commands::Perform(Lines words) {
  const std::string name = words.at(0);
  words.erase(words.begin());
  if (name == "orv") return RunOrv(std::move(words));
  if (name == "printer" && words.size() == 1) {
    printer_.emplace(Utf8ToWide(words[0]), kTestDriver);
    fs::create_directory("models");
    fs::copy_file(kModel, fs::path("models") / ToPath(kTestConfigName));
    return {};
  }
  for (const ScenarioCommand& command : kScenarioCommands) {
    if (command.name == name && command.arguments == words.size()) return command.run(words);
  }
  ADD_FAILURE() << "no such command, or not with these arguments: " << name;
  return {};
}

TEST_P(Commands, PrintWhatTheScenarioExpects) {
  const Scenario& scenario = GetParam();
  const std::string file = scenario.file.string();
  bool hasRun = false;
  for (const auto& [number, text, block] : scenario.steps) {
    const auto line = static_cast<int>(number);
    const testing::ScopedTrace trace(file.c_str(), line, text);
    const Lines words = SplitWords(text.substr(2));
    if (text.starts_with('>')) {
      const std::string bytes = ToBytes(block);
      WriteBytes(words.at(0), words.back() == "UTF-16" ? Utf16Bytes(Utf8ToWide(bytes)) : bytes);
      continue;
    }
    hasRun = hasRun || words.at(0) == "orv";
    const Lines actual = Perform(words);
    if (Matches(
            block, actual, [](const std::string& each) { return each == kAny; }, LineMatches)) {
      continue;
    }
    ADD_FAILURE_AT(file.c_str(), line) << Difference(block, actual);
    if (std::getenv("ORV_ACCEPT") != nullptr)
      accepted[scenario.file][number] = {block.size(), actual};
  }
  if (!hasRun) ADD_FAILURE_AT(file.c_str(), static_cast<int>(scenario.line)) << "no command of orv";
}

/// Such as "xml_GetsValuesByPath".
std::string ScenarioName(const testing::TestParamInfo<Scenario>& scenario) {
  std::string name = scenario.param.file.stem().string() + '_';
  bool isStart = true;
  for (const char sign : scenario.param.heading) {
    const bool isLetter = std::isalnum(static_cast<unsigned char>(sign)) != 0;
    if (isLetter) name += isStart ? static_cast<char>(std::toupper(sign)) : sign;
    isStart = !isLetter;
  }
  return name;
}

INSTANTIATE_TEST_SUITE_P(All, Commands, testing::ValuesIn(ReadScenarios()), ScenarioName);

}  // namespace
}  // namespace orv::test
