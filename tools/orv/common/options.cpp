#include "tools/orv/common/options.h"

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <map>

#include "base/utf8.h"
#include "config/values.h"
#include "platform/files.h"
#include "tools/orv/common/input.h"
#include "tools/orv/common/output.h"
#include "tools/orv/common/spelling.h"

namespace orv::tool {
namespace {

bool isForced = false;

std::map<const CLI::Option*, std::vector<std::string>>& WordsByOption() {
  static std::map<const CLI::Option*, std::vector<std::string>> words;
  return words;
}

/// Replaces a value by the equal word of the list; returns the message when there is none. `kind`
/// is what the words are.
std::string ChooseWord(const std::string& kind, const std::vector<std::string>& words,
                       std::string* value) {
  const std::wstring given = ToWide(*value);
  std::vector<std::wstring> wide;
  for (const std::string& word : words) {
    wide.push_back(ToWide(word));
    if (!EqualsIgnoringAsciiCase(wide.back(), given)) continue;
    *value = word;
    return {};
  }
  const std::vector<std::wstring_view> views(wide.begin(), wide.end());
  return "unknown " + kind + " '" + *value + "'; choose one of " + CLI::detail::join(words, ", ") +
         WideToUtf8(DidYouMean(given, views));
}

}  // namespace

void RefuseEmptyInput(const std::string& path) {
  if (path.empty()) Fail(kUnreadable, CannotRead({}));
}

CLI::Option* AddOutputFile(CLI::App* command, const char* name, std::string* path,
                           const std::string& meaning) {
  AddForceFlag(command);
  return command->add_option(name, *path, meaning + "; - is standard output")
      ->type_name("FILE")
      ->each([](const std::string& given) {
        if (given.empty()) Fail(kUnreadable, CannotWrite({}));
      });
}

bool TakesFileNames(const CLI::Option* option) {
  constexpr std::string_view kTypes[] = {"FILE", "FOLDER", "RECORD"};
  const std::string type = option->get_type_name();
  return std::ranges::any_of(kTypes,
                             [&type](std::string_view name) { return type.starts_with(name); });
}

void AddForceFlag(CLI::App* command) {
  if (command->get_option_no_throw("--force") != nullptr) return;
  command->add_flag("--force", isForced, "Replace files that exist");
}

void RequireReplaceable(const std::wstring& path) {
  std::error_code error;
  if (isForced || path == kStandardStream ||
      !std::filesystem::is_regular_file(ToPath(path), error)) {
    return;
  }
  Fail(kUnreadable, path + L" exists and was not changed; --force replaces it");
}

CLI::Option* AddPrinterArgument(CLI::App* command, std::string* name) {
  return command->add_option("PRINTER", *name, "The printer's name")->required();
}

CLI::Option* AddConfigFolder(CLI::App* command, std::string* folder) {
  return command
      ->add_option("--config-dir", *folder, "The folder of the printers' configuration files")
      ->type_name("FOLDER")
      ->each(RefuseEmptyInput)
      ->default_str(
          "that of ORV_CONFIG_DIR, the program's own, or share/orv/configurations beside it");
}

CLI::Option* AddJsonFlag(CLI::App* command, bool* asJson, const std::string& meaning) {
  return command->add_flag("--json", *asJson, meaning);
}

CLI::Validator InRange(int min, int max) {
  return CLI::Validator(
      [min, max](std::string& text) {
        if (text.empty()) return std::string("a number is missing");
        double number = 0;
        if (!CLI::detail::lexical_cast(text, number)) return text + " is not a number";
        if (number != std::trunc(number)) return text + " is not a whole number";
        if (number < min || number > max) {
          return text + " is not in the range " + std::to_string(min) + " to " +
                 std::to_string(max);
        }
        int whole = 0;  // the parser takes no exponents, and a leading zero for an octal number
        if (CLI::detail::lexical_cast(text, whole) && whole == number) return std::string();
        return "write " + text + " without leading zeros, a point or an exponent";
      },
      "");
}

CLI::Validator NotEmpty(const char* what) {
  return CLI::Validator(
      [what](std::string& text) {
        return text.empty() ? std::string(what) + " is missing" : std::string();
      },
      "");
}

CLI::Option* AllowWords(CLI::Option* option, std::vector<std::string> words, const char* name) {
  WordsByOption()[option] = std::move(words);
  return option->type_name(name)->transform(CLI::Validator(
      [option, kind = CLI::detail::to_lower(name)](std::string& value) {
        return ChooseWord(kind, AllowedWords(option), &value);
      },
      ""));
}

const std::vector<std::string>& AllowedWords(const CLI::Option* option) {
  static const std::vector<std::string> kNone;
  const auto found = WordsByOption().find(option);
  return found != WordsByOption().end() ? found->second : kNone;
}

}  // namespace orv::tool
