// What one unit of a depth image is.
#ifndef ENHANCE_DEPTH_TOOL_DEPTH_SCALE_H
#define ENHANCE_DEPTH_TOOL_DEPTH_SCALE_H

namespace enhance_depth_tool {

// It changes how metres are stated, never the depth itself.
struct DepthScale {
  double units_per_metre = 1000.0;
  double metres(double depth) const { return depth / units_per_metre; }
};

}  // namespace enhance_depth_tool

#endif  // ENHANCE_DEPTH_TOOL_DEPTH_SCALE_H
