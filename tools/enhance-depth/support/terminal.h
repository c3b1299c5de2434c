// What the standard streams are connected to.
#ifndef ENHANCE_DEPTH_TOOL_TERMINAL_H
#define ENHANCE_DEPTH_TOOL_TERMINAL_H

#include <string>

namespace enhance_depth_tool {

enum class StandardStream { kOutput, kError };
enum class Highlight { kError, kHeading };

// Where std::cout and std::cerr write to, if not to the descriptors 1 and 2.
void set_descriptors(int output, int error);

bool is_terminal(StandardStream stream);

// Columns of the terminal on standard error; 80 if unknown.
int terminal_width();

// `text` in the colour of `highlight` when `stream` is a terminal that wants colour (NO_COLOR unset, TERM not
// "dumb"), otherwise `text` itself.
std::string highlighted(const std::string& text, Highlight highlight, StandardStream stream);

// Prints a sentence of warning to standard error; nothing when it is empty.
void print_warning(const std::string& sentence);

}  // namespace enhance_depth_tool

#endif  // ENHANCE_DEPTH_TOOL_TERMINAL_H
