// The help texts: options with their arguments, descriptions wrapped to the terminal.
#ifndef ENHANCE_DEPTH_TOOL_HELP_FORMATTER_H
#define ENHANCE_DEPTH_TOOL_HELP_FORMATTER_H

#include <string>

#include <CLI/CLI.hpp>

namespace enhance_depth_tool {

class HelpFormatter : public CLI::Formatter {
 public:
  // Wraps descriptions so that no line has more than `width` columns.
  explicit HelpFormatter(int width);

  std::string make_option_opts(const CLI::Option* option) const override;
  std::string make_option_desc(const CLI::Option* option) const override;

 private:
  std::size_t text_width_;
};

}  // namespace enhance_depth_tool

#endif  // ENHANCE_DEPTH_TOOL_HELP_FORMATTER_H
