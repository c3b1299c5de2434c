// ONNX models, read with the few messages of onnx.proto.
#include "inspect/onnx.h"

#include <algorithm>
#include <map>
#include <set>
#include <string>

#include "onnx.pb.h"

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

TensorInfo describe(const onnx_file::ValueInfo& value, Direction direction) {
  TensorInfo tensor;
  tensor.name = value.name();
  tensor.direction = direction;
  if (!value.type().has_tensor_type()) {
    tensor.type = "no tensor";
    return tensor;
  }
  const onnx_file::TensorType& type = value.type().tensor_type();
  tensor.type = type_name(type.elem_type());
  if (type.has_shape()) {
    tensor.shape.emplace();
    for (const onnx_file::Dimension& dimension : type.shape().dim()) {
      const bool fixed =
          dimension.value_case() == onnx_file::Dimension::kDimValue && dimension.dim_value() >= 0;
      tensor.shape->push_back(fixed ? dimension.dim_value() : -1);
    }
  }
  return tensor;
}

// By graph input, the first operator that takes it as it is: neither casts it nor looks at its shape only. An
// Identity hands on what it takes. The operators of a graph come in the order in which they run.
std::map<std::string, std::string> computing_operators(const onnx_file::Graph& graph) {
  std::map<std::string, std::string> input_of;  // by value: the graph input that it is
  for (const onnx_file::ValueInfo& input : graph.input()) input_of[input.name()] = input.name();
  std::map<std::string, std::string> operators;
  for (const onnx_file::Node& node : graph.node()) {
    const std::string& type = node.op_type();
    if (type == "Cast" || type == "Shape" || type == "Size") continue;
    for (const std::string& value : node.input()) {
      const auto found = input_of.find(value);
      if (found == input_of.end()) continue;
      if (type != "Identity") {
        operators.emplace(found->second, type);
      } else if (node.output_size() == 1) {
        input_of.emplace(node.output(0), found->second);
      }
    }
  }
  return operators;
}

std::string operator_set(const onnx_file::Model& model) {
  for (const onnx_file::OperatorSet& set : model.opset_import()) {
    if (set.domain().empty()) return ", operator set " + std::to_string(set.version());
  }
  return "";
}

}  // namespace

bool begins_like_onnx(const Bytes& beginning) {
  // No text: a text engine description may begin with a blank or a line break, too, which are tags of a
  // field.
  const bool is_text = std::none_of(beginning.begin(), beginning.end(), [](std::uint8_t byte) {
    return byte < ' ' && byte != '\n' && byte != '\r' && byte != '\t';
  });
  // The tag of a field that is a number (0) or has a length (2).
  return !is_text && (beginning[0] % 8 == 0 || beginning[0] % 8 == 2);
}

std::optional<ModelInfo> read_onnx(const Bytes& file) {
  onnx_file::Model model;
  if (!model.ParseFromArray(file.data(), static_cast<int>(file.size())) || !model.has_graph() ||
      model.ir_version() < 1) {
    return std::nullopt;
  }
  ModelInfo info;
  info.format = "ONNX model" + operator_set(model);
  // Models of ONNX before 1.4 list their weights among the inputs.
  std::set<std::string> weights;
  for (const onnx_file::Initializer& initializer : model.graph().initializer())
    weights.insert(initializer.name());
  const std::map<std::string, std::string> operators = computing_operators(model.graph());
  for (const onnx_file::ValueInfo& input : model.graph().input()) {
    if (weights.count(input.name()) > 0) continue;
    info.tensors.push_back(describe(input, Direction::kInput));
    const auto found = operators.find(input.name());
    if (found != operators.end()) info.tensors.back().used_uncast_by = found->second;
  }
  for (const onnx_file::ValueInfo& output : model.graph().output()) {
    info.tensors.push_back(describe(output, Direction::kOutput));
  }
  return info;
}

}  // namespace enhance_depth_tool
