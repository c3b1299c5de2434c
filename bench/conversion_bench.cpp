// The two pixel conversions beside what else could be done with the same memory.
#include "conversion_bench.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <map>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>
#include <opencv2/core.hpp>

#include "cache.h"
#include "convert/depth_conversion.h"
#include "scalar_conversion.h"
#include "test_images.h"
#include "thread_clock.h"

namespace enhance_depth_bench {
namespace {

// Both conversions read and write six bytes for each pixel, one way or the other; so does copying three.
constexpr std::size_t kMovedBytes = sizeof(std::uint16_t) + sizeof(float);
constexpr std::size_t kCopiedBytes = kMovedBytes / 2;

// One piece of memory for each size, which everything measured on that size shares: where memory lies decides
// a part of its speed, and none shall have the better place.
struct Arena {
  explicit Arena(std::size_t pixels) : source(pixels * sizeof(float)), destination(source.size()) {}
  std::vector<std::uint8_t> source;
  std::vector<std::uint8_t> destination;
};

Arena& arena_for(ImageSize size) {
  static std::map<std::size_t, Arena> arenas;
  return arenas.try_emplace(size.pixels(), size.pixels()).first->second;
}

// --- What is converted, with the results that it must have ---

struct DepthToFloat {
  using Source = std::uint16_t;
  using Destination = float;
  static constexpr int kOpenCvSource = CV_16UC1;
  static constexpr int kOpenCvDestination = CV_32FC1;
  static constexpr const char* kName = "depth_to_float";

  static const std::vector<Source>& input(ImageSize size, Values values) {
    static std::map<std::pair<std::size_t, Values>, std::vector<Source>> inputs;
    std::vector<Source>& input = inputs[{size.pixels(), values}];
    if (input.empty()) {
      input = make_depth(size.pixels(), values);
    }
    return input;
  }
  static void library(const Source* src, Destination* dst, std::size_t count) {
    enhance_depth::convert_depth_u16_to_f32_neon(src, dst, count);
  }
  static void scalar(const Source* src, Destination* dst, std::size_t count) {
    scalar_depth_to_float(src, dst, count);
  }
  static Destination expected(Source value) { return value; }
  static Destination expected_of_opencv(Source value) { return value; }
};

struct PredictionToDepth {
  using Source = float;
  using Destination = std::uint16_t;
  static constexpr int kOpenCvSource = CV_32FC1;
  static constexpr int kOpenCvDestination = CV_16UC1;
  static constexpr const char* kName = "prediction_to_depth";

