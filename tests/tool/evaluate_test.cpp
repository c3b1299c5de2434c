// The figures of evaluate, on depth whose errors are made by hand, and the recipe that hides pixels.
#include <cmath>
#include <limits>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "evaluate/contact_sheet.h"
#include "evaluate/depth_edges.h"
#include "evaluate/error_plot.h"
#include "evaluate/evaluation.h"
#include "evaluate/hiding.h"
#include "evaluate/report.h"
#include "support.h"

namespace enhance_depth_tool {
namespace {

constexpr DepthScale kTenths{10000.0};  // a unit is 0.1 mm

// A wall at 2000 in front of which a pillar stands at 1000, from column 100 to 139, with a hole in the wall.
cv::Mat room(cv::Size size = {256, 192}) {
  cv::Mat depth(size, CV_16UC1, cv::Scalar(2000));
  depth(cv::Rect(100, 0, 40, size.height)) = 1000;
  depth(cv::Rect(0, 0, 20, 10)) = 0;
  return depth;
}

JudgedFrame judged_row(const cv::Mat& truth, const cv::Mat& input) {
  return {truth, input, {}, grown(depth_edges(truth), kEdgeRadius)};
}

double figure(const Evaluation& evaluation, const std::string& kind, const std::string& measure) {
  for (const Figure& figure : figures(evaluation, kTenths)) {
    if (figure.kind == kind && figure.measure == measure) {
      return figure.value;
    }
  }
  ADD_FAILURE() << kind << " has no " << measure;
  return 0.0;
}

TEST(ToolEvaluation, GivesTheErrorsThatWereMade) {
  // Visible: exact, 4 % and 6 % too far. Hidden: 20 % too near, not filled, 25 % too far. Last: no truth.
  const cv::Mat truth = (cv::Mat_<std::uint16_t>(1, 7) << 1000, 1000, 1000, 1000, 1000, 1000, 0);
  const cv::Mat input = (cv::Mat_<std::uint16_t>(1, 7) << 1010, 1000, 1000, 0, 0, 0, 1000);
  const cv::Mat prediction = (cv::Mat_<std::uint16_t>(1, 7) << 1000, 1040, 1060, 800, 0, 1250, 1004);
  Evaluation evaluation("engine");
  EXPECT_NEAR(evaluation.add(judged_row(truth, input), prediction, {}, 4.0), 0.225, 1e-12);
  const struct {
    const char* kind;
    const char* measure;
    double value;
  } kExpected[] = {
      {"visible", "mean absolute error [mm]", 10.0 / 3.0},
      {"visible", "relative error [%]", 10.0 / 3.0},
      {"visible", "root mean square error [mm]", std::sqrt((16.0 + 36.0) / 3.0)},
      {"visible", "within 1.05 [%]", 200.0 / 3.0},
      {"visible", "within 1.10 [%]", 100.0},
      {"visible", "change [mm]", (1.0 + 4.0 + 6.0 + 0.4) / 4.0},
      {"hidden", "mean absolute error [mm]", 22.5},
      {"hidden", "within 1.10 [%]", 0.0},
      {"hidden", "within 1.25 [%]", 200.0 / 3.0},
      {"hidden", "filled [%]", 200.0 / 3.0},
      {"all", "time per frame [ms]", 4.0},
  };
  for (const auto& expected : kExpected) {
    EXPECT_NEAR(figure(evaluation, expected.kind, expected.measure), expected.value, 1e-9)
        << expected.kind << ", " << expected.measure;
  }
  evaluation.add(judged_row(truth, input), truth, {}, 8.0);  // frames are weighed by their pixels
  EXPECT_NEAR(figure(evaluation, "hidden", "mean absolute error [mm]"), 45.0 / 5.0, 1e-9);
}

TEST(ToolEvaluation, CountsPixelsThatHangBetweenBothSides) {
  const cv::Mat truth = room();
  cv::Mat prediction = truth.clone();
  // Up to a fifth of the step counts as that side; outside the edge's neighbourhood nothing counts.
  prediction.at<std::uint16_t>(50, 99) = 1200;
  prediction.at<std::uint16_t>(51, 99) = 1201;
  prediction.at<std::uint16_t>(52, 101) = 1799;
  prediction.at<std::uint16_t>(53, 101) = 1800;
  prediction.at<std::uint16_t>(54, 99) = 0;
  prediction.at<std::uint16_t>(55, 80) = 1500;
  FlyingPixels count;
  add_flying_pixels(judged_row(truth, truth), prediction, count);
  EXPECT_EQ(count.flying, 2);
  EXPECT_EQ(count.pixels, 2 * 8 * 192 - 1);  // two edges, two pixels and three to each side of them
}

TEST(ToolEvaluation, OrdersPixelsByConfidence) {
  const auto sparsification_of = [](const std::vector<JudgedPixel>& pixels) {
    Sparsification sparsification;
    sparsification.add(pixels);
    return sparsification;
  };
  constexpr float kNan = std::numeric_limits<float>::quiet_NaN();
  std::vector<JudgedPixel> good;
  std::vector<JudgedPixel> bad;
  for (int i = 0; i < 40; ++i) {
    const auto error = static_cast<float>(i / 2);
    good.push_back({i >= 38 ? kNan : -error, error});
    bad.push_back({error, error});
  }
  EXPECT_EQ(sparsification_of(good).ause(), 0.0);
  // Taken away worst first, the mean of what is left falls from 9.5 to 0 by halves; least first, it rises
  // to 19.
  const Sparsification worst = sparsification_of(bad);
  EXPECT_DOUBLE_EQ(worst.by_error(10), 4.5);
  EXPECT_DOUBLE_EQ(worst.by_confidence(10), 14.5);
  EXPECT_DOUBLE_EQ(worst.ause(), 1.0);
  EXPECT_TRUE(std::isnan(Sparsification().ause()));
  EXPECT_EQ(sparsification_of({{0.5F, 0.0F}}).ause(), 0.0);
}

TEST(ToolEvaluation, HoldsConfidenceAgainstTheShareThatIsRight) {
  Calibration calibration;
  for (int i = 0; i < 4; ++i) {
    calibration.add(0.75F, i < 3);  // as promised
    calibration.add(0.95F, i < 2);  // 0.45 too sure
  }
  calibration.add(1.5F, true);
  calibration.add(std::numeric_limits<float>::quiet_NaN(), false);
  EXPECT_EQ(calibration.pixels(7), 4);
  EXPECT_EQ(calibration.pixels(9), 5);
  EXPECT_EQ(calibration.pixels(0), 1);
  EXPECT_NEAR(calibration.mean_confidence(9), 0.96, 1e-6);
  EXPECT_NEAR(calibration.fraction_right(9), 0.6, 1e-12);
  EXPECT_NEAR(calibration.expected_error(), (5 * 0.36) / 10.0, 1e-6);
}

std::uint64_t fingerprint(const cv::Mat& bytes) {
  std::uint64_t hash = 0xcbf29ce484222325U;
  for (int y = 0; y < bytes.rows; ++y) {
    for (int x = 0; x < bytes.cols; ++x) {
      hash = (hash ^ bytes.at<std::uint8_t>(y, x)) * 0x100000001b3U;
    }
  }
  return hash;
}

TEST(ToolHiding, TakesMeasuredPixelsWhereTheRecipeSays) {
  const cv::Mat depth = room({512, 384});
  cv::Mat seen[4];
  for (std::uint64_t seed = 0; seed < 6; ++seed) {
    const HiddenPixels pixels = hide_pixels(depth, seed, "frame");
    for (int y = 0; y < depth.rows; ++y) {
      for (int x = 0; x < depth.cols; ++x) {
        const int hidden_as = pixels.hidden.at<std::uint8_t>(y, x);
        const int measured = depth.at<std::uint16_t>(y, x);
        const int from_edge = std::min(std::abs(2 * x - 199), std::abs(2 * x - 279)) / 2;  // 0 beside it
        ASSERT_EQ(pixels.depth.at<std::uint16_t>(y, x), hidden_as == kNotHidden ? measured : 0);
        ASSERT_TRUE(hidden_as == kNotHidden || measured != 0) << "hidden twice at " << x << ", " << y;
        ASSERT_TRUE(hidden_as != kBand || from_edge <= 6) << x << ", " << y;
        ASSERT_TRUE(hidden_as != kFarSideBand || (from_edge <= 12 && measured == 2000)) << x << ", " << y;
      }
    }
    for (const HiddenAs why : {kBlob, kBand, kFarSideBand}) {
      const cv::Mat found = pixels.hidden == why;
      cv::Mat& all = seen[why];
      all = all.empty() ? found : cv::Mat(all | found);
    }
  }
  for (const HiddenAs why : {kBlob, kBand, kFarSideBand}) {
    EXPECT_GT(cv::countNonZero(seen[why]), 200) << static_cast<int>(why);
  }
}

TEST(ToolHiding, TakesTheSamePixelsEverywhere) {
  const cv::Mat hidden = hide_pixels(room(), 7, "00042").hidden;
  EXPECT_EQ(fingerprint(hidden), 7405753768239103946U);
  EXPECT_NE(fingerprint(hide_pixels(room(), 8, "00042").hidden), fingerprint(hidden));
  EXPECT_NE(fingerprint(hide_pixels(room(), 7, "00043").hidden), fingerprint(hidden));
}

TEST(ToolDepthEdges, BridgeUnknownPixelsButNoWideGap) {
  cv::Mat depth = (cv::Mat_<std::uint16_t>(1, 24) << 1000, 1100, 1211, 0, 0, 0, 0, 0, 0, 0, 0, 2000, 0, 0, 0,
                   0, 0, 0, 0, 0, 0, 900, 990, 980);
  std::string marks;
  const cv::Mat edges = depth_edges(depth);
  for (int x = 0; x < edges.cols; ++x) {
    marks += edges.at<std::uint8_t>(x) != 0 ? '#' : '.';
  }
  EXPECT_EQ(marks, ".###########............");  // 1100 to 1211 is more than a tenth; 900 to 990 is not
  const cv::Mat down = depth_edges(depth.t());
  EXPECT_EQ(cv::countNonZero(down != edges.t()), 0);
}

nlohmann::ordered_json run_of(double error) {
  nlohmann::ordered_json run = {{"frames", 2}, {"hiding", {{"seed", 1}}}};
  run["engines"][0] = {
      {"engine", "a"},
      {"figures", {{"hidden", {{"relative error [%]", error}}}, {"all", {{"time per frame [ms]", error}}}}}};
  return run;
}

TEST(ToolEvaluationReport, NamesWhatDiffersFromAnEarlierRun) {
  EXPECT_TRUE(differences(run_of(2.0), run_of(2.015), 0.01).empty());
  const auto lines = differences(run_of(2.0), run_of(2.03), 0.01);
  ASSERT_EQ(lines.size(), 1U);  // time is not compared
  EXPECT_EQ(lines[0], "a: hidden, relative error [%]: 2.0 here, 2.03 in the earlier run");
  nlohmann::ordered_json other = run_of(2.0);
  other["hiding"]["seed"] = 2;
  EXPECT_TRUE(fails_with("cannot be compared: \"hiding\"", [&] { differences(run_of(2.0), other, 0.01); }));
  for (const auto& nonsense :
       {nlohmann::ordered_json(), nlohmann::ordered_json(3), nlohmann::ordered_json::array()}) {
    EXPECT_TRUE(fails_with("not written by evaluate", [&] { differences(run_of(2.0), nonsense, 0.01); }));
  }
}

TEST(ToolEvaluationReport, PutsEnginesSideBySide) {
  const cv::Mat truth(4, 4, CV_16UC1, cv::Scalar(1000));
  const JudgedFrame frame = judged_row(truth, truth);
  std::vector<Evaluation> evaluations{Evaluation("first,\"engine\""), Evaluation("second")};
  evaluations[0].add(frame, truth + 140, {}, 1.0);
  evaluations[1].add(frame, truth + 70, cv::Mat(truth.size(), CV_32FC1, cv::Scalar(1.0)), 1.0);
  EXPECT_NE(to_table(evaluations, kTenths).find("7 (0.50)"), std::string::npos)
      << to_table(evaluations, kTenths);
  const std::string csv = to_csv(evaluations, kTenths);
  EXPECT_EQ(csv.substr(0, csv.find('\n')), "kind,measure,\"first,\"\"engine\"\"\",second");
  EXPECT_NE(csv.find("\nvisible,mean absolute error [mm],14,7\n"), std::string::npos) << csv;
  EXPECT_NE(csv.find("\nall,AUSE,,0\nall,expected calibration error,,1\n"), std::string::npos) << csv;
  EXPECT_TRUE(evaluations[1].hidden_sparsification().empty());
  EXPECT_FALSE(render_error_plot(evaluations).empty());
}

TEST(ToolContactSheet, KeepsTheWorstFramesInOrder) {
  const auto offer = [](ContactSheet& sheet, double error, int blue) {
    const cv::Mat depth(24, 32, CV_16UC1, cv::Scalar(1000));
    sheet.offer(error, "frame", cv::Mat(24, 32, CV_8UC3, cv::Scalar(blue, 0, 0)), judged_row(depth, depth),
                {depth});
  };
  ContactSheet sheet({"engine"}, 2);
  EXPECT_TRUE(sheet.render().empty());
  const double kErrors[] = {0.2, 0.1, 0.4, 0.3};
  for (int i = 0; i < 4; ++i) {
    offer(sheet, kErrors[i], 100 + i);
  }
  const cv::Mat picture = sheet.render();
  const int row = (picture.rows - 26) / 2;
  EXPECT_EQ(picture.at<cv::Vec3b>(26 + row / 2, 160)[0], 102);
  EXPECT_EQ(picture.at<cv::Vec3b>(26 + row + row / 2, 160)[0], 103);
}

}  // namespace
}  // namespace enhance_depth_tool
