// The preview: its colours, its legend, and that every image can be previewed.
#include "image/preview.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <set>
#include <utility>

#include <gtest/gtest.h>
#include <opencv2/imgproc.hpp>
#include <unistd.h>

#include "image/color_scale.h"
#include "image/depth_filter.h"
#include "image/depth_statistics.h"
#include "image/point_cloud.h"
#include "support/library_output.h"
#include "support/text.h"

namespace enhance_depth_tool {
namespace {

const DepthScale kMillimetres{1000.0};

cv::Mat depth_ramp(cv::Size size, int nearest, int farthest) {
  cv::Mat depth(size, CV_16UC1);
  const int last = static_cast<int>(depth.total()) - 1;
  for (int i = 0; i <= last; ++i) {
    depth.at<std::uint16_t>(i / size.width, i % size.width) = static_cast<std::uint16_t>(
        nearest + (farthest - nearest) * static_cast<std::int64_t>(i) / std::max(1, last));
  }
  return depth;
}

int pixels_of(const cv::Mat& picture, const cv::Vec3b& color) {
  cv::Mat found;
  cv::inRange(picture, color, color, found);
  return cv::countNonZero(found);
}

TEST(ToolColorScale, ShowsHolesInAColourOfTheirOwn) {
  cv::Mat depth = depth_ramp({256, 256}, 1, 65535);
  depth(cv::Rect(10, 10, 3, 2)) = 0;
  for (const ValueRange range : {ValueRange{1, 65535}, ValueRange{1000, 4000}}) {
    EXPECT_EQ(pixels_of(colorize_depth(depth, range), kNoDepthColor), 6);
  }
}

TEST(ToolColorScale, BoundsItsRangeByPercentilesOfBothDepths) {
  cv::Mat before = depth_ramp({100, 100}, 1000, 2000);
  cv::Mat after = depth_ramp({100, 100}, 2000, 3000);
  before(cv::Rect(0, 0, 10, 1)) = 60000;  // outliers
  before(cv::Rect(0, 50, 100, 10)) = 0;
  const ValueRange range = depth_range({before, after});
  EXPECT_NEAR(range.low, 1020, 10);
  EXPECT_NEAR(range.high, 2980, 10);
  const ValueRange none = depth_range({cv::Mat::zeros(4, 4, CV_16UC1)});
  EXPECT_GT(none.low, 0.0);
  EXPECT_GT(none.high, none.low);
}

TEST(ToolColorScale, WritesRoundMetresInOrderAndApart) {
  const ValueRange kRanges[] = {{0.4, 0.41}, {0.5, 10}, {1.6, 7.5}, {0.001, 65.535}, {1, 1.001}, {20, 6000}};
  for (const ValueRange& range : kRanges) {
    SCOPED_TRACE(decimals(range.low, 3) + " to " + decimals(range.high, 3));
    EXPECT_NEAR(depth_position(2.0 / (1.0 / range.low + 1.0 / range.high), range), 0.5, 1e-9);
    const auto ticks = depth_ticks(range, 1000, 90);
    ASSERT_GE(ticks.size(), 4U);
    double end_of_last = -90.0;
    for (const Tick& tick : ticks) {
      EXPECT_NEAR(std::stod(tick.text), tick.metres, 1e-9);
      EXPECT_NEAR(tick.position, depth_position(tick.metres, range), 1e-9);
      EXPECT_GE(tick.position * 1000, end_of_last + 90 - 1e-6);
      EXPECT_LE(tick.position, 1.0 + 1e-9);
      end_of_last = tick.position * 1000;
    }
  }
}

TEST(ToolColorScale, CopesWithAnyConfidence) {
  const float nan = std::numeric_limits<float>::quiet_NaN();
  const float infinity = std::numeric_limits<float>::infinity();
  const cv::Mat logits = (cv::Mat_<float>(1, 4) << -3.0F, 5.0F, nan, infinity);
  EXPECT_EQ(confidence_range(logits).low, -3.0);
  EXPECT_EQ(confidence_range(logits).high, 5.0);
  const cv::Mat colors = colorize_confidence(logits, confidence_range(logits));
  EXPECT_EQ(colors.at<cv::Vec3b>(2), colors.at<cv::Vec3b>(0)) << "NaN is shown like the lowest value";
  EXPECT_EQ(colors.at<cv::Vec3b>(3), colors.at<cv::Vec3b>(1));
  const struct {
    float least, most;
    double low, high;
  } kRanges[] = {{0.3F, 0.4F, 0.0, 1.0}, {10.0F, 90.0F, 10.0, 90.0}, {7.0F, 7.0F, 7.0, 8.0}};
  for (const auto& range : kRanges) {
    const cv::Mat confidence = (cv::Mat_<float>(1, 2) << range.least, range.most);
    EXPECT_EQ(confidence_range(confidence).low, range.low);
    EXPECT_EQ(confidence_range(confidence).high, range.high);
  }
}

// Both depth panels must use one scale: the same depth has the same colour before and after.
TEST(ToolPreview, ShowsBothDepthsOnOneScale) {
  const cv::Size size(640, 480);
  const cv::Mat depth = depth_ramp(size, 1000, 3000);
  const cv::Mat color(size, CV_8UC3, cv::Scalar(1, 2, 3));
  const cv::Mat other = depth_ramp(size, 3000, 9000);
  const cv::Mat a = render_preview({color, depth, other, {}}, {1000, 9000}, kMillimetres);
  const cv::Mat b = render_preview({color, other, depth, {}}, {1000, 9000}, kMillimetres);
  ASSERT_EQ(a.size(), b.size());
  // Three panels in a row; the second of one picture must be the third of the other.
  int left = 0;
  while (cv::norm(a(cv::Rect(left, 40, 640, 480)), colorize_depth(depth, {1000, 9000}), cv::NORM_INF) !=
         0.0) {
    ASSERT_LT(++left + 640, a.cols) << "the depth before is not in the picture";
  }
  const int right = left + 640 + (left - 640) / 2;
  EXPECT_EQ(cv::norm(b(cv::Rect(right, 40, 640, 480)), colorize_depth(depth, {1000, 9000}), cv::NORM_INF),
            0.0);
  const cv::Mat none = cv::Mat::zeros(size, CV_16UC1);
  const cv::Mat c = render_preview({color, depth, none, {}}, {1000, 9000}, kMillimetres);
  const cv::Rect title(right, 0, 640, 40);
  EXPECT_GT(cv::norm(a(title), c(title), cv::NORM_INF), 0.0) << "each states its own valid pixels";
  EXPECT_GT(cv::norm(a, render_preview({color, depth, other, {}}, {1000, 9000}, {5000.0}), cv::NORM_INF), 0.0)
      << "the legend is in metres";
}

TEST(ToolPreview, KeepsItsSizeForOneImageSizeAndDrawsAnyOther) {
  const cv::Size kSizes[] = {{1, 1}, {2, 3000}, {3000, 2}, {64, 48}, {480, 640}, {641, 479}, {1920, 1080}};
  for (const cv::Size& size : kSizes) {
    SCOPED_TRACE(image_size(size.width, size.height));
    const cv::Mat color(size, CV_8UC3, cv::Scalar(90, 120, 150));
    const cv::Mat depth = depth_ramp(size, 500, 5000);
    const cv::Mat none = cv::Mat::zeros(size, CV_16UC1);
    const cv::Mat confidence(size, CV_32FC1, cv::Scalar(0.5));
    const cv::Mat square =
        render_preview({color, depth, depth, confidence}, depth_range({depth}), kMillimetres);
    const cv::Mat holes = render_preview({color, none, none, confidence}, depth_range({none}), kMillimetres);
    EXPECT_EQ(square.size(), holes.size());
    EXPECT_LE(square.cols, 2000);
    EXPECT_GE(square.cols, 900) << "the texts need room";
    EXPECT_GT(render_preview({color, depth, none, {}}, depth_range({depth, none}), kMillimetres).cols,
              square.cols);
  }
}

TEST(ToolDepthStatistics, CountsValidPixelsAndTakesNearestRankQuantiles) {
  const cv::Mat depth = (cv::Mat_<std::uint16_t>(2, 3) << 0, 10, 20, 30, 40, 0);
  const DepthStatistics statistics = describe_depth(depth);
  EXPECT_NEAR(statistics.valid_fraction, 4.0 / 6.0, 1e-12);
  EXPECT_EQ(statistics.nearest, 10);
  EXPECT_EQ(statistics.median, 20);
  EXPECT_EQ(statistics.farthest, 40);
  EXPECT_EQ(describe_depth(depth.colRange(0, 2)).median, 30) << "of 10, 30 and 40";
  const DepthStatistics none = describe_depth(cv::Mat::zeros(2, 2, CV_16UC1));
  EXPECT_EQ(none.valid_fraction, 0.0);
  EXPECT_EQ(none.farthest, 0);
}

TEST(ToolDepthFilter, RemovesWhatIsUnsureOrOutside) {
  const float nan = std::numeric_limits<float>::quiet_NaN();
  cv::Mat depth = (cv::Mat_<std::uint16_t>(1, 5) << 1000, 2000, 0, 4000, 5000);
  const cv::Mat confidence = (cv::Mat_<float>(1, 5) << 0.5F, 0.25F, 0.0F, nan, 1.0F);
  const auto remove = [&](const DepthFilter& filter, double units_per_metre) {
    const RemovedPixels removed = remove_pixels(depth, confidence, filter, {units_per_metre});
    return std::make_pair(removed.unsure, removed.outside);
  };
  using Removed = std::pair<std::int64_t, std::int64_t>;
  EXPECT_EQ(remove({}, 1000.0), (Removed{0, 0}));
  EXPECT_EQ(remove({0.5, MetreRange{0.2, 1.0}}, 5000.0), (Removed{2, 0})) << "the ends belong to it";
  EXPECT_EQ(depth.at<std::uint16_t>(0) + depth.at<std::uint16_t>(4), 6000);
  EXPECT_EQ(cv::countNonZero(depth), 2);
  EXPECT_EQ(remove({std::nullopt, MetreRange{0.2, 1.0}}, 1000.0), (Removed{0, 1}));
  EXPECT_EQ(remove({0.75, MetreRange{1.5, 9.0}}, 1000.0), (Removed{1, 0})) << "each pixel counts once";
  EXPECT_EQ(cv::countNonZero(depth), 0);
}

TEST(ToolPointCloud, HoldsEveryPixelThatHasDepth) {
  const cv::Mat depth = (cv::Mat_<std::uint16_t>(2, 2) << 0, 2000, 5000, 0);
  const cv::Mat color =
      (cv::Mat_<cv::Vec3b>(2, 2) << cv::Vec3b(), cv::Vec3b(3, 2, 1), cv::Vec3b(6, 5, 4), cv::Vec3b());
  const Bytes file = encode_point_cloud(depth, color, {2.0, 4.0, 0.5, -1.0}, {1000.0});
  const std::string text(file.begin(), file.end());
  const std::string end = "uchar blue\nend_header\n";
  const std::size_t at = text.find(end) + end.size();
  EXPECT_EQ(text.rfind("ply\nformat binary_little_endian 1.0\nelement vertex 2\nproperty float x\n", 0), 0U);
  ASSERT_EQ(text.size(), at + 2 * 15);
  const auto expect_point = [&](std::size_t index, const std::vector<float>& place, const std::string& rgb) {
    std::vector<float> found(3);
    std::memcpy(found.data(), text.data() + at + 15 * index, 12);
    EXPECT_EQ(found, place);
    EXPECT_EQ(text.substr(at + 15 * index + 12, 3), rgb);
  };
  expect_point(0, {0.5F, 0.5F, 2.0F}, "\1\2\3");
  expect_point(1, {-1.25F, 2.5F, 5.0F}, "\4\5\6");
}

TEST(ToolDepthScale, NamesALikelierUnitWhenTheMedianIsUnlikely) {
  const auto warning = [](std::uint16_t median, double units_per_metre,
                          DepthStorage storage = DepthStorage::kUnits) {
    return depth_warning("d", {1.0, 1, median, 60000}, {units_per_metre}, storage);
  };
  for (const std::uint16_t likely : {std::uint16_t{100}, std::uint16_t{20000}}) {
    EXPECT_EQ(warning(likely, 1000.0), "");
  }
  const std::string unlikely = " units per metre, which no RGB-D camera delivers.";
  EXPECT_EQ(warning(99, 1000.0), "The median depth of d is 0.099 m at 1000" + unlikely +
                                     " It would be 0.39 m with --depth-scale 256 (KITTI).");
  EXPECT_EQ(warning(20001, 1000.0), "The median depth of d is 20.001 m at 1000" + unlikely +
                                        " It would be 4.00 m with --depth-scale 5000 (the TUM benchmark).");
  EXPECT_EQ(warning(2000, 10.0), "The median depth of d is 200.000 m at 10" + unlikely +
                                     " It would be 2.00 m with --depth-scale 1000 (millimetres), or 0.40 m "
                                     "with --depth-scale 5000 (the TUM "
                                     "benchmark), or 7.81 m with --depth-scale 256 (KITTI).");
  EXPECT_EQ(warning(3, 1000.0),
            "The median depth of d is 0.003 m at 1000" + unlikely +
                " Give its units per metre with --depth-scale, or store metres as 32-bit floats.");
  EXPECT_EQ(warning(30000, 1000.0, DepthStorage::kMetres),
            "The median depth of d is 30.000 m, which no RGB-D camera delivers. Floats are taken as "
            "metres: convert the file if they are not, for example by dividing millimetres by 1000.");
}

TEST(ToolLibraryOutput, PassesOnWhatIsNotSaidTwice) {
  const std::string information = "[11/21 20:24:27.489812][INFO][EnhanceDepth][allocate:49] Configured";
  EXPECT_EQ(filtered_line(information, false), information);
  EXPECT_EQ(filtered_line(information, true), std::nullopt);
  EXPECT_EQ(filtered_line("[1][debug][Other][f] x", true), std::nullopt);
  for (const char* kept : {"[1][WARNING][EnhanceDepth][f] x", "[1][ERROR][Other][f] x", "TRT: [1][INFO][x]",
                           "", "[1][INFO", "x"}) {
    EXPECT_EQ(filtered_line(kept, true), kept);
  }
  EXPECT_EQ(filtered_line("[1][ERROR][EnhanceDepth][fail:55] x", false), std::nullopt);
  EXPECT_EQ(filtered_line("a\033[2J\xc3\xa4\xc2\x9b\xff", true), "a\\x1b[2J\xc3\xa4\\xc2\\x9b\\xff");
  EXPECT_EQ(filtered_line(std::string(5000, 'x'), true), std::string(2000, 'x') + "...");
}

TEST(ToolLibraryOutput, PassesOnALastLineWithoutAnEnd) {
  testing::GTEST_FLAG(death_test_style) = "fast";
  const auto end_in_a_line = [] {
    {
      const LibraryOutput output(false);
      dprintf(STDOUT_FILENO, "a last word");
    }
    std::_Exit(0);
  };
  EXPECT_EXIT(end_in_a_line(), testing::ExitedWithCode(0), "a last word\n");
}

TEST(ToolText, StatesTimesAndBreaksLines) {
  EXPECT_EQ(duration(59.94), "59.9 s");
  EXPECT_EQ(duration(59.97), "1 min 00 s");
  EXPECT_EQ(duration(3599.6), "1 h 00 min");
  EXPECT_EQ(duration(7 * 3600 + 125), "7 h 02 min");
  EXPECT_EQ(percent(1.0 / 3.0), "33.3 %");
  EXPECT_EQ(wrapped("one two three-four five", 7), "one two\nthree-four\nfive");
}

}  // namespace
}  // namespace enhance_depth_tool
