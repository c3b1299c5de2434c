// The engine that TensorRT's builder would make from an ONNX model, as far as a program can tell: the same
// tensors, with the profiles in the model's metadata or one that admits every usual size.
#ifndef EMULATED_BOARD_NVINFER_ONNX_ONNX_ENGINE_H
#define EMULATED_BOARD_NVINFER_ONNX_ONNX_ENGINE_H

#include <string_view>

#include "nvinfer/engine_description.h"

namespace emulated_board::nvinfer {

// `file` is anything that begins like a model. Throws std::exception with one line that says why no engine
// can be made.
EngineDescription make_onnx_engine(std::string_view file);

}  // namespace emulated_board::nvinfer

#endif  // EMULATED_BOARD_NVINFER_ONNX_ONNX_ENGINE_H
