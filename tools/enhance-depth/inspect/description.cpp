// Engine descriptions of the emulated board: TOML texts. Only what the contract concerns is read.
#include <algorithm>
#include <cstdint>
#include <string>
#include <string_view>

#include <toml++/toml.h>

#include "inspect/formats.h"
#include "support/tool_error.h"

namespace enhance_depth_tool {
namespace {

constexpr std::string_view kFormat = "enhance-depth-emulated-engine";

// A value is missing or of another type; `line` is where.
struct Malformed {
  std::string what;
  toml::source_index line;
};

std::string upper_case(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(),
                 [](char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c; });
  return text;
}

std::string read_text(const toml::table& table, std::string_view key) {
  const auto text = table[key].value<std::string>();
  if (!text) throw Malformed{"a text \"" + std::string(key) + "\" is missing", table.source().begin.line};
  return *text;
}

Shape read_shape(const toml::table& table, std::string_view key) {
  const toml::array* array = table[key].as_array();
  if (array == nullptr)
    throw Malformed{"an array \"" + std::string(key) + "\" is missing", table.source().begin.line};
  Shape shape;
  for (const toml::node& extent : *array) {
    const auto value = extent.value_exact<std::int64_t>();
    if (!value) throw Malformed{"an extent is not a whole number", extent.source().begin.line};
    shape.push_back(*value);
  }
  return shape;
}

TensorInfo read_tensor(const toml::table& table) {
  const std::string direction = read_text(table, "direction");
  if (direction != "input" && direction != "output") {
    throw Malformed{"\"direction\" is neither \"input\" nor \"output\"", table.source().begin.line};
  }
  return {read_text(table, "name"), direction == "input" ? Direction::kInput : Direction::kOutput,
          upper_case(read_text(table, "type")), read_shape(table, "shape")};
}

ProfileInfo read_profile(const toml::table& table) {
  ProfileInfo profile;
  for (const auto& [name, node] : table) {
    const toml::table* range = node.as_table();
    if (range == nullptr) throw Malformed{"a profile's range is not a table", node.source().begin.line};
    profile[std::string(name.str())] = {read_shape(*range, "min"), read_shape(*range, "max")};
  }
  return profile;
}

template <typename Reader>
auto read_tables(const toml::table& root, std::string_view key, Reader read) {
  std::vector<decltype(read(root))> values;
  const toml::array* array = root[key].as_array();
  if (array == nullptr) return values;
  for (const toml::node& node : *array) {
    if (!node.is_table())
      throw Malformed{"\"" + std::string(key) + "\" is not written [[" + std::string(key) + "]]",
                      node.source().begin.line};
    values.push_back(read(*node.as_table()));
  }
  return values;
}

[[noreturn]] void refuse(const std::filesystem::path& path, toml::source_index line, std::string_view what) {
  throw UsageError(path.string() + " cannot be read as an engine description: line " + std::to_string(line) +
                   ": " + std::string(what) + ".");
}

}  // namespace

std::optional<ModelInfo> read_engine_description(const Bytes& file, const std::filesystem::path& path) {
  const std::string_view text(reinterpret_cast<const char*>(file.data()), file.size());
  if (text.find(kFormat) == std::string_view::npos || text.find('\0') != std::string_view::npos)
    return std::nullopt;
  try {
    const toml::table root = toml::parse(text);
    if (root["format"].value<std::string_view>() != kFormat) return std::nullopt;
    ModelInfo info;
    info.format = "engine description of the emulated board";
    info.tensors = read_tables(root, "tensor", read_tensor);
    info.profiles = read_tables(root, "profile", read_profile);
    return info;
  } catch (const toml::parse_error& error) {
    refuse(path, error.source().begin.line, error.description());
  } catch (const Malformed& error) {
    refuse(path, error.line, error.what);
  }
}

}  // namespace enhance_depth_tool
