#pragma once

#include <span>
#include <string>
#include <string_view>

/// What somebody may have meant by a name that is not known.

namespace orv::tool {

/// The candidate nearest to a word, letter case apart: at most a third of its letters added, left
/// out, replaced or swapped with their neighbours. Empty when none is that near.
std::wstring_view Nearest(std::wstring_view word, std::span<const std::wstring_view> candidates);

/// The same as the end of a message: "; did you mean NAME?", or nothing.
std::wstring DidYouMean(std::wstring_view word, std::span<const std::wstring_view> candidates);

}  // namespace orv::tool
