#pragma once

#include <string>

#include "tools/orv/config/check_rules.h"

/// The rules of `orv config check` for readers.

namespace orv::tool {

/// One rule in full.
std::string RuleAsText(const CheckRule& rule);
/// All rules, one a line.
std::string RulesAsText();
/// One rule, or all for null, as an array of objects.
std::string RulesAsJson(const CheckRule* only);
/// All rules in full as a Markdown document.
std::string RulesAsMarkdown();

const wchar_t* NameOf(Severity severity);

}  // namespace orv::tool
