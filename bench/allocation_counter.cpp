// Replaces, for the whole program, the two forms of `operator new` that all others call, and the matching
// forms of `operator delete`.
#include "allocation_counter.h"

#include <cstdlib>
#include <new>

#include "emulated_board/control.h"

namespace {

thread_local std::int64_t count = 0;

void* checked(void* memory) {
  if (memory == nullptr) {
    throw std::bad_alloc();
  }
  if (!emulated_board::inside()) {
    ++count;
  }
  return memory;
}

}  // namespace

void* operator new(std::size_t size) { return checked(std::malloc(size != 0 ? size : 1)); }

void* operator new(std::size_t size, std::align_val_t alignment) {
  const auto step = static_cast<std::size_t>(alignment);
  return checked(std::aligned_alloc(step, (size + step - 1) / step * step));
}

void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }
void operator delete(void* memory, std::align_val_t) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t, std::align_val_t) noexcept { std::free(memory); }

namespace enhance_depth_bench {

std::int64_t allocations() { return count; }

}  // namespace enhance_depth_bench
