// The unit of a depth image.
#ifndef ENHANCE_DEPTH_TOOL_DEPTH_SCALE_H
#define ENHANCE_DEPTH_TOOL_DEPTH_SCALE_H

#include <string>

#include "image/depth_statistics.h"

namespace enhance_depth_tool {

// It changes how metres are stated and how metres are read, never depth that is stored in units.
struct DepthScale {
  enum class Source { kAssumed, kTumLayout, kGiven };
  double units_per_metre = 1000.0;
  Source source = Source::kAssumed;
  double metres(double depth) const { return depth / units_per_metre; }
};

// "1000 units per metre", and where that comes from unless the user gave it.
std::string scale_text(DepthScale scale);

// What the numbers in the file of a depth image are. A scale applies to units only.
enum class DepthStorage { kUnits, kMetres };

// What speaks against an image, or against its unit: that it has no depth, or a median that no RGB-D camera
// delivers, with the scale that is likelier. `name` stands for the image. Empty when nothing does.
std::string depth_warning(const std::string& name, const DepthStatistics& depth, DepthScale scale,
                          DepthStorage storage);

}  // namespace enhance_depth_tool

#endif  // ENHANCE_DEPTH_TOOL_DEPTH_SCALE_H
