#pragma once

#include <string_view>

namespace orv {

/// The code point of a named character reference, given its name in lower case; -1 if unknown. Kept
/// for compatibility: names that differ in case alone are one name, the upper-case one's.
int FindEntity(std::wstring_view lowerName);

/// One of the table's 130 buckets, each zero-terminated: a name stands in the one numbered by the
/// sum of its lower-case units modulo 130. An entry is the name's length as one decimal digit, the
/// code point as four, and the name.
const wchar_t* EntityBucket(int bucket);

}  // namespace orv
