#pragma once

#include <array>
#include <memory>
#include <utility>

#include "orv/platform/lock.h"

namespace orv {

/// Objects that are used by one call after another, so that calls need not allocate again what the
/// objects hold. `thread_local` objects would do the same, but each one with a destructor keeps the
/// library loaded until its thread ends.
template <typename T>
class ReusedObjects {
 public:
  ReusedObjects() = default;
  ReusedObjects(const ReusedObjects&) = delete;
  ReusedObjects& operator=(const ReusedObjects&) = delete;
#if defined(_WIN32)
  /// Runs only when the library is unloaded. On Linux destructors also run at process exit, while
  /// other threads may be in a call, so there the objects are never freed.
  ~ReusedObjects() {
    for (T* const object : free_) delete object;
  }
#endif

  /// Owns one of the objects during a call.
  class Use {
   public:
    explicit Use(ReusedObjects* all) : all_(all), object_(all->Take()) {}
    Use(const Use&) = delete;
    Use& operator=(const Use&) = delete;
    ~Use() { all_->Return(std::move(object_)); }

    T& operator*() const { return *object_; }

   private:
    ReusedObjects* const all_;
    std::unique_ptr<T> object_;
  };

 private:
  /// A used object, or a new one if all are in use.
  std::unique_ptr<T> Take() {
    {
      const LockGuard guard(lock_);
      for (T*& object : free_) {
        if (object != nullptr) return std::unique_ptr<T>(std::exchange(object, nullptr));
      }
    }
    return std::make_unique<T>();
  }

  void Return(std::unique_ptr<T> used) {
    const LockGuard guard(lock_);
    for (T*& object : free_) {
      if (object == nullptr) {
        object = used.release();
        return;
      }
    }
  }

  Lock lock_;
  std::array<T*, 16> free_{};
};

}  // namespace orv
