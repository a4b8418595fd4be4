#pragma once

#include <string>
#include <string_view>

namespace orv {

/// Copies a text in the wake of something that reads it, so that a text beyond the processor's
/// caches comes out of memory once and not twice. Whatever happens, the copy is whole at the end.
class TrailingCopy {
 public:
  /// `to` is empty, has room for all of `from`, and is no part of it.
  TrailingCopy(std::wstring_view from, std::wstring* to) : from_(from), to_(to) {}
  TrailingCopy(const TrailingCopy&) = delete;
  TrailingCopy& operator=(const TrailingCopy&) = delete;
  ~TrailingCopy() { To(from_.size()); }

  /// Goes on up to an offset of the text.
  void To(std::size_t offset) {
    const std::size_t copied = to_->size();
    if (offset > copied) to_->append(from_, copied, offset - copied);
  }

 private:
  std::wstring_view from_;
  std::wstring* to_;
};

}  // namespace orv
