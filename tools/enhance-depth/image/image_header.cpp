#include "image/image_header.h"

#include <algorithm>
#include <array>
#include <iterator>

#include <zlib.h>

namespace enhance_depth_tool {
namespace {

constexpr std::array<std::uint8_t, 8> kPngSignature = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1a, '\n'};
constexpr std::array<std::uint8_t, 3> kJpegSignature = {0xff, 0xd8, 0xff};

template <std::size_t N>
bool starts_with(const std::uint8_t* data, std::size_t size, const std::array<std::uint8_t, N>& signature) {
  return size >= N && std::equal(signature.begin(), signature.end(), data);
}

std::uint32_t big_endian(const std::uint8_t* data, int bytes) {
  std::uint32_t value = 0;
  for (int i = 0; i < bytes; ++i) {
    value = value << 8 | data[i];
  }
  return value;
}

// The IHDR chunk comes first: length, "IHDR", width, height, bit depth, colour type.
void read_png_header(const std::uint8_t* data, std::size_t size, ImageHeader& header) {
  constexpr std::size_t kHeaderEnd = 33;
  if (size < kHeaderEnd) {
    return;
  }
  header.width = big_endian(data + 16, 4);
  header.height = big_endian(data + 20, 4);
  header.bits = data[24];
  switch (data[25]) {
    case 0:
      header.channels = 1;
      break;  // grey
    case 2:
      header.channels = 3;
      break;  // RGB
    case 3:   // palette of 8-bit RGB
      header.channels = 3;
      header.bits = 8;
      break;
    case 4:
      header.channels = 2;
      break;  // grey and alpha
    case 6:
      header.channels = 4;
      break;  // RGB and alpha
    default:
      return;
  }
  header.complete = true;
}

bool is_start_of_frame(std::uint8_t marker) {
  // 0xc4, 0xc8 and 0xcc lie in the same range and mean something else.
  return marker >= 0xc0 && marker <= 0xcf && marker != 0xc4 && marker != 0xc8 && marker != 0xcc;
}

// Walks the segments up to the start of the scan; the start-of-frame segment has the size. A decoder fills up
// what a cut file lacks without a word, so the end-of-image marker is looked for too.
void read_jpeg_header(const std::uint8_t* data, std::size_t size, ImageHeader& header) {
  constexpr std::uint8_t kStartOfScan = 0xda;
  std::size_t at = 2;
  while (at + 4 <= size && data[at] == 0xff) {
    const std::uint8_t marker = data[at + 1];
    if (marker == 0xff) {  // fill byte
      ++at;
      continue;
    }
    const std::size_t length = big_endian(data + at + 2, 2);
    if (is_start_of_frame(marker) && at + 10 <= size) {
      header.bits = data[at + 4];
      header.height = big_endian(data + at + 5, 2);
      header.width = big_endian(data + at + 7, 2);
      header.channels = data[at + 9];
    }
    at += 2 + length;
    if (marker == kStartOfScan || length < 2) {
      break;
    }
  }
  constexpr std::uint8_t kEndOfImage[] = {0xff, 0xd9};
  const auto* end = data + size;
  header.complete = header.channels != 0 && at < size &&
                    std::search(data + at, end, std::begin(kEndOfImage), std::end(kEndOfImage)) != end;
}

}  // namespace

ImageHeader read_image_header(const std::uint8_t* data, std::size_t size) {
  ImageHeader header;
  if (starts_with(data, size, kPngSignature)) {
    header.format = ImageFormat::kPng;
    read_png_header(data, size, header);
  } else if (starts_with(data, size, kJpegSignature)) {
    header.format = ImageFormat::kJpeg;
    read_jpeg_header(data, size, header);
  }
  return header;
}

bool is_intact_png(const std::uint8_t* data, std::size_t size) {
  // A chunk: length of its data, four letters, data, checksum of letters and data.
  constexpr std::size_t kAround = 12;
  for (std::size_t at = kPngSignature.size(); at + kAround <= size;) {
    const std::size_t length = big_endian(data + at, 4);
    if (length > size - at - kAround) {
      return false;
    }
    const std::uint8_t* letters = data + at + 4;
    if (crc32(0, letters, static_cast<uInt>(4 + length)) != big_endian(letters + 4 + length, 4)) {
      return false;
    }
    if (big_endian(letters, 4) == 0x49454e44) {  // IEND
      return true;
    }
    at += kAround + length;
  }
  return false;
}

}  // namespace enhance_depth_tool
