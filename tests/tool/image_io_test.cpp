// What the tool reads and refuses, and that it can read back every bit that it writes.
#include "image/image_io.h"

#include <cmath>
#include <cstring>
#include <fstream>
#include <limits>
#include <string>

#include <gtest/gtest.h>
#include <opencv2/imgcodecs.hpp>
#include <zlib.h>

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

Bytes bytes_of(const std::string& text) { return {text.begin(), text.end()}; }

// An NPY file of version 1 with this dictionary.
Bytes npy(const std::string& dictionary, const std::string& pixels) {
  const std::string length = {static_cast<char>(dictionary.size()), '\0'};
  return bytes_of("\x93NUMPY\x01" + std::string(1, '\0') + length + dictionary + pixels);
}

double difference(const cv::Mat& a, const cv::Mat& b) {
  return a.type() == b.type() && a.size() == b.size() ? cv::norm(a, b, cv::NORM_INF) : 1e9;
}

cv::Mat depth_of(const Bytes& file, double units_per_metre = 1000.0) {
  return decode_depth(file, "d", {units_per_metre});
}

TEST(ToolImageIo, ReadsColourOfEveryFormat) {
  const cv::Mat color = pattern(7, 5, CV_8UC3);
  const cv::Mat grey = pattern(7, 5, CV_8UC1);
  cv::Mat three_times;
  cv::merge(std::vector<cv::Mat>{grey, grey, grey}, three_times);
  for (const char* extension : {".png", ".ppm", ".tiff"}) {
    SCOPED_TRACE(extension);
    EXPECT_EQ(difference(decode_color(encoded(extension, color), "c"), color), 0.0);
    const char* grey_extension = extension == std::string(".ppm") ? ".pgm" : extension;
    EXPECT_EQ(difference(decode_color(encoded(grey_extension, grey), "c"), three_times), 0.0);
  }
  EXPECT_EQ(decode_color(encoded(".jpg", color), "c").size(), color.size());
  EXPECT_EQ(decode_color(encoded(".jpg", grey), "c").type(), CV_8UC3);
  EXPECT_TRUE(is_grey(three_times));
  EXPECT_FALSE(is_grey(color));
  EXPECT_EQ(difference(decode_color(bytes_of("P6#c\n 1\t#\n1\r255\n\1\2\3"), "c"),
                       cv::Mat(1, 1, CV_8UC3, cv::Scalar(3, 2, 1))),
            0.0);
}

TEST(ToolImageIo, ReadsDepthOfEveryFormat) {
  const cv::Mat depth = pattern(7, 5, CV_16UC1);
  for (const char* extension : {".png", ".pgm", ".tiff"}) {
    EXPECT_EQ(difference(depth_of(encoded(extension, depth)), depth), 0.0) << extension;
  }
  const cv::Mat expected = (cv::Mat_<std::uint16_t>(1, 2) << 0x0102, 0xfffe);
  const std::string tail = ", 'fortran_order': False, 'shape': (1, 2), }\n";
  EXPECT_EQ(difference(depth_of(bytes_of("P5 2 1 65535\n\1\2\xff\xfe")), expected), 0.0);
  EXPECT_EQ(difference(depth_of(npy("{'descr': '<u2'" + tail, "\2\1\xfe\xff")), expected), 0.0);
  EXPECT_EQ(difference(depth_of(npy("{'descr': '>u2'" + tail, "\1\2\xff\xfe")), expected), 0.0);
  EXPECT_EQ(depth_of(npy("{'shape':(2,1, 1),'fortran_order':False,'descr':'<u2'}", "abcd")).size(),
            cv::Size(1, 2));
}

