#include "library/sweep/allocation_faults.h"

#include <atomic>
#include <cstddef>
#include <cstdlib>
#include <new>

#include <malloc.h>

#include "emulated_board/control.h"

namespace {

thread_local bool armed = false;
thread_local int allocations = 0;
thread_local int failures = 0;
int planned = 0;
bool planned_and_later = false;
allocation_faults::Thrown planned_thrown = allocation_faults::Thrown::kBadAlloc;
std::atomic<long> in_use{0};

void count_bytes(void* memory, long sign) {
  if (!emulated_board::inside()) {
    in_use += sign * static_cast<long>(malloc_usable_size(memory));
  }
}

bool fails_now() {
  if (!armed || emulated_board::inside()) {
    return false;
  }
  ++allocations;
  if (planned == 0 || allocations < planned || (allocations > planned && !planned_and_later)) {
    return false;
  }
  ++failures;
  return true;
}

void* allocate(std::size_t size, std::size_t alignment) {
  if (size == 0) {
    size = 1;
  }
  void* memory = alignment == 0
                     ? std::malloc(size)
                     : std::aligned_alloc(alignment, (size + alignment - 1) / alignment * alignment);
  count_bytes(memory, 1);
  return memory;
}

void release(void* memory) {
  count_bytes(memory, -1);
  std::free(memory);
}

void* allocate_or_throw(std::size_t size, std::size_t alignment) {
  if (fails_now()) {
    if (planned_thrown == allocation_faults::Thrown::kSomethingElse) {
      throw 1;
    }
    throw std::bad_alloc();
  }
  void* memory = allocate(size, alignment);
  if (memory == nullptr) {
    throw std::bad_alloc();
  }
  return memory;
}

void* allocate_or_null(std::size_t size, std::size_t alignment) noexcept {
  return fails_now() ? nullptr : allocate(size, alignment);
}

std::size_t number(std::align_val_t alignment) { return static_cast<std::size_t>(alignment); }

}  // namespace

namespace allocation_faults {

void plan(int nth, bool and_all_later, Thrown thrown) {
  planned = nth;
  planned_and_later = and_all_later;
  planned_thrown = thrown;
  allocations = 0;
  failures = 0;
}

Armed::Armed() { armed = true; }
Armed::~Armed() { armed = false; }

int count() { return allocations; }
int failed() { return failures; }
long bytes_in_use() { return in_use; }

}  // namespace allocation_faults

void* operator new(std::size_t size) { return allocate_or_throw(size, 0); }
void* operator new[](std::size_t size) { return allocate_or_throw(size, 0); }
void* operator new(std::size_t size, std::align_val_t alignment) {
  return allocate_or_throw(size, number(alignment));
}
void* operator new[](std::size_t size, std::align_val_t alignment) {
  return allocate_or_throw(size, number(alignment));
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept { return allocate_or_null(size, 0); }
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept { return allocate_or_null(size, 0); }
void* operator new(std::size_t size, std::align_val_t alignment, const std::nothrow_t&) noexcept {
  return allocate_or_null(size, number(alignment));
}
void* operator new[](std::size_t size, std::align_val_t alignment, const std::nothrow_t&) noexcept {
  return allocate_or_null(size, number(alignment));
}

void operator delete(void* memory) noexcept { release(memory); }
void operator delete[](void* memory) noexcept { release(memory); }
void operator delete(void* memory, std::size_t) noexcept { release(memory); }
void operator delete[](void* memory, std::size_t) noexcept { release(memory); }
void operator delete(void* memory, std::align_val_t) noexcept { release(memory); }
void operator delete[](void* memory, std::align_val_t) noexcept { release(memory); }
void operator delete(void* memory, std::size_t, std::align_val_t) noexcept { release(memory); }
void operator delete[](void* memory, std::size_t, std::align_val_t) noexcept { release(memory); }
void operator delete(void* memory, const std::nothrow_t&) noexcept { release(memory); }
void operator delete[](void* memory, const std::nothrow_t&) noexcept { release(memory); }
