// The headers of JPEG files: everything that the decoder will see, found in the way the decoder does.
#include "image/image_header.h"

namespace enhance_depth_tool {
namespace {

enum Marker : std::uint8_t {
  kTemporary = 0x01,
  kRestart0 = 0xd0,
  kRestart7 = 0xd7,
  kStartOfImage = 0xd8,
  kEndOfImage = 0xd9,
  kStartOfScan = 0xda,
};

bool is_start_of_frame(std::uint8_t marker) {
  // 0xc4, 0xc8 and 0xcc are in the same range but mean something else.
  return marker >= 0xc0 && marker <= 0xcf && marker != 0xc4 && marker != 0xc8 && marker != 0xcc;
}

// A marker without a length. Those below the frames' markers are either that or refused by decoders.
bool has_no_length(std::uint8_t marker) {
  return marker < 0xc0 || (marker >= kRestart0 && marker <= kRestart7);
}

// Moves `at` past the next marker and returns it; 0 at the end of the file. Skips everything else: pixels,
// garbage, fill bytes, and the zero that follows a 0xff in the pixels.
std::uint8_t next_marker(const std::uint8_t* data, std::size_t size, std::size_t& at) {
  while (at + 1 < size) {
    const bool found = data[at] == 0xff && data[at + 1] != 0xff && data[at + 1] != 0;
    at += found ? 2 : 1;
    if (found) {
      return data[at - 1];
    }
  }
  return 0;
}

}  // namespace

// Walks over all segments up to the end-of-image marker. That marker is required, because a decoder silently
// fills in what a truncated file lacks. Every scan of a progressive file costs a pass over the whole image.
void read_jpeg_header(const std::uint8_t* data, std::size_t size, ImageHeader& header) {
  constexpr int kMostScans = 64;  // encoders write about ten
  header.fault = kDamaged;
  int scans = 0;
  std::size_t at = 2;
  for (std::uint8_t marker = next_marker(data, size, at); marker != 0; marker = next_marker(data, size, at)) {
    if (has_no_length(marker)) {
      continue;
    }
    if (marker == kEndOfImage) {
      if (header.channels != 0 && scans > 0) {
        header.fault.clear();
      }
      return;
    }
    if (marker == kStartOfImage || at + 2 > size) {
      return;
    }
    const std::size_t length = read_big_endian(data + at, 2);
    if (length < 2 || length > size - at) {
      return;
    }
    if (is_start_of_frame(marker)) {
      if (length < 8 || header.channels != 0) {
        return;  // a second frame
      }
      header.bits = data[at + 2];
      header.height = read_big_endian(data + at + 3, 2);
      header.width = read_big_endian(data + at + 5, 2);
      header.channels = data[at + 7];
    }
    if (marker == kStartOfScan && ++scans > kMostScans) {
      header.fault = "has more than " + std::to_string(kMostScans) + " scans, which no camera writes";
      return;
    }
    at += length;
  }
}

}  // namespace enhance_depth_tool
