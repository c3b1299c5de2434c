#include "conversion_bench.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include <benchmark/benchmark.h>
#include <opencv2/core.hpp>

#include "cache.h"
#include "convert/depth_conversion.h"
#include "measure.h"
#include "places.h"
#include "scalar_conversion.h"
#include "test_images.h"

namespace enhance_depth_bench {
namespace {

// Both conversions read and write six bytes for each pixel, as does copying three.
constexpr std::size_t kMovedBytes = sizeof(std::uint16_t) + sizeof(float);
constexpr std::size_t kCopiedBytes = kMovedBytes / 2;

// Memory that is aligned to a cache line, as an OpenCV image is, so that no access of any width crosses two
// lines.
class Lines {
 public:
  explicit Lines(std::size_t bytes) : lines_(bytes / sizeof(Line) + 1) {}
  std::uint8_t* data() { return lines_.front().bytes; }
  const std::uint8_t* data() const { return lines_.front().bytes; }
  std::size_t size() const { return lines_.size() * sizeof(Line); }

 private:
  struct alignas(64) Line {
    std::uint8_t bytes[64];
  };
  std::vector<Line> lines_;
};

// One piece of memory for each size, shared by everything that is measured at that size: the location of
// memory affects its speed, and nothing shall have an advantage from it.
struct Arena {
  explicit Arena(std::size_t pixels) : source(pixels * sizeof(float)), destination(pixels * sizeof(float)) {}
  Lines source;
  Lines destination;
};

Arena& arena_for(ImageSize size) {
  static std::map<std::size_t, Arena> arenas;
  return arenas.try_emplace(size.pixels(), size.pixels()).first->second;
}

// Times `work`, which reads and writes the given numbers of bytes of the arena's source and destination.
template <typename Work>
void measure_conversion(benchmark::State& state, const Arena& arena, Caches caches, ImageSize size,
                        std::size_t read_bytes, std::size_t written_bytes, Work work) {
  const auto evict_if_cold = [&] {
    if (caches == Caches::kCold) {
      evict(arena.source.data(), read_bytes);
      evict(arena.destination.data(), written_bytes);
    }
  };
  measure(state, evict_if_cold, work);
  count_work(state, size.pixels(), kMovedBytes);
}

// --- The conversions and their expected results ---

template <typename Source, typename Destination>
using Loop = void (*)(const Source*, Destination*, std::size_t);

struct DepthToFloat {
  using Source = std::uint16_t;
  using Destination = float;
  static constexpr const char* kName = "depth_to_float";
  static constexpr int kOpenCvSource = CV_16UC1;
  static constexpr int kOpenCvDestination = CV_32FC1;
  static constexpr Loop<Source, Destination> kLibrary = enhance_depth::convert_depth_u16_to_f32_neon;
  static constexpr Loop<Source, Destination> kScalar = scalar_depth_to_float;

  static std::vector<Source> make(std::size_t count, Values values) { return make_depth(count, values); }
  static Destination expected(Source value) { return value; }
  static Destination expected_of_opencv(Source value) { return value; }
};

struct PredictionToDepth {
  using Source = float;
  using Destination = std::uint16_t;
  static constexpr const char* kName = "prediction_to_depth";
  static constexpr int kOpenCvSource = CV_32FC1;
  static constexpr int kOpenCvDestination = CV_16UC1;
  static constexpr Loop<Source, Destination> kLibrary = enhance_depth::convert_pred_f32_to_u16_neon;
  static constexpr Loop<Source, Destination> kScalar = scalar_prediction_to_depth;

