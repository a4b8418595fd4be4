#pragma once

#include <cstddef>
#include <string>
#include <string_view>

/// Texts that take a naive parser quadratic time or a deep stack.

namespace orv::test {

struct HostileText {
  const char* name;
  std::wstring_view start;
  std::wstring_view first;  ///< repeated
  std::wstring_view then;   ///< repeated as often, after all of the first
  std::wstring_view end;

  /// The text with about this many units.
  std::wstring Make(std::size_t size) const {
    const std::size_t count = size / (first.size() + then.size());
    std::wstring text(start);
    text.reserve(size + start.size() + end.size());
    for (const std::wstring_view part : {first, then}) {
      for (std::size_t i = 0; i < count; ++i) text += part;
    }
    return text += end;
  }
};

inline constexpr HostileText kHostileTexts[] = {
    {"less_than_signs", L"", L"<", L"", L""},
    {"empty_tags", L"", L"<>", L"", L""},
    {"lone_end_tags", L"", L"</x>", L"", L""},
    {"start_tags_in_start_tags", L"", L"<a ", L"", L""},
    {"begun_comments", L"", L"<!-", L"", L""},
    {"begun_declarations", L"<!DOCTYPE r [", L"<!x", L"", L""},
    {"unended_elements", L"", L"<a>", L"", L""},
    {"nested_elements", L"", L"<a>", L"</a>", L""},
    {"nested_and_never_ended", L"", L"<a>", L"</b>", L""},
    {"every_second_ended_in_capitals", L"", L"<a><b>", L"</A>", L""},
    {"wide_names_of_either_case", L"", L"<\u00e9A>", L"</\u00e9a>", L""},
    {"unended_in_a_root", L"<r>", L"<a><b>", L"", L"</r>"},
    {"many_children", L"<r>", L"<a/>", L"", L"</r>"},
    {"one_long_attribute", L"<r a='", L"x\"", L"", L"'/>"},
    {"quotes_alone", L"<r ", L"'", L"", L"/>"},
    {"blanks_and_values_alone", L"<r a=", L" ", L"'' ", L"/>"},
    {"names_alone_and_end_tags", L"<", L"a=", L"</b>", L">"},
};

}  // namespace orv::test
