// What an image file states about its image, read before anything is decoded: it gives the reason for
// refusing a file, and keeps a small file from exhausting memory or time in a decoder.
#ifndef ENHANCE_DEPTH_TOOL_IMAGE_HEADER_H
#define ENHANCE_DEPTH_TOOL_IMAGE_HEADER_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace enhance_depth_tool {

enum class ImageFormat { kPng, kJpeg, kTiff, kPnm, kNpy, kOther };

enum class SampleType { kUnsigned, kSigned, kFloat };

struct ImageHeader {
  ImageFormat format = ImageFormat::kOther;
  std::int64_t width = 0;
  std::int64_t height = 0;
  int bits = 0;      // per channel
  int channels = 0;  // of the decoded image: 3 for a palette
  SampleType sample_type = SampleType::kUnsigned;
  // Why the file cannot be decoded, as a clause after its name, for example "is damaged"; empty if no reason
  // is known.
  std::string fault;

  // Of the formats whose pixels are stored as they are, kPnm and kNpy:
  std::size_t pixels_at = 0;  // offset in the file
  bool big_endian = false;
};

// Never reads outside [data, data + size) and never fails: a file that it does not understand is kOther or
// has a fault.
ImageHeader read_image_header(const std::uint8_t* data, std::size_t size);

// The name of the unsupported format that `data` seems to have; empty if unknown. For messages.
std::string name_of_other_format(const std::uint8_t* data, std::size_t size);

// Whether the checksum of every chunk of a PNG file is right, and the last chunk is there. The decoder would
// print its own messages in the middle of the tool's.
bool is_intact_png(const std::uint8_t* data, std::size_t size);

// An intact PNG file with only what its pixels need. The decoder would unpack all texts, each of which may
// turn a few kilobytes into eight megabytes.
std::vector<std::uint8_t> essential_png(const std::uint8_t* data, std::size_t size);

// The readers of single formats; each gets a file that begins as its format does.
inline constexpr const char* kDamaged = "is cut short or damaged";
std::uint32_t read_big_endian(const std::uint8_t* data, int bytes);
void read_jpeg_header(const std::uint8_t* data, std::size_t size, ImageHeader& header);
void read_tiff_header(const std::uint8_t* data, std::size_t size, ImageHeader& header);
void read_pnm_header(const std::uint8_t* data, std::size_t size, ImageHeader& header);
void read_npy_header(const std::uint8_t* data, std::size_t size, ImageHeader& header);

}  // namespace enhance_depth_tool

#endif  // ENHANCE_DEPTH_TOOL_IMAGE_HEADER_H
