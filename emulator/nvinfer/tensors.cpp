#include "nvinfer/tensors.h"

#include <algorithm>
#include <array>

namespace emulated_board::nvinfer {

namespace {

using nvinfer1::DataType;

struct TypeFacts {
  DataType type;
  std::string_view name;
  unsigned bits;
};

constexpr std::array kTypes{
    TypeFacts{DataType::kFLOAT, "float", 32}, TypeFacts{DataType::kHALF, "half", 16},
    TypeFacts{DataType::kINT8, "int8", 8},    TypeFacts{DataType::kINT32, "int32", 32},
    TypeFacts{DataType::kBOOL, "bool", 8},    TypeFacts{DataType::kUINT8, "uint8", 8},
    TypeFacts{DataType::kFP8, "fp8", 8},      TypeFacts{DataType::kBF16, "bf16", 16},
    TypeFacts{DataType::kINT64, "int64", 64}, TypeFacts{DataType::kINT4, "int4", 4},
};

}  // namespace

std::optional<DataType> data_type_named(std::string_view name) {
  const auto found = std::find_if(kTypes.begin(), kTypes.end(),
                                  [name](const TypeFacts& facts) { return facts.name == name; });
  if (found == kTypes.end()) {
    return std::nullopt;
  }
  return found->type;
}

std::string data_type_names() {
  std::string names;
  for (const TypeFacts& facts : kTypes) {
    names.append(names.empty() ? "" : ", ").append(facts.name);
  }
  return names;
}

std::string to_text(const nvinfer1::Dims& shape) {
  std::string text = "(";
  for (int i = 0; i < std::min(shape.nbDims, nvinfer1::Dims::MAX_DIMS); ++i) {
    text += (i == 0 ? "" : ", ") + std::to_string(shape.d[i]);
  }
  return text + ")";
}

nvinfer1::Dims no_shape() {
  nvinfer1::Dims shape{};
  shape.nbDims = -1;
  return shape;
}

bool is_concrete(const nvinfer1::Dims& shape) {
  return shape.nbDims >= 0 &&
         std::all_of(shape.d, shape.d + shape.nbDims, [](auto dimension) { return dimension >= 0; });
}

std::optional<std::size_t> element_count(const nvinfer1::Dims& shape) {
  std::size_t count = 1;
  bool fits = true;
  for (int i = 0; i < shape.nbDims; ++i) {
    if (shape.d[i] == 0) {
      return 0;
    }
    fits = fits && !__builtin_mul_overflow(count, static_cast<std::size_t>(shape.d[i]), &count);
  }
  if (!fits) {
    return std::nullopt;
  }
  return count;
}

std::optional<std::size_t> byte_count(const nvinfer1::Dims& shape, DataType type) {
  const auto elements = element_count(shape);
  const auto facts = std::find_if(kTypes.begin(), kTypes.end(),
                                  [type](const TypeFacts& entry) { return entry.type == type; });
  std::size_t bits = 0;
  if (!elements || facts == kTypes.end() || __builtin_mul_overflow(*elements, facts->bits, &bits)) {
    return std::nullopt;
  }
  return bits / 8 + (bits % 8 != 0 ? 1 : 0);
}

}  // namespace emulated_board::nvinfer
