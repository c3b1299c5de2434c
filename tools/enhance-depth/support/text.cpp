#include "support/text.h"

#include <array>
#include <cctype>
#include <cmath>
#include <cstdio>
#include <sstream>

namespace enhance_depth_tool {
namespace {

std::string two_digits(std::int64_t number) { return (number < 10 ? "0" : "") + std::to_string(number); }

}  // namespace

std::string decimals(double value, int digits) {
  std::array<char, 400> buffer{};  // the largest double has 309 digits before the point
  std::snprintf(buffer.data(), buffer.size(), "%.*f", digits, value);
  return buffer.data();
}

std::string percent(double share) { return decimals(share * 100.0, 1) + " %"; }

std::string milliseconds(double value) { return decimals(value, 1) + " ms"; }

std::string duration(double seconds) {
  if (seconds < 59.95) {  // above, one decimal would round up to 60
    return decimals(seconds, 1) + " s";
  }
  const std::int64_t whole = std::llround(seconds);
  if (whole < 3600) {
    return std::to_string(whole / 60) + " min " + two_digits(whole % 60) + " s";
  }
  return std::to_string(whole / 3600) + " h " + two_digits(whole / 60 % 60) + " min";
}

std::string count(std::int64_t number, const char* what) {
  return std::to_string(number) + " " + what + (number == 1 ? "" : "s");
}

std::string image_size(std::int64_t width, std::int64_t height) {
  return std::to_string(width) + " x " + std::to_string(height);
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
