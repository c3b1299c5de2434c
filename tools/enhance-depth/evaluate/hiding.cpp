#include "evaluate/hiding.h"

#include <algorithm>
#include <array>
#include <vector>

#include "evaluate/depth_edges.h"

namespace enhance_depth_tool {
namespace {

constexpr int kTile = 64;
constexpr int kSmallestBand = 2;
constexpr int kWidestBand = 6;
constexpr int kSmallestShadow = 4;
constexpr int kWidestShadow = 12;
constexpr int kSmallestBlob = 3;
constexpr int kLargestBlob = 15;

// SplitMix64 (Steele, Lea, Flood, OOPSLA 2014). Distributions differ between standard libraries.
class Random {
 public:
  Random(std::uint64_t seed, const std::string& name) : state_(seed) {
    for (const char character : name) {  // FNV-1a
      state_ = (state_ ^ static_cast<unsigned char>(character)) * 0x100000001b3U;
    }
  }
  int between(int low, int high) {
    return low + static_cast<int>(next() % static_cast<std::uint64_t>(high - low + 1));
  }

 private:
  std::uint64_t next() {
    state_ += 0x9e3779b97f4a7c15U;
    std::uint64_t bits = state_;
    bits = (bits ^ (bits >> 30U)) * 0xbf58476d1ce4e5b9U;
    bits = (bits ^ (bits >> 27U)) * 0x94d049bb133111ebU;
    return bits ^ (bits >> 31U);
  }
  std::uint64_t state_;
};

struct Disc {
  int x, y, radius;
};

struct Tile {
  cv::Rect area;
  HiddenAs draws = kNotHidden;
  int width = 0;  // of its bands
};

// Every tile draws the same number of random values, so that a change in one tile does not affect the next.
void draw(const cv::Mat& depth, Random& random, std::vector<Tile>& tiles, std::vector<Disc>& discs) {
  constexpr std::array<HiddenAs, 4> kChoices{kNotHidden, kBlob, kBand, kFarSideBand};
  for (int top = 0; top < depth.rows; top += kTile) {
    for (int left = 0; left < depth.cols; left += kTile) {
      Tile tile;
      tile.area = cv::Rect(left, top, kTile, kTile) & cv::Rect({0, 0}, depth.size());
      tile.draws = kChoices[static_cast<std::size_t>(random.between(0, 3))];
      const int band = random.between(kSmallestBand, kWidestBand);
      const int shadow = random.between(kSmallestShadow, kWidestShadow);
      tile.width = tile.draws == kFarSideBand ? shadow : band;
      const int blobs = random.between(1, 3);
      for (int i = 0; i < 3; ++i) {
        const Disc disc{left + random.between(0, kTile - 1), top + random.between(0, kTile - 1),
                        random.between(kSmallestBlob, kLargestBlob)};
        if (tile.draws == kBlob && i < blobs) {
          discs.push_back(disc);
        }
      }
      tiles.push_back(tile);
    }
  }
}

void hide_band(const cv::Mat& depth, const cv::Mat& edges, const Tile& tile, cv::Mat& hidden) {
  // Bands of edges outside the tile reach into it.
  const cv::Rect seen =
      (tile.area + cv::Size(2 * tile.width, 2 * tile.width) - cv::Point(tile.width, tile.width)) &
      cv::Rect({0, 0}, depth.size());
  const cv::Mat near_edge = grown(edges(seen), tile.width);
  const cv::Mat nearest = depth_bounds(depth(seen), tile.width).nearest;
  for (int y = tile.area.y; y < tile.area.y + tile.area.height; ++y) {
    for (int x = tile.area.x; x < tile.area.x + tile.area.width; ++x) {
      const int measured = depth.at<std::uint16_t>(y, x);
      const int near_side = nearest.at<std::uint16_t>(y - seen.y, x - seen.x);
      const bool on_far_side = 20 * measured > 21 * near_side;  // 5 % behind the nearer surface
      if (measured != 0 && near_edge.at<std::uint8_t>(y - seen.y, x - seen.x) != 0 &&
          (tile.draws == kBand || on_far_side)) {
        hidden.at<std::uint8_t>(y, x) = tile.draws;
      }
    }
  }
}

void hide_disc(const cv::Mat& depth, const Disc& disc, cv::Mat& hidden) {
  for (int y = std::max(0, disc.y - disc.radius); y <= std::min(depth.rows - 1, disc.y + disc.radius); ++y) {
    for (int x = std::max(0, disc.x - disc.radius); x <= std::min(depth.cols - 1, disc.x + disc.radius);
         ++x) {
      const int dx = x - disc.x;
      const int dy = y - disc.y;
      std::uint8_t& kind = hidden.at<std::uint8_t>(y, x);
      if (dx * dx + dy * dy <= disc.radius * disc.radius && depth.at<std::uint16_t>(y, x) != 0 &&
          kind == kNotHidden) {
        kind = kBlob;
      }
    }
  }
}

}  // namespace

HiddenPixels hide_pixels(const cv::Mat& depth, std::uint64_t seed, const std::string& name) {
  Random random(seed, name);
  std::vector<Tile> tiles;
  std::vector<Disc> discs;
  draw(depth, random, tiles, discs);

  HiddenPixels result{depth.clone(), cv::Mat::zeros(depth.size(), CV_8UC1)};
  const cv::Mat edges = depth_edges(depth);
  for (const Tile& tile : tiles) {
    if (tile.draws == kBand || tile.draws == kFarSideBand) {
      hide_band(depth, edges, tile, result.hidden);
    }
  }
  for (const Disc& disc : discs) {
    hide_disc(depth, disc, result.hidden);
  }
  result.depth.setTo(0, result.hidden != 0);
  return result;
}

}  // namespace enhance_depth_tool
