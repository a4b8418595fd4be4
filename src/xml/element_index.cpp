#include "xml/element_index.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <new>
#include <utility>

#include "platform/pages.h"

namespace orv {
namespace {

std::size_t ByteSize(int entries) {
  return static_cast<std::size_t>(entries) * sizeof(ElementEntry);
}

}  // namespace

void ElementIndex::Reset(int capacity) {
  count_ = 1;
  deleted_ = 0;
  if (capacity_ != 0) (*this)[0] = {};  // valid even if the next step throws
  Grow(capacity);
  (*this)[0] = {};
}

int ElementIndex::Release(int entry) {
  ElementEntry& element = (*this)[entry];
  const int next = element.next;
  element.next = deleted_;
  element.levelFlags = kElementDeleted;
  deleted_ = entry;
  return next;
}

void ElementIndex::Grow(int capacity) {
  if (capacity <= capacity_) return;
  const int lastSegment = capacity_ == 0 ? 0 : (capacity_ - 1) >> kSegmentBits;
  const auto limit = static_cast<std::int64_t>(lastSegment + 2) << kSegmentBits;
  capacity = static_cast<int>(std::min<std::int64_t>(capacity, limit));

  const int neededSegment = (capacity - 1) >> kSegmentBits;
  if (static_cast<int>(segments_.size()) <= neededSegment) {
    segments_.resize(static_cast<std::size_t>(neededSegment) * 2 + 4);
  }
  // Full segments have their final size; only the last one and the new one are allocated.
  for (int s = lastSegment; s <= neededSegment; ++s) {
    const int first = s << kSegmentBits;
    const int entries = std::min(capacity - first, kSegmentEntries);
    const int used = std::clamp(capacity_ - first, 0, kSegmentEntries);
    if (used == entries) continue;
    Segment segment(static_cast<ElementEntry*>(std::malloc(ByteSize(entries))));
    if (segment == nullptr) throw std::bad_alloc();
    if (entries == kSegmentEntries) PopulatePages(segment.get(), ByteSize(entries));
    if (used > 0) std::memcpy(segment.get(), SegmentAt(s).get(), ByteSize(used));
    SegmentAt(s) = std::move(segment);
  }
  capacity_ = capacity;
}

void ElementIndex::Trim() {
  const int kept = count_ + count_ / 8 + 8;
  if (capacity_ - count_ <= count_ / 4 || kept >= capacity_) return;
  const int last = (kept - 1) >> kSegmentBits;
  for (int s = (capacity_ - 1) >> kSegmentBits; s > last; --s) SegmentAt(s) = nullptr;
  Segment& segment = SegmentAt(last);
  const int entries = kept - (last << kSegmentBits);
  void* const smaller = std::realloc(segment.get(), ByteSize(entries));
  if (smaller != nullptr) {
    static_cast<void>(segment.release());
    segment.reset(static_cast<ElementEntry*>(smaller));
  }
  capacity_ = kept;
}

void ElementIndex::Assign(const ElementIndex& other) {
  Clear();
  const int capacity = std::max(other.count_, 8);
  while (capacity_ < capacity) Grow(capacity);
  for (int first = 0; first < other.count_; first += kSegmentEntries) {
    const int entries = std::min(other.count_ - first, kSegmentEntries);
    std::memcpy(&(*this)[first], &other[first], ByteSize(entries));
  }
  count_ = other.count_;
  deleted_ = other.deleted_;
}

void ElementIndex::Clear() {
  segments_.clear();
  capacity_ = 0;
  count_ = 1;
  deleted_ = 0;
}

}  // namespace orv
