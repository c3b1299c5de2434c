// The optimization profiles of an engine made of an ONNX model.
#ifndef EMULATED_BOARD_NVINFER_ONNX_PROFILES_H
#define EMULATED_BOARD_NVINFER_ONNX_PROFILES_H

#include <map>
#include <string>
#include <vector>

#include "nvinfer/engine_description.h"

namespace emulated_board::nvinfer {

using Metadata = std::map<std::string, std::string, std::less<>>;

// Metadata "enhance_depth.profile.<number>.<input>.<min, opt or max>" with a shape such as "1x3x480x640"
// define the profiles, numbered from 0; "opt" may be left out. Without them there is one profile, in which
// dynamic dimensions range from 1 to kLargestDimension and fixed dimensions are fixed. Throws
// std::invalid_argument.
std::vector<ProfileDescription> make_profiles(const std::vector<TensorDescription>& tensors,
                                              const Metadata& metadata);

inline constexpr int kLargestDimension = 8192;

}  // namespace emulated_board::nvinfer

#endif  // EMULATED_BOARD_NVINFER_ONNX_PROFILES_H
