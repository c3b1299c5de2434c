#include "onnx/onnx_model.h"

#include <algorithm>
#include <set>
#include <utility>

#include "onnx/operator_inputs.h"

namespace enhance_depth_onnx {

namespace {

// Field numbers of onnx.proto.
namespace model_field {
constexpr std::uint32_t kIrVersion = 1;
constexpr std::uint32_t kGraph = 7;
constexpr std::uint32_t kOperatorSet = 8;
constexpr std::uint32_t kMetadata = 14;
constexpr std::uint32_t kTraining = 20;
constexpr std::uint32_t kFunction = 25;
}  // namespace model_field

namespace graph_field {
constexpr std::uint32_t kNode = 1;
constexpr std::uint32_t kInitializer = 5;
constexpr std::uint32_t kInput = 11;
constexpr std::uint32_t kOutput = 12;
constexpr std::uint32_t kSparseInitializer = 15;
}  // namespace graph_field

namespace function_field {
constexpr std::uint32_t kInput = 4;
constexpr std::uint32_t kNode = 7;
constexpr std::uint32_t kOperatorSet = 9;
}  // namespace function_field

namespace node_field {
constexpr std::uint32_t kInput = 1;
constexpr std::uint32_t kOutput = 2;
constexpr std::uint32_t kType = 4;
constexpr std::uint32_t kAttribute = 5;
constexpr std::uint32_t kDomain = 7;
}  // namespace node_field

namespace attribute_field {
constexpr std::uint32_t kTensor = 5;
constexpr std::uint32_t kGraph = 6;
constexpr std::uint32_t kTensors = 10;
constexpr std::uint32_t kGraphs = 11;
constexpr std::uint32_t kSparseTensor = 22;
constexpr std::uint32_t kSparseTensors = 23;
}  // namespace attribute_field

namespace value_field {
constexpr std::uint32_t kName = 1;
constexpr std::uint32_t kType = 2;
}  // namespace value_field

namespace sparse_tensor_field {
constexpr std::uint32_t kValues = 1;
constexpr std::uint32_t kIndices = 2;
}  // namespace sparse_tensor_field

namespace tensor_field {
constexpr std::uint32_t kName = 8;
constexpr std::uint32_t kExternalData = 13;
constexpr std::uint32_t kDataLocation = 14;
}  // namespace tensor_field

constexpr WireType kNumber = WireType::kVarint;
constexpr WireType kMessage = WireType::kLengthDelimited;

template <typename Visit>
void for_each(std::string_view message, std::uint32_t number, Visit visit) {
  FieldReader fields(message);
  for (Field field; fields.next(field);) {
    if (field.is(number, kMessage)) {
      visit(field.bytes);
    }
  }
}

// The last of the fields `number`, as protobuf has it for one that may occur once; empty if there is none.
std::string_view read_bytes(std::string_view message, std::uint32_t number) {
  std::string_view bytes;
  for_each(message, number, [&](std::string_view field) { bytes = field; });
  return bytes;
}

// Whether operators of this domain are ONNX's own.
bool is_onnx(std::string_view domain) { return domain.empty() || domain == "ai.onnx"; }

// A message of two strings: a key and a value.
std::pair<std::string_view, std::string_view> read_entry(std::string_view message) {
  return {read_bytes(message, 1), read_bytes(message, 2)};
}

std::int64_t read_dimension(std::string_view message) {
  std::int64_t dimension = -1;  // dynamic, if it has no value
  FieldReader fields(message);
  for (Field field; fields.next(field);) {
    if (field.is(1, kNumber)) {
      dimension = std::max<std::int64_t>(static_cast<std::int64_t>(field.value), -1);
    }
    if (field.is(2, kMessage)) {
      dimension = -1;
    }
  }
  return dimension;
}

void read_tensor_type(std::string_view message, Tensor& tensor) {
  FieldReader fields(message);
  for (Field field; fields.next(field);) {
    if (field.is(1, kNumber)) {
      tensor.element_type = static_cast<int>(field.value);
    }
    if (!field.is(2, kMessage)) {
      continue;
    }
    tensor.shape.emplace();
    for_each(field.bytes, 1,
             [&](std::string_view dimension) { tensor.shape->push_back(read_dimension(dimension)); });
  }
}

Tensor read_tensor(std::string_view value_info) {
  Tensor tensor;
  tensor.name = read_bytes(value_info, value_field::kName);
  for_each(value_info, value_field::kType, [&](std::string_view type) {
    for_each(type, 1, [&](std::string_view tensor_type) { read_tensor_type(tensor_type, tensor); });
  });
  return tensor;
}

Operator read_operator(std::string_view node) {
  Operator result;
  result.type = read_bytes(node, node_field::kType);
  for_each(node, node_field::kInput, [&](std::string_view name) { result.inputs.emplace_back(name); });
  for_each(node, node_field::kOutput, [&](std::string_view name) { result.outputs.emplace_back(name); });
  return result;
}

// The version of ONNX's own operators that a model or a function takes, whose imports are the fields
// `number`: of several the highest, as OpenVINO has it.
std::optional<std::int64_t> read_operator_set(std::string_view message, std::uint32_t number) {
  constexpr std::int64_t kLatest = 1000;  // far from any to come; OpenVINO may count up to the version
  std::optional<std::int64_t> latest;
  for_each(message, number, [&](std::string_view import) {
    std::int64_t version = 0;
    FieldReader fields(import);
    for (Field field; fields.next(field);) {
      if (field.is(2, kNumber)) {
        version = static_cast<std::int64_t>(field.value);
      }
    }
    if (!is_onnx(read_bytes(import, 1))) {
      return;
    }
    if (version < 1 || version > kLatest) {
      throw DamagedFile("it takes version " + std::to_string(version) + " of ONNX's operators");
    }
    latest = std::max(latest.value_or(version), version);
  });
  return latest;
}

class ModelReader {
 public:
  Model read(std::string_view file) {
    bool has_version = false;
    bool has_graph = false;
    // First, because operators are checked by it, and a file has it after them.
    model_.operator_set = read_operator_set(file, model_field::kOperatorSet);
    operator_set_ = model_.operator_set.value_or(1);
    FieldReader fields(file);
    for (Field field; fields.next(field);) {
      if (field.is(model_field::kIrVersion, kNumber)) {
        has_version = static_cast<std::int64_t>(field.value) > 0;
      } else if (field.is(model_field::kMetadata, kMessage)) {
        model_.metadata.insert(read_entry(field.bytes));
      } else if (field.is(model_field::kGraph, kMessage)) {
        has_graph = true;
        check_graph(field.bytes, 1, Order::kAsTheyRun);
        read_main_graph(field.bytes);
      } else if (field.is(model_field::kFunction, kMessage)) {
        check_function(field.bytes);
      } else if (field.is(model_field::kTraining, kMessage)) {
        check_training(field.bytes);
      }
    }
    if (!has_version) {
      throw DamagedFile("it does not give the version of its format");
    }
    if (!has_graph) {
      throw DamagedFile("it has no graph");
    }
    const auto is_weight = [this](const Tensor& input) { return weights_.count(input.name) != 0; };
    model_.inputs.erase(std::remove_if(model_.inputs.begin(), model_.inputs.end(), is_weight),
                        model_.inputs.end());
    return std::move(model_);
  }

