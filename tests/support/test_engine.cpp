#include "support/test_engine.h"

namespace test_support {
namespace {

std::string to_text(const Shape& shape) {
  std::string text;
  for (const std::int64_t extent : shape) {
    text += (text.empty() ? "[" : ", ") + std::to_string(extent);
  }
  return text.empty() ? "[]" : text + "]";
}

std::string to_text(const char* name, const TestRange& range) {
  return std::string(name) + " = { min = " + to_text(range.min) + ", opt = " + to_text(range.max) +
         ", max = " + to_text(range.max) + " }\n";
}

}  // namespace

TestProfile planar_profile(std::int64_t height, std::int64_t width) {
  return {{{1, 3, 16, 16}, {1, 3, height, width}}, {{1, 1, 16, 16}, {1, 1, height, width}}};
}

TestTensor rgb_tensor() { return {"rgb", "input", "uint8", {1, 3, -1, -1}}; }
TestTensor dep_tensor() { return {"dep", "input", "float", {1, 1, -1, -1}}; }
TestTensor pred_tensor() { return {"pred", "output", "float", {1, 1, -1, -1}}; }
TestTensor conf_tensor() { return {"confidence_output", "output", "float", {1, 1, -1, -1}}; }

std::string TestEngine::text() const {
  std::string text = "format = \"enhance-depth-emulated-engine\"\nversion = 1\nnetwork = \"" + network +
                     "\"\n[parameters]\n" + parameters + "\n";
  for (const TestTensor& tensor : tensors) {
    text += "[[tensor]]\nname = \"" + tensor.name + "\"\ndirection = \"" + tensor.direction +
            "\"\ntype = \"" + tensor.type + "\"\nshape = " + to_text(tensor.shape) + "\n";
  }
  for (const TestProfile& profile : profiles) {
    text += "[[profile]]\n" + to_text("rgb", profile.rgb) + to_text("dep", profile.dep);
  }
  return text;
}

TestEngine three_tensor_engine() {
  TestEngine engine;
  engine.tensors.pop_back();
  return engine;
}

TestEngine interleaved_engine() {
  TestEngine engine;
  engine.tensors[0].shape = {-1, -1, 3};
  engine.profiles = {planar_profile(480, 640)};
  engine.profiles[0].rgb = {{16, 16, 3}, {480, 640, 3}};
  return engine;
}

TestEngine small_output_engine() {
  TestEngine engine;
  engine.tensors[2].shape = {1, 1, 7, 9};
  engine.tensors[3].shape = {1, 1, 3, 5};
  return engine;
}

}  // namespace test_support
