#pragma once

#include <string_view>

namespace orv {

inline constexpr int kEncodingBuckets = 155;

/// The Windows code page of an encoding, given its name in lower case; -1 for an unknown one.
int FindEncoding(std::wstring_view lowerName);

/// One of the table's buckets, zero-terminated: the length of each name as two decimal digits, the
/// code page as five, and the name.
const wchar_t* EncodingBucket(int bucket);

}  // namespace orv
