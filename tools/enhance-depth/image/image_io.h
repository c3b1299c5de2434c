// Images in and out of files. Input is colour (8-bit PNG, JPEG, PPM, PGM, TIFF) and depth (16-bit PNG, PGM,
// TIFF, NPY, and floats in metres as TIFF or NPY); anything else is refused with a UsageError that names the
// file, the reason and the remedy. An image is taken as stored: the orientation tag of a JPEG file is
// ignored, because depth images have none.
#ifndef ENHANCE_DEPTH_TOOL_IMAGE_IO_H
#define ENHANCE_DEPTH_TOOL_IMAGE_IO_H

#include <cstdint>
#include <filesystem>
#include <string>

#include <opencv2/core.hpp>

#include "image/depth_scale.h"
#include "support/input_file.h"

namespace enhance_depth_tool {

// More than any RGB-D camera delivers, in either direction, and far below the library's limit of 2 GiB for an
// image.
inline constexpr int kLongestSide = 8192;

// A larger file cannot hold an image within kLongestSide.
inline constexpr std::uintmax_t kMaxFileBytes = std::uintmax_t{1} << 30;

// CV_8UC3 in BGR order; a grey image becomes three equal channels. `name` stands for the file in errors.
cv::Mat decode_color(const Bytes& file, const std::string& name);

// CV_16UC1. Metres become units of `scale`, rounded; values that are not positive numbers or do not fit into
// 16 bits become 0, no depth.
cv::Mat decode_depth(const Bytes& file, const std::string& name, DepthScale scale);

// What the numbers in a file that decode_depth() accepts are.
DepthStorage depth_storage(const Bytes& file);

cv::Mat read_depth(const std::filesystem::path& path, DepthScale scale);

// The two images of a frame, of one size.
struct FrameImages {
  cv::Mat color;
  cv::Mat depth;
  DepthStorage depth_storage = DepthStorage::kUnits;
};

// Throws a UsageError if the two files are a depth image and a colour image, in this order.
void require_not_swapped(const Bytes& color_file, const std::string& color_name, const Bytes& depth_file,
                         const std::string& depth_name);

// Decodes both images of a frame, unless they are swapped or their sizes differ.
FrameImages decode_frame(const Bytes& color_file, const std::string& color_name, const Bytes& depth_file,
                         const std::string& depth_name, DepthScale scale);
FrameImages read_frame(const std::filesystem::path& color, const std::filesystem::path& depth,
                       DepthScale scale);

// Whether the three channels of a CV_8UC3 image are equal everywhere.
bool is_grey(const cv::Mat& color);

// Throws a UsageError unless the two images have the same size.
void require_same_size(const cv::Mat& color, const std::string& color_name, const cv::Mat& depth,
                       const std::string& depth_name);

Bytes encode_depth(const cv::Mat& depth);            // CV_16UC1 as PNG
Bytes encode_confidence(const cv::Mat& confidence);  // CV_32FC1 as uncompressed TIFF, every bit kept
Bytes encode_picture(const cv::Mat& picture, const std::filesystem::path& path);  // as the extension says

}  // namespace enhance_depth_tool

#endif  // ENHANCE_DEPTH_TOOL_IMAGE_IO_H
