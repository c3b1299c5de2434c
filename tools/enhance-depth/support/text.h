// Formats numbers and texts for display.
#ifndef ENHANCE_DEPTH_TOOL_TEXT_H
#define ENHANCE_DEPTH_TOOL_TEXT_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace enhance_depth_tool {

std::string decimals(double value, int digits);                   // 1.50
std::string percent(double fraction);                             // 78.3 %
std::string milliseconds(double value);                           // 12.3 ms
std::string duration(double seconds);                             // 12.3 s, 4 min 05 s, 2 h 07 min
std::string count(std::int64_t number, const char* what);         // 1 frame, 2 frames
std::string image_size(std::int64_t width, std::int64_t height);  // 640 x 480

// Makes `text` safe for terminals and logs: control characters and bytes that are not UTF-8 become \xNN. For
// names and messages that come from files.
std::string printable(std::string_view text);

std::string lower_case(std::string text);  // ASCII letters only

// Wraps `text` at blanks, so that no line is longer than `width` unless a word is.
std::string wrapped(const std::string& text, std::size_t width);

}  // namespace enhance_depth_tool

#endif  // ENHANCE_DEPTH_TOOL_TEXT_H
