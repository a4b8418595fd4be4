#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <string_view>

/// Memory between inaccessible memory pages, for tests of code that reads and writes at the ends of
/// a buffer: an access past an end crashes the program.

namespace orv::test {

/// The end of a buffer that borders on an inaccessible memory page.
enum class Edge { kBegin, kEnd };
inline constexpr Edge kEdges[] = {Edge::kBegin, Edge::kEnd};

/// Maps memory pages for at least `size` bytes, at least one, between two that cannot be read or
/// written; and unmaps them.
std::span<std::uint8_t> MapGuarded(std::size_t size);
void UnmapGuarded(std::span<std::uint8_t> pages);

/// The same, but single pages are kept for the next call: mapping them takes most of the time of a
/// test with thousands of small buffers. Not thread-safe.
std::span<std::uint8_t> TakeGuarded(std::size_t size);
void ReturnGuarded(std::span<std::uint8_t> pages);

/// A buffer of units at an edge of guarded memory. The remaining bytes are filled with a marker.
template <typename Unit>
class Guarded {
 public:
  static constexpr std::uint8_t kAround = 0xA5;

  Guarded(std::size_t count, Edge edge)
      : pages_(TakeGuarded(count * sizeof(Unit))),
        units_(reinterpret_cast<Unit*>(edge == Edge::kBegin ? pages_.data()
                                                            : pages_.data() + pages_.size()) -
                   (edge == Edge::kBegin ? 0 : count),
               count) {
    std::memset(pages_.data(), kAround, pages_.size());
  }
  Guarded(std::basic_string_view<Unit> text, Edge edge) : Guarded(text.size(), edge) {
    std::ranges::copy(text, units_.begin());
  }
  Guarded& operator=(Guarded&&) = delete;
  ~Guarded() { ReturnGuarded(pages_); }

  Unit* data() const { return units_.data(); }
  std::size_t size() const { return units_.size(); }
  std::basic_string_view<Unit> view() const { return {data(), size()}; }

  /// Whether the bytes around the buffer are unchanged.
  bool IsUntouchedAround() const {
    const auto* const first = reinterpret_cast<const std::uint8_t*>(data());
    const std::uint8_t* const after = first + size() * sizeof(Unit);
    const std::uint8_t* const all = pages_.data();
    const auto isUntouched = [](const std::uint8_t* at, const std::uint8_t* end) {
      return at == end || (*at == kAround && std::memcmp(at, at + 1, end - at - 1) == 0);
    };
    return isUntouched(all, first) && isUntouched(after, all + pages_.size());
  }

 private:
  std::span<std::uint8_t> pages_;
  std::span<Unit> units_;
};

}  // namespace orv::test
