// Images in and out of files. Input is 8-bit colour (PNG, JPEG) and 16-bit depth (PNG); anything else is
// refused with a UsageError that names the file, the reason and the remedy. An image is taken as it is
// stored: orientation notes of a JPEG file are not applied, because depth images carry none.
#ifndef ENHANCE_DEPTH_TOOL_IMAGE_IO_H
#define ENHANCE_DEPTH_TOOL_IMAGE_IO_H

#include <cstdint>
#include <filesystem>
#include <string>

#include <opencv2/core.hpp>

#include "support/input_file.h"

namespace enhance_depth_tool {

// More than any RGB-D camera delivers, and far below the library's limit of 2 GiB for an image.
inline constexpr std::int64_t kMaxPixels = std::int64_t{8192} * 8192;

// A file that is larger is no image within kMaxPixels.
inline constexpr std::uintmax_t kMaxFileBytes = std::uintmax_t{1} << 30;

// CV_8UC3 in BGR order, and CV_16UC1. `name` stands for the file in errors.
cv::Mat decode_color(const Bytes& file, const std::string& name);
cv::Mat decode_depth(const Bytes& file, const std::string& name);

cv::Mat read_color(const std::filesystem::path& path);
cv::Mat read_depth(const std::filesystem::path& path);

// Throws a UsageError unless the two images have one size.
void require_same_size(const cv::Mat& color, const std::string& color_name, const cv::Mat& depth,
                       const std::string& depth_name);

Bytes encode_depth(const cv::Mat& depth);            // CV_16UC1 as PNG
Bytes encode_confidence(const cv::Mat& confidence);  // CV_32FC1 as uncompressed TIFF, every bit kept
Bytes encode_picture(const cv::Mat& picture, const std::filesystem::path& path);  // as the name's ending says

}  // namespace enhance_depth_tool

#endif  // ENHANCE_DEPTH_TOOL_IMAGE_IO_H
