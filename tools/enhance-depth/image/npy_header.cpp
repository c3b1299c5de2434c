// The headers of NumPy's NPY files: a dictionary in Python's notation, such as
// {'descr': '<u2', 'fortran_order': False, 'shape': (480, 640), }.
#include <algorithm>
#include <array>
#include <string_view>

#include "image/image_header.h"

namespace enhance_depth_tool {
namespace {

// The text after 'key': in the dictionary; empty if the key is missing.
std::string_view value_of(std::string_view dictionary, std::string_view key) {
  const std::string quoted = "'" + std::string(key) + "':";
  const std::size_t at = dictionary.find(quoted);
  if (at == std::string_view::npos) {
    return {};
  }
  std::string_view value = dictionary.substr(at + quoted.size());
  value.remove_prefix(std::min(value.find_first_not_of(' '), value.size()));
  return value;
}

// The numbers of a tuple such as (480, 640) or (480, 640, 1); false for anything else.
bool read_shape(std::string_view text, std::array<std::int64_t, 3>& shape) {
  if (text.empty() || text.front() != '(') {
    return false;
  }
  text.remove_prefix(1);
  shape = {0, 0, 1};
  std::size_t count = 0;
  constexpr std::int64_t kMost = 1'000'000'000;
  for (bool in_number = false; !text.empty(); text.remove_prefix(1)) {
    const char c = text.front();
    if (c >= '0' && c <= '9') {
      if (!in_number) {
        ++count;
      }
      if (count > shape.size()) {
        return false;
      }
      std::int64_t& number = shape[count - 1];
      number = (in_number ? number * 10 : 0) + (c - '0');
      if (number > kMost) {
        return false;
      }
    } else if (c == ')') {
      return count >= 2;
    } else if (c != ' ' && c != ',') {
      return false;
    }
    in_number = c >= '0' && c <= '9';
  }
  return false;
}

}  // namespace

void read_npy_header(const std::uint8_t* data, std::size_t size, ImageHeader& header) {
  header.fault = kDamaged;
  constexpr std::size_t kLengthAt = 8;  // after the signature and two bytes of version
  if (size < kLengthAt + 4) {
    return;
  }
  const int bytes_of_length = data[6] == 1 ? 2 : 4;
  std::size_t length = 0;
  for (int i = bytes_of_length - 1; i >= 0; --i) {
    length = length << 8 | data[kLengthAt + static_cast<std::size_t>(i)];
  }
  const std::size_t text_at = kLengthAt + static_cast<std::size_t>(bytes_of_length);
  if (length > size - text_at) {
    return;
  }
  header.pixels_at = text_at + length;
  const std::string_view dictionary(reinterpret_cast<const char*>(data) + text_at, length);

  header.fault = "is an array of a kind that is not read";
  const std::string_view type = value_of(dictionary, "descr");
  std::array<std::int64_t, 3> shape{};
  if (type.size() < 5 || type[0] != '\'' || type[4] != '\'' ||
      !read_shape(value_of(dictionary, "shape"), shape)) {
    return;
  }
  header.height = shape[0];
  header.width = shape[1];
  header.channels = static_cast<int>(std::min<std::int64_t>(shape[2], 64));
  header.big_endian = type[1] == '>';
  header.bits = (type[3] - '0') * 8;
  header.sample_type = type[2] == 'f'   ? SampleType::kFloat
                       : type[2] == 'u' ? SampleType::kUnsigned
                                        : SampleType::kSigned;
  const bool by_rows = value_of(dictionary, "fortran_order").substr(0, 5) == "False";
  const bool is_number = type[2] == 'f' || type[2] == 'u' || type[2] == 'i';
  if (!by_rows) {
    header.fault = "is stored by columns; save it with numpy.ascontiguousarray()";
  } else if (is_number && type[3] >= '1' && type[3] <= '8') {
    header.fault.clear();
  }
}

}  // namespace enhance_depth_tool
