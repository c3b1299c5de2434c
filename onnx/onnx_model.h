// An ONNX model's description of itself: inputs, outputs, operators, metadata. The contents of operators, and
// the weights, are read only as far as needed to know that the model is complete, within the limits below and
// in one file.
#ifndef ENHANCE_DEPTH_ONNX_ONNX_MODEL_H
#define ENHANCE_DEPTH_ONNX_ONNX_MODEL_H

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "onnx/wire_format.h"

namespace enhance_depth_onnx {

// An input or output of a model.
struct Tensor {
  std::string name;
  int element_type = 0;  // TensorProto.DataType of onnx.proto; 0 if it is not a tensor or states no type
  std::optional<std::vector<std::int64_t>> shape;  // -1 where dynamic; none if the model states none
};

// An operator of the model's main graph.
struct Operator {
  std::string type;
  std::vector<std::string> inputs;
  std::vector<std::string> outputs;
};

struct Model {
  std::optional<std::int64_t> operator_set;  // version of ONNX's own operators
  std::vector<Tensor> inputs;                // without the weights that models of ONNX before 1.4 list there
  std::vector<Tensor> outputs;
  std::vector<Operator> operators;  // in the order in which they run
  std::map<std::string, std::string, std::less<>> metadata;
  std::string external_data;  // the first other file that holds weights of this model; empty if there is none
};

// Whether a file that begins like this may be an ONNX model, complete or damaged. A text never is.
bool begins_like_a_model(std::string_view beginning);

// A file within these limits may still not be a valid model, but it exhausts neither the stack nor the
// patience of whoever reads the rest of it.
inline constexpr int kMaximumNesting = 8;             // graphs inside the operators of graphs
inline constexpr std::size_t kMaximumNodes = 20'000;  // operators in all graphs together

// Reads a whole file. Throws DamagedFile if it is not a model or exceeds a limit.
Model read_model(std::string_view file);

}  // namespace enhance_depth_onnx

#endif  // ENHANCE_DEPTH_ONNX_ONNX_MODEL_H