 private:
  enum class Order { kAsTheyRun, kAny };

  // The values of a graph or a function, for its operators and the graphs inside them.
  class Values {
   public:
    explicit Values(ModelReader& reader) : names_(reader.names_) {}
    Values(const Values&) = delete;
    Values& operator=(const Values&) = delete;
    ~Values() {
      for (const auto& value : own_) {
        names_.erase(value);
      }
    }
    void add(std::string_view name) { own_.push_back(names_.insert(name)); }

   private:
    std::multiset<std::string_view>& names_;
    std::vector<std::multiset<std::string_view>::iterator> own_;
  };

  void read_main_graph(std::string_view graph) {
    for_each(graph, graph_field::kInput,
             [&](std::string_view input) { model_.inputs.push_back(read_tensor(input)); });
    for_each(graph, graph_field::kOutput,
             [&](std::string_view output) { model_.outputs.push_back(read_tensor(output)); });
    for_each(graph, graph_field::kInitializer,
             [&](std::string_view weights) { weights_.insert(read_bytes(weights, tensor_field::kName)); });
    for_each(graph, graph_field::kNode,
             [&](std::string_view node) { model_.operators.push_back(read_operator(node)); });
  }

  // Training reads the values of the main graph, which nobody computes here.
  void check_training(std::string_view message) {
    for (const std::uint32_t number : {1U, 2U}) {
      for_each(message, number, [&](std::string_view graph) { check_graph(graph, 1, Order::kAny); });
    }
  }

  void check_function(std::string_view message) {
    const auto own_set = read_operator_set(message, function_field::kOperatorSet);
    const std::int64_t set_of_model = std::exchange(operator_set_, own_set.value_or(operator_set_));
    Values values(*this);
    for_each(message, function_field::kInput, [&](std::string_view input) { values.add(input); });
    check_nodes(message, function_field::kNode, 1, Order::kAsTheyRun, values);
    operator_set_ = set_of_model;
  }

  void check_graph(std::string_view graph, int nesting, Order order) {
    if (nesting > kMaximumNesting) {
      throw DamagedFile("its graphs are nested more than " + std::to_string(kMaximumNesting) + " deep");
    }
    Values values(*this);
    for_each(graph, graph_field::kInput,
             [&](std::string_view input) { values.add(read_bytes(input, value_field::kName)); });
    for_each(graph, graph_field::kInitializer, [&](std::string_view weights) {
      values.add(read_bytes(weights, tensor_field::kName));
      check_weights(weights);
    });
    for_each(graph, graph_field::kSparseInitializer, [&](std::string_view weights) {
      values.add(read_bytes(read_bytes(weights, sparse_tensor_field::kValues), tensor_field::kName));
      check_sparse_weights(weights);
    });
    check_nodes(graph, graph_field::kNode, nesting, order, values);
  }

