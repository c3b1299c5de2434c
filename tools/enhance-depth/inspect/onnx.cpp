// ONNX models, read with the few messages of inspect_onnx.proto.
#include <set>
#include <string>

#include "inspect/formats.h"
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
    for (const onnx_file::Dimension& extent : type.shape().dim()) {
      const bool fixed = extent.value_case() == onnx_file::Dimension::kDimValue && extent.dim_value() >= 0;
      tensor.shape->push_back(fixed ? extent.dim_value() : -1);
    }
  }
  return tensor;
}

std::string operator_set(const onnx_file::Model& model) {
  for (const onnx_file::OperatorSet& set : model.opset_import()) {
    if (set.domain().empty()) return ", operator set " + std::to_string(set.version());
  }
  return "";
}

}  // namespace

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
  for (const onnx_file::ValueInfo& input : model.graph().input()) {
    if (weights.count(input.name()) == 0) info.tensors.push_back(describe(input, Direction::kInput));
  }
  for (const onnx_file::ValueInfo& output : model.graph().output()) {
    info.tensors.push_back(describe(output, Direction::kOutput));
  }
  return info;
}

}  // namespace enhance_depth_tool
