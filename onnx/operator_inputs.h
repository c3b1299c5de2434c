// How many inputs operators need.
#ifndef ENHANCE_DEPTH_ONNX_OPERATOR_INPUTS_H
#define ENHANCE_DEPTH_ONNX_OPERATOR_INPUTS_H

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace enhance_depth_onnx {

// The least number of inputs of the operator `type`, those that may be left unnamed included. `operator_set`
// is the version of ONNX's own operators, whose domain is empty; of theirs, a type that is not known needs 1,
// as most do. Operators of other domains need none, but for some that OpenVINO knows.
std::size_t required_inputs(std::string_view domain, std::string_view type, std::int64_t operator_set);

}  // namespace enhance_depth_onnx

#endif  // ENHANCE_DEPTH_ONNX_OPERATOR_INPUTS_H
