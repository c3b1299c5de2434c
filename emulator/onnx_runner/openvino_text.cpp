#include "onnx_runner/openvino_text.h"

#include <algorithm>
#include <array>
#include <utility>

namespace emulated_board::nvinfer {

using nvinfer1::DataType;
using nvinfer1::Dims;

ov::element::Type to_element_type(int onnx_type) {
  // Indexed by TensorProto.DataType of onnx.proto.
  static const std::array kTypes{
      ov::element::dynamic, ov::element::f32, ov::element::u8,  ov::element::i8,      ov::element::u16,
      ov::element::i16,     ov::element::i32, ov::element::i64, ov::element::dynamic, ov::element::boolean,
      ov::element::f16,     ov::element::f64, ov::element::u32, ov::element::u64,     ov::element::dynamic,
      ov::element::dynamic, ov::element::bf16};
  const auto index = static_cast<std::size_t>(onnx_type);
  return index < kTypes.size() ? kTypes[index] : ov::element::dynamic;
}

std::optional<DataType> to_data_type(const ov::element::Type& type) {
  static const std::array kTypes{
      std::pair{ov::element::f32, DataType::kFLOAT}, std::pair{ov::element::f16, DataType::kHALF},
      std::pair{ov::element::bf16, DataType::kBF16}, std::pair{ov::element::i8, DataType::kINT8},
      std::pair{ov::element::u8, DataType::kUINT8},  std::pair{ov::element::i32, DataType::kINT32},
      std::pair{ov::element::i64, DataType::kINT64}, std::pair{ov::element::boolean, DataType::kBOOL},
  };
  const auto found =
      std::find_if(kTypes.begin(), kTypes.end(), [&](const auto& entry) { return type == entry.first; });
  if (found == kTypes.end()) {
    return std::nullopt;
  }
  return found->second;
}

std::optional<Dims> to_dims(const ov::PartialShape& shape) {
  if (shape.rank().is_dynamic() || shape.size() > Dims::MAX_DIMS) {
    return std::nullopt;
  }
  Dims dims{};
  for (const ov::Dimension& dimension : shape) {
    dims.d[dims.nbDims++] = dimension.is_static() ? dimension.get_length() : -1;
  }
  return dims;
}

std::string one_line(std::string_view text) {
  // Lines with nothing but a place in OpenVINO's source or a reference to its documentation.
  constexpr std::array<std::string_view, 6> kNoise{"Exception from ", "Check '",        "FrontEnd API failed",
                                                   "Summary:",        "To facilitate ", "Details:"};
  constexpr std::string_view kBlank = " \t-";
  constexpr std::size_t kLongest = 500;
  std::string joined;
  while (!text.empty()) {
    const std::size_t end = std::min(text.find('\n'), text.size());
    std::string_view line = text.substr(0, end);
    text.remove_prefix(std::min(end + 1, text.size()));
    line.remove_prefix(std::min(line.find_first_not_of(kBlank), line.size()));
    const auto is_noise = [line](std::string_view start) { return line.substr(0, start.size()) == start; };
    if (line.empty() || std::any_of(kNoise.begin(), kNoise.end(), is_noise)) {
      continue;
    }
    joined.append(joined.empty() ? "" : " ").append(line);
  }
  std::replace_if(
      joined.begin(), joined.end(), [](unsigned char c) { return c < 0x20 || c == 0x7F; }, '?');
  if (joined.size() > kLongest) {
    joined.replace(kLongest, std::string::npos, "...");
  }
  return joined.empty() ? "no reason given" : joined;
}

}  // namespace emulated_board::nvinfer
