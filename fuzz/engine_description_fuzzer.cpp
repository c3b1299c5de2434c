// Any bytes as an engine description: either refused with one line, or a description that is consistent.
#include <cstdint>
#include <cstdlib>
#include <set>
#include <string_view>
#include <variant>

#include "nvinfer/engine_description.h"

using namespace emulated_board::nvinfer;

namespace {

void expect(bool condition) {
  if (!condition) {
    std::abort();
  }
}

void expect_shape(const nvinfer1::Dims& shape, std::int64_t least) {
  expect(shape.nbDims >= 0 && shape.nbDims <= nvinfer1::Dims::MAX_DIMS);
  for (int i = 0; i < shape.nbDims; ++i) {
    expect(shape.d[i] >= least);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const auto parsed = parse_engine_description({reinterpret_cast<const char*>(data), size});
  if (const auto* error = std::get_if<DescriptionError>(&parsed)) {
    expect(!error->message.empty());
    return 0;
  }
  const auto& engine = std::get<EngineDescription>(parsed);
  expect(engine.network != nullptr);
  std::set<std::string_view> names;
  for (const TensorDescription& tensor : engine.tensors) {
    expect(!tensor.name.empty() && names.insert(tensor.name).second);
    expect(tensor.mode == nvinfer1::TensorIOMode::kINPUT || tensor.mode == nvinfer1::TensorIOMode::kOUTPUT);
    expect_shape(tensor.shape, -1);
  }
  for (const ProfileDescription& profile : engine.profiles) {
    for (const auto& [name, range] : profile) {
      expect(names.count(name) == 1);
      expect_shape(range.min, 0);
      expect_shape(range.max, 0);
      expect(range.min.nbDims == range.max.nbDims);
    }
  }
  return 0;
}
