#include "image/image_header.h"

#include <cstring>
#include <iterator>
#include <string_view>

#include <zlib.h>

namespace enhance_depth_tool {
namespace {

using namespace std::string_view_literals;

constexpr std::string_view kPngSignature = "\x89PNG\r\n\x1a\n"sv;

bool starts_with(const std::uint8_t* data, std::size_t size, std::string_view signature) {
  return size >= signature.size() && std::memcmp(data, signature.data(), signature.size()) == 0;
}

constexpr std::uint32_t kImageEnd = 0x49454e44;      // "IEND"
constexpr std::uint32_t kTransparency = 0x74524e53;  // "tRNS"

// Calls `visit` with the place and length of every chunk up to the last. A chunk: length of its data, four
// letters, data, checksum of letters and data. Returns false when one is damaged or the last is missing.
template <typename Visit>
bool for_each_png_chunk(const std::uint8_t* data, std::size_t size, const Visit& visit) {
  constexpr std::size_t kAround = 12;
  for (std::size_t at = kPngSignature.size(); at + kAround <= size;) {
    const std::size_t length = read_big_endian(data + at, 4);
    if (length > size - at - kAround) {
      return false;
    }
    const std::uint8_t* letters = data + at + 4;
    if (crc32(0, letters, static_cast<uInt>(4 + length)) != read_big_endian(letters + 4 + length, 4)) {
      return false;
    }
    visit(at, kAround + length);
    if (read_big_endian(letters, 4) == kImageEnd) {
      return true;
    }
    at += kAround + length;
  }
  return false;
}

// The IHDR chunk comes first: length, "IHDR", width, height, bit depth, colour type.
void read_png_header(const std::uint8_t* data, std::size_t size, ImageHeader& header) {
  constexpr std::size_t kHeaderEnd = 33;
  constexpr int kChannelsOfColorType[] = {1, 0, 3, 3, 2, 0, 4};  // grey, RGB, palette, grey and alpha, RGBA
  constexpr int kPalette = 3;
  header.fault = kDamaged;
  if (size < kHeaderEnd || data[25] >= std::size(kChannelsOfColorType)) {
    return;
  }
  header.width = read_big_endian(data + 16, 4);
  header.height = read_big_endian(data + 20, 4);
  header.bits = data[25] == kPalette ? 8 : data[24];
  header.channels = kChannelsOfColorType[data[25]];
  if (header.channels != 0 && is_intact_png(data, size)) {
    header.fault.clear();
  }
}

}  // namespace

std::uint32_t read_big_endian(const std::uint8_t* data, int bytes) {
  std::uint32_t value = 0;
  for (int i = 0; i < bytes; ++i) {
    value = value << 8 | data[i];
  }
  return value;
}

ImageHeader read_image_header(const std::uint8_t* data, std::size_t size) {
  const struct {
    std::string_view signature;
    ImageFormat format;
    void (*read)(const std::uint8_t* data, std::size_t size, ImageHeader& header);
  } kFormats[] = {
      {kPngSignature, ImageFormat::kPng, read_png_header},
      {"\xff\xd8\xff"sv, ImageFormat::kJpeg, read_jpeg_header},
      {"II*\0"sv, ImageFormat::kTiff, read_tiff_header},
      {"MM\0*"sv, ImageFormat::kTiff, read_tiff_header},
      {"P5"sv, ImageFormat::kPnm, read_pnm_header},
      {"P6"sv, ImageFormat::kPnm, read_pnm_header},
      {"\x93NUMPY"sv, ImageFormat::kNpy, read_npy_header},
  };
  ImageHeader header;
  for (const auto& candidate : kFormats) {
    if (!starts_with(data, size, candidate.signature)) {
      continue;
    }
    header.format = candidate.format;
    candidate.read(data, size, header);
    break;
  }
  return header;
}

std::string name_of_other_format(const std::uint8_t* data, std::size_t size) {
  constexpr const char* kTextForm =
      "a text form of PNM, which ImageMagick turns into the binary one: convert FILE binary.pgm";
  constexpr const char* kBag =
      "a robot recording, which this refines as a whole: python -m enhance_depth bag";
  const std::pair<std::string_view, const char*> kFormats[] = {
      {"BM"sv, "a BMP image"},
      {"GIF8"sv, "a GIF image"},
      {"\x76\x2f\x31\x01"sv, "an OpenEXR image"},
      {"PF"sv, "a PFM image"},
      {"Pf"sv, "a PFM image"},
      {"P1"sv, kTextForm},
      {"P2"sv, kTextForm},
      {"P3"sv, kTextForm},
      {"P4"sv, "a bilevel PNM image"},
      {"P7"sv, "a PAM image"},
      {"II+\0"sv, "a BigTIFF image"},
      {"MM\0+"sv, "a BigTIFF image"},
      {"PK\3\4"sv, "a ZIP archive, such as NumPy's NPZ"},
      {"\x89HDF"sv, "an HDF5 file, such as MATLAB's MAT"},
      {"MATLAB"sv, "a MATLAB file"},
      {"#ROSBAG"sv, kBag},
      {"\x89MCAP"sv, kBag},
      {"SQLite format 3"sv, kBag},
      {"\x1a\x45\xdf\xa3"sv, "a Matroska video, from which ffmpeg extracts images"},
      {"\x1f\x8b"sv, "a gzip archive, which gunzip unpacks"},
      {"\0\0\0\fjP  "sv, "a JPEG 2000 image"},
  };
  for (const auto& [signature, name] : kFormats) {
    if (starts_with(data, size, signature)) {
      return name;
    }
  }
  if (size >= 12 && starts_with(data, size, "RIFF"sv) && starts_with(data + 8, size - 8, "WEBP"sv)) {
    return "a WebP image";
  }
  return size >= 12 && starts_with(data + 4, size - 4, "ftyp"sv) ? "a HEIF image or a video" : "";
}

bool is_intact_png(const std::uint8_t* data, std::size_t size) {
  return for_each_png_chunk(data, size, [](std::size_t, std::size_t) {});
}

std::vector<std::uint8_t> essential_png(const std::uint8_t* data, std::size_t size) {
  std::vector<std::uint8_t> file(kPngSignature.begin(), kPngSignature.end());
  for_each_png_chunk(data, size, [&](std::size_t at, std::size_t length) {
    const bool is_critical = (data[at + 4] & 0x20U) == 0;  // a capital letter
    if (is_critical || read_big_endian(data + at + 4, 4) == kTransparency) {
      file.insert(file.end(), data + at, data + at + length);
    }
  });
  return file;
}

}  // namespace enhance_depth_tool
