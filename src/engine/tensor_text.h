// Tensor shapes and types as texts for log lines and messages.
#ifndef ENHANCE_DEPTH_ENGINE_TENSOR_TEXT_H
#define ENHANCE_DEPTH_ENGINE_TENSOR_TEXT_H

#include <string>

#include <NvInferRuntime.h>

namespace enhance_depth {

// "(1, 3, -1, -1)"; "()" for a shape without dimensions.
std::string dims_to_string(const nvinfer1::Dims64& dims);

// "FLOAT", "UINT8" and so on; "UNKNOWN" for a type that the library has no name for.
const char* dtype_to_string(nvinfer1::DataType type);

}  // namespace enhance_depth

#endif  // ENHANCE_DEPTH_ENGINE_TENSOR_TEXT_H
