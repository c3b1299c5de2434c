// The interface between the emulated TensorRT and the library that runs ONNX models for it:
// libemulated_board_onnx.so, which alone needs OpenVINO and is loaded with the first model.
#ifndef EMULATED_BOARD_NVINFER_ONNX_ONNX_NETWORK_H
#define EMULATED_BOARD_NVINFER_ONNX_ONNX_NETWORK_H

#include <string>
#include <string_view>
#include <vector>

#include "nvinfer/engine_description.h"
#include "nvinfer/networks/network.h"
#include "onnx/onnx_model.h"

namespace emulated_board::nvinfer {

class OnnxNetwork : public Network {
 public:
  // The inputs and then the outputs, each in the model's order. run() takes them in this order.
  virtual const std::vector<TensorDescription>& tensors() const = 0;
};

struct OnnxSettings {
  int threads = 0;           // 0: one per core
  std::string cache_folder;  // where compiled models are kept; empty: nowhere
};

// Loads the model in `file`; `model` describes it. The caller owns the result. Throws std::exception with one
// line that says why the model cannot be run.
using LoadOnnxNetwork = OnnxNetwork* (*)(std::string_view file, const enhance_depth_onnx::Model& model,
                                         const OnnxSettings& settings);

// The function's name in the library.
inline constexpr char kLoadOnnxNetwork[] = "emulated_board_load_onnx_network";

}  // namespace emulated_board::nvinfer

#endif  // EMULATED_BOARD_NVINFER_ONNX_ONNX_NETWORK_H
