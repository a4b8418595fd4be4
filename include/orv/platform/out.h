#pragma once

#include <memory>

namespace orv {

/// Lets a function store a pointer in an owner; `Out` makes it. The owner takes the pointer over at
/// the end of the call's full expression, so the rest of that expression must not use the owner.
/// What it owned before is freed then, also if the function stores nothing. The owner is of a
/// single object: not of an array or a handle.
template <typename Value, typename Deleter>
class OutPointer {
 public:
  /// Stores the result in `owner`, which must outlive this object.
  explicit OutPointer(std::unique_ptr<Value, Deleter>& owner) : owner_(owner) {}
  OutPointer(const OutPointer&) = delete;
  OutPointer& operator=(const OutPointer&) = delete;
  ~OutPointer() { owner_.reset(stored_); }

  /// Where the function stores the pointer.
  operator Value**() { return &stored_; }

 private:
  std::unique_ptr<Value, Deleter>& owner_;
  Value* stored_ = nullptr;
};

/// Passes an owner to a parameter in which a function returns a pointer that the caller owns:
///
///     orv::OwnedBitmap page;
///     if (orv::LoadPng(L"label.png", orv::Out(page)) == Ok) Use(page->GetWidth());
template <typename Value, typename Deleter>
OutPointer<Value, Deleter> Out(std::unique_ptr<Value, Deleter>& owner) {
  return OutPointer<Value, Deleter>(owner);
}

}  // namespace orv
