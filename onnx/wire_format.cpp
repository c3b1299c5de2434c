#include "onnx/wire_format.h"

namespace enhance_depth_onnx {

std::uint64_t FieldReader::read_varint() {
  std::uint64_t value = 0;
  for (unsigned shift = 0; shift < 64; shift += 7) {
    if (rest_.empty()) {
      throw DamagedFile("it ends in the middle of a number");
    }
    const auto byte = static_cast<unsigned char>(rest_.front());
    rest_.remove_prefix(1);
    value |= static_cast<std::uint64_t>(byte & 0x7FU) << shift;
    if ((byte & 0x80U) == 0) {
      return value;
    }
  }
  throw DamagedFile("a number in it has no end");
}

std::string_view FieldReader::take(std::uint64_t size) {
  if (size > rest_.size()) {
    throw DamagedFile("it ends before its content does");
  }
  const std::string_view taken = rest_.substr(0, size);
  rest_.remove_prefix(size);
  return taken;
}

bool FieldReader::next(Field& field) {
  if (rest_.empty()) {
    return false;
  }
  const std::uint64_t tag = read_varint();
  if (tag >> 3U == 0 || tag >> 32U != 0) {
    throw DamagedFile("it has a field without a number");
  }
  field.number = static_cast<std::uint32_t>(tag >> 3U);
  field.type = static_cast<WireType>(tag & 7U);
  field.value = 0;
  field.bytes = {};
  switch (field.type) {
    case WireType::kVarint:
      field.value = read_varint();
      return true;
    case WireType::kFixed64:
      field.bytes = take(8);
      return true;
    case WireType::kLengthDelimited:
      field.bytes = take(read_varint());
      return true;
    case WireType::kFixed32:
      field.bytes = take(4);
      return true;
  }
  throw DamagedFile("it has a field of a type that there is not");
}

}  // namespace enhance_depth_onnx
