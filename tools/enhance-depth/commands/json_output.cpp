#include "commands/json_output.h"

#include <iostream>

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include "support/json_file.h"
#include "support/output_path.h"

namespace enhance_depth_tool {

void JsonOutput::add_option(CLI::App& app) {
  app.add_option("--json", path_, "Write the summary as JSON too; - prints it in place of the text")
      ->type_name("FILE");
}

std::ostream& JsonOutput::text() const {
  static std::ostream nowhere(nullptr);
  return replaces_text() ? nowhere : std::cout;
}

void JsonOutput::require_writable() const {
  if (!file().empty()) {
    enhance_depth_tool::require_writable(file(), {});
  }
}

void JsonOutput::write(const nlohmann::ordered_json& json) const {
  if (replaces_text()) {
    std::cout << json_text(json);
  }
  if (!file().empty()) {
    write_json(file(), json);
  }
}

}  // namespace enhance_depth_tool
