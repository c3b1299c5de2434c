#include "support/text.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <sstream>

#include <fmt/format.h>

namespace enhance_depth_tool {
namespace {

// The length in bytes of the UTF-8 character at the beginning of `text`, which is not empty; 0 if there is
// none.
std::size_t character_length(std::string_view text) {
  const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
  const std::size_t length = byte(0) < 0x80                       ? 1
                             : byte(0) >= 0xc2 && byte(0) <= 0xdf ? 2
                             : byte(0) >= 0xe0 && byte(0) <= 0xef ? 3
                             : byte(0) >= 0xf0 && byte(0) <= 0xf4 ? 4
                                                                  : 0;
  if (length > text.size()) {
    return 0;
  }
  for (std::size_t i = 1; i < length; ++i) {
    if ((byte(i) & 0xc0U) != 0x80U) {
      return 0;
    }
  }
  return length;
}

// Of C0, DEL, and C1, which UTF-8 writes as 0xc2 0x80 to 0xc2 0x9f.
bool is_control(std::string_view character) {
  const auto first = static_cast<unsigned char>(character[0]);
  return first < 0x20 || first == 0x7f || (first == 0xc2 && static_cast<unsigned char>(character[1]) < 0xa0);
}

}  // namespace

std::string decimals(double value, int digits) { return fmt::format("{:.{}f}", value, digits); }

std::string percent(double fraction) { return decimals(fraction * 100.0, 1) + " %"; }

std::string milliseconds(double value) { return decimals(value, 1) + " ms"; }

std::string duration(double seconds) {
  if (seconds < 59.95) {  // above, one decimal would round up to 60
    return decimals(seconds, 1) + " s";
  }
  const std::int64_t whole = std::llround(seconds);
  if (whole < 3600) {
    return fmt::format("{} min {:02} s", whole / 60, whole % 60);
  }
  return fmt::format("{} h {:02} min", whole / 3600, whole / 60 % 60);
}

std::string count(std::int64_t number, const char* what) {
  return fmt::format("{} {}{}", number, what, number == 1 ? "" : "s");
}

std::string image_size(std::int64_t width, std::int64_t height) {
  return std::to_string(width) + " x " + std::to_string(height);
}

std::string printable(std::string_view text) {
  std::string result;
  while (!text.empty()) {
    const std::size_t length = character_length(text);
    const std::string_view character = text.substr(0, std::max<std::size_t>(length, 1));
    if (length > 0 && !is_control(character)) {
      result += character;
    } else {
      for (const char c : character) {
        result += fmt::format("\\x{:02x}", static_cast<unsigned char>(c));
      }
    }
    text.remove_prefix(character.size());
  }
  return result;
}

std::string lower_case(std::string text) {
  for (char& c : text) {
    c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  }
  return text;
}

std::string wrapped(const std::string& text, std::size_t width) {
  std::istringstream words(text);
  std::string result;
  std::size_t column = 0;
  for (std::string word; words >> word;) {
    const bool fits = column + 1 + word.size() <= width;
    if (column > 0) {
      result += fits ? ' ' : '\n';
    }
    column = column > 0 && fits ? column + 1 + word.size() : word.size();
    result += word;
  }
  return result;
}

}  // namespace enhance_depth_tool
