// enhance-depth inspect: what a model file holds, and whether it fits the library.
#include <algorithm>
#include <iomanip>
#include <iostream>
#include <limits>
#include <memory>

#include <CLI/CLI.hpp>

#include "commands/subcommands.h"
#include "inspect/contract.h"
#include "inspect/engine.h"
#include "inspect/formats.h"
#include "inspect/model.h"
#include "support/input_file.h"
#include "support/terminal.h"
#include "support/text.h"
#include "support/tool_error.h"

namespace enhance_depth_tool {
namespace {

namespace fs = std::filesystem;

void print_tensors(const std::vector<TensorInfo>& tensors) {
  std::size_t name_width = 6;
  std::size_t type_width = 4;
  for (const TensorInfo& tensor : tensors) {
    name_width = std::max(name_width, tensor.name.size());
    type_width = std::max(type_width, tensor.type.size());
  }
  const auto print_row = [&](const std::string& name, const char* direction, const std::string& type,
                             const std::string& shape) {
    std::cout << "  " << std::left << std::setw(static_cast<int>(name_width)) << name << "  " << std::setw(9)
              << direction << "  " << std::setw(static_cast<int>(type_width)) << type << "  " << shape
              << "\n";
  };
  print_row("tensor", "direction", "type", "shape");
  for (const TensorInfo& tensor : tensors) {
    print_row(tensor.name, direction_name(tensor.direction), tensor.type,
              tensor.shape ? shape_text(*tensor.shape) : "not given");
  }
}

void print_profiles(const std::vector<ProfileInfo>& profiles) {
  for (std::size_t i = 0; i < profiles.size(); ++i) {
    std::string ranges;
    for (const auto& [name, range] : profiles[i]) {
      ranges +=
          (ranges.empty() ? "" : ", ") + name + " " + shape_text(range.min) + " to " + shape_text(range.max);
    }
    std::cout << "  profile " << i << ": " << ranges << "\n";
  }
}

void print_model(const fs::path& path, const ModelInfo& model) {
  std::cout << highlighted(path.string() + ": " + model.format, Highlight::kHeading, StandardStream::kOutput)
            << "\n";
  if (!model.tensors.empty()) print_tensors(model.tensors);
  if (model.profiles) print_profiles(*model.profiles);
}

int report_breaches(const std::vector<Breach>& breaches) {
  if (breaches.empty()) {
    std::cout << "It meets the contract.\n";
    return kSuccess;
  }
  std::cout << "It does not meet the contract:\n";
  for (const Breach& breach : breaches) std::cout << "  " << breach.subject << ": " << breach.text << "\n";
  return kModelDoesNotFit;
}

// Neither an ONNX model nor an engine description: only the board's TensorRT can tell.
int inspect_engine(const fs::path& path) {
  const LoadedEngine loaded = load_engine(path);
  print_model(path, loaded.model);
  for (const std::string& error : loaded.board_errors) std::cout << "  " << error << "\n";
  const int status = loaded.model.tensors.empty() ? kSuccess : report_breaches(check_contract(loaded.model));
  if (loaded.failure) throw EngineError(*loaded.failure);
  std::cout << "The library loads it and runs it at 640 x 480 pixels.\n";
  return status;
}

// Whether the file can be a description, which is text, or an ONNX model, which begins with the tag of a
// field that is a number (0) or has a length (2). Nothing else, such as a large engine, need be read to its
// end.
bool begins_like_a_model(const fs::path& path) {
  const Bytes beginning = read_beginning(path, 4096);
  const bool is_text = std::find(beginning.begin(), beginning.end(), 0) == beginning.end();
  return is_text || beginning[0] % 8 == 0 || beginning[0] % 8 == 2;
}

int inspect(const fs::path& path) {
  std::optional<ModelInfo> model;
  if (begins_like_a_model(path)) {
    const Bytes file = read_file(path, "model", std::numeric_limits<int>::max());  // protobuf's own limit
    model = read_engine_description(file, path);
    if (!model) model = read_onnx(file);
  }
  if (!model && lower_case(path.extension().string()) == ".onnx") {
    throw UsageError(path.string() + " is not an ONNX model: it is damaged, or another file by that name.");
  }
  if (!model) return inspect_engine(path);
  print_model(path, *model);
  return report_breaches(check_contract(*model));
}

}  // namespace

Action add_inspect(CLI::App& app) {
  const auto path = std::make_shared<fs::path>();
  app.add_option("model", *path, "ONNX model, engine description or serialized TensorRT engine")
      ->required()
      ->type_name("FILE");
  return [path] { return inspect(*path); };
}

}  // namespace enhance_depth_tool
