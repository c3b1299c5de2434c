// The headers of binary PGM and PPM files: three numbers between white space and comments, then the pixels,
// which are big-endian if they have more than 8 bits.
#include <algorithm>
#include <string_view>

#include "image/image_header.h"

namespace enhance_depth_tool {
namespace {

bool is_space(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }

// Removes the next number from the front of `text`; -1 if there is none, or one of more than nine digits.
std::int64_t take_number(std::string_view& text) {
  while (!text.empty() && (is_space(text.front()) || text.front() == '#')) {
    const bool is_comment = text.front() == '#';
    text.remove_prefix(is_comment ? std::min(text.find('\n'), text.size()) : 1);
  }
  constexpr std::size_t kMostDigits = 9;
  std::size_t digits = 0;
  std::int64_t number = 0;
  for (; digits < text.size() && text[digits] >= '0' && text[digits] <= '9'; ++digits) {
    if (digits == kMostDigits) {
      return -1;
    }
    number = number * 10 + (text[digits] - '0');
  }
  text.remove_prefix(digits);
  return digits == 0 ? -1 : number;
}

}  // namespace

void read_pnm_header(const std::uint8_t* data, std::size_t size, ImageHeader& header) {
  const std::string_view file(reinterpret_cast<const char*>(data), size);
  std::string_view rest = file.substr(2);
  header.fault = kDamaged;
  header.width = take_number(rest);
  header.height = take_number(rest);
  const std::int64_t largest = take_number(rest);
  if (header.width < 0 || header.height < 0 || largest < 1 || largest > 65535 || rest.empty()) {
    return;
  }
  header.bits = largest > 255 ? 16 : 8;
  header.channels = file[1] == '5' ? 1 : 3;
  header.big_endian = true;
  header.pixels_at = file.size() - rest.size() + 1;  // one white space
  if (!is_space(rest.front())) {
    return;
  }
  header.fault.clear();
  if (header.bits == 8 && largest != 255) {
    header.fault = "goes from 0 to " + std::to_string(largest) + " and not to 255";
  }
}

}  // namespace enhance_depth_tool
