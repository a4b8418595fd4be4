#include "tools/orv/common/option_values.h"

#include <algorithm>
#include <cmath>

#include "base/utf8.h"
#include "config/values.h"
#include "tools/orv/common/output.h"
#include "tools/orv/common/spelling.h"

namespace orv::tool {

CLI::Validator InRange(int least, int most) {
  return CLI::Validator(
      [least, most](std::string& text) {
        double number = 0;
        if (!CLI::detail::lexical_cast(text, number)) return std::string();
        if (number != std::trunc(number)) return text + " is no whole number";
        if (number >= least && number <= most) return std::string();
        return text + " is not in the range " + std::to_string(least) + " to " +
               std::to_string(most);
      },
      "");
}

CLI::Validator OneOf(std::vector<std::string> words, const char* name) {
  return CLI::Validator(
      [words = std::move(words)](std::string& text) {
        const std::wstring given = ToWide(text);
        std::vector<std::wstring> wide;
        for (const std::string& word : words) {
          wide.push_back(ToWide(word));
          if (!EqualsIgnoreCase(wide.back(), given)) continue;
          text = word;
          return std::string();
        }
        const std::vector<std::wstring_view> views(wide.begin(), wide.end());
        return text + " is none of " + CLI::detail::join(words, ", ") +
               WideToUtf8(DidYouMean(given, views));
      },
      name);
}

}  // namespace orv::tool
