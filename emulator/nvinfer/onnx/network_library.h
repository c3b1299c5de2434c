// Finds and loads libemulated_board_onnx.so.
#ifndef EMULATED_BOARD_NVINFER_ONNX_NETWORK_LIBRARY_H
#define EMULATED_BOARD_NVINFER_ONNX_NETWORK_LIBRARY_H

#include <memory>
#include <string_view>

#include "nvinfer/onnx/onnx_network.h"

namespace emulated_board::nvinfer {

// As LoadOnnxNetwork. The library is in the same folder as the one that contains this code. If the build had
// no OpenVINO, the exception says how to get it. Once loaded the library stays, as OpenVINO's threads do.
std::unique_ptr<OnnxNetwork> load_onnx_network(std::string_view file, const enhance_depth_onnx::Model& model,
                                               const OnnxSettings& settings);

}  // namespace emulated_board::nvinfer

#endif  // EMULATED_BOARD_NVINFER_ONNX_NETWORK_LIBRARY_H
