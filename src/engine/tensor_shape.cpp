#include "engine/tensor_shape.h"

#include <algorithm>

namespace enhance_depth {
namespace {

template <std::size_t N>
bool has_extents(const nvinfer1::Dims64& dims, const std::array<int, N>& extents) {
  return dims.nbDims == static_cast<int>(N) && std::equal(extents.begin(), extents.end(), dims.d);
}

}  // namespace

std::uint64_t volume_from_dims(const nvinfer1::Dims64& dims) {
  std::uint64_t volume = 1;
  for (int i = 0; i < dims.nbDims; ++i) {
    if (dims.d[i] < 1) {
      return 0;
    }
    volume *= static_cast<std::uint64_t>(dims.d[i]);
  }
  return volume;
}

bool dims_have_dynamic_dim(const nvinfer1::Dims64& dims) {
  return std::any_of(dims.d, dims.d + std::max(dims.nbDims, 0),
                     [](std::int64_t extent) { return extent < 0; });
}

bool dims_match(const nvinfer1::Dims64& dims, const std::array<int, 4>& extents) {
  return has_extents(dims, extents);
}

bool dims_match_3d(const nvinfer1::Dims64& dims, const std::array<int, 3>& extents) {
  return has_extents(dims, extents);
}

}  // namespace enhance_depth
