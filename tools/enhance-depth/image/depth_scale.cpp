#include "image/depth_scale.h"

#include <sstream>

#include "support/text.h"

namespace enhance_depth_tool {
namespace {

// Of a depth camera's frame, indoors or out.
constexpr double kNearestMedian = 0.1;
constexpr double kFarthestMedian = 20.0;

bool is_likely(double metres) { return metres >= kNearestMedian && metres <= kFarthestMedian; }

std::string number(double value) {
  std::ostringstream stream;
  stream << value;
  return stream.str();
}

}  // namespace

std::string scale_text(DepthScale scale) {
  const char* source = scale.source == DepthScale::Source::kAssumed
                           ? "  (assumed; --depth-scale sets another)"
                       : scale.source == DepthScale::Source::kTumLayout
                           ? "  (that of the TUM layout; --depth-scale sets another)"
                           : "";
  return number(scale.units_per_metre) + " units per metre" + source;
}

std::string depth_warning(const std::string& name, const DepthStatistics& depth, DepthScale scale,
                          DepthStorage storage) {
  if (depth.farthest == 0) {
    return name + " has no depth: every pixel is 0. Check that it is the right file.";
  }
  if (is_likely(scale.metres(depth.median))) {
    return "";
  }
  const std::string median =
      "The median depth of " + name + " is " + decimals(scale.metres(depth.median), 3) + " m";
  const std::string unlikely = ", which no RGB-D camera delivers.";
  if (storage == DepthStorage::kMetres) {
    return median + unlikely +
           " Floats are taken as metres: convert the file if they are not, for example by dividing "
           "millimetres by 1000.";
  }
  const struct {
    double units_per_metre;
    const char* whose;
  } kKnown[] = {{1000.0, "millimetres"}, {5000.0, "the TUM benchmark"}, {256.0, "KITTI"}};
  std::string likelier;
  for (const auto& known : kKnown) {
    const double metres = depth.median / known.units_per_metre;
    if (!is_likely(metres)) {
      continue;
    }
    likelier += (likelier.empty() ? " It would be " : ", or ") + decimals(metres, 2) +
                " m with --depth-scale " + number(known.units_per_metre) + " (" + known.whose + ")";
  }
  return median + " at " + number(scale.units_per_metre) + " units per metre" + unlikely +
         (likelier.empty() ? " Give its units per metre with --depth-scale, or store metres as 32-bit floats."
                           : likelier + ".");
}

}  // namespace enhance_depth_tool
