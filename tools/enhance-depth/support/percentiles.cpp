#include "support/percentiles.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

namespace enhance_depth_tool {

double percentile(const std::vector<double>& values, double fraction) {
  const double position = fraction * static_cast<double>(values.size() - 1);
  const auto below = static_cast<std::size_t>(position);
  const std::size_t above = std::min(below + 1, values.size() - 1);
  return values[below] + (position - std::floor(position)) * (values[above] - values[below]);
}

Percentiles percentiles(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  return {percentile(values, 0.5), percentile(values, 0.95), percentile(values, 0.99), values.back()};
}

}  // namespace enhance_depth_tool
