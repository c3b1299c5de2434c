// The summary of a subcommand for programs.
#ifndef ENHANCE_DEPTH_TOOL_JSON_OUTPUT_H
#define ENHANCE_DEPTH_TOOL_JSON_OUTPUT_H

#include <filesystem>
#include <iosfwd>

#include <nlohmann/json_fwd.hpp>

namespace CLI {
class App;
}  // namespace CLI

namespace enhance_depth_tool {

// Goes nowhere, into a file, or to standard output in place of the text.
class JsonOutput {
 public:
  // --json
  void add_option(CLI::App& app);

  // The file; empty when there is none.
  std::filesystem::path file() const { return replaces_text() ? std::filesystem::path() : path_; }

  // Where the text goes: standard output, or nowhere.
  std::ostream& text() const;

  // Throws a UsageError unless the file can be written.
  void require_writable() const;

  // Throws a ToolError.
  void write(const nlohmann::ordered_json& json) const;

 private:
  bool replaces_text() const { return path_ == "-"; }

  std::filesystem::path path_;
};

}  // namespace enhance_depth_tool

#endif  // ENHANCE_DEPTH_TOOL_JSON_OUTPUT_H
