#pragma once

#include <span>
#include <string>
#include <string_view>

/// Suggestions for misspelt names.

namespace orv::tool {

/// The candidate nearest to a word, compared case-insensitively, with at most a third of the
/// letters inserted, deleted, replaced or swapped with a neighbour. If there is none, the first
/// candidate that starts with the word, if the word has at least three letters. Otherwise empty.
std::wstring_view Nearest(std::wstring_view word, std::span<const std::wstring_view> candidates);

/// The nearest candidate, or `otherwise` if there is none.
std::wstring NearestOr(std::wstring_view word, std::span<const std::wstring_view> candidates,
                       const wchar_t* otherwise);

/// The nearest candidate as the end of a message: "; did you mean NAME?", or nothing.
std::wstring DidYouMean(std::wstring_view word, std::span<const std::wstring_view> candidates);

}  // namespace orv::tool
