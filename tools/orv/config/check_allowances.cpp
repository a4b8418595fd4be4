#include <algorithm>
#include <string_view>
#include <vector>

#include "config/values.h"
#include "orv/xml/line_index.h"
#include "tools/orv/common/spelling.h"
#include "tools/orv/config/check.h"
#include "tools/orv/config/check_properties.h"
#include "tools/orv/config/check_rules.h"

namespace orv::tool {
namespace {

constexpr std::wstring_view kCommentStart = L"<!--";
constexpr std::wstring_view kCommentEnd = L"-->";
constexpr std::wstring_view kMarker = L"orv-check";
constexpr std::wstring_view kAllow = L"allow";
constexpr std::wstring_view kSeparators = L" \t\r\n,:";

/// A rule that a comment allows, and the range of lines.
struct Allowance {
  std::wstring_view name;
  int offset;  ///< of the name
  int firstLine;
  int lastLine;
  bool isUsed = false;
};

/// Calls `use(start, end)` with the content of every comment; the text need not be well-formed.
template <typename Use>
void ForEachComment(std::wstring_view text, Use use) {
  for (std::size_t at = text.find(kCommentStart); at != text.npos;
       at = text.find(kCommentStart, at)) {
    at += kCommentStart.size();
    const std::size_t end = text.find(kCommentEnd, at);
    if (end == text.npos) return;
    use(at, end);
    at = end;
  }
}

/// What is between the separators.
std::vector<std::wstring_view> WordsOf(std::wstring_view text) {
  std::vector<std::wstring_view> words;
  std::size_t end = 0;
  for (std::size_t at; (at = text.find_first_not_of(kSeparators, end)) != text.npos;) {
    end = std::min(text.find_first_of(kSeparators, at), text.size());
    words.push_back(text.substr(at, end - at));
  }
  return words;
}

std::vector<Allowance> FindAllowances(std::wstring_view text) {
  std::vector<Allowance> found;
  const LineIndex lines(text);
  const std::size_t root = text.find(L"<xmlData");
  ForEachComment(text, [&](std::size_t start, std::size_t end) {
    const std::wstring_view inside = text.substr(start, end - start);
    const std::vector<std::wstring_view> words = WordsOf(inside);
    if (words.empty() || !EqualsIgnoringAsciiCase(words[0], kMarker)) return;
    const bool isForAll = end < root && root != text.npos;
    const int firstLine = isForAll ? 0 : lines.Find(static_cast<int>(start)).line;
    const int lastLine = lines.Find(static_cast<int>(isForAll ? text.size() : end)).line + 1;
    const auto add = [&](std::wstring_view name) {
      found.push_back({name, static_cast<int>(name.data() - text.data()), firstLine, lastLine});
    };
    const bool allows = words.size() > 1 && EqualsIgnoringAsciiCase(words[1], kAllow);
    if (allows && words.size() > 2) {
      std::for_each(words.begin() + 2, words.end(), add);
    } else if (allows || inside.find(L':') != inside.npos) {  // otherwise it can be a sentence
      add({words.front().data(), words.back().data() + words.back().size()});
    }
  });
  return found;
}

}  // namespace

std::wstring_view NearestRule(std::wstring_view name) {
  std::vector<std::wstring_view> names;
  for (const CheckRule& rule : kCheckRules) names.push_back(rule.name);
  return Nearest(name, names);
}

std::wstring AllowanceFault(std::wstring_view name) {
  const CheckRule* const rule = FindCheckRule(name);
  if (rule == nullptr) return L"unknown rule '" + std::wstring(name) + L"'";
  if (rule->severity == Severity::kError) {
    return std::wstring(name) + L" is an error: the file would still not load";
  }
  return {};
}

std::vector<Finding> WithoutAllowed(const std::wstring& text, std::vector<Finding> findings) {
  std::vector<Allowance> allowances = FindAllowances(text);
  if (allowances.empty()) return findings;
  const LineIndex lines(text);
  std::erase_if(findings, [&](const Finding& finding) {
    if (finding.rule->severity == Severity::kError) return false;
    const int line = lines.Find(finding.offset).line;
    bool isAllowed = false;
    for (Allowance& allowance : allowances) {
      if (allowance.name != finding.rule->name || line < allowance.firstLine ||
          line > allowance.lastLine) {
        continue;
      }
      allowance.isUsed = true;
      isAllowed = true;
    }
    return isAllowed;
  });

  Findings result;
  for (Finding& finding : findings) result.Add(std::move(finding));
  for (const Allowance& allowance : allowances) {
    const std::wstring fault = AllowanceFault(allowance.name);
    if (EqualsIgnoringAsciiCase(allowance.name.substr(0, kMarker.size()), kMarker)) {
      result.Report(L"bad-allowance", allowance.offset, L"the comment names no rule to allow",
                    L"orv-check: allow RULE", kNothing);
    } else if (!fault.empty()) {
      const std::wstring nearest(FindCheckRule(allowance.name) == nullptr
                                     ? NearestRule(allowance.name)
                                     : std::wstring_view());
      result.Report(L"bad-allowance", allowance.offset, fault, L"the names of warnings",
                    nearest.empty() ? kNothing : nearest);
    } else if (!allowance.isUsed) {
      result.Report(L"unused-allowance", allowance.offset,
                    L"no " + std::wstring(allowance.name) + L" finding here to allow",
                    L"the rules found here", kNothing);
    }
  }
  return result.Take();
}

}  // namespace orv::tool
