// Which colour image belongs to which depth image.
#ifndef ENHANCE_DEPTH_TOOL_PAIRING_H
#define ENHANCE_DEPTH_TOOL_PAIRING_H

#include <cstddef>
#include <string>
#include <vector>

namespace enhance_depth_tool {

struct IndexPair {
  std::size_t color;
  std::size_t depth;
};

// Pairs images by time stamp (seconds, in any order): the two closest first, then the closest of the rest, as
// long as they are at most `max_difference` apart. Each image is used at most once. The pairs are sorted by
// the depth's time. Takes O(n log n) time.
std::vector<IndexPair> pair_by_time(const std::vector<double>& color_times,
                                    const std::vector<double>& depth_times, double max_difference);

// Pairs equal names; no list may contain a name twice. The pairs are in the order of the depth.
std::vector<IndexPair> pair_by_name(const std::vector<std::string>& color_names,
                                    const std::vector<std::string>& depth_names);

}  // namespace enhance_depth_tool

#endif  // ENHANCE_DEPTH_TOOL_PAIRING_H
