#include "tests/faults.h"

#include <atomic>
#include <cstdlib>
#include <new>

namespace orv::test::faults {
namespace {

constinit Plan plan = {};
constinit bool isArmed = false;
constinit int counted = 0;

}  // namespace

constinit static std::atomic<long> liveBlocks{0};

Armed::Armed(const Plan& wanted) {
  plan = wanted;
  counted = 0;
  isArmed = true;
}

Armed::~Armed() { isArmed = false; }

bool Armed::HasFired() const { return counted >= plan.n; }

int Armed::Count() const { return counted; }

bool Fails(Kind kind) {
  if (!isArmed || kind != plan.kind) return false;
  ++counted;
  return plan.mode == Mode::kOnce ? counted == plan.n : counted >= plan.n;
}

long LiveBlocks() { return liveBlocks; }

}  // namespace orv::test::faults

namespace {

using orv::test::faults::Allocate;
using orv::test::faults::liveBlocks;

// Not inlined, so that the compiler does not match the allocation in one function with the release
// in the other.
[[gnu::noinline]] void* New(std::size_t size) {
  void* const block = Allocate(size != 0 ? size : 1);
  if (block != nullptr) ++liveBlocks;
  return block;
}
[[gnu::noinline]] void Release(void* block) {
  if (block != nullptr) --liveBlocks;
  std::free(block);
}
void* NewOrThrow(std::size_t size) {
  void* const block = New(size);
  if (block == nullptr) throw std::bad_alloc();
  return block;
}

}  // namespace

void* operator new(std::size_t size) { return NewOrThrow(size); }
void* operator new[](std::size_t size) { return NewOrThrow(size); }
void* operator new(std::size_t size, const std::nothrow_t&) noexcept { return New(size); }
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept { return New(size); }
void operator delete(void* block) noexcept { Release(block); }
void operator delete[](void* block) noexcept { Release(block); }
void operator delete(void* block, std::size_t) noexcept { Release(block); }
void operator delete[](void* block, std::size_t) noexcept { Release(block); }
