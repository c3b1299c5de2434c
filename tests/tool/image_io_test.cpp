// What the tool reads and refuses, and that what it writes comes back bit by bit.
#include "image/image_io.h"

#include <cmath>
#include <cstring>
#include <fstream>
#include <limits>
#include <string>

#include <gtest/gtest.h>
#include <opencv2/imgcodecs.hpp>

#include "image/image_header.h"
#include "support.h"
#include "support/rgb_layout.h"

namespace enhance_depth_tool {
namespace {

// Pixels that differ from their neighbours, so that a swap of rows, columns or channels shows.
cv::Mat pattern(int width, int height, int type) {
  cv::Mat image(height, width, type);
  cv::RNG random(7);
  random.fill(image, cv::RNG::UNIFORM, 0, type == CV_16UC1 || type == CV_16UC3 ? 65536 : 256);
  return image;
}

Bytes encoded(const char* extension, const cv::Mat& image) {
  Bytes bytes;
  cv::imencode(extension, image, bytes);
  return bytes;
}

Bytes first(const Bytes& bytes, std::size_t size) {
  return {bytes.begin(), bytes.begin() + static_cast<long>(size)};
}

TEST(ToolImageIo, ReadsWhatItAccepts) {
  const cv::Mat color = pattern(7, 5, CV_8UC3);
  const cv::Mat depth = pattern(7, 5, CV_16UC1);
  EXPECT_EQ(cv::norm(decode_color(encoded(".png", color), "c"), color, cv::NORM_INF), 0.0);
  EXPECT_EQ(decode_color(encoded(".jpg", color), "c").size(), color.size());
  EXPECT_EQ(cv::norm(decode_depth(encode_depth(depth), "d"), depth, cv::NORM_INF), 0.0);
}

TEST(ToolImageIo, RefusesOtherImagesWithTheReasonAndTheRemedy) {
  const struct {
    const char* what;
    bool is_color;
    Bytes file;
    const char* expected;
  } kCases[] = {
      {"empty", true, {}, "f is empty. Copy or record it again."},
      {"text", true, Bytes(100, 'x'),
       "f is neither PNG nor JPEG. Colour must be an 8-bit RGB image as PNG or JPEG."},
      {"another format", false, encoded(".tiff", pattern(4, 4, CV_16UC1)),
       "f is neither PNG nor JPEG. Depth must be a 16-bit PNG with one channel."},
      {"grey colour", true, encoded(".png", pattern(4, 4, CV_8UC1)),
       "f is an 8-bit PNG with 1 channel. Colour must be an 8-bit RGB image as PNG or JPEG."},
      {"deep colour", true, encoded(".png", pattern(4, 4, CV_16UC3)),
       "f is a 16-bit PNG with 3 channels. Colour must be an 8-bit RGB image as PNG or JPEG."},
      {"transparent colour", true, encoded(".png", pattern(4, 4, CV_8UC4)),
       "f is an 8-bit PNG with 4 channels. Colour must be an 8-bit RGB image as PNG or JPEG. Remove the "
       "alpha channel."},
      {"depth as a picture", false, encoded(".png", pattern(4, 4, CV_8UC3)),
       "f is an 8-bit PNG with 3 channels. Depth must be a 16-bit PNG with one channel. Give the camera's "
       "depth values, not a picture made of them."},
      {"depth as a JPEG", false, encoded(".jpg", pattern(4, 4, CV_8UC1)),
       "f is an 8-bit JPEG with 1 channel. Depth must be a 16-bit PNG with one channel. Give the camera's "
       "depth values, not a picture made of them."},
  };
  for (const auto& item : kCases) {
    SCOPED_TRACE(item.what);
    EXPECT_EQ(failure([&] { item.is_color ? decode_color(item.file, "f") : decode_depth(item.file, "f"); }),
              item.expected);
  }
}

TEST(ToolImageIo, RefusesAPaletteWithATransparentColour) {
  // One pixel; OpenCV writes no palettes.
  const Bytes png = {0x89, 0x50, 0x4e, 0x47, 0x0d, 0x0a, 0x1a, 0x0a, 0x00, 0x00, 0x00, 0x0d, 0x49, 0x48,
                     0x44, 0x52, 0x00, 0x00, 0x00, 0x01, 0x00, 0x00, 0x00, 0x01, 0x08, 0x03, 0x00, 0x00,
                     0x00, 0x28, 0xcb, 0x34, 0xbb, 0x00, 0x00, 0x00, 0x03, 0x50, 0x4c, 0x54, 0x45, 0x10,
                     0x20, 0x30, 0x08, 0x01, 0x8a, 0xa4, 0x00, 0x00, 0x00, 0x01, 0x74, 0x52, 0x4e, 0x53,
                     0x00, 0x40, 0xe6, 0xd8, 0x66, 0x00, 0x00, 0x00, 0x0a, 0x49, 0x44, 0x41, 0x54, 0x78,
                     0x9c, 0x63, 0x60, 0x00, 0x00, 0x00, 0x02, 0x00, 0x01, 0x48, 0xaf, 0xa4, 0x71, 0x00,
                     0x00, 0x00, 0x00, 0x49, 0x45, 0x4e, 0x44, 0xae, 0x42, 0x60, 0x82};
  EXPECT_EQ(failure([&] { decode_color(png, "f"); }),
            "f is not stored as plain pixels. Colour must be an 8-bit RGB image as PNG or JPEG.");
}

TEST(ToolImageIo, RefusesEveryCutOffFile) {
  const Bytes png = encode_depth(pattern(9, 6, CV_16UC1));
  for (std::size_t size = 0; size < png.size(); ++size) {
    EXPECT_NE(failure([&] { decode_depth(first(png, size), "f"); }), "none") << size << " bytes";
  }
  const Bytes jpeg = encoded(".jpg", pattern(9, 6, CV_8UC3));
  for (std::size_t size = 0; size < jpeg.size(); ++size) {
    EXPECT_NE(failure([&] { decode_color(first(jpeg, size), "f"); }), "none") << size << " bytes";
  }
}

TEST(ToolImageIo, RefusesHugeImagesBeforeTheyAreDecoded) {
  Bytes png = encode_depth(pattern(4, 4, CV_16UC1));
  constexpr std::size_t kWidth = 16;  // of the four bytes of the width
  std::memcpy(png.data() + kWidth, "\x7f\xff\xff\xff", 4);
  EXPECT_EQ(failure([&] { decode_depth(png, "f"); }),
            "f has 2147483647 x 4 pixels; at most 8192 x 8192 are accepted. Scale it down.");
  std::memcpy(png.data() + kWidth, "\0\0\0\0", 4);
  EXPECT_NE(failure([&] { decode_depth(png, "f"); }), "none");
}

TEST(ToolImageIo, SaysWhyAFileCannotBeRead) {
  const TemporaryDirectory folder;
  std::filesystem::create_symlink("circle", folder / "circle");  // root may read all else
  std::ofstream(folder / "huge").put('x');
  std::filesystem::resize_file(folder / "huge", kMaxFileBytes + 1);  // takes no room on the disk
  const std::pair<const char*, const char*> kCases[] = {
      {"missing", " does not exist. Check the path."},
      {"", " is not a regular file. Name the file itself."},
      {"circle/a", " cannot be reached: Too many levels of symbolic links. Check the path and the disk."},
      {"huge", " is larger than any image that is accepted. Name the file itself."}};
  for (const auto& [name, reason] : kCases) {
    EXPECT_EQ(failure([&, path = folder / name] { read_color(path); }), (folder / name).string() + reason);
  }
  EXPECT_EQ(read_beginning(folder / "huge", 3), (Bytes{'x', 0, 0}));
}

TEST(ToolImageIo, KeepsEveryBitOfTheConfidence) {
  cv::Mat confidence(2, 3, CV_32FC1);
  const float values[] = {0.0F, -0.0F, 0.1F, 1e-40F, std::numeric_limits<float>::infinity(), std::nanf("")};
  std::memcpy(confidence.data, values, sizeof(values));
  const cv::Mat back = cv::imdecode(encode_confidence(confidence), cv::IMREAD_UNCHANGED);
  ASSERT_EQ(back.type(), CV_32FC1);
  ASSERT_EQ(back.size(), confidence.size());
  EXPECT_EQ(std::memcmp(back.data, values, sizeof(values)), 0);
}

TEST(ToolImageIo, ArrangesRedGreenAndBlueForBothLayouts) {
  const cv::Mat bgr = (cv::Mat_<cv::Vec3b>(1, 2) << cv::Vec3b(3, 2, 1), cv::Vec3b(6, 5, 4));
  EXPECT_EQ(arrange_rgb(bgr, RgbLayout::kPlanar), (Bytes{1, 4, 2, 5, 3, 6}));
  EXPECT_EQ(arrange_rgb(bgr, RgbLayout::kInterleaved), (Bytes{1, 2, 3, 4, 5, 6}));
}

// Every single-byte change of a header must leave the reader within the file and the decoder without a crash.
TEST(ToolImageIo, SurvivesChangedHeaders) {
  for (const Bytes& file : {encode_depth(pattern(5, 4, CV_16UC1)), encoded(".jpg", pattern(5, 4, CV_8UC3))}) {
    for (std::size_t at = 0; at < std::min<std::size_t>(file.size(), 200); ++at) {
      for (int value : {0x00, 0x01, 0x7f, 0xff}) {
        Bytes changed = file;
        changed[at] = static_cast<std::uint8_t>(value);
        read_image_header(changed.data(), changed.size());
        failure([&] { decode_color(changed, "f"); });
        failure([&] { decode_depth(changed, "f"); });
      }
    }
  }
}

}  // namespace
}  // namespace enhance_depth_tool
