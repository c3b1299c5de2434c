#include "image/point_cloud.h"

#include <cstring>
#include <string>

namespace enhance_depth_tool {
namespace {

// Lowest byte first, as the header says.
void append(Bytes& bytes, double value) {
  const auto coordinate = static_cast<float>(value);
  std::uint32_t bits = 0;
  std::memcpy(&bits, &coordinate, sizeof bits);
  for (int shift = 0; shift < 32; shift += 8) {
    bytes.push_back(static_cast<std::uint8_t>(bits >> shift));
  }
}

}  // namespace

Bytes encode_point_cloud(const cv::Mat& depth, const cv::Mat& color, Intrinsics camera, DepthScale scale) {
  constexpr std::size_t kPointBytes = 3 * sizeof(float) + 3;
  const int points = cv::countNonZero(depth);
  const std::string header = "ply\nformat binary_little_endian 1.0\nelement vertex " +
                             std::to_string(points) +
                             "\nproperty float x\nproperty float y\nproperty float z\nproperty uchar red\n"
                             "property uchar green\nproperty uchar blue\nend_header\n";
  Bytes bytes(header.begin(), header.end());
  bytes.reserve(bytes.size() + static_cast<std::size_t>(points) * kPointBytes);
  for (int row = 0; row < depth.rows; ++row) {
    for (int column = 0; column < depth.cols; ++column) {
      const auto value = depth.at<std::uint16_t>(row, column);
      if (value == 0) {
        continue;
      }
      const double z = scale.metres(value);
      append(bytes, (column - camera.cx) / camera.fx * z);
      append(bytes, (row - camera.cy) / camera.fy * z);
      append(bytes, z);
      const auto& pixel = color.at<cv::Vec3b>(row, column);
      bytes.insert(bytes.end(), {pixel[2], pixel[1], pixel[0]});
    }
  }
  return bytes;
}

}  // namespace enhance_depth_tool