  static std::vector<Source> make(std::size_t count, Values values) { return make_prediction(count, values); }
  static Destination expected(Source value) {
    return std::isnan(value) ? Destination{0}
                             : static_cast<Destination>(std::trunc(std::clamp(value, 0.0F, 65535.0F)));
  }
  // Rounds; for a value outside the range of a 32-bit integer the processor determines the result.
  static Destination expected_of_opencv(Source value) { return cv::saturate_cast<Destination>(value); }
};

// The same values each time, drawn once.
template <typename Conversion>
const std::vector<typename Conversion::Source>& input_for(ImageSize size, Values values) {
  static std::map<std::pair<std::size_t, Values>, std::vector<typename Conversion::Source>> inputs;
  auto& input = inputs[{size.pixels(), values}];
  if (input.empty()) {
    input = Conversion::make(size.pixels(), values);
  }
  return input;
}

template <typename Conversion>
void opencv(const typename Conversion::Source* src, typename Conversion::Destination* dst,
            std::size_t count) {
  // OpenCV has no read-only matrices; convertTo() does not write to the one that it is called on.
  const cv::Mat source(1, static_cast<int>(count), Conversion::kOpenCvSource,
                       const_cast<typename Conversion::Source*>(src));
  cv::Mat destination(1, static_cast<int>(count), Conversion::kOpenCvDestination, dst);
  source.convertTo(destination, Conversion::kOpenCvDestination);
}

// --- The benchmarks ---

// Compares bytes, because NaN differs from itself.
template <typename T>
bool same(T left, T right) {
  return std::memcmp(&left, &right, sizeof(T)) == 0;
}

template <typename Conversion>
using Expected = typename Conversion::Destination (*)(typename Conversion::Source);

template <typename Conversion>
void convert(benchmark::State& state,
             Loop<typename Conversion::Source, typename Conversion::Destination> loop,
             Expected<Conversion> expected, ImageSize size, Caches caches, Values values) {
  Arena& arena = arena_for(size);
  const auto& input = input_for<Conversion>(size, values);
  auto* const source = reinterpret_cast<typename Conversion::Source*>(arena.source.data());
  auto* const destination = reinterpret_cast<typename Conversion::Destination*>(arena.destination.data());
  std::copy(input.begin(), input.end(), source);
  std::memset(arena.destination.data(), 0xA5, arena.destination.size());

  measure_conversion(state, arena, caches, size, input.size() * sizeof(*source),
                     input.size() * sizeof(*destination), [&] { loop(source, destination, input.size()); });

  std::size_t differing_pixels = 0;
  for (std::size_t i = 0; i < input.size(); ++i) {
    if (!same(destination[i], expected(input[i]))) {
      state.SkipWithError(("wrong result for pixel " + std::to_string(i)).c_str());
      return;
    }
    differing_pixels += same(destination[i], Conversion::expected(input[i])) ? 0 : 1;
  }
  if (differing_pixels > 0) {
    state.counters["differing_pixels"] = static_cast<double>(differing_pixels);
  }
}

void copy(benchmark::State& state, ImageSize size, Caches caches) {
  static const std::vector<std::uint8_t> input =
      make_color(std::end(kImageSizes)[-1].pixels() * kCopiedBytes);
  Arena& arena = arena_for(size);
  const std::size_t bytes = size.pixels() * kCopiedBytes;
  std::memcpy(arena.source.data(), input.data(), bytes);
  measure_conversion(state, arena, caches, size, bytes, bytes,
                     [&] { std::memcpy(arena.destination.data(), arena.source.data(), bytes); });
  if (std::memcmp(arena.destination.data(), input.data(), bytes) != 0) {
    state.SkipWithError("memcpy did not copy");
  }
}

template <typename Function>
void add(const std::string& name, ImageSize size, Caches caches, Function function) {
  auto* const added = benchmark::RegisterBenchmark(name.c_str(), function)->UseManualTime();
  if (caches == Caches::kCold) {
    // Evicting takes longer than the work itself: a few iterations have to do, fewer for larger images.
    added->Iterations(iterations_for(size, 4'000'000));
  }
}

template <typename Conversion>
void register_variants(ImageSize size, Caches caches, Values values) {
  const auto add_variant = [&](const char* variant,
                               Loop<typename Conversion::Source, typename Conversion::Destination> loop,
                               Expected<Conversion> expected) {
    const std::string full_name =
        std::string(Conversion::kName) + "/" + variant + place_name(size, caches) + "/" + name(values);
    add(full_name, size, caches,
        [=](benchmark::State& state) { convert<Conversion>(state, loop, expected, size, caches, values); });
  };
  add_variant("library", Conversion::kLibrary, Conversion::expected);
  add_variant("scalar", Conversion::kScalar, Conversion::expected);
  add_variant("opencv", opencv<Conversion>, Conversion::expected_of_opencv);
}

}  // namespace

void register_conversions() {
  for (const ImageSize size : kImageSizes) {
    for (const Caches caches : {Caches::kWarm, Caches::kCold}) {
      add("copy/memcpy" + place_name(size, caches), size, caches,
          [=](benchmark::State& state) { copy(state, size, caches); });
      for (const Values values : {Values::kRandom, Values::kExtreme}) {
        register_variants<DepthToFloat>(size, caches, values);
        register_variants<PredictionToDepth>(size, caches, values);
      }
    }
  }
}

}  // namespace enhance_depth_bench
