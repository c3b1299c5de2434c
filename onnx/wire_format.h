// The wire format of protocol buffers: a message as a sequence of numbered fields. Copies nothing and does
// not descend by itself, so that a model of a gigabyte needs no memory and a hostile one no stack.
#ifndef ENHANCE_DEPTH_ONNX_WIRE_FORMAT_H
#define ENHANCE_DEPTH_ONNX_WIRE_FORMAT_H

#include <cstdint>
#include <stdexcept>
#include <string_view>

namespace enhance_depth_onnx {

// Malformed data; the text is a clause that says what is wrong.
class DamagedFile : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

enum class WireType { kVarint = 0, kFixed64 = 1, kLengthDelimited = 2, kFixed32 = 5 };

struct Field {
  std::uint32_t number = 0;
  WireType type = WireType::kVarint;
  std::uint64_t value = 0;  // of a kVarint field
  std::string_view bytes;   // of a field of any other type

  // Whether it is this field with this type. Like any reader, treats one of another type as another field.
  bool is(std::uint32_t wanted, WireType wanted_type) const {
    return number == wanted && type == wanted_type;
  }
};

// The fields of a message in their order.
class FieldReader {
 public:
  explicit FieldReader(std::string_view message) : rest_(message) {}

  // Reads the next field; false at the end. Throws DamagedFile.
  bool next(Field& field);

 private:
  std::uint64_t read_varint();
  std::string_view take(std::uint64_t size);

  std::string_view rest_;
};

}  // namespace enhance_depth_onnx

#endif  // ENHANCE_DEPTH_ONNX_WIRE_FORMAT_H
