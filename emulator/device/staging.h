// Buffers for the sources of host-to-device copies, which are captured when the copy is queued. Buffers are
// reused, so that processing frame after frame does not allocate.
#ifndef EMULATED_BOARD_DEVICE_STAGING_H
#define EMULATED_BOARD_DEVICE_STAGING_H

#include <cstddef>
#include <memory>
#include <vector>

namespace emulated_board {

struct StagingBuffer {
  std::unique_ptr<std::byte[]> data;
  std::size_t capacity = 0;
};

class StagingPool {
 public:
  // A buffer of at least `size` bytes. Throws std::bad_alloc.
  StagingBuffer take(std::size_t size);
  void give_back(StagingBuffer buffer) noexcept;

 private:
  static constexpr std::size_t kKept = 8;
  std::vector<StagingBuffer> free_;
};

}  // namespace emulated_board

#endif  // EMULATED_BOARD_DEVICE_STAGING_H
