#include "engine/tensor_text.h"

namespace enhance_depth {

std::string dims_to_string(const nvinfer1::Dims64& dims) {
  std::string text = "(";
  for (int i = 0; i < dims.nbDims; ++i) {
    if (i > 0) {
      text += ", ";
    }
    text += std::to_string(dims.d[i]);
  }
  return text + ")";
}

const char* dtype_to_string(nvinfer1::DataType type) {
  switch (type) {
    case nvinfer1::DataType::kFLOAT:
      return "FLOAT";
    case nvinfer1::DataType::kHALF:
      return "HALF";
    case nvinfer1::DataType::kINT8:
      return "INT8";
    case nvinfer1::DataType::kINT32:
      return "INT32";
    case nvinfer1::DataType::kBOOL:
      return "BOOL";
    case nvinfer1::DataType::kUINT8:
      return "UINT8";
    case nvinfer1::DataType::kFP8:
      return "FP8";
    case nvinfer1::DataType::kBF16:
      return "BF16";
    case nvinfer1::DataType::kINT64:
      return "INT64";
    default:
      return "UNKNOWN";
  }
}

}  // namespace enhance_depth
