#include "commands/help_formatter.h"

#include <algorithm>

#include "support/text.h"

namespace enhance_depth_tool {
namespace {

constexpr std::size_t kTextColumn = 26;
constexpr std::size_t kNarrowestText = 30;

}  // namespace

HelpFormatter::HelpFormatter(int width)
    : text_width_(std::max(static_cast<std::size_t>(std::max(width, 0)), kTextColumn + kNarrowestText) -
                  kTextColumn) {
  column_width(kTextColumn);
}

std::string HelpFormatter::make_option_opts(const CLI::Option* option) const {
  return option->get_type_size() == 0 ? "" : " " + option->get_type_name();
}

std::string HelpFormatter::make_option_desc(const CLI::Option* option) const {
  std::string text = option->get_description();
  if (option->get_required()) {
    text += " (required)";
  }
  if (!option->get_default_str().empty()) {
    text += " (default " + option->get_default_str() + ")";
  }
  return wrapped(text, text_width_);
}

}  // namespace enhance_depth_tool
