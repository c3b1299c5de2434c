// Reads and writes the simplest of image files: binary PPM (8-bit colour) and binary PGM (16-bit grey).
#ifndef PNM_HPP
#define PNM_HPP

#include <cstddef>
#include <cstdint>
#include <fstream>
#include <ios>
#include <limits>
#include <stdexcept>
#include <string>
#include <vector>

namespace pnm {

template <typename T>
struct Image {
  int width = 0;
  int height = 0;
  std::vector<T> values;
};

namespace internal {

inline int read_number(std::istream& file) {
  while ((file >> std::ws).peek() == '#') {
    file.ignore(std::numeric_limits<std::streamsize>::max(), '\n');
  }
  int value = 0;
  file >> value;
  return value;
}

// The bytes after the header of a binary PNM file of the given kind, e.g. "P6".
inline Image<char> read(const std::string& path, const std::string& kind, int largest_value,
                        std::size_t bytes_per_pixel) {
  constexpr int kLargestSide = 16384;
  std::ifstream file(path, std::ios::binary);
  std::string magic;
  if (!(file >> magic)) {
    throw std::runtime_error(path + ": cannot be read");
  }
  if (magic != kind) {
    throw std::runtime_error(path + ": not a binary PNM file of kind " + kind);
  }
  Image<char> image;
  image.width = read_number(file);
  image.height = read_number(file);
  const int largest = read_number(file);
  file.get();  // the single white space after the header
  if (!file || image.width < 1 || image.height < 1 || image.width > kLargestSide ||
      image.height > kLargestSide) {
    throw std::runtime_error(path + ": the image size cannot be read or is too large");
  }
  if (largest != largest_value) {
    throw std::runtime_error(path + ": the largest value must be " + std::to_string(largest_value));
  }
  image.values.resize(static_cast<std::size_t>(image.width) * static_cast<std::size_t>(image.height) *
                      bytes_per_pixel);
  if (!file.read(image.values.data(), static_cast<std::streamsize>(image.values.size()))) {
    throw std::runtime_error(path + ": the file ends before the image does");
  }
  return image;
}

}  // namespace internal

// Reads an 8-bit binary PPM: red, green and blue of each pixel together. Throws std::runtime_error.
inline Image<std::uint8_t> read_color(const std::string& path) {
  const Image<char> bytes = internal::read(path, "P6", 255, 3);
  return {bytes.width, bytes.height, {bytes.values.begin(), bytes.values.end()}};
}

// Reads a 16-bit binary PGM. Throws std::runtime_error.
inline Image<std::uint16_t> read_depth(const std::string& path) {
  const Image<char> bytes = internal::read(path, "P5", 65535, 2);
  Image<std::uint16_t> image{bytes.width, bytes.height, std::vector<std::uint16_t>(bytes.values.size() / 2)};
  for (std::size_t i = 0; i < image.values.size(); ++i) {  // the file is big-endian
    const auto high = static_cast<unsigned char>(bytes.values[2 * i]);
    const auto low = static_cast<unsigned char>(bytes.values[2 * i + 1]);
    image.values[i] = static_cast<std::uint16_t>(high << 8 | low);
  }
  return image;
}

// Writes a 16-bit binary PGM from anything with width(), height(), begin() and end(). Throws
// std::runtime_error.
template <typename DepthImage>
void write_depth(const std::string& path, const DepthImage& image) {
  std::ofstream file(path, std::ios::binary);
  file << "P5\n" << image.width() << ' ' << image.height() << "\n65535\n";
  for (const std::uint16_t value : image) {
    file.put(static_cast<char>(value >> 8)).put(static_cast<char>(value & 0xFF));
  }
  if (!file.flush()) {
    throw std::runtime_error(path + ": cannot be written");
  }
}

}  // namespace pnm

#endif  // PNM_HPP