TEST(ToolImageIo, TakesFloatsForMetres) {
  const float nan = std::nanf("");
  const float infinity = std::numeric_limits<float>::infinity();
  const std::vector<float> metres = {0.0F, 1.0F, 0.0014F, 0.0016F, -1.0F, nan, infinity, 65.535F, 65.536F};
  const cv::Mat image(1, static_cast<int>(metres.size()), CV_32FC1, const_cast<float*>(metres.data()));
  const cv::Mat expected = (cv::Mat_<std::uint16_t>(1, 9) << 0, 1000, 1, 2, 0, 0, 0, 65535, 0);
  EXPECT_EQ(difference(depth_of(encode_confidence(image)), expected), 0.0);
  EXPECT_EQ(depth_of(encode_confidence(image), 5000.0).at<std::uint16_t>(1), 5000);
  EXPECT_TRUE(fails_with("holds floats, but none that can be metres.",
                         [&] { depth_of(encode_confidence(cv::Mat(1, 2, CV_32FC1, cv::Scalar(1500)))); }));
  EXPECT_EQ(cv::countNonZero(depth_of(encode_confidence(cv::Mat::zeros(1, 2, CV_32FC1)))), 0);
  const std::string shape = ", 'fortran_order': False, 'shape': (1, 1), }";
  EXPECT_EQ(depth_of(npy("{'descr': '<f4'" + shape, std::string("\0\0\x20\x40", 4))).at<std::uint16_t>(0),
            2500);
  EXPECT_EQ(
      depth_of(npy("{'descr': '>f8'" + shape, std::string("\x40\4\0\0\0\0\0\0", 8))).at<std::uint16_t>(0),
      2500);
}

TEST(ToolImageIo, RefusesOtherImagesWithTheReasonAndTheRemedy) {
  const std::string color =
      " Colour must be an 8-bit RGB or grey image as PNG, JPEG, PPM, PGM or TIFF; ImageMagick makes one "
      "with: convert FILE -alpha off -depth 8 color.png.";
  const std::string depth =
      " Depth must be a 16-bit image with one channel as PNG, PGM, TIFF or NPY, or floats in metres as "
      "TIFF or NPY; Python makes one with numpy.save(\"depth.npy\", depth), after depth.astype(\"uint16\") "
      "for units or depth.astype(\"float32\") for metres";
  const std::string shape = ", 'fortran_order': False, 'shape': (1, 1), }";
  Bytes damaged = encode_depth(pattern(9, 6, CV_16UC1));
  damaged[damaged.size() / 2] ^= 1U;
  const struct {
    bool is_color;
    Bytes file;
    std::string expected;
  } kCases[] = {
      {true, {}, "f is empty. Copy or record it again."},
      {false, damaged, "f is cut short or damaged. Copy or record it again."},
      {true, Bytes(100, 'x'), "f is no image that is known here." + color},
      {false, bytes_of("\x76\x2f\x31\x01rest"), "f is an OpenEXR image." + depth + "."},
      {true, bytes_of("RIFFsizeWEBP"), "f is a WebP image." + color},
      {true, encoded(".png", pattern(4, 4, CV_16UC3)), "f is a 16-bit PNG with 3 channels." + color},
      {true, encoded(".png", pattern(4, 4, CV_8UC4)), "f is an 8-bit PNG with 4 channels." + color},
      {true, encoded(".tiff", pattern(4, 4, CV_16UC3)), "f is a 16-bit TIFF with 3 channels." + color},
      {true, bytes_of("P6 1 1 127\n123"), "f goes from 0 to 127 and not to 255." + color},
      {false, encoded(".png", pattern(4, 4, CV_8UC3)),
       "f is an 8-bit PNG with 3 channels." + depth +
           ". Give the camera's depth values, not a picture made of them."},
      {false, encoded(".jpg", pattern(4, 4, CV_8UC1)),
       "f is an 8-bit JPEG with 1 channel." + depth +
           ". Give the camera's depth values, not a picture made of them."},
      {false, npy("{'descr': '<i4'" + shape, "1234"),
       "f is a 32-bit signed NPY with 1 channel." + depth + "."},
      {false, npy("{'descr': '<f2'" + shape, "12"), "f is a 16-bit float NPY with 1 channel." + depth + "."},
      {false, npy("{'descr': '<c8'" + shape, "12345678"),
       "f is an array of a kind that is not read." + depth + "."},
      {false, npy("{'descr': '<u2', 'fortran_order': True, 'shape': (1, 1), }", "12"),
       "f is stored by columns; save it with numpy.ascontiguousarray()." + depth + "."},
  };
  for (const auto& item : kCases) {
    SCOPED_TRACE(item.expected);
    EXPECT_EQ(failure([&] { item.is_color ? decode_color(item.file, "f") : depth_of(item.file); }),
              item.is_color ? item.expected : "d" + item.expected.substr(1));
  }
}

