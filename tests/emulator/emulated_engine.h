// The engine description that the tests of the emulated board vary, and a test with such an engine ready to
// run.
#ifndef ENHANCE_DEPTH_TESTS_EMULATOR_EMULATED_ENGINE_H
#define ENHANCE_DEPTH_TESTS_EMULATOR_EMULATED_ENGINE_H

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <NvInferRuntime.h>
#include <gtest/gtest.h>

#include "emulated_board/control.h"

namespace emulated_board_tests {

inline constexpr std::string_view kEngine = R"(format = "enhance-depth-emulated-engine"
version = 1
network = "rgb-sum"
[[tensor]]
name = "rgb"
direction = "input"
type = "uint8"
shape = [1, 3, -1, -1]
[[tensor]]
name = "dep"
direction = "input"
type = "float"
shape = [1, 1, -1, -1]
[[tensor]]
name = "pred"
direction = "output"
type = "float"
shape = [1, 1, -1, -1]
[[tensor]]
name = "confidence_output"
direction = "output"
type = "float"
shape = [-1, -1]
[[profile]]
rgb = { min = [1, 3, 2, 2], opt = [1, 3, 4, 4], max = [1, 3, 8, 8] }
dep = { min = [1, 1, 2, 2], opt = [1, 1, 4, 4], max = [1, 1, 8, 8] }
[[profile]]
rgb = { min = [3], opt = [4], max = [5] }
)";

// The engine with one piece of its text replaced by another.
inline std::string engine_with(std::string_view piece, std::string_view replacement) {
  std::string text(kEngine);
  const std::size_t position = text.find(piece);
  EXPECT_NE(position, std::string::npos) << piece;
  return text.replace(position, piece.size(), replacement);
}

class Logger final : public nvinfer1::ILogger {
 public:
  void log(Severity severity, char const* message) noexcept override {
    EXPECT_FALSE(emulated_board::inside());
    severities.push_back(severity);
    last = message;
  }
  std::vector<Severity> severities;
  std::string last;
};

inline nvinfer1::Dims dims(std::initializer_list<std::int64_t> extents) {
  nvinfer1::Dims shape{};
  for (const std::int64_t extent : extents) {
    shape.d[shape.nbDims++] = extent;
  }
  return shape;
}

inline std::vector<std::int64_t> extents(const nvinfer1::Dims& shape) {
  if (shape.nbDims < 0) {
    return {-999};
  }
  return {shape.d, shape.d + shape.nbDims};
}
using Extents = std::vector<std::int64_t>;

// An engine with everything needed to run it.
class EmulatedTensorRT : public ::testing::Test {
 protected:
  void SetUp() override {
    emulated_board::reset();
    ASSERT_EQ(cudaStreamCreate(&stream), cudaSuccess);
    runtime.reset(nvinfer1::createInferRuntime(logger));
    ASSERT_NE(runtime, nullptr);
  }
  void TearDown() override {
    emulated_board::reset();
    context.reset();
    engine.reset();
    runtime.reset();
    for (void* allocation : allocations) {
      EXPECT_EQ(cudaFree(allocation), cudaSuccess);
    }
    EXPECT_EQ(cudaStreamDestroy(stream), cudaSuccess);
    EXPECT_EQ(emulated_board::live_objects(), emulated_board::LiveObjects{});
  }

  void load(const std::string& text) {
    engine.reset(runtime->deserializeCudaEngine(text.data(), text.size()));
    ASSERT_NE(engine, nullptr) << logger.last;
    context.reset(engine->createExecutionContext());
    ASSERT_NE(context, nullptr);
  }

  // Shapes for an image, and memory for all tensors.
  void prepare(std::int64_t height, std::int64_t width) {
    ASSERT_TRUE(context->setInputShape("rgb", dims({1, 3, height, width})));
    ASSERT_TRUE(context->setInputShape("dep", dims({1, 1, height, width})));
    for (int i = 0; i < engine->getNbIOTensors(); ++i) {
      const char* name = engine->getIOTensorName(i);
      std::size_t size = engine->getTensorDataType(name) == nvinfer1::DataType::kFLOAT ? 4 : 1;
      for (const std::int64_t extent : extents(context->getTensorShape(name))) {
        size *= static_cast<std::size_t>(extent);
      }
      tensors[name] = {allocate(size), size};
      ASSERT_TRUE(context->setTensorAddress(name, tensors[name].first));
    }
  }
  void* allocate(std::size_t size) {
    void* data = nullptr;
    EXPECT_EQ(cudaMalloc(&data, size), cudaSuccess);
    allocations.push_back(data);
    return data;
  }
  template <typename Element>
  void upload(const char* name, const std::vector<Element>& values) {
    ASSERT_EQ(values.size() * sizeof(Element), tensors[name].second);
    ASSERT_EQ(cudaMemcpyAsync(tensors[name].first, values.data(), tensors[name].second,
                              cudaMemcpyHostToDevice, stream),
              cudaSuccess);
  }
  std::vector<float> download(const char* name) {
    std::vector<float> values(tensors[name].second / sizeof(float));
    EXPECT_EQ(cudaMemcpyAsync(values.data(), tensors[name].first, tensors[name].second,
                              cudaMemcpyDeviceToHost, stream),
              cudaSuccess);
    EXPECT_EQ(cudaStreamSynchronize(stream), cudaSuccess);
    return values;
  }

  Logger logger;
  cudaStream_t stream = nullptr;
  std::unique_ptr<nvinfer1::IRuntime> runtime;
  std::unique_ptr<nvinfer1::ICudaEngine> engine;
  std::unique_ptr<nvinfer1::IExecutionContext> context;
  std::vector<void*> allocations;
  std::map<std::string, std::pair<void*, std::size_t>> tensors;  // address and bytes
};

}  // namespace emulated_board_tests

#endif  // ENHANCE_DEPTH_TESTS_EMULATOR_EMULATED_ENGINE_H
