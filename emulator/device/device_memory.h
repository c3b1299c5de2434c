// Device memory. A device pointer is an address in a reserved range that is never accessible, so that a
// program that dereferences it faults; the contents are elsewhere in host memory, and only the board
// translates addresses. New memory is filled with kPoison. Guard bytes on both sides of the contents detect a
// network that writes out of bounds.
#ifndef EMULATED_BOARD_DEVICE_DEVICE_MEMORY_H
#define EMULATED_BOARD_DEVICE_DEVICE_MEMORY_H

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <map>
#include <memory>

namespace emulated_board {

// Contents of device memory from some address to the end of its allocation; null outside any allocation.
struct DeviceRange {
  std::byte* contents = nullptr;
  std::size_t size = 0;
};

class DeviceMemory {
 public:
  static constexpr std::size_t kCapacity = std::size_t{2} << 30;
  // As a float 1.5e16, which nobody mistakes for a result and no conversion turns into 0.
  static constexpr int kPoison = 0x5A;

  // Returns a device pointer to `size` bytes (1 or more), or null if that much is not free.
  void* allocate(std::size_t size);

  // Whether the address is the start of an allocation.
  bool is_allocation(const void* address) const;

  // `address` is the start of an allocation. Aborts the process if the guard bytes were overwritten.
  void release(void* address);

  DeviceRange find(const void* address) const;

  // Whether the address is in the device's range, allocated or not.
  bool reserved(const void* address) const;

  // Ends the reservation of the addresses. Those that were given out keep their meaning.
  void give_back_addresses() { addresses_.give_back(); }

  // Reserves memory without an address. Returns false, and takes nothing, if that much is not free.
  bool set_aside(std::size_t size);
  void give_back(std::size_t size) { set_aside_bytes_ -= size; }

  std::size_t free_bytes() const { return kCapacity - allocated_bytes_ - set_aside_bytes_; }
  int allocations() const { return static_cast<int>(allocations_.size()); }
  std::size_t allocated_bytes() const { return allocated_bytes_; }

 private:
  struct FreeStorage {
    void operator()(std::byte* storage) const { std::free(storage); }
  };
  struct Allocation {
    std::size_t size = 0;
    std::unique_ptr<std::byte, FreeStorage> storage;  // margin, contents, margin
  };
  // A reserved, inaccessible range of the address space.
  class AddressRange {
   public:
    AddressRange() = default;
    ~AddressRange() { give_back(); }
    AddressRange(const AddressRange&) = delete;
    AddressRange& operator=(const AddressRange&) = delete;
    // Returns the first address for allocations, or 0 if the process has no address space left.
    std::uintptr_t reserve();
    void give_back();

   private:
    void* start_ = nullptr;
  };
  std::uintptr_t find_gap(std::size_t span) const;

  AddressRange addresses_;
  std::uintptr_t base_ = 0;
  // Where the search for a gap begins; it moves on, so that a released address is not soon reused.
  std::uintptr_t next_ = 0;
  std::map<std::uintptr_t, Allocation> allocations_;
  std::size_t allocated_bytes_ = 0;
  std::size_t set_aside_bytes_ = 0;
};

}  // namespace emulated_board

#endif  // EMULATED_BOARD_DEVICE_DEVICE_MEMORY_H
