// Device memory. A device pointer is an address in a range of the address space that is reserved and never
// accessible, so that a program that touches it faults; the contents lie in host memory elsewhere, to which
// only the board translates. Fresh memory holds kPoison bytes; a margin on both sides of the contents notices
// a network that writes outside.
#ifndef EMULATED_BOARD_DEVICE_DEVICE_MEMORY_H
#define EMULATED_BOARD_DEVICE_DEVICE_MEMORY_H

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <map>
#include <memory>

namespace emulated_board {

// Contents of device memory from some address to the end of its allocation; null outside of all allocations.
struct DeviceRange {
  std::byte* contents = nullptr;
  std::size_t size = 0;
};

class DeviceMemory {
 public:
  static constexpr std::size_t kCapacity = std::size_t{2} << 30;
  // As a float 1.5e16: no value that a program could take for a result, or that a conversion turns into 0.
  static constexpr int kPoison = 0x5A;

  // A device pointer to `size` bytes (1 or more), or null when that much is not left.
  void* allocate(std::size_t size);

  // Whether the address is the start of an allocation.
  bool is_allocation(const void* address) const;

  // Takes the start of an allocation. Ends the process when something was written outside it.
  void release(void* address);

  DeviceRange find(const void* address) const;

  // Whether the address is a device address at all, allocated or not.
  bool reserved(const void* address) const;

  // Memory that is in use without an address. False, and nothing is taken, when that much is not left.
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
  // Addresses that belong to the process and lead nowhere.
  class AddressRange {
   public:
    AddressRange() = default;
    ~AddressRange();
    AddressRange(const AddressRange&) = delete;
    AddressRange& operator=(const AddressRange&) = delete;
    // The first address that an allocation may have; 0 when the process has none left.
    std::uintptr_t reserve();

   private:
    void* start_ = nullptr;
  };
  std::uintptr_t find_gap(std::size_t span) const;

  AddressRange addresses_;
  std::uintptr_t base_ = 0;
  // Where the search for a gap begins: a released address is not soon given out again.
  std::uintptr_t next_ = 0;
  std::map<std::uintptr_t, Allocation> allocations_;
  std::size_t allocated_bytes_ = 0;
  std::size_t set_aside_bytes_ = 0;
};

}  // namespace emulated_board

#endif  // EMULATED_BOARD_DEVICE_DEVICE_MEMORY_H
