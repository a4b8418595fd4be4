#pragma once

#include <span>
#include <string>
#include <string_view>

/// What somebody may have meant by a name that is not known.

namespace orv::tool {

/// The candidate nearest to a word, letter case apart: at most a third of its letters added, left
/// out, replaced or swapped with their neighbours; else the first one that the word begins, if it
/// has three letters or more. Empty when there is neither.
std::wstring_view Nearest(std::wstring_view word, std::span<const std::wstring_view> candidates);

/// The same, or other words where nothing is near.
std::wstring NearestOr(std::wstring_view word, std::span<const std::wstring_view> candidates,
                       const wchar_t* otherwise);

/// The same as the end of a message: "; did you mean NAME?", or nothing.
std::wstring DidYouMean(std::wstring_view word, std::span<const std::wstring_view> candidates);

}  // namespace orv::tool
