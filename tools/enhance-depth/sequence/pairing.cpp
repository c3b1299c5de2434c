#include "sequence/pairing.h"

#include <algorithm>
#include <functional>
#include <queue>
#include <tuple>
#include <unordered_map>

namespace enhance_depth_tool {
namespace {

// All images in the order of their time, as a linked list from which paired images are taken out. The closest
// pair of those that remain is always adjacent: anything between the two would be closer to one of them.
class TimeLine {
 public:
  TimeLine(const std::vector<double>& color_times, const std::vector<double>& depth_times) {
    for (std::size_t i = 0; i < color_times.size(); ++i) {
      nodes_.push_back({color_times[i], false, i, 0, 0, false});
    }
    for (std::size_t i = 0; i < depth_times.size(); ++i) {
      nodes_.push_back({depth_times[i], true, i, 0, 0, false});
    }
    std::stable_sort(nodes_.begin(), nodes_.end(),
                     [](const Node& a, const Node& b) { return a.time < b.time; });
    for (std::size_t i = 0; i < nodes_.size(); ++i) {
      nodes_[i].previous = i == 0 ? kEnd : i - 1;
      nodes_[i].next = i + 1 == nodes_.size() ? kEnd : i + 1;
      consider(nodes_[i].previous, i);
    }
  }

  std::vector<IndexPair> take_pairs(double max_difference) {
    std::vector<IndexPair> pairs;
    while (!candidates_.empty()) {
      const auto [difference, left, right] = candidates_.top();
      candidates_.pop();
      if (difference > max_difference) {
        break;
      }
      if (nodes_[left].taken || nodes_[right].taken) {
        continue;
      }
      const std::size_t color = nodes_[left].is_depth ? right : left;
      const std::size_t depth = nodes_[left].is_depth ? left : right;
      pairs.push_back({nodes_[color].index, nodes_[depth].index});
      take_out(left, right);
    }
    return pairs;
  }

 private:
  static constexpr std::size_t kEnd = static_cast<std::size_t>(-1);

  struct Node {
    double time;
    bool is_depth;
    std::size_t index;  // in its own list
    std::size_t previous;
    std::size_t next;
    bool taken;
  };
  using Candidate = std::tuple<double, std::size_t, std::size_t>;  // difference, left node, right node

  void consider(std::size_t left, std::size_t right) {
    if (left != kEnd && right != kEnd && nodes_[left].is_depth != nodes_[right].is_depth) {
      candidates_.emplace(nodes_[right].time - nodes_[left].time, left, right);
    }
  }

  void take_out(std::size_t left, std::size_t right) {
    nodes_[left].taken = nodes_[right].taken = true;
    const std::size_t before = nodes_[left].previous;
    const std::size_t after = nodes_[right].next;
    if (before != kEnd) {
      nodes_[before].next = after;
    }
    if (after != kEnd) {
      nodes_[after].previous = before;
    }
    consider(before, after);
  }

  std::vector<Node> nodes_;
  std::priority_queue<Candidate, std::vector<Candidate>, std::greater<>> candidates_;
};

}  // namespace

std::vector<IndexPair> pair_by_time(const std::vector<double>& color_times,
                                    const std::vector<double>& depth_times, double max_difference) {
  // A time in seconds since 1970 is stored with an error of a tenth of a microsecond.
  constexpr double kRounding = 1e-6;
  std::vector<IndexPair> pairs = TimeLine(color_times, depth_times).take_pairs(max_difference + kRounding);
  std::sort(pairs.begin(), pairs.end(), [&](const IndexPair& a, const IndexPair& b) {
    return std::tie(depth_times[a.depth], a.depth) < std::tie(depth_times[b.depth], b.depth);
  });
  return pairs;
}

std::vector<IndexPair> pair_by_name(const std::vector<std::string>& color_names,
                                    const std::vector<std::string>& depth_names) {
  std::unordered_map<std::string, std::size_t> color_of;
  for (std::size_t i = 0; i < color_names.size(); ++i) {
    color_of.emplace(color_names[i], i);
  }
  std::vector<IndexPair> pairs;
  for (std::size_t i = 0; i < depth_names.size(); ++i) {
    const auto found = color_of.find(depth_names[i]);
    if (found != color_of.end()) {
      pairs.push_back({found->second, i});
    }
  }
  return pairs;
}

}  // namespace enhance_depth_tool
