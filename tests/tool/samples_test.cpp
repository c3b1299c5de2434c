// The committed sample data is what its program generates.
#include <cstdlib>
#include <string>

#include <gtest/gtest.h>
#include <opencv2/core.hpp>
#include <opencv2/imgcodecs.hpp>

namespace {

TEST(Samples, AreWhatTheirProgramMakes) {
  const std::string made = ::testing::TempDir() + "made_samples";
  ASSERT_EQ(std::system(("'" MAKE_SAMPLE "' '" + made + "'").c_str()), 0);  // NOLINT(cert-env33-c): fixed
  for (const std::string name : {"/color.png", "/depth.png", "/depth_true.png"}) {
    const cv::Mat expected = cv::imread(SAMPLES + name, cv::IMREAD_UNCHANGED);
    const cv::Mat actual = cv::imread(made + name, cv::IMREAD_UNCHANGED);
    ASSERT_FALSE(expected.empty()) << name;
    ASSERT_EQ(actual.size(), expected.size()) << name;
    ASSERT_EQ(actual.type(), expected.type()) << name;
    // Another compiler or mathematical library may round a value the other way.
    const cv::Mat differences = cv::Mat(actual != expected).reshape(1);
    EXPECT_LE(cv::countNonZero(differences), static_cast<int>(differences.total() / 1000)) << name;
  }
}

}  // namespace
