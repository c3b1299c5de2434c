#include "device/device_memory.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <utility>

#include <sys/mman.h>

namespace emulated_board {

namespace {

constexpr std::size_t kAddressSpace = 4 * DeviceMemory::kCapacity;
// Allocations start at multiples of this and are at least this far apart.
constexpr std::size_t kGranularity = std::size_t{64} << 10;
constexpr std::size_t kMargin = 64;
constexpr int kMarginByte = 0xC5;

std::size_t span_of(std::size_t size) {
  return (size + kGranularity - 1) / kGranularity * kGranularity + kGranularity;
}

bool margin_intact(const std::byte* margin) {
  return std::all_of(margin, margin + kMargin,
                     [](std::byte value) { return value == std::byte{kMarginByte}; });
}

}  // namespace

std::uintptr_t DeviceMemory::AddressRange::reserve() {
  void* start = mmap(nullptr, kAddressSpace, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
  if (start == MAP_FAILED) {
    return 0;
  }
  start_ = start;
  const auto address = reinterpret_cast<std::uintptr_t>(start);
  return (address + kGranularity - 1) / kGranularity * kGranularity;
}

void DeviceMemory::AddressRange::give_back() {
  if (void* const start = std::exchange(start_, nullptr)) {
    munmap(start, kAddressSpace);
  }
}

void* DeviceMemory::allocate(std::size_t size) {
  if (size > free_bytes()) {
    return nullptr;
  }
  if (base_ == 0) {
    next_ = base_ = addresses_.reserve();
  }
  if (base_ == 0) {
    return nullptr;
  }
  const std::uintptr_t address = find_gap(span_of(size));
  if (address == 0) {
    return nullptr;
  }

  const std::size_t whole = (size + 2 * kMargin + kMargin - 1) / kMargin * kMargin;
  Allocation allocation{
      size, decltype(Allocation::storage)(static_cast<std::byte*>(std::aligned_alloc(kMargin, whole)))};
  std::byte* storage = allocation.storage.get();
  if (storage == nullptr) {
    return nullptr;
  }
  std::memset(storage, kMarginByte, kMargin);
  std::memset(storage + kMargin, kPoison, size);
  std::memset(storage + kMargin + size, kMarginByte, kMargin);

  allocations_.emplace(address, std::move(allocation));
  allocated_bytes_ += size;
  next_ = address + span_of(size);
  return reinterpret_cast<void*>(address);
}

std::uintptr_t DeviceMemory::find_gap(std::size_t span) const {
  const std::uintptr_t end = base_ + kAddressSpace - kGranularity;
  for (std::uintptr_t candidate : {next_, base_}) {
    for (auto following = allocations_.lower_bound(candidate); candidate + span <= end; ++following) {
      if (following == allocations_.end() || candidate + span <= following->first) {
        return candidate;
      }
      candidate = following->first + span_of(following->second.size);
    }
  }
  return 0;
}

bool DeviceMemory::is_allocation(const void* address) const {
  return allocations_.count(reinterpret_cast<std::uintptr_t>(address)) != 0;
}

void DeviceMemory::release(void* address) {
  const auto found = allocations_.find(reinterpret_cast<std::uintptr_t>(address));
  const std::size_t size = found->second.size;
  const std::byte* storage = found->second.storage.get();
  if (!margin_intact(storage) || !margin_intact(storage + kMargin + size)) {
    std::fprintf(stderr, "emulated board: a network wrote outside the %zu bytes of device memory at %p\n",
                 size, address);
    std::abort();
  }
  allocations_.erase(found);
  allocated_bytes_ -= size;
}

DeviceRange DeviceMemory::find(const void* address) const {
  const auto wanted = reinterpret_cast<std::uintptr_t>(address);
  auto found = allocations_.upper_bound(wanted);
  if (found == allocations_.begin()) {
    return {};
  }
  --found;
  const std::size_t offset = wanted - found->first;
  if (offset >= found->second.size) {
    return {};
  }
  return {found->second.storage.get() + kMargin + offset, found->second.size - offset};
}

bool DeviceMemory::set_aside(std::size_t size) {
  if (size > free_bytes()) {
    return false;
  }
  set_aside_bytes_ += size;
  return true;
}

bool DeviceMemory::reserved(const void* address) const {
  const auto wanted = reinterpret_cast<std::uintptr_t>(address);
  return base_ != 0 && wanted >= base_ && wanted < base_ + kAddressSpace - kGranularity;
}

}  // namespace emulated_board