  // Of a graph or a function, whose nodes are in field `number`; what they make joins `values`. Operators of
  // which each reads only what is there before it form no circle, in which a reader of models may go round
  // until memory ends.
  void check_nodes(std::string_view message, std::uint32_t number, int nesting, Order order, Values& values) {
    for_each(message, number, [&](std::string_view node) {
      if (++nodes_ > kMaximumNodes) {
        throw DamagedFile("it has more than " + std::to_string(kMaximumNodes) + " operators");
      }
      std::size_t inputs = 0;
      for_each(node, node_field::kInput, [&](std::string_view name) {
        ++inputs;
        if (order == Order::kAsTheyRun && !name.empty() && names_.count(name) == 0) {
          throw DamagedFile("its operator \"" + std::string(read_bytes(node, node_field::kType)) +
                            "\" reads \"" + std::string(name) + "\", which nothing before it makes");
        }
      });
      check_inputs(node, inputs);
      for_each(node, node_field::kAttribute,
               [&](std::string_view attribute) { check_attribute(attribute, nesting, order); });
      for_each(node, node_field::kOutput, [&](std::string_view name) { values.add(name); });
    });
  }

  // OpenVINO reads the inputs that an operator must have without looking whether they are there.
  void check_inputs(std::string_view node, std::size_t inputs) const {
    const std::string_view domain = read_bytes(node, node_field::kDomain);
    const std::string_view type = read_bytes(node, node_field::kType);
    const std::size_t required = required_inputs(is_onnx(domain) ? "" : domain, type, operator_set_);
    if (inputs < required) {
      throw DamagedFile("its operator \"" + std::string(type) + "\" has " + std::to_string(inputs) +
                        (inputs == 1 ? " input" : " inputs") + " and needs at least " +
                        std::to_string(required));
    }
  }

  void check_attribute(std::string_view message, int nesting, Order order) {
    FieldReader fields(message);
    for (Field field; fields.next(field);) {
      if (field.type != kMessage) {
        continue;
      }
      switch (field.number) {
        case attribute_field::kGraph:
        case attribute_field::kGraphs:
          check_graph(field.bytes, nesting + 1, order);
          break;
        case attribute_field::kTensor:
        case attribute_field::kTensors:
          check_weights(field.bytes);
          break;
        case attribute_field::kSparseTensor:
        case attribute_field::kSparseTensors:
          check_sparse_weights(field.bytes);
          break;
        default:
          break;
      }
    }
  }

  void check_sparse_weights(std::string_view message) {
    for (const std::uint32_t number : {sparse_tensor_field::kValues, sparse_tensor_field::kIndices}) {
      for_each(message, number, [&](std::string_view weights) { check_weights(weights); });
    }
  }

  void check_weights(std::string_view tensor) {
    bool is_external = false;
    std::string_view location = "another file";
    FieldReader fields(tensor);
    for (Field field; fields.next(field);) {
      if (field.is(tensor_field::kDataLocation, kNumber)) {
        is_external = field.value == 1;
      }
      if (!field.is(tensor_field::kExternalData, kMessage)) {
        continue;
      }
      is_external = true;
      const auto [key, value] = read_entry(field.bytes);
      if (key == "location" && !value.empty()) {
        location = value;
      }
    }
    if (is_external && model_.external_data.empty()) {
      model_.external_data = location;
    }
  }

  Model model_;
  std::set<std::string_view> weights_;
  std::multiset<std::string_view> names_;  // of the values that the next operator may read
  std::size_t nodes_ = 0;
  std::int64_t operator_set_ = 1;  // of the operators that are being checked
};

// Bytes that do not occur in texts.
bool is_control(char character) {
  const auto byte = static_cast<unsigned char>(character);
  return byte == 0x7F || (byte < 0x20 && character != '\t' && character != '\n' && character != '\r');
}

}  // namespace

bool begins_like_a_model(std::string_view beginning) {
  if (std::none_of(beginning.begin(), beginning.end(), is_control)) {
    return false;
  }
  Field field;
  try {
    FieldReader(beginning).next(field);
  } catch (const DamagedFile&) {
    // A long field continues after the beginning that was read.
  }
  constexpr std::uint32_t kLastField = 26;
  const bool is_number = field.number == model_field::kIrVersion || field.number == 5;
  return field.number >= 1 && field.number <= kLastField && field.type == (is_number ? kNumber : kMessage);
}

Model read_model(std::string_view file) { return ModelReader().read(file); }

}  // namespace enhance_depth_onnx
