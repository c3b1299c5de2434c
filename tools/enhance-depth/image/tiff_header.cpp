// The headers of TIFF files. Only plain ones are accepted: one kind of sample, stored in strips or tiles of
// moderate size, with one of the lossless compressions that cameras' tools write.
#include <algorithm>
#include <map>
#include <optional>
#include <vector>

#include "image/image_header.h"

namespace enhance_depth_tool {
namespace {

enum Tag : std::uint32_t {
  kWidth = 256,
  kHeight = 257,
  kBitsPerSample = 258,
  kCompression = 259,
  kPhotometric = 262,
  kStripOffsets = 273,
  kSamplesPerPixel = 277,
  kRowsPerStrip = 278,
  kPlanarConfiguration = 284,
  kTileWidth = 322,
  kTileHeight = 323,
  kSampleFormat = 339,
};

class Directory {
 public:
  Directory(const std::uint8_t* data, std::size_t size)
      : data_(data), size_(size), big_endian_(data[0] == 'M') {}

  // Reads the entries of the first image; false when the file ends before they do.
  bool read() {
    const auto offset = number(4, 4);
    const auto entries = offset ? number(*offset, 2) : std::nullopt;
    if (!entries) {
      return false;
    }
    for (std::uint32_t i = 0; i < *entries; ++i) {
      constexpr std::size_t kEntrySize = 12;
      const std::size_t at = *offset + 2 + i * kEntrySize;
      if (at + kEntrySize > size_) {
        return false;
      }
      entries_.emplace(*number(at, 2), at);
    }
    return true;
  }

  // The value of an integer entry that is the same for all samples; `absent` if there is no such entry.
  // std::nullopt if it has another type or is outside the file, or if the samples differ.
  std::optional<std::uint32_t> value(Tag tag, std::uint32_t absent) const {
    constexpr std::uint32_t kShort = 3;
    constexpr std::uint32_t kLong = 4;
    constexpr std::uint32_t kMostSamples = 8;
    const auto entry = entries_.find(tag);
    if (entry == entries_.end()) {
      return absent;
    }
    const std::size_t at = entry->second;
    const std::uint32_t type = *number(at + 2, 2);
    const std::uint32_t count = *number(at + 4, 4);
    if ((type != kShort && type != kLong) || count < 1 || count > kMostSamples) {
      return std::nullopt;
    }
    const int bytes = type == kShort ? 2 : 4;
    const bool inside = count * static_cast<std::uint32_t>(bytes) <= 4;
    const std::size_t first = inside ? at + 8 : *number(at + 8, 4);
    std::optional<std::uint32_t> common = number(first, bytes);
    for (std::uint32_t i = 1; i < count && common; ++i) {
      if (number(first + i * static_cast<std::size_t>(bytes), bytes) != common) {
        return std::nullopt;
      }
    }
    return common;
  }

  // How many values an entry has; 0 if there is no such entry.
  std::uint32_t count(Tag tag) const {
    const auto entry = entries_.find(tag);
    return entry == entries_.end() ? 0 : *number(entry->second + 4, 4);
  }

 private:
  // A number of `bytes` bytes at an offset of the file; std::nullopt if the file ends before.
  std::optional<std::uint32_t> number(std::size_t at, int bytes) const {
    if (at > size_ || size_ - at < static_cast<std::size_t>(bytes)) {
      return std::nullopt;
    }
    std::uint32_t result = 0;
    for (int i = 0; i < bytes; ++i) {
      result = result << 8 | data_[at + static_cast<std::size_t>(big_endian_ ? i : bytes - 1 - i)];
    }
    return result;
  }

  const std::uint8_t* data_;
  std::size_t size_;
  bool big_endian_;
  std::map<std::uint32_t, std::size_t> entries_;
};

}  // namespace

void read_tiff_header(const std::uint8_t* data, std::size_t size, ImageHeader& header) {
  header.fault = kDamaged;
  Directory directory(data, size);
  if (!directory.read()) {
    return;
  }
  const auto width = directory.value(kWidth, 0);
  const auto height = directory.value(kHeight, 0);
  const auto bits = directory.value(kBitsPerSample, 1);
  const auto channels = directory.value(kSamplesPerPixel, 1);
  const auto format = directory.value(kSampleFormat, 1);
  if (!width || !height || !bits || !channels || !format || *bits > 64 || *channels > 64) {
    return;
  }
  header.width = *width;
  header.height = *height;
  header.bits = static_cast<int>(*bits);
  header.channels = static_cast<int>(*channels);
  header.sample_type = format == 3   ? SampleType::kFloat
                       : format == 2 ? SampleType::kSigned
                                     : SampleType::kUnsigned;
  // The decoder would make up the pixels of strips that the file does not list.
  const auto rows_per_strip = directory.value(kRowsPerStrip, UINT32_MAX);
  const std::uint32_t strips = directory.count(kStripOffsets);
  if (strips > 0 && (!rows_per_strip || *rows_per_strip == 0 || *height == 0 ||
                     strips <= (*height - 1) / *rows_per_strip)) {
    return;
  }
  header.fault = "is a TIFF image of a kind that is not read";
  constexpr std::uint32_t kCompressions[] = {1, 5, 8, 32773, 32946};  // none, LZW, Deflate, PackBits, Deflate
  const auto compression = directory.value(kCompression, 1);
  const bool is_lossless = compression && std::find(std::begin(kCompressions), std::end(kCompressions),
                                                    *compression) != std::end(kCompressions);
  constexpr std::uint32_t kBlackIsZero = 1;
  constexpr std::uint32_t kRgb = 2;
  const auto photometric = directory.value(kPhotometric, kBlackIsZero);
  const bool is_plain = photometric == (*channels >= 3 ? kRgb : kBlackIsZero);
  constexpr std::uint32_t kLongestTile = 8192;
  const auto tile_width = directory.value(kTileWidth, 1);
  const auto tile_height = directory.value(kTileHeight, 1);
  const bool is_modest =
      tile_width && tile_height && *tile_width <= kLongestTile && *tile_height <= kLongestTile;
  const bool is_interleaved = *channels == 1 || directory.value(kPlanarConfiguration, 1) == 1U;
  if (is_lossless && is_plain && is_modest && is_interleaved && *format <= 3) {
    header.fault.clear();
  }
}

}  // namespace enhance_depth_tool
