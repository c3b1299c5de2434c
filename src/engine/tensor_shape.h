// Questions about a tensor's shape.
#ifndef ENHANCE_DEPTH_ENGINE_TENSOR_SHAPE_H
#define ENHANCE_DEPTH_ENGINE_TENSOR_SHAPE_H

#include <array>
#include <cstdint>

#include <NvInferRuntime.h>

namespace enhance_depth {

// Number of elements: the product of the extents; 0 if one of them is less than 1, 1 if there are none.
std::uint64_t volume_from_dims(const nvinfer1::Dims64& dims);

// True if an extent is negative, which is how TensorRT marks one that is not fixed yet.
bool dims_have_dynamic_dim(const nvinfer1::Dims64& dims);

// True if `dims` has exactly the given extents.
bool dims_match(const nvinfer1::Dims64& dims, const std::array<int, 4>& extents);
bool dims_match_3d(const nvinfer1::Dims64& dims, const std::array<int, 3>& extents);

}  // namespace enhance_depth

#endif  // ENHANCE_DEPTH_ENGINE_TENSOR_SHAPE_H
