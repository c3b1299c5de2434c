#include "onnx/operator_inputs.h"

#include <algorithm>
#include <iterator>

namespace enhance_depth_onnx {

namespace {

struct Requirement {
  std::string_view type;
  std::int64_t since;  // the first version of the operators in which it holds
  std::size_t inputs;
};

// The operators whose least number of inputs is not one in every version, after the schemas of ONNX 1.23
// (Operators.md and Changelog.md of its documentation), by type and version.
constexpr Requirement kRequirements[] = {
    {"Add", 1, 2},
    {"AffineGrid", 1, 2},
    {"And", 1, 2},
    {"Attention", 1, 3},
    {"BatchNormalization", 1, 5},
    {"BitShift", 1, 2},
    {"BitwiseAnd", 1, 2},
    {"BitwiseOr", 1, 2},
    {"BitwiseXor", 1, 2},
    {"CastLike", 1, 2},
    {"CausalConvWithState", 1, 2},
    {"CenterCropPad", 1, 2},
    {"Col2Im", 1, 3},
    {"Compress", 1, 2},
    {"Constant", 1, 0},
    {"Conv", 1, 2},
    {"ConvInteger", 1, 2},
    {"ConvTranspose", 1, 2},
    {"CumProd", 1, 2},
    {"CumSum", 1, 2},
    {"DeformConv", 1, 3},
    {"DequantizeLinear", 1, 2},
    {"Div", 1, 2},
    {"Equal", 1, 2},
    {"Expand", 1, 2},
    {"GRU", 1, 3},
    {"Gather", 1, 2},
    {"GatherElements", 1, 2},
    {"GatherND", 1, 2},
    {"Gemm", 1, 3},
    {"Gemm", 11, 2},
    {"Greater", 1, 2},
    {"GreaterOrEqual", 1, 2},
    {"GridSample", 1, 2},
    {"GroupNormalization", 1, 3},
    {"InstanceNormalization", 1, 3},
    {"LSTM", 1, 3},
    {"LayerNormalization", 1, 2},
    {"Less", 1, 2},
    {"LessOrEqual", 1, 2},
    {"LinearAttention", 1, 3},
    {"Loop", 1, 3},
    {"Loop", 11, 2},
    {"MatMul", 1, 2},
    {"MatMulInteger", 1, 2},
    {"MaxRoiPool", 1, 2},
    {"MaxUnpool", 1, 2},
    {"MelWeightMatrix", 1, 5},
    {"Mod", 1, 2},
    {"Mul", 1, 2},
    {"NegativeLogLikelihoodLoss", 1, 2},
    {"NonMaxSuppression", 1, 2},
    {"OneHot", 1, 3},
    {"Optional", 1, 0},
    {"OptionalHasElement", 1, 1},
    {"OptionalHasElement", 18, 0},
    {"Or", 1, 2},
    {"PRelu", 1, 2},
    {"Pad", 1, 1},
    {"Pad", 11, 2},
    {"Pow", 1, 2},
    {"QLinearConv", 1, 8},
    {"QLinearMatMul", 1, 8},
    {"QuantizeLinear", 1, 2},
    {"RMSNormalization", 1, 2},
    {"RNN", 1, 3},
    {"RandomNormal", 1, 0},
    {"RandomUniform", 1, 0},
    {"Range", 1, 3},
    {"Reshape", 1, 1},
    {"Reshape", 5, 2},
    {"Resize", 1, 2},
    {"Resize", 11, 3},
    {"Resize", 13, 1},
    {"ReverseSequence", 1, 2},
    {"RoiAlign", 1, 3},
    {"RotaryEmbedding", 1, 3},
    {"STFT", 1, 2},
    {"Scan", 1, 2},
    {"Scan", 9, 1},
    {"Scatter", 1, 3},
    {"ScatterElements", 1, 3},
    {"ScatterND", 1, 3},
    {"SequenceAt", 1, 2},
    {"SequenceEmpty", 1, 0},
    {"SequenceInsert", 1, 2},
    {"Slice", 1, 1},
    {"Slice", 10, 3},
    {"SoftmaxCrossEntropyLoss", 1, 2},
    {"StringConcat", 1, 2},
    {"Sub", 1, 2},
    {"SwiGLU", 1, 2},
    {"TensorScatter", 1, 2},
    {"Tile", 1, 3},
    {"Tile", 6, 2},
    {"TopK", 1, 1},
    {"TopK", 10, 2},
    {"Unsqueeze", 1, 1},
    {"Unsqueeze", 13, 2},
    {"Upsample", 1, 1},
    {"Upsample", 9, 2},
    {"Where", 1, 3},
    {"Xor", 1, 2},
};

// Operators of other domains of which OpenVINO 2026.4 reads so many inputs without looking whether they are
// there.
struct ForeignRequirement {
  std::string_view domain;
  std::string_view type;
  std::size_t inputs;
};
constexpr ForeignRequirement kForeignRequirements[] = {
    {"com.microsoft", "Attention", 3},
    {"com.microsoft", "FusedConv", 2},
    {"com.microsoft", "Pad", 2},
    {"org.openvinotoolkit", "DetectionOutput", 3},
    {"org.openvinotoolkit", "ExperimentalDetectronDetectionOutput", 4},
    {"org.openvinotoolkit", "ExperimentalDetectronPriorGridGenerator", 3},
    {"org.openvinotoolkit", "ExperimentalDetectronTopKROIs", 2},
};

}  // namespace

std::size_t required_inputs(std::string_view domain, std::string_view type, std::int64_t operator_set) {
  if (!domain.empty()) {
    const auto* const found = std::find_if(
        std::begin(kForeignRequirements), std::end(kForeignRequirements),
        [&](const auto& requirement) { return requirement.domain == domain && requirement.type == type; });
    return found == std::end(kForeignRequirements) ? 0 : found->inputs;
  }
  std::size_t inputs = 1;
  for (const Requirement& requirement : kRequirements) {
    if (requirement.type == type && requirement.since <= operator_set) {
      inputs = requirement.inputs;
    }
  }
  return inputs;
}

}  // namespace enhance_depth_onnx
