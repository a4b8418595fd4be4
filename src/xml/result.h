#pragma once

#include <algorithm>
#include <cstdint>
#include <limits>
#include <string>

/// The result record: a small XML text with one empty element for each finding.

namespace orv {

/// The meaning of an entry's value and number, which determines the names of their attributes.
enum ResultFlags : int {
  kResultCount = 1,
  kResultType = 2,
  kResultNumber = 4,
  kResultEncoding = 8,
  kResultLength = 16,
  kResultMessage = 32,
};

/// Adds an entry to a result record, unless that is full. The value, if not null, becomes the
/// attribute that the flags name, by default "tagname"; the number likewise, by default "offset"
/// unless it is -1; `number2` becomes "offset2" unless it is -1.
void AddResult(std::wstring& result, const wchar_t* name, const wchar_t* value, int flags,
               int number = -1, int number2 = -1);

/// An offset in a file as a number of an entry: offsets are limited to the range of an int.
inline int ToResultNumber(std::int64_t offset) {
  constexpr std::int64_t kMax = std::numeric_limits<int>::max();
  return static_cast<int>(std::min(offset, kMax));
}

/// Whether a result record takes no more entries. Its size is limited to bound the cost of a flood
/// of errors.
bool IsResultFull(const std::wstring& result);

/// The offset of the first error of the parse in a result record; -1 without an error, or for
/// one that concerns the whole document.
int ErrorOffset(const std::wstring& result);

/// A result record in words: the first error of the parse, and what happened to the file.
std::wstring ResultText(const std::wstring& result);

}  // namespace orv
