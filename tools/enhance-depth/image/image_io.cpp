#include "image/image_io.h"

#include <opencv2/imgcodecs.hpp>

#include "image/image_header.h"
#include "support/text.h"
#include "support/tool_error.h"

namespace enhance_depth_tool {
namespace {

constexpr const char* kColorNeeded = "Colour must be an 8-bit RGB image as PNG or JPEG.";
constexpr const char* kDepthNeeded = "Depth must be a 16-bit PNG with one channel.";

std::string kind_text(const ImageHeader& header) {
  return (header.bits == 8 ? "an 8-bit " : "a " + std::to_string(header.bits) + "-bit ") +
         (header.format == ImageFormat::kPng ? "PNG" : "JPEG") + " with " + std::to_string(header.channels) +
         (header.channels == 1 ? " channel" : " channels");
}

// The checks that both kinds of image have in common.
ImageHeader checked_header(const Bytes& file, const std::string& name, const char* needed) {
  if (file.empty()) {
    throw UsageError(name + " is empty. Copy or record it again.");
  }
  const ImageHeader header = read_image_header(file.data(), file.size());
  if (header.format == ImageFormat::kOther) {
    throw UsageError(name + " is neither PNG nor JPEG. " + needed);
  }
  if (!header.complete) {
    throw UsageError(name + " is cut short or damaged. Copy or record it again.");
  }
  if (header.width < 1 || header.height < 1 || header.width > kMaxPixels / header.height) {
    throw UsageError(name + " has " + image_size(header.width, header.height) + " pixels; at most " +
                     image_size(8192, 8192) + " are accepted. Scale it down.");
  }
  return header;
}

cv::Mat decode(const Bytes& file, const std::string& name, ImageFormat format, int type, const char* needed) {
  cv::Mat image;
  if (format != ImageFormat::kPng || is_intact_png(file.data(), file.size())) {
    try {
      image = cv::imdecode(file, cv::IMREAD_UNCHANGED);
    } catch (const cv::Exception&) {
      image.release();
    }
  }
  if (image.empty()) {
    throw UsageError(name + " is damaged. Copy or record it again.");
  }
  if (image.type() != type) {  // such as a palette with a transparent colour
    throw UsageError(name + " is not stored as plain pixels. " + needed);
  }
  return image;
}

Bytes encode(const std::string& extension, const cv::Mat& image, const std::vector<int>& parameters) {
  Bytes bytes;
  if (!cv::imencode(extension, image, bytes, parameters)) {
    throw std::runtime_error("OpenCV cannot encode " + extension + " images");
  }
  return bytes;
}

}  // namespace

cv::Mat decode_color(const Bytes& file, const std::string& name) {
  const ImageHeader header = checked_header(file, name, kColorNeeded);
  // Four channels in a JPEG are CMYK, which the decoder turns into RGB.
  const bool color = header.channels == 3 || (header.channels == 4 && header.format == ImageFormat::kJpeg);
  if (header.bits != 8 || !color) {
    throw UsageError(name + " is " + kind_text(header) + ". " + kColorNeeded +
                     (header.channels == 4 ? " Remove the alpha channel." : ""));
  }
  return decode(file, name, header.format, CV_8UC3, kColorNeeded);
}

cv::Mat decode_depth(const Bytes& file, const std::string& name) {
  const ImageHeader header = checked_header(file, name, kDepthNeeded);
  if (header.format != ImageFormat::kPng || header.bits != 16 || header.channels != 1) {
    throw UsageError(name + " is " + kind_text(header) + ". " + kDepthNeeded +
                     " Give the camera's depth values, not a picture made of them.");
  }
  return decode(file, name, header.format, CV_16UC1, kDepthNeeded);
}

cv::Mat read_color(const std::filesystem::path& path) {
  return decode_color(read_file(path, "image", kMaxFileBytes), path.string());
}

cv::Mat read_depth(const std::filesystem::path& path) {
  return decode_depth(read_file(path, "image", kMaxFileBytes), path.string());
}

void require_same_size(const cv::Mat& color, const std::string& color_name, const cv::Mat& depth,
                       const std::string& depth_name) {
  if (color.size() == depth.size()) {
    return;
  }
  throw UsageError(color_name + " has " + image_size(color.cols, color.rows) + " pixels and " + depth_name +
                   " has " + image_size(depth.cols, depth.rows) +
                   ". Register the depth to the colour image first, so that both have one size.");
}

Bytes encode_depth(const cv::Mat& depth) { return encode(".png", depth, {}); }

Bytes encode_confidence(const cv::Mat& confidence) {
  constexpr int kUncompressed = 1;  // TIFF's own number
  return encode(".tiff", confidence, {cv::IMWRITE_TIFF_COMPRESSION, kUncompressed});
}

Bytes encode_picture(const cv::Mat& picture, const std::filesystem::path& path) {
  return encode(path.extension().string(), picture, {cv::IMWRITE_JPEG_QUALITY, 92});
}

}  // namespace enhance_depth_tool
