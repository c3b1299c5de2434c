// enhance-depth inspect: what a model file holds, and whether it fits the library.
#include <algorithm>
#include <iomanip>
#include <iostream>
#include <memory>

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include "commands/program_output.h"
#include "commands/subcommands.h"
#include "enhance_depth.h"
#include "inspect/contract.h"
#include "inspect/engine.h"
#include "inspect/model.h"
#include "inspect/onnx.h"
#include "support/engine.h"
#include "support/input_file.h"
#include "support/output_path.h"
#include "support/terminal.h"
#include "support/text.h"
#include "support/tool_error.h"

namespace enhance_depth_tool {
namespace {

namespace fs = std::filesystem;

struct InspectOptions {
  fs::path model;
  JsonOutput json;
};

// A hostile file may have millions of tensors; the first few are enough.
constexpr std::size_t kMostLines = 40;

// Calls `show` for each item, up to kMostLines, and says how many are left out.
template <typename Items, typename Show>
void print_each(std::ostream& text, const Items& items, const Show& show) {
  for (std::size_t i = 0; i < std::min(items.size(), kMostLines); ++i) {
    show(i, items[i]);
  }
  if (items.size() > kMostLines) {
    text << "  ... and " << items.size() - kMostLines << " more\n";
  }
}

void print_tensors(std::ostream& text, const std::vector<TensorInfo>& tensors) {
  std::size_t name_width = 6;
  std::size_t type_width = 4;
  for (const TensorInfo& tensor : tensors) {
    name_width = std::max(name_width, display_name(tensor.name).size());
    type_width = std::max(type_width, tensor.type.size());
  }
  const auto print_row = [&](const std::string& name, const char* direction, const std::string& type,
                             const std::string& shape) {
    text << "  " << std::left << std::setw(static_cast<int>(name_width)) << name << "  " << std::setw(9)
         << direction << "  " << std::setw(static_cast<int>(type_width)) << type << "  " << shape << "\n";
  };
  print_row("tensor", "direction", "type", "shape");
  print_each(text, tensors, [&](std::size_t, const TensorInfo& tensor) {
    print_row(display_name(tensor.name), direction_name(tensor.direction), tensor.type,
              tensor.shape ? shape_text(*tensor.shape) : "not given");
  });
}

void print_profiles(std::ostream& text, const std::vector<ProfileInfo>& profiles) {
  print_each(text, profiles, [&](std::size_t i, const ProfileInfo& profile) {
    text << "  profile " << i << ":";
    const char* separator = " ";
    for (const auto& [name, range] : profile) {
      text << separator << display_name(name) << " " << shape_text(range.min) << " to "
           << shape_text(range.max);
      separator = ", ";
    }
    text << "\n";
  });
}

void print(std::ostream& text, const fs::path& path, const ModelInfo& model,
           const std::vector<Violation>& violations) {
  text << highlighted(printable(path.string()) + ": " + model.format, Highlight::kHeading,
                      StandardStream::kOutput)
       << "\n";
  if (!model.tensors.empty()) {
    print_tensors(text, model.tensors);
  }
  if (model.profiles) {
    print_profiles(text, *model.profiles);
  }
  if (violations.empty()) {
    text << "It meets the contract.\n";
    return;
  }
  text << "It does not meet the contract:\n";
  print_each(text, violations, [&](std::size_t, const Violation& violation) {
    text << "  " << violation.subject << ": " << violation.text << "\n";
  });
}

template <typename Items, typename Convert>
nlohmann::ordered_json json_list(const Items& items, const Convert& convert) {
  nlohmann::ordered_json list = nlohmann::ordered_json::array();
  for (std::size_t i = 0; i < std::min(items.size(), kMostLines); ++i) {
    list.push_back(convert(items[i]));
  }
  return list;
}

nlohmann::ordered_json to_json(const TensorInfo& tensor) {
  nlohmann::ordered_json json = {
      {"name", tensor.name}, {"direction", direction_name(tensor.direction)}, {"type", tensor.type}};
  json["shape"] = tensor.shape ? nlohmann::ordered_json(*tensor.shape) : nlohmann::ordered_json();
  return json;
}

nlohmann::ordered_json to_json(const ProfileInfo& profile) {
  nlohmann::ordered_json json = nlohmann::ordered_json::object();
  for (const auto& [name, range] : profile) {
    json[name] = {{"min", range.min}, {"max", range.max}};
  }
  return json;
}

// `model` is null for a file that TensorRT refuses as an engine; `messages` then says why. `runs` is null for
// one that was not tried.
nlohmann::ordered_json to_json(const fs::path& path, const ModelInfo* model,
                               const std::vector<Violation>& violations, std::optional<bool> runs,
                               const std::vector<std::string>& messages) {
  nlohmann::ordered_json json = {{"library", enhance_depth_get_version()},
                                 {"model", path.string()},
                                 {"fits", model != nullptr && violations.empty()}};
  json["runs"] = runs ? nlohmann::ordered_json(*runs) : nlohmann::ordered_json();
  json["format"] = model != nullptr ? nlohmann::ordered_json(model->format) : nlohmann::ordered_json();
  json["tensors"] = nlohmann::ordered_json::array();
  json["profiles"] = nullptr;
  if (model != nullptr) {
    json["tensors"] = json_list(model->tensors, [](const TensorInfo& tensor) { return to_json(tensor); });
    if (model->profiles) {
      json["profiles"] =
          json_list(*model->profiles, [](const ProfileInfo& profile) { return to_json(profile); });
    }
  }
  json["violations"] = json_list(violations, [](const Violation& violation) {
    return nlohmann::ordered_json{{"subject", violation.subject}, {"text", violation.text}};
  });
  json["messages"] = messages;
  return json;
}

// Has the library load the model, which runs it. Returns why it does not; none if it does.
std::optional<ToolError> failure_to_run(const fs::path& path) {
  try {
    const Engine engine(path);
    return std::nullopt;
  } catch (const ToolError& error) {
    return error;
  }
}

enum class Kind { kOnnx, kEngine };

int report(const InspectOptions& options, Kind kind, const ModelInfo& model,
           std::vector<std::string> messages) {
  const std::vector<Violation> violations = check_contract(model);
  const bool fits = violations.empty();
  const std::optional<ToolError> failure = fits ? failure_to_run(options.model) : std::nullopt;
  if (failure && kind == Kind::kOnnx) {
    messages = load_engine(options.model).messages;
  }
  options.json.write(
      to_json(options.model, &model, violations, fits ? std::optional(!failure) : std::nullopt, messages));
  print(options.json.text(), options.model, model, violations);
  if (!fits) {
    return kModelDoesNotFit;
  }
  if (!failure) {
    options.json.text() << "The library loads it and runs it at 640 x 480 pixels here, by "
                        << network_runner() << ".\n";
    return kSuccess;
  }
  if (kind == Kind::kEngine) {
    throw ToolError(*failure);
  }
  // Nothing is wrong with a model that fits: it is for boards, which run the engine built from it.
  options.json.text() << "It does not run here. " << failure->what() << "\n";
  return kSuccess;
}

int inspect_engine(const InspectOptions& options) {
  const LoadedEngine loaded = load_engine(options.model);
  if (loaded.model) {
    return report(options, Kind::kEngine, *loaded.model, loaded.messages);
  }
  options.json.write(to_json(options.model, nullptr, {}, false, loaded.messages));
  // Says which step failed, what TensorRT said, and what helps.
  if (const auto failure = failure_to_run(options.model)) {
    throw ToolError(*failure);
  }
  throw ToolError(kEngineNotLoaded, printable(options.model.string()) + " was refused by TensorRT.");
}

int inspect(const InspectOptions& options) {
  require_distinct({options.json.file()}, {options.model});
  options.json.require_writable();
  if (const std::optional<ModelInfo> model = read_onnx_file(options.model)) {
    return report(options, Kind::kOnnx, *model, {});
  }
  if (lower_case(options.model.extension().string()) == ".onnx") {
    throw UsageError(
        printable(options.model.string() + " is not an ONNX model: " + why_not_onnx(options.model)) +
        ". The file is damaged, or another by that name.");
  }
  return inspect_engine(options);
}

}  // namespace

Action add_inspect(CLI::App& app) {
  const auto options = std::make_shared<InspectOptions>();
  app.add_option("model", options->model, "ONNX model, engine description or serialized TensorRT engine")
      ->required()
      ->type_name("FILE");
  options->json.add_option(app);
  return [options] { return inspect(*options); };
}

}  // namespace enhance_depth_tool
