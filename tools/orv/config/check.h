#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "tools/orv/config/check_rules.h"

/// `orv config check`: reports everything wrong in a configuration file, including what the loader
/// ignores silently, and explains its rules.

namespace orv::tool {

inline constexpr wchar_t kNothing[] = L"nothing";
inline constexpr wchar_t kOneOfThem[] = L"one of them";

/// A change of the text: `length` code units at `offset` become `text`.
struct TextEdit {
  int offset;
  int length;
  std::wstring text;
};

struct Finding {
  const CheckRule* rule;
  int offset;                        ///< in the text
  std::wstring text;                 ///< what is wrong
  std::wstring allowed;              ///< what is allowed there
  std::wstring proposal;             ///< what to write instead; `kNothing` to remove it
  std::vector<TextEdit> edits = {};  ///< follow the proposal; empty when it is a description
};

/// The text after the edits, which do not overlap.
std::wstring Edited(std::wstring text, std::vector<TextEdit> edits);

/// Checks a configuration's text. `fileName` is the file's name without its folder; empty when it
/// has none. XML errors come first, causes before consequences, then the other findings in the
/// order of the text. Findings that the file itself allows are left out.
std::vector<Finding> CheckConfig(const std::wstring& text, const std::wstring& fileName);

// --- Allowing rules ---
//
// A comment `<!-- orv-check: allow RULE, RULE -->` removes these findings from its own lines and
// the next line; before the root element, from the whole file.

/// Removes the findings that the text allows, and adds one for each comment that allows an unknown
/// rule, an error or a finding that does not exist.
std::vector<Finding> WithoutAllowed(const std::wstring& text, std::vector<Finding> findings);

/// Why a rule cannot be allowed; empty when it can.
std::wstring AllowanceFault(std::wstring_view name);

/// The rule name nearest to a word; empty when none is near.
std::wstring_view NearestRule(std::wstring_view name);

// --- Explaining rules ---

/// One rule in full.
std::string RuleAsText(const CheckRule& rule);
/// All rules, one per line.
std::string RulesAsText();
/// One rule, or all for null, as an array of objects.
std::string RulesAsJson(const CheckRule* only);
/// All rules in full as a Markdown document.
std::string RulesAsMarkdown();

const wchar_t* NameOf(Severity severity);

}  // namespace orv::tool
