// What a PNG or JPEG file says about its image, read before anything is decoded: it tells why a file is
// refused, and it keeps a small file with a huge image from exhausting memory.
#ifndef ENHANCE_DEPTH_TOOL_IMAGE_HEADER_H
#define ENHANCE_DEPTH_TOOL_IMAGE_HEADER_H

#include <cstddef>
#include <cstdint>

namespace enhance_depth_tool {

enum class ImageFormat { kPng, kJpeg, kOther };

struct ImageHeader {
  ImageFormat format = ImageFormat::kOther;
  bool complete = false;  // the fields below could be read, and a JPEG file has its end-of-image marker
  std::int64_t width = 0;
  std::int64_t height = 0;
  int bits = 0;      // per channel
  int channels = 0;  // of the decoded image: 3 for a palette
};

// Never reads outside [data, data + size) and never fails: what it cannot make out is kOther or not complete.
ImageHeader read_image_header(const std::uint8_t* data, std::size_t size);

// Whether the checksum of every chunk of a PNG file is right, and the last one is there. The decoder would
// write its own words about it into the middle of the tool's.
bool is_intact_png(const std::uint8_t* data, std::size_t size);

}  // namespace enhance_depth_tool

#endif  // ENHANCE_DEPTH_TOOL_IMAGE_HEADER_H
