#include "device/staging.h"

#include <algorithm>
#include <utility>

namespace emulated_board {

StagingBuffer StagingPool::take(std::size_t size) {
  free_.reserve(kKept);  // so that give_back() need not allocate
  const auto fits = std::find_if(free_.begin(), free_.end(),
                                 [size](const StagingBuffer& buffer) { return buffer.capacity == size; });
  if (fits == free_.end()) {
    return {std::unique_ptr<std::byte[]>(new std::byte[size]), size};
  }
  StagingBuffer buffer = std::move(*fits);
  free_.erase(fits);
  return buffer;
}

void StagingPool::give_back(StagingBuffer buffer) noexcept {
  if (free_.size() == kKept) {
    free_.erase(free_.begin());
  }
  free_.push_back(std::move(buffer));
}

}  // namespace emulated_board