TEST(ToolImageIo, RefusesAPaletteWithATransparentColour) {
  // One pixel of one bit; OpenCV writes no palettes.
  const Bytes png = {0x89, 0x50, 0x4e, 0x47, 0x0d, 0x0a, 0x1a, 0x0a, 0x00, 0x00, 0x00, 0x0d, 0x49, 0x48,
                     0x44, 0x52, 0x00, 0x00, 0x00, 0x01, 0x00, 0x00, 0x00, 0x01, 0x01, 0x03, 0x00, 0x00,
                     0x00, 0x25, 0xdb, 0x56, 0xca, 0x00, 0x00, 0x00, 0x03, 0x50, 0x4c, 0x54, 0x45, 0x10,
                     0x20, 0x30, 0x08, 0x01, 0x8a, 0xa4, 0x00, 0x00, 0x00, 0x01, 0x74, 0x52, 0x4e, 0x53,
                     0x00, 0x40, 0xe6, 0xd8, 0x66, 0x00, 0x00, 0x00, 0x0a, 0x49, 0x44, 0x41, 0x54, 0x78,
                     0x9c, 0x63, 0x60, 0x00, 0x00, 0x00, 0x02, 0x00, 0x01, 0x48, 0xaf, 0xa4, 0x71, 0x00,
                     0x00, 0x00, 0x00, 0x49, 0x45, 0x4e, 0x44, 0xae, 0x42, 0x60, 0x82};
  EXPECT_EQ(
      failure([&] { decode_color(png, "f"); }),
      "f is not stored as plain pixels. Colour must be an 8-bit RGB or grey image as PNG, JPEG, PPM, PGM or "
      "TIFF; ImageMagick makes one with: convert FILE -alpha off -depth 8 color.png.");
}

TEST(ToolImageIo, RefusesEveryCutOffFile) {
  const cv::Mat color = pattern(9, 6, CV_8UC3);
  for (const char* extension : {".png", ".jpg", ".ppm", ".tiff"}) {
    const Bytes file = encoded(extension, color);
    for (std::size_t size = 0; size + 1 < file.size(); ++size) {
      ASSERT_NE(failure([&] { decode_color(first(file, size), "f"); }), "none") << extension << ", " << size;
    }
  }
}

// A file whose header promises more than kLongestSide in one direction, before anything is allocated for it.
TEST(ToolImageIo, BoundsBothSidesOfAnImageBeforeItIsDecoded) {
  Bytes png = encode_depth(pattern(4, 4, CV_16UC1));
  const auto set_size = [&](std::uint32_t width, std::uint32_t height) {
    for (std::size_t i = 0; i < 4; ++i) {
      png[16 + i] = static_cast<std::uint8_t>(width >> (24 - 8 * i));
      png[20 + i] = static_cast<std::uint8_t>(height >> (24 - 8 * i));
    }
    const auto sum = static_cast<std::uint32_t>(crc32(0, png.data() + 12, 17));
    for (std::size_t i = 0; i < 4; ++i) {
      png[29 + i] = static_cast<std::uint8_t>(sum >> (24 - 8 * i));
    }
    return failure([&] { depth_of(png); });
  };
  EXPECT_EQ(set_size(0x7fffffff, 4),
            "d has 2147483647 x 4 pixels; at most 8192 x 8192 are accepted. Scale it down.");
  EXPECT_EQ(set_size(8193, 2), "d has 8193 x 2 pixels; at most 8192 x 8192 are accepted. Scale it down.");
  EXPECT_EQ(set_size(2, 8193), "d has 2 x 8193 pixels; at most 8192 x 8192 are accepted. Scale it down.");
  EXPECT_EQ(set_size(0, 4), "d has 0 x 4 pixels; at most 8192 x 8192 are accepted. Scale it down.");
  EXPECT_NE(failure([&] { depth_of(bytes_of("P5 99999 99999 65535\n")); }), "none");
  EXPECT_EQ(depth_of(encoded(".pgm", cv::Mat(8192, 8192, CV_16UC1, cv::Scalar(7)))).size(),
            cv::Size(8192, 8192));
}

// A decoder knows that such a marker has no length; a reader that takes the next two bytes for one misses
// the frame.
TEST(ToolImageIo, SeesTheJpegFrameThatTheDecoderSees) {
  const Bytes jpeg = encoded(".jpg", pattern(9, 6, CV_8UC3));
  for (const std::string between : {"\xff\x01", "\xff\xd3", "\xff\xff", "\xff\xfe\1\1garbage"}) {
    Bytes file = jpeg;
    file.insert(file.begin() + 2, between.begin(), between.end());
    const ImageHeader header = read_image_header(file.data(), file.size());
    const bool has_length = between.size() > 2;  // a comment of 257 bytes, which swallows the frame
    EXPECT_EQ(header.fault, has_length ? kDamaged : "") << between;
    EXPECT_EQ(header.width, has_length ? 0 : 9) << between;
  }
  Bytes second_frame = jpeg;
  const std::string frame("\xff\xc0\0\x0b\x08\0\1\0\1\1\1\x11\0", 13);
  second_frame.insert(second_frame.begin() + 2, frame.begin(), frame.end());
  EXPECT_EQ(failure([&] { decode_color(second_frame, "f"); }),
            "f is cut short or damaged. Copy or record it again.");
}

