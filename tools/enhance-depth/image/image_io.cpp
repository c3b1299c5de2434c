#include "image/image_io.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include <opencv2/imgcodecs.hpp>

#include "image/image_header.h"
#include "support/text.h"
#include "support/tool_error.h"

namespace enhance_depth_tool {
namespace {

constexpr const char* kColorNeeded =
    "Colour must be an 8-bit RGB or grey image as PNG, JPEG, PPM, PGM or TIFF; ImageMagick makes one with: "
    "convert FILE -alpha off -depth 8 color.png";
constexpr const char* kDepthNeeded =
    "Depth must be a 16-bit image with one channel as PNG, PGM, TIFF or NPY, or floats in metres as TIFF or "
    "NPY; Python makes one with numpy.save(\"depth.npy\", depth), after depth.astype(\"uint16\") for "
    "units or depth.astype(\"float32\") for metres";

const char* format_name(ImageFormat format) {
  switch (format) {
    case ImageFormat::kPng:
      return "PNG";
    case ImageFormat::kJpeg:
      return "JPEG";
    case ImageFormat::kTiff:
      return "TIFF";
    case ImageFormat::kPnm:
      return "PNM";
    default:
      return "NPY";
  }
}

std::string kind_text(const ImageHeader& header) {
  const char* type = header.sample_type == SampleType::kFloat    ? "float "
                     : header.sample_type == SampleType::kSigned ? "signed "
                                                                 : "";
  return (header.bits == 8 ? "an 8-bit " : "a " + std::to_string(header.bits) + "-bit ") + type +
         format_name(header.format) + " with " + count(header.channels, "channel");
}

// The checks that both kinds of image have in common.
ImageHeader checked_header(const Bytes& file, const std::string& name, const char* needed) {
  if (file.empty()) {
    throw UsageError(name + " is empty. Copy or record it again.");
  }
  ImageHeader header = read_image_header(file.data(), file.size());
  if (header.format == ImageFormat::kOther) {
    const std::string other = name_of_other_format(file.data(), file.size());
    throw UsageError(name + " is " + (other.empty() ? "no image that is known here" : other) + ". " + needed +
                     ".");
  }
  if (header.fault == kDamaged) {
    throw UsageError(name + " " + kDamaged + ". Copy or record it again.");
  }
  if (!header.fault.empty()) {
    throw UsageError(name + " " + header.fault + ". " + needed + ".");
  }
  if (header.width < 1 || header.height < 1 || header.width > kLongestSide || header.height > kLongestSide) {
    throw UsageError(name + " has " + image_size(header.width, header.height) + " pixels; at most " +
                     image_size(kLongestSide, kLongestSide) + " are accepted. Scale it down.");
  }
  return header;
}

// The pixels of a file that stores them uncompressed; empty if the file ends before they do.
cv::Mat plain_pixels(const Bytes& file, const ImageHeader& header) {
  const int depth = header.sample_type == SampleType::kFloat ? (header.bits == 32 ? CV_32F : CV_64F)
                    : header.bits == 16                      ? CV_16U
                                                             : CV_8U;
  cv::Mat image(static_cast<int>(header.height), static_cast<int>(header.width),
                CV_MAKETYPE(depth, header.channels));
  const std::size_t bytes = image.total() * image.elemSize();
  if (header.pixels_at > file.size() || file.size() - header.pixels_at < bytes) {
    return {};
  }
  std::memcpy(image.data, file.data() + header.pixels_at, bytes);
  if (header.big_endian) {
    const std::size_t length = image.elemSize1();
    for (std::uint8_t* value = image.data; value != image.data + bytes; value += length) {
      std::reverse(value, value + length);
    }
  }
  if (image.channels() == 3) {
    const cv::Mat rgb = image.clone();
    constexpr int kSwapRedAndBlue[] = {0, 2, 1, 1, 2, 0};
    cv::mixChannels(&rgb, 1, &image, 1, kSwapRedAndBlue, 3);
  }
  return image;
}

cv::Mat decode(const Bytes& file, const std::string& name, const ImageHeader& header) {
  cv::Mat image;
  try {
    const bool plain = header.format == ImageFormat::kPnm || header.format == ImageFormat::kNpy;
    const bool png = header.format == ImageFormat::kPng;
    image = plain ? plain_pixels(file, header)
                  : cv::imdecode(png ? essential_png(file.data(), file.size()) : file, cv::IMREAD_UNCHANGED);
  } catch (const cv::Exception&) {
    image.release();
  }
  if (image.empty() || image.cols != header.width || image.rows != header.height) {
    throw UsageError(name + " " + kDamaged + ". Copy or record it again.");
  }
  return image;
}

bool is_depth(const ImageHeader& header) {
  const bool by_floats = header.sample_type == SampleType::kFloat && (header.bits == 32 || header.bits == 64);
  const bool by_units = header.sample_type == SampleType::kUnsigned && header.bits == 16;
  return header.format != ImageFormat::kJpeg && header.channels == 1 && (by_floats || by_units);
}

bool is_color(const ImageHeader& header) {
  // Four channels in a JPEG are CMYK, which the decoder turns into RGB.
  const bool cmyk = header.channels == 4 && header.format == ImageFormat::kJpeg;
  return header.format != ImageFormat::kNpy && header.bits == 8 &&
         header.sample_type == SampleType::kUnsigned &&
         (header.channels == 3 || header.channels == 1 || cmyk);
}

// No image can be both.
bool holds_color(const Bytes& file) {
  const ImageHeader header = read_image_header(file.data(), file.size());
  return header.fault.empty() && is_color(header);
}

bool holds_depth(const Bytes& file) {
  const ImageHeader header = read_image_header(file.data(), file.size());
  return header.fault.empty() && is_depth(header);
}

cv::Mat from_metres(const cv::Mat& metres, DepthScale scale) {
  cv::Mat values;
  metres.convertTo(values, CV_64F, scale.units_per_metre);
  cv::Mat depth(metres.size(), CV_16UC1);
  for (int row = 0; row < depth.rows; ++row) {
    std::transform(values.ptr<double>(row), values.ptr<double>(row) + depth.cols,
                   depth.ptr<std::uint16_t>(row), [](double units) -> std::uint16_t {
                     const double rounded = std::floor(units + 0.5);
                     return static_cast<std::uint16_t>(rounded > 0.0 && rounded <= 65535.0 ? rounded : 0.0);
                   });
  }
  return depth;
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
  if (!is_color(header)) {
    throw UsageError(name + " is " + kind_text(header) + ". " + kColorNeeded + ".");
  }
  cv::Mat image = decode(file, name, header);
  if (image.type() == CV_8UC1) {
    const cv::Mat channels[] = {image, image, image};
    cv::merge(channels, 3, image);
  }
  if (image.type() != CV_8UC3) {  // such as a palette with a transparent colour
    throw UsageError(name + " is not stored as plain pixels. " + kColorNeeded + ".");
  }
  return image;
}

cv::Mat decode_depth(const Bytes& file, const std::string& name, DepthScale scale) {
  const ImageHeader header = checked_header(file, name, kDepthNeeded);
  if (!is_depth(header)) {
    throw UsageError(
        name + " is " + kind_text(header) + ". " + kDepthNeeded +
        (header.bits == 8 ? ". Give the camera's depth values, not a picture made of them." : "."));
  }
  cv::Mat image = decode(file, name, header);
  if (image.type() == CV_16UC1) {
    return image;
  }
  if (image.type() == CV_32FC1 || image.type() == CV_64FC1) {
    cv::Mat depth = from_metres(image, scale);
    if (cv::countNonZero(depth) == 0 && cv::countNonZero(image > 0.0) > 0) {
      throw UsageError(name +
                       " holds floats, but none that can be metres. Python makes metres of millimetres with: "
                       "numpy.save(\"depth.npy\", (depth / 1000).astype(\"float32\")).");
    }
    return depth;
  }
  throw UsageError(name + " is not stored as plain pixels. " + kDepthNeeded + ".");
}

DepthStorage depth_storage(const Bytes& file) {
  const bool floats = read_image_header(file.data(), file.size()).sample_type == SampleType::kFloat;
  return floats ? DepthStorage::kMetres : DepthStorage::kUnits;
}

cv::Mat read_depth(const std::filesystem::path& path, DepthScale scale) {
  return decode_depth(read_file(path, "image", kMaxFileBytes), path.string(), scale);
}

void require_not_swapped(const Bytes& color_file, const std::string& color_name, const Bytes& depth_file,
                         const std::string& depth_name) {
  if (holds_depth(color_file) && holds_color(depth_file)) {
    throw UsageError(color_name + " is given as colour but is a depth image, and " + depth_name +
                     " is given as depth but is a colour image. Swap them.");
  }
}

FrameImages decode_frame(const Bytes& color_file, const std::string& color_name, const Bytes& depth_file,
                         const std::string& depth_name, DepthScale scale) {
  require_not_swapped(color_file, color_name, depth_file, depth_name);
  FrameImages images{decode_color(color_file, color_name), decode_depth(depth_file, depth_name, scale),
                     depth_storage(depth_file)};
  require_same_size(images.color, color_name, images.depth, depth_name);
  return images;
}

FrameImages read_frame(const std::filesystem::path& color, const std::filesystem::path& depth,
                       DepthScale scale) {
  const Bytes color_file = read_file(color, "image", kMaxFileBytes);
  return decode_frame(color_file, color.string(), read_file(depth, "image", kMaxFileBytes), depth.string(),
                      scale);
}

bool is_grey(const cv::Mat& color) {
  return std::all_of(color.begin<cv::Vec3b>(), color.end<cv::Vec3b>(),
                     [](const cv::Vec3b& pixel) { return pixel[0] == pixel[1] && pixel[1] == pixel[2]; });
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
