#pragma once

#include <cstdlib>
#include <memory>
#include <vector>

#include "xml/elem_pos.h"

namespace orv {

/// The records of a document's elements, in segments of 65,536. Records never move between
/// segments, so an index stays valid while the array grows; a reference does not.
class ElemPosArray {
 public:
  static constexpr int kSegmentBits = 16;
  static constexpr int kSegmentRecords = 1 << kSegmentBits;

  ElemPos& operator[](int index) const {
    return segments_[static_cast<unsigned>(index) >> kSegmentBits].get()[index & kSlotMask];
  }

  /// Records that there is room for.
  int Capacity() const { return capacity_; }

  /// Makes room for at least `capacity` records, whose words hold anything, but begins at most one
  /// new segment: a request that reaches further is cut to the end of that segment.
  void Grow(int capacity);

  /// Gives back what is behind the first `used` records, but for some room to grow, when it is more
  /// than a quarter of what they take.
  void Trim(int used);

  /// Holds copies of the first `count` records of another array, and room for eight at least.
  void Assign(const ElemPosArray& other, int count);

  /// Frees every record.
  void Clear();

  /// The next record that was never used, counted up in `*free`.
  int TakeFree(int* free) {
    if (*free >= capacity_) Grow(capacity_ + capacity_ / 2 + 1);
    return (*free)++;
  }

 private:
  static constexpr int kSlotMask = kSegmentRecords - 1;

  struct Release {
    void operator()(ElemPos* records) const { std::free(records); }
  };
  using Segment = std::unique_ptr<ElemPos, Release>;

  std::vector<Segment> segments_;
  int capacity_ = 0;
};

}  // namespace orv