TEST(ToolImageIo, UnpacksNoTextsOfAPng) {
  const cv::Mat depth = pattern(9, 6, CV_16UC1);
  Bytes file = encode_depth(depth);
  const Bytes plain = file;
  const std::string text("\0\0\0\x08zTXtname\0\0??\0\0\0\0", 20);  // not packed as it should be
  file.insert(file.begin() + 33, text.begin(), text.end());
  const auto sum = static_cast<std::uint32_t>(crc32(0, file.data() + 37, 12));
  for (std::size_t i = 0; i < 4; ++i) {
    file[49 + i] = static_cast<std::uint8_t>(sum >> (24 - 8 * i));
  }
  EXPECT_EQ(essential_png(file.data(), file.size()), plain);
  testing::internal::CaptureStderr();
  EXPECT_EQ(difference(depth_of(file), depth), 0);
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");  // where the decoder would complain about the text
}

TEST(ToolImageIo, BoundsTheScansOfAJpeg) {
  Bytes jpeg;
  cv::imencode(".jpg", pattern(9, 6, CV_8UC3), jpeg, {cv::IMWRITE_JPEG_PROGRESSIVE, 1});
  EXPECT_EQ(failure([&] { decode_color(jpeg, "f"); }), "none");
  jpeg.resize(jpeg.size() - 2);
  const std::string scan("\xff\xda\0\x08\1\1\0\1\1\1", 10);
  for (int i = 0; i < 60; ++i) {
    jpeg.insert(jpeg.end(), scan.begin(), scan.end());
  }
  jpeg.insert(jpeg.end(), {0xff, 0xd9});
  EXPECT_NE(
      failure([&] { decode_color(jpeg, "f"); }).find("f has more than 64 scans, which no camera writes."),
      std::string::npos);
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
    EXPECT_EQ(failure([&, path = folder / name] { read_depth(path, {}); }),
              (folder / name).string() + reason);
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

// Before any decoder looks at it.
TEST(ToolImageIo, RefusesATiffThatListsTooFewStripsOrHasSeparatePlanes) {
  const auto fault_with = [](const cv::Mat& image, const Bytes& tag, std::uint8_t before,
                             std::uint8_t changed) {
    Bytes file = encoded(".tiff", image);
    const auto entry = std::search(file.begin(), file.end(), tag.begin(), tag.end());
    if (entry == file.end() || entry[8] != before) {
      return std::string("no such entry");
    }
    entry[8] = changed;
    return read_image_header(file.data(), file.size()).fault;
  };
  EXPECT_EQ(fault_with(pattern(5, 4, CV_16UC1), {0x16, 0x01}, 4, 1), kDamaged);  // tag 278, rows per strip
  EXPECT_EQ(fault_with(pattern(5, 4, CV_8UC3), {0x1c, 0x01}, 1, 2),  // tag 284, planar configuration
            "is a TIFF image of a kind that is not read");
}

// Every single-byte change of a header must leave the reader within the file and the decoder without a crash.
TEST(ToolImageIo, SurvivesChangedHeaders) {
  const std::string array = "{'descr': '<u2', 'fortran_order': False, 'shape': (5, 4), }";
  for (const Bytes& file : {encode_depth(pattern(5, 4, CV_16UC1)), encoded(".jpg", pattern(5, 4, CV_8UC3)),
                            encoded(".tiff", pattern(5, 4, CV_16UC1)),
                            encoded(".pgm", pattern(5, 4, CV_16UC1)), npy(array, std::string(40, 'p'))}) {
    for (std::size_t at = 0; at < std::min<std::size_t>(file.size(), 200); ++at) {
      for (int value : {0x00, 0x01, 0x7f, 0xff}) {
        Bytes changed = file;
        changed[at] = static_cast<std::uint8_t>(value);
        failure([&] { decode_color(changed, "f"); });
        failure([&] { depth_of(changed); });
      }
    }
  }
}

}  // namespace
}  // namespace enhance_depth_tool
