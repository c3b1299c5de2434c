// How many inputs ONNX's own operators need.
#ifndef ENHANCE_DEPTH_ONNX_OPERATOR_INPUTS_H
#define ENHANCE_DEPTH_ONNX_OPERATOR_INPUTS_H

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace enhance_depth_onnx {

// The least number of inputs of the operator `type` in that version of ONNX's own operators, those that may
// be left unnamed included; 1 for types that are not in the table, which is what most operators need.
std::size_t required_inputs(std::string_view type, std::int64_t operator_set);

}  // namespace enhance_depth_onnx

#endif  // ENHANCE_DEPTH_ONNX_OPERATOR_INPUTS_H
