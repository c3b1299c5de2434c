// The emulated board's serialized engine: a TOML text (docs/emulated-board.md describes it) that names the
// tensors, the optimization profiles and the network.
#ifndef EMULATED_BOARD_NVINFER_ENGINE_DESCRIPTION_H
#define EMULATED_BOARD_NVINFER_ENGINE_DESCRIPTION_H

#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include <NvInferRuntimeBase.h>

#include "nvinfer/networks/network.h"

namespace emulated_board::nvinfer {

struct TensorDescription {
  std::string name;
  nvinfer1::TensorIOMode mode = nvinfer1::TensorIOMode::kNONE;
  nvinfer1::DataType type{};
  nvinfer1::Dims shape{};
};

// The shapes that a profile accepts for one input.
struct ShapeRange {
  nvinfer1::Dims min{};
  nvinfer1::Dims opt{};
  nvinfer1::Dims max{};
};

// By input name. Inputs may be missing, and the rank may differ from that of the tensor.
using ProfileDescription = std::map<std::string, ShapeRange, std::less<>>;

struct EngineDescription {
  std::vector<TensorDescription> tensors;
  std::vector<ProfileDescription> profiles;
  std::shared_ptr<const Network> network;

  const TensorDescription* find_tensor(std::string_view name) const;
};

// Why a text is not an engine description: one line, with line and column if the error has a position.
struct DescriptionError {
  std::string message;
};

// Accepts arbitrary bytes. Throws std::bad_alloc only.
std::variant<EngineDescription, DescriptionError> parse_engine_description(std::string_view text);

}  // namespace emulated_board::nvinfer

#endif  // EMULATED_BOARD_NVINFER_ENGINE_DESCRIPTION_H
