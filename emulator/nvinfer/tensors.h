// Shapes and element types of tensors, as text and in bytes.
#ifndef EMULATED_BOARD_NVINFER_TENSORS_H
#define EMULATED_BOARD_NVINFER_TENSORS_H

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include <NvInferRuntimeBase.h>

namespace emulated_board::nvinfer {

// "uint8" and so on, as engine descriptions write them.
std::optional<nvinfer1::DataType> data_type_named(std::string_view name);
// All of them in one line, for messages.
std::string data_type_names();

// "(1, 3, 480, 640)".
std::string to_text(const nvinfer1::Dims& shape);

// The invalid shape that queries about unknown tensors return.
nvinfer1::Dims no_shape();

// Whether no dimension is negative.
bool is_concrete(const nvinfer1::Dims& shape);

// The number of elements and bytes of a concrete shape; nothing when it does not fit a size_t.
std::optional<std::size_t> element_count(const nvinfer1::Dims& shape);
std::optional<std::size_t> byte_count(const nvinfer1::Dims& shape, nvinfer1::DataType type);

}  // namespace emulated_board::nvinfer

#endif  // EMULATED_BOARD_NVINFER_TENSORS_H
