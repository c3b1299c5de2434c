// The results of a subcommand for programs.
#ifndef ENHANCE_DEPTH_TOOL_PROGRAM_OUTPUT_H
#define ENHANCE_DEPTH_TOOL_PROGRAM_OUTPUT_H

#include <filesystem>
#include <iosfwd>
#include <string>

#include <nlohmann/json_fwd.hpp>

namespace CLI {
class App;
}  // namespace CLI

namespace enhance_depth_tool {

// Goes nowhere, into a file, or to standard output in place of the text.
class ProgramOutput {
 public:
  // `what` begins the explanation of the option; what - does is added.
  void add_option(CLI::App& app, const std::string& name, const std::string& what);

  // Whether it is printed to standard output, and the text is not.
  bool replaces_text() const { return path_ == "-"; }

  bool is_wanted() const { return !path_.empty(); }

  // The file; empty when there is none.
  std::filesystem::path file() const { return replaces_text() ? std::filesystem::path() : path_; }

  // Where the text goes: standard output, or nowhere. The same beside `other`.
  std::ostream& text() const;
  std::ostream& text_beside(const ProgramOutput& other) const;

  // Throws a UsageError if both go to standard output.
  void require_apart_from(const ProgramOutput& other) const;

  // Throws a UsageError unless the file can be written.
  void require_writable() const;

  // Throws a ToolError.
  void write(const std::string& content) const;

 private:
  std::string option_;
  std::filesystem::path path_;
};

// The summary as JSON.
class JsonOutput : public ProgramOutput {
 public:
  // --json
  void add_option(CLI::App& app);

  // Throws a ToolError.
  void write(const nlohmann::ordered_json& json) const;
};

}  // namespace enhance_depth_tool

#endif  // ENHANCE_DEPTH_TOOL_PROGRAM_OUTPUT_H
