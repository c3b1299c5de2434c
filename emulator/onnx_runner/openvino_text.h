// Translates OpenVINO's types and messages into those of the emulated board.
#ifndef EMULATED_BOARD_ONNX_RUNNER_OPENVINO_TEXT_H
#define EMULATED_BOARD_ONNX_RUNNER_OPENVINO_TEXT_H

#include <optional>
#include <string>
#include <string_view>

#include <NvInferRuntimeBase.h>
#include <openvino/core/partial_shape.hpp>
#include <openvino/core/type/element_type.hpp>

namespace emulated_board::nvinfer {

// The element type for its number in an ONNX model; dynamic for an unknown number.
ov::element::Type to_element_type(int onnx_type);

// std::nullopt for types that TensorRT does not have.
std::optional<nvinfer1::DataType> to_data_type(const ov::element::Type& type);

// std::nullopt for a shape of unknown rank or with more dimensions than TensorRT supports. Unknown dimensions
// are -1.
std::optional<nvinfer1::Dims> to_dims(const ov::PartialShape& shape);

// The sentences of an exception's text in one line, without places in OpenVINO's source.
std::string one_line(std::string_view text);

}  // namespace emulated_board::nvinfer

#endif  // EMULATED_BOARD_ONNX_RUNNER_OPENVINO_TEXT_H
