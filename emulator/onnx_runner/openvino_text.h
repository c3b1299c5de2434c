// OpenVINO's types and messages in the words of the emulated board.
#ifndef EMULATED_BOARD_ONNX_RUNNER_OPENVINO_TEXT_H
#define EMULATED_BOARD_ONNX_RUNNER_OPENVINO_TEXT_H

#include <optional>
#include <string>
#include <string_view>

#include <NvInferRuntimeBase.h>
#include <openvino/core/partial_shape.hpp>
#include <openvino/core/type/element_type.hpp>

namespace emulated_board::nvinfer {

// The element type of a number in an ONNX model; dynamic for one that is no number's type.
ov::element::Type to_element_type(int onnx_type);

// Nothing for types that TensorRT has not.
std::optional<nvinfer1::DataType> to_data_type(const ov::element::Type& type);

// Nothing for a shape of unknown rank, or of more dimensions than TensorRT has. Dimensions that are not
// settled are -1.
std::optional<nvinfer1::Dims> to_dims(const ov::PartialShape& shape);

// The sentences of an exception's text in one line, without places in OpenVINO's source.
std::string one_line(std::string_view text);

}  // namespace emulated_board::nvinfer

#endif  // EMULATED_BOARD_ONNX_RUNNER_OPENVINO_TEXT_H
