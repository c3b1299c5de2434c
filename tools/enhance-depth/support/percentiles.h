// Durations summarised by percentiles.
#ifndef ENHANCE_DEPTH_TOOL_PERCENTILES_H
#define ENHANCE_DEPTH_TOOL_PERCENTILES_H

#include <vector>

namespace enhance_depth_tool {

// The value below which this fraction (0..1) of `values` lies: 0 gives the smallest, 1 the largest,
// with linear interpolation between values. `values` must be sorted and not empty.
double percentile(const std::vector<double>& values, double fraction);

struct Percentiles {
  double median = 0.0;
  double p95 = 0.0;
  double p99 = 0.0;
  double maximum = 0.0;
};

// `values` in any order, not empty.
Percentiles percentiles(std::vector<double> values);

}  // namespace enhance_depth_tool

#endif  // ENHANCE_DEPTH_TOOL_PERCENTILES_H
