#pragma once

#include <string>
#include <vector>

#include "tools/orv/config/check_properties.h"

/// Findings that a file says are meant: a comment `<!-- orv-check: allow RULE, RULE -->` takes them
/// away on its own lines and on the line below, in front of the root element in the whole file.

namespace orv::tool {

/// Takes the findings that the text allows out of them, and adds one for each comment that allows
/// what it cannot or what is not there.
std::vector<Finding> WithoutAllowed(const std::wstring& text, Findings* findings);

/// What is wrong with the name of a rule that somebody wants to allow; empty when nothing is.
std::wstring AllowanceFault(std::wstring_view name);

/// The name of the rule that somebody may have meant; empty when there is none.
std::wstring_view NearestRule(std::wstring_view name);

}  // namespace orv::tool