  static const std::vector<Source>& input(ImageSize size, Values values) {
    static std::map<std::pair<std::size_t, Values>, std::vector<Source>> inputs;
    std::vector<Source>& input = inputs[{size.pixels(), values}];
    if (input.empty()) {
      input = make_prediction(size.pixels(), values);
    }
    return input;
  }
  static void library(const Source* src, Destination* dst, std::size_t count) {
    enhance_depth::convert_pred_f32_to_u16_neon(src, dst, count);
  }
  static void scalar(const Source* src, Destination* dst, std::size_t count) {
    scalar_prediction_to_depth(src, dst, count);
  }
  static Destination expected(Source value) {
    return std::isnan(value) ? Destination{0}
                             : static_cast<Destination>(std::trunc(std::clamp(value, 0.0F, 65535.0F)));
  }
  // Rounds to the nearest where the library truncates, and where a value leaves the range of a 32-bit integer
  // the processor decides.
  static Destination expected_of_opencv(Source value) { return cv::saturate_cast<Destination>(value); }
};

// --- The ways to do it ---

template <typename Conversion>
using Run = void (*)(const typename Conversion::Source*, typename Conversion::Destination*, std::size_t);

template <typename Conversion>
void opencv(const typename Conversion::Source* src, typename Conversion::Destination* dst,
            std::size_t count) {
  // OpenCV's matrices have no read-only form; convertTo() does not write to the one that it is called on.
  const cv::Mat source(1, static_cast<int>(count), Conversion::kOpenCvSource,
                       const_cast<typename Conversion::Source*>(src));
  cv::Mat destination(1, static_cast<int>(count), Conversion::kOpenCvDestination, dst);
  source.convertTo(destination, Conversion::kOpenCvDestination);
}

enum class Caches { kWarm, kCold };

// Times `work`, which reads all of the arena's source and writes all of its destination, or a part of both.
template <typename Work>
void time_iterations(benchmark::State& state, const Arena& arena, Caches caches, Work work) {
  for (auto iteration : state) {
    (void)iteration;
    if (caches == Caches::kCold) {
      evict(arena.source.data(), arena.source.size());
      evict(arena.destination.data(), arena.destination.size());
    }
    const double start = thread_seconds();
    work();
    benchmark::ClobberMemory();
    state.SetIterationTime(thread_seconds() - start);
  }
}

void count_work(benchmark::State& state, ImageSize size) {
  const auto pixels = static_cast<std::int64_t>(size.pixels());
  state.SetItemsProcessed(state.iterations() * pixels);
  state.SetBytesProcessed(state.iterations() * pixels * static_cast<std::int64_t>(kMovedBytes));
}

// Compares bytes, because NaN differs from itself.
template <typename T>
bool same(T left, T right) {
  return std::memcmp(&left, &right, sizeof(T)) == 0;
}

template <typename Conversion>
void convert(benchmark::State& state, Run<Conversion> run,
             typename Conversion::Destination (*expected)(typename Conversion::Source), ImageSize size,
             Caches caches, Values values) {
  Arena& arena = arena_for(size);
  const auto& input = Conversion::input(size, values);
  auto* const source = reinterpret_cast<typename Conversion::Source*>(arena.source.data());
  auto* const destination = reinterpret_cast<typename Conversion::Destination*>(arena.destination.data());
  std::copy(input.begin(), input.end(), source);
  std::fill(arena.destination.begin(), arena.destination.end(), std::uint8_t{0xA5});

  time_iterations(state, arena, caches, [&] { run(source, destination, size.pixels()); });

  std::size_t differing_pixels = 0;
  for (std::size_t i = 0; i < input.size(); ++i) {
    if (!same(destination[i], expected(input[i]))) {
      state.SkipWithError(("wrong result for pixel " + std::to_string(i)).c_str());
      return;
    }
    differing_pixels += same(destination[i], Conversion::expected(input[i])) ? 0 : 1;
  }
  count_work(state, size);
  state.counters["differing_pixels"] = static_cast<double>(differing_pixels);
}

void copy(benchmark::State& state, ImageSize size, Caches caches) {
  Arena& arena = arena_for(size);
  const std::vector<std::uint8_t> input = make_color(size.pixels() * kCopiedBytes);
  std::copy(input.begin(), input.end(), arena.source.begin());
  time_iterations(state, arena, caches,
                  [&] { std::memcpy(arena.destination.data(), arena.source.data(), input.size()); });
  if (!std::equal(input.begin(), input.end(), arena.destination.begin())) {
    state.SkipWithError("memcpy did not copy");
    return;
  }
  count_work(state, size);
}

// --- Registration ---

std::string place_name(ImageSize size, Caches caches, Values values) {
  return "/" + size.name() + (caches == Caches::kWarm ? "/warm/" : "/cold/") + name(values);
}

template <typename Conversion>
void register_variants(ImageSize size, Caches caches, Values values) {
  const auto add = [&](const char* variant, Run<Conversion> run,
                       typename Conversion::Destination (*expected)(typename Conversion::Source)) {
    const std::string name =
        std::string(Conversion::kName) + "/" + variant + place_name(size, caches, values);
    benchmark::RegisterBenchmark(name.c_str(), [=](benchmark::State& state) {
      convert<Conversion>(state, run, expected, size, caches, values);
    })->UseManualTime();
  };
  add("library", Conversion::library, Conversion::expected);
  add("scalar", Conversion::scalar, Conversion::expected);
  add("opencv", opencv<Conversion>, Conversion::expected_of_opencv);
}

}  // namespace

void register_conversions() {
  for (const ImageSize size : kImageSizes) {
    for (const Caches caches : {Caches::kWarm, Caches::kCold}) {
      benchmark::RegisterBenchmark(("copy/memcpy" + place_name(size, caches, Values::kRandom)).c_str(),
                                   [=](benchmark::State& state) { copy(state, size, caches); })
          ->UseManualTime();
      for (const Values values : {Values::kRandom, Values::kExtreme}) {
        register_variants<DepthToFloat>(size, caches, values);
        register_variants<PredictionToDepth>(size, caches, values);
      }
    }
  }
}

}  // namespace enhance_depth_bench
