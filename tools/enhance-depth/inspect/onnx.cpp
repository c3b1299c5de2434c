// ONNX models, as far as the contract concerns them.
#include "inspect/onnx.h"

#include <cstddef>
#include <limits>
#include <map>
#include <string>
#include <string_view>

#include "onnx/onnx_model.h"

namespace enhance_depth_tool {
namespace {

// TensorProto.DataType of onnx.proto, by TensorRT's names where TensorRT has the type.
std::string type_name(int elem_type) {
  switch (elem_type) {
    case 1:
      return "FLOAT";
    case 2:
      return "UINT8";
    case 3:
      return "INT8";
    case 4:
      return "UINT16";
    case 5:
      return "INT16";
    case 6:
      return "INT32";
    case 7:
      return "INT64";
    case 8:
      return "STRING";
    case 9:
      return "BOOL";
    case 10:
      return "HALF";
    case 11:
      return "DOUBLE";
    case 12:
      return "UINT32";
    case 13:
      return "UINT64";
    case 16:
      return "BF16";
    default:
      return "UNKNOWN (ONNX type " + std::to_string(elem_type) + ")";
  }
}

TensorInfo describe(const enhance_depth_onnx::Tensor& tensor, Direction direction) {
  TensorInfo info;
  info.name = tensor.name;
  info.direction = direction;
  info.type = tensor.element_type == 0 ? "no tensor" : type_name(tensor.element_type);
  info.shape = tensor.shape;
  return info;
}

// For each graph input, the first operator that uses it as it is, other than a cast or one that uses only its
// shape. An Identity passes its input on. The operators of a graph are in the order in which they run.
std::map<std::string, std::string> computing_operators(const enhance_depth_onnx::Model& model) {
  std::map<std::string, std::string> input_of;  // by value: the graph input that it is
  for (const auto& input : model.inputs) {
    input_of[input.name] = input.name;
  }
  std::map<std::string, std::string> operators;
  for (const auto& [type, inputs, outputs] : model.operators) {
    if (type == "Cast" || type == "Shape" || type == "Size") {
      continue;
    }
    for (const std::string& value : inputs) {
      const auto found = input_of.find(value);
      if (found == input_of.end()) {
        continue;
      }
      if (type != "Identity") {
        operators.emplace(found->second, type);
      } else if (outputs.size() == 1) {
        input_of.emplace(outputs.front(), found->second);
      }
    }
  }
  return operators;
}

std::string_view as_text(const Bytes& file) {
  return {reinterpret_cast<const char*>(file.data()), file.size()};
}

bool begins_like_a_model(const std::filesystem::path& path) {
  constexpr std::size_t kBeginning = 4096;
  return enhance_depth_onnx::begins_like_a_model(as_text(read_beginning(path, kBeginning)));
}

Bytes read_whole(const std::filesystem::path& path) {
  constexpr auto kProtobufLimit = std::numeric_limits<int>::max();
  return read_file(path, "model", kProtobufLimit);
}

}  // namespace

std::optional<ModelInfo> read_onnx(const Bytes& file) {
  ModelInfo info;
  try {
    const enhance_depth_onnx::Model model = enhance_depth_onnx::read_model(as_text(file));
    info.format = "ONNX model";
    if (model.operator_set) {
      info.format += ", operator set " + std::to_string(*model.operator_set);
    }
    const std::map<std::string, std::string> operators = computing_operators(model);
    for (const auto& input : model.inputs) {
      info.tensors.push_back(describe(input, Direction::kInput));
      const auto found = operators.find(input.name);
      if (found != operators.end()) {
        info.tensors.back().used_uncast_by = found->second;
      }
    }
    for (const auto& output : model.outputs) {
      info.tensors.push_back(describe(output, Direction::kOutput));
    }
  } catch (const enhance_depth_onnx::DamagedFile&) {
    return std::nullopt;
  }
  return info;
}

std::optional<ModelInfo> read_onnx_file(const std::filesystem::path& path) {
  if (!begins_like_a_model(path)) {
    return std::nullopt;
  }
  return read_onnx(read_whole(path));
}

std::string why_not_onnx(const std::filesystem::path& path) {
  if (begins_like_a_model(path)) {
    try {
      const Bytes file = read_whole(path);
      enhance_depth_onnx::read_model(as_text(file));
    } catch (const enhance_depth_onnx::DamagedFile& error) {
      return error.what();
    }
  }
  return "it does not begin like one";
}

}  // namespace enhance_depth_tool
