#include "onnx_bench.h"

#include <cstdint>
#include <ctime>
#include <stdexcept>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>
#include <openvino/openvino.hpp>

#include "enhance_depth.h"
#include "frame_session.h"
#include "test_images.h"

namespace enhance_depth_bench {

namespace {

constexpr ImageSize kOnnxSizes[] = {{320, 240}, {640, 480}};

double process_seconds() {
  timespec time{};
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
  return static_cast<double>(time.tv_sec) + 1e-9 * static_cast<double>(time.tv_nsec);
}

// Wall time, in which the network has all cores and the conversions have one. The counter "processor" holds
// the seconds that all threads computed, which other programs on the machine disturb less.
template <typename Work>
void measure_frames(benchmark::State& state, Work work) {
  work();  // the first run compiles
  const double start = process_seconds();
  for ([[maybe_unused]] auto iteration : state) {
    work();
  }
  state.counters["processor"] = (process_seconds() - start) / static_cast<double>(state.iterations());
}

void by_library(benchmark::State& state, ImageSize size) {
  const Handle handle(enhance_depth_create(ENHANCE_DEPTH_BENCH_ONNX, nullptr));
  if (handle == nullptr) {
    throw std::runtime_error(enhance_depth_get_last_error(nullptr));
  }
  reset_handle(handle, size);
  const auto rgb = make_color(size.pixels() * 3);
  const auto depth = make_depth(size.pixels(), Values::kRandom);
  const auto pixels = static_cast<std::int32_t>(size.pixels());
  const enhance_depth_input input{rgb.data(), pixels * 3, depth.data(), pixels * 2, size.height, size.width};
  measure_frames(state, [&] {
    enhance_depth_output output{};
    if (enhance_depth_process(handle.get(), &input, &output, nullptr) != 1) {
      state.SkipWithError("a frame failed");
    }
  });
}

void by_openvino(benchmark::State& state, ImageSize size) {
  ov::Core core;
  auto model = core.read_model(ENHANCE_DEPTH_BENCH_ONNX);
  const ov::Shape plane{1, 1, static_cast<std::size_t>(size.height), static_cast<std::size_t>(size.width)};
  ov::Shape color = plane;
  color[1] = 3;
  model->reshape({{"rgb", ov::PartialShape(color)}, {"dep", ov::PartialShape(plane)}});
  auto compiled = core.compile_model(model, "CPU", ov::hint::inference_precision(ov::element::f32),
                                     ov::hint::execution_mode(ov::hint::ExecutionMode::ACCURACY),
                                     ov::hint::performance_mode(ov::hint::PerformanceMode::LATENCY),
                                     ov::num_streams(1), ov::hint::enable_cpu_pinning(false));
  auto rgb = make_color(size.pixels() * 3);
  std::vector<float> depth;
  for (const std::uint16_t value : make_depth(size.pixels(), Values::kRandom)) {
    depth.push_back(value);
  }
  std::vector<float> pred(size.pixels());
  std::vector<float> confidence(size.pixels());
  auto request = compiled.create_infer_request();
  request.set_tensor("rgb", ov::Tensor(ov::element::u8, color, rgb.data()));
  request.set_tensor("dep", ov::Tensor(ov::element::f32, plane, depth.data()));
  request.set_tensor("pred", ov::Tensor(ov::element::f32, plane, pred.data()));
  request.set_tensor("confidence_output", ov::Tensor(ov::element::f32, plane, confidence.data()));
  measure_frames(state, [&] { request.infer(); });
}

}  // namespace

void register_onnx() {
  for (const ImageSize size : kOnnxSizes) {
    benchmark::RegisterBenchmark(("onnx/library/" + size.name()).c_str(), by_library, size)
        ->UseRealTime()
        ->Unit(benchmark::kMillisecond);
    benchmark::RegisterBenchmark(("onnx/openvino/" + size.name()).c_str(), by_openvino, size)
        ->UseRealTime()
        ->Unit(benchmark::kMillisecond);
  }
}

}  // namespace enhance_depth_bench
