#include "commands/program_output.h"

#include <iostream>

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include "support/atomic_file.h"
#include "support/json_file.h"
#include "support/output_path.h"
#include "support/tool_error.h"

namespace enhance_depth_tool {

void ProgramOutput::add_option(CLI::App& app, const std::string& name, const std::string& what) {
  option_ = name;
  app.add_option(name, path_, what + "; - prints it in place of the text")->type_name("FILE");
}

std::ostream& ProgramOutput::text() const {
  static std::ostream nowhere(nullptr);
  return replaces_text() ? nowhere : std::cout;
}

std::ostream& ProgramOutput::text_beside(const ProgramOutput& other) const {
  return replaces_text() ? text() : other.text();
}

void ProgramOutput::require_apart_from(const ProgramOutput& other) const {
  if (replaces_text() && other.replaces_text()) {
    throw UsageError(option_ + " and " + other.option_ +
                     " would both be printed to standard output. Name a file for one of them.");
  }
}

void ProgramOutput::require_writable() const {
  if (!file().empty()) {
    enhance_depth_tool::require_writable(file(), {});
  }
}

void ProgramOutput::write(const std::string& content) const {
  if (replaces_text()) {
    std::cout << content;
  } else if (is_wanted()) {
    write_file(path_, content);
  }
}

void JsonOutput::add_option(CLI::App& app) {
  ProgramOutput::add_option(app, "--json", "Write the summary as JSON too");
}

void JsonOutput::write(const nlohmann::ordered_json& json) const { ProgramOutput::write(json_text(json)); }

}  // namespace enhance_depth_tool
