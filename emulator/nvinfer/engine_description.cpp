#include "nvinfer/engine_description.h"

#include <algorithm>
#include <cstdint>
#include <initializer_list>
#include <limits>
#include <optional>
#include <stdexcept>
#include <utility>

#include "nvinfer/checked_toml.h"
#include "nvinfer/networks/registry.h"
#include "nvinfer/tensors.h"

namespace emulated_board::nvinfer {

namespace {

constexpr std::string_view kFormat = "enhance-depth-emulated-engine";
constexpr std::int64_t kVersion = 1;

// Limits far above any sensible description. The second, on dots, bounds the nesting of tables and thus the
// recursion of the TOML parser: dotted keys nest without brackets.
constexpr std::size_t kMostBytes = std::size_t{256} << 10;
constexpr std::ptrdiff_t kMostDots = 2000;

class Refusal : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

std::string place(const toml::source_position& position) {
  return "line " + std::to_string(position.line) + ", column " + std::to_string(position.column) + ": ";
}

template <typename Node>
[[noreturn]] void refuse(const Node& where, const std::string& why) {
  throw Refusal(place(where.source().begin) + why);
}

std::string quoted(std::string_view text) { return "\"" + std::string(text) + "\""; }

// The node of a mandatory key. `what` names the table in messages.
const toml::node& required(const toml::table& table, std::string_view key, const std::string& what) {
  const toml::node* node = table.get(key);
  if (node == nullptr) {
    refuse(table, what + " has no " + quoted(key));
  }
  return *node;
}

void refuse_unknown_keys(const toml::table& table, std::initializer_list<std::string_view> known,
                         const std::string& what) {
  for (const auto& [key, node] : table) {
    if (std::find(known.begin(), known.end(), key.str()) == known.end()) {
      refuse(key, what + " has an unknown entry " + quoted(key.str()));
    }
  }
}

std::string read_string(const toml::table& table, std::string_view key, const std::string& what) {
  const toml::node& node = required(table, key, what);
  const auto* value = node.as_string();
  if (value == nullptr) {
    refuse(node, quoted(key) + " must be a string");
  }
  return value->get();
}

// The tables of an optional array of tables.
std::vector<const toml::table*> read_tables(const toml::table& root, std::string_view key) {
  std::vector<const toml::table*> tables;
  const toml::node* node = root.get(key);
  if (node == nullptr) {
    return tables;
  }
  const std::string text(key);
  const toml::array* array = node->as_array();
  if (array == nullptr) {
    refuse(*node, quoted(key) + " must be an array of tables, written [[" + text + "]]");
  }
  for (const toml::node& element : *array) {
    if (!element.is_table()) {
      refuse(element, "each " + quoted(key) + " must be a table, written [[" + text + "]]");
    }
    tables.push_back(element.as_table());
  }
  return tables;
}

nvinfer1::Dims read_shape(const toml::table& table, std::string_view key, std::int64_t least,
                          const std::string& what) {
  const toml::node& node = required(table, key, what);
  const toml::array* array = node.as_array();
  if (array == nullptr) {
    refuse(node, quoted(key) + " must be an array of whole numbers");
  }
  if (array->size() > static_cast<std::size_t>(nvinfer1::Dims::MAX_DIMS)) {
    refuse(node,
           quoted(key) + " has " + std::to_string(array->size()) + " dimensions; at most 8 are possible");
  }
  nvinfer1::Dims shape{};
  for (const toml::node& element : *array) {
    const auto* dimension = element.as_integer();
    if (dimension == nullptr || dimension->get() < least ||
        dimension->get() > std::numeric_limits<std::int32_t>::max()) {
      refuse(element, "each dimension of " + quoted(key) + " must be a whole number from " +
                          std::to_string(least) + " to 2147483647");
    }
    shape.d[shape.nbDims++] = dimension->get();
  }
  return shape;
}

TensorDescription read_tensor(const toml::table& table) {
  refuse_unknown_keys(table, {"name", "direction", "type", "shape"}, "[[tensor]]");
  TensorDescription tensor;
  tensor.name = read_string(table, "name", "[[tensor]]");
  const std::string what = "tensor " + quoted(tensor.name);
  if (tensor.name.empty() || tensor.name.find('\0') != std::string::npos) {
    refuse(table, "the name of a tensor must be a text");
  }

  const std::string direction = read_string(table, "direction", what);
  if (direction != "input" && direction != "output") {
    refuse(*table.get("direction"),
           "\"direction\" is " + quoted(direction) + "; it must be \"input\" or \"output\"");
  }
  tensor.mode = direction == "input" ? nvinfer1::TensorIOMode::kINPUT : nvinfer1::TensorIOMode::kOUTPUT;

  const std::string type = read_string(table, "type", what);
  const auto known = data_type_named(type);
  if (!known) {
    refuse(*table.get("type"), "\"type\" is " + quoted(type) + "; it must be one of " + data_type_names());
  }
  tensor.type = *known;
  tensor.shape = read_shape(table, "shape", -1, what);
  return tensor;
}

ProfileDescription read_profile(const toml::table& table, const EngineDescription& engine) {
  ProfileDescription profile;
  for (const auto& [key, node] : table) {
    const std::string name(key.str());
    const TensorDescription* tensor = engine.find_tensor(name);
    if (tensor == nullptr || tensor->mode != nvinfer1::TensorIOMode::kINPUT) {
      refuse(key, "[[profile]] gives a range for " + quoted(name) + ", which is not an input tensor");
    }
    const std::string what = "the range for " + quoted(name);
    const toml::table* range_table = node.as_table();
    if (range_table == nullptr) {
      refuse(node, what + " must be a table { min = [...], opt = [...], max = [...] }");
    }
    refuse_unknown_keys(*range_table, {"min", "opt", "max"}, what);
    ShapeRange range;
    range.min = read_shape(*range_table, "min", 0, what);
    range.opt = read_shape(*range_table, "opt", 0, what);
    range.max = read_shape(*range_table, "max", 0, what);
    if (range.min.nbDims != range.opt.nbDims || range.opt.nbDims != range.max.nbDims) {
      refuse(node, what + " has shapes of different ranks");
    }
    for (int i = 0; i < range.min.nbDims; ++i) {
      if (range.min.d[i] > range.opt.d[i] || range.opt.d[i] > range.max.d[i]) {
        refuse(node, what + " must have min <= opt <= max in every dimension");
      }
    }
    profile.emplace(name, range);
  }
  return profile;
}

std::shared_ptr<const Network> read_network(const toml::table& root) {
  const std::string name = read_string(root, "network", "the description");
  std::map<std::string, double, std::less<>> values;
  const toml::node* parameters = root.get("parameters");
  if (parameters != nullptr) {
    const toml::table* table = parameters->as_table();
    if (table == nullptr) {
      refuse(*parameters, "\"parameters\" must be a table, written [parameters]");
    }
    for (const auto& [key, node] : *table) {
      const std::optional<double> value = node.is_number() ? node.value<double>() : std::nullopt;
      if (!value) {
        refuse(node, "parameter " + quoted(key.str()) + " must be a number");
      }
      values.emplace(key.str(), *value);
    }
  }
  try {
    return make_network(name, Parameters(std::move(values)));
  } catch (const NetworkError& error) {
    refuse(parameters != nullptr ? *parameters : *root.get("network"), error.what());
  }
}

EngineDescription read_description(const toml::table& root) {
  const toml::node* format = root.get("format");
  if (format == nullptr || format->value<std::string_view>() != kFormat) {
    throw Refusal("it is not an engine of the emulated board: it does not say format = " + quoted(kFormat));
  }
  const std::string what = "the description";
  const toml::node& version = required(root, "version", what);
  if (version.value_exact<std::int64_t>() != kVersion) {
    refuse(version, "\"version\" must be " + std::to_string(kVersion));
  }
  refuse_unknown_keys(root, {"format", "version", "network", "parameters", "tensor", "profile"}, what);

  EngineDescription engine;
  engine.network = read_network(root);
  for (const toml::table* table : read_tables(root, "tensor")) {
    TensorDescription tensor = read_tensor(*table);
    if (engine.find_tensor(tensor.name) != nullptr) {
      refuse(*table, "there is more than one tensor " + quoted(tensor.name));
    }
    engine.tensors.push_back(std::move(tensor));
  }
  for (const toml::table* table : read_tables(root, "profile")) {
    engine.profiles.push_back(read_profile(*table, engine));
  }
  return engine;
}

// Binary files get a clearer message than a syntax error. Characters outside ASCII are refused because the
// parser's tables of Unicode letters and spaces have gaps that it assumes to be unreachable.
void refuse_non_text(std::string_view text) {
  if (text.empty()) {
    throw Refusal("it is empty");
  }
  const std::string_view start = text.substr(0, 512);
  const bool binary = std::any_of(start.begin(), start.end(), [](char character) {
    const auto byte = static_cast<unsigned char>(character);
    return byte < 0x20 && character != '\n' && character != '\r' && character != '\t';
  });
  if (binary) {
    throw Refusal(
        "it is binary data, not an engine of the emulated board; a board's own engine runs only on the "
        "board");
  }
  if (text.size() > kMostBytes) {
    throw Refusal("it is too large for an engine of the emulated board: it has " +
                  std::to_string(text.size()) + " bytes; at most " + std::to_string(kMostBytes) +
                  " are possible");
  }
  const auto dots = std::count(text.begin(), text.end(), '.');
  if (dots > kMostDots) {
    throw Refusal("it has " + std::to_string(dots) + " dots; an engine of the emulated board has at most " +
                  std::to_string(kMostDots));
  }
  toml::source_position position{1, 1};
  for (const char character : text) {
    if (static_cast<unsigned char>(character) >= 0x80) {
      throw Refusal(place(position) + "there is a character that is not ASCII");
    }
    if (character == '\n') {
      ++position.line;
      position.column = 0;
    }
    ++position.column;
  }
}

}  // namespace

const TensorDescription* EngineDescription::find_tensor(std::string_view name) const {
  const auto found = std::find_if(tensors.begin(), tensors.end(),
                                  [name](const TensorDescription& tensor) { return tensor.name == name; });
  return found == tensors.end() ? nullptr : &*found;
}

std::variant<EngineDescription, DescriptionError> parse_engine_description(std::string_view text) {
  try {
    refuse_non_text(text);
    return read_description(toml::parse(text));
  } catch (const toml::parse_error& error) {
    return DescriptionError{place(error.source().begin) + std::string(error.description())};
  } catch (const TomlAssertion& assertion) {
    return DescriptionError{assertion.what()};
  } catch (const Refusal& refusal) {
    return DescriptionError{refusal.what()};
  }
}

}  // namespace emulated_board::nvinfer
