// Host buffers that the host may read as a whole image.
#ifndef ENHANCE_DEPTH_ENGINE_HOST_IMAGE_H
#define ENHANCE_DEPTH_ENGINE_HOST_IMAGE_H

#include <algorithm>
#include <cstddef>
#include <vector>

namespace enhance_depth {

// Makes `buffer` hold `count` elements, all zero. The host expects `pixels` of them, and an engine may
// deliver fewer: the storage then continues with zeros up to `pixels`, so that reading a whole image stays
// inside it.
template <typename T>
void resize_host_image(std::vector<T>& buffer, std::size_t count, std::size_t pixels) {
  buffer.clear();
  buffer.resize(std::max(count, pixels));
  buffer.resize(count);
}

}  // namespace enhance_depth

#endif  // ENHANCE_DEPTH_ENGINE_HOST_IMAGE_H
