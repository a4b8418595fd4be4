#pragma once

#include <string>

/// The result record: a small XML text with one empty element a finding.

namespace orv {

/// What an entry's value and number mean, which names their attributes.
enum ResultFlags : int {
  kResultCount = 1,
  kResultType = 2,
  kResultNumber = 4,
  kResultEncoding = 8,
  kResultLength = 16,
  kResultMessage = 64,
};

/// Adds an entry to a result text, unless that has 1,000 units already: a flood of errors does not
/// make it grow. The value, when not null, becomes the attribute that the flags name, or "tagname";
/// the number likewise, or "offset" unless -1; `number2` becomes "offset2" unless -1.
void AddResult(std::wstring& result, const wchar_t* name, const wchar_t* value, int flags,
               int number = -1, int number2 = -1);

/// Whether a result text takes no more entries.
bool IsResultFull(const std::wstring& result);

}  // namespace orv
