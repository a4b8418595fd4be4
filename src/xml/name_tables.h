#pragma once

#include <array>
#include <cstddef>
#include <span>
#include <string_view>

#include "xml/names.h"

namespace orv {

struct NamedValue {
  int value;
  std::wstring_view name;
};

/// A compile-time hash table of lower-case names in `kBuckets` zero-terminated buckets. The bucket
/// is the sum of the name's code units modulo `kBuckets`. An entry is the length of the name and
/// its value, each with a fixed number of decimal digits, then the name.
template <std::size_t kBuckets, int kLengthDigits, int kValueDigits, std::size_t kSize>
class NameBuckets {
 public:
  /// Converts the names to lower case and keeps their order within a bucket.
  template <std::size_t kCount>
  constexpr explicit NameBuckets(const std::array<NamedValue, kCount>& names) {
    std::array<std::size_t, kCount> buckets{};
    for (std::size_t i = 0; i < kCount; ++i) buckets[i] = BucketOf(names[i].name);
    int at = 0;
    for (std::size_t bucket = 0; bucket < kBuckets; ++bucket) {
      starts_[bucket] = static_cast<unsigned short>(at);
      for (std::size_t i = 0; i < kCount; ++i) {
        if (buckets[i] != bucket) continue;
        PutNumber(static_cast<int>(names[i].name.size()), kLengthDigits, &at);
        PutNumber(names[i].value, kValueDigits, &at);
        for (const wchar_t unit : names[i].name) text_[at++] = ToLowerAscii(unit);
      }
      text_[at++] = 0;
    }
  }

  /// The code units that a table of these names needs.
  static constexpr std::size_t SizeFor(std::span<const NamedValue> names) {
    std::size_t size = kBuckets;
    for (const NamedValue& entry : names) size += kLengthDigits + kValueDigits + entry.name.size();
    return size;
  }

  constexpr const wchar_t* Bucket(std::size_t bucket) const { return text_ + starts_[bucket]; }

  /// The value of the first entry with this lower-case name; -1 when there is none.
  constexpr int Find(std::wstring_view lowerName) const {
    const wchar_t* entry = Bucket(BucketOf(lowerName));
    while (*entry != 0) {
      const int length = Number(entry, kLengthDigits);
      const wchar_t* name = entry + kLengthDigits + kValueDigits;
      if (lowerName == std::wstring_view(name, name + length)) {
        return Number(entry + kLengthDigits, kValueDigits);
      }
      entry = name + length;
    }
    return -1;
  }

 private:
  static constexpr std::size_t BucketOf(std::wstring_view name) {
    std::size_t sum = 0;
    for (const wchar_t unit : name) sum += static_cast<char16_t>(ToLowerAscii(unit));
    return sum % kBuckets;
  }

  constexpr void PutNumber(int number, int digits, int* at) {
    for (int i = digits - 1; i >= 0; --i, number /= 10) {
      text_[*at + i] = static_cast<wchar_t>(L'0' + number % 10);
    }
    *at += digits;
  }

  static constexpr int Number(const wchar_t* digits, int count) {
    int number = 0;
    for (int i = 0; i < count; ++i) number = number * 10 + (digits[i] - L'0');
    return number;
  }

  wchar_t text_[kSize] = {};
  unsigned short starts_[kBuckets] = {};
};

/// The code point of a named character reference, given its lower-case name; -1 for an unknown
/// name. Kept for compatibility: names that differ only in case are one name, that of the
/// upper-case letter.
int FindEntity(std::wstring_view lowerName);

/// The same, but letter case counts, as it does in HTML.
int FindExactEntity(std::wstring_view name);

/// One of the 130 buckets of the entity table, zero-terminated. An entry is the length of the name
/// as one decimal digit, the code point as four, then the name.
const wchar_t* EntityBucket(std::size_t bucket);

inline constexpr std::size_t kEncodingBuckets = 155;

/// The Windows code page of an encoding, given its lower-case name; -1 for an unknown name.
int FindEncoding(std::wstring_view lowerName);

/// One of the buckets of the encoding table, zero-terminated. An entry is the length of the name as
/// two decimal digits, the code page as five, then the name.
const wchar_t* EncodingBucket(std::size_t bucket);

}  // namespace orv
