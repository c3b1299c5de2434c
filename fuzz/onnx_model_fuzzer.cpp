// Any bytes as an ONNX model: the project's reader refuses them in a clause or gives an account that keeps
// its promises. What it accepts goes on to the emulated TensorRT and so to OpenVINO, which must answer with
// an engine or one line.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>
#include <string_view>

#include <NvInferRuntime.h>

#include "onnx/onnx_model.h"

namespace {

void expect(bool condition) {
  if (!condition) {
    std::abort();
  }
}

class OneLineLogger final : public nvinfer1::ILogger {
 public:
  void log(Severity /*severity*/, char const* message) noexcept override {
    const std::string_view text = message;
    ++lines;
    expect(!text.empty() && text.find('\n') == std::string_view::npos);
  }
  int lines = 0;
};

// The whole way, for models that the reader takes. Only their reading: OpenVINO compiles them when they run.
void deserialize(std::string_view file) {
  OneLineLogger logger;
  const std::unique_ptr<nvinfer1::IRuntime> runtime(nvinfer1::createInferRuntime(logger));
  const std::unique_ptr<nvinfer1::ICudaEngine> engine(
      runtime->deserializeCudaEngine(file.data(), file.size()));
  expect((engine == nullptr) == (logger.lines == 1));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view file(reinterpret_cast<const char*>(data), size);
  try {
    const enhance_depth_onnx::Model model = enhance_depth_onnx::read_model(file);
    for (const auto* tensors : {&model.inputs, &model.outputs}) {
      for (const enhance_depth_onnx::Tensor& tensor : *tensors) {
        if (tensor.shape) {
          expect(std::all_of(tensor.shape->begin(), tensor.shape->end(),
                             [](auto dimension) { return dimension >= -1; }));
        }
      }
    }
    expect(model.operators.size() <= enhance_depth_onnx::kMaximumNodes);
  } catch (const enhance_depth_onnx::DamagedFile& error) {
    expect(!std::string_view(error.what()).empty());
    return 0;
  }
  if (enhance_depth_onnx::begins_like_a_model(file.substr(0, 4096))) {
    deserialize(file);
  }
  return 0;
}
