// enhance_depth_bench: what the library costs. scripts/bench runs it and prints the ratios that matter.
#include <benchmark/benchmark.h>
#include <gnu/libc-version.h>
#include <opencv2/core.hpp>

#include "conversion_bench.h"
#include "emulated_board/control.h"
#include "enhance_depth.h"
#include "frame_bench.h"
#include "onnx_bench.h"

int main(int argc, char** argv) {
  // Keeps all measured work on the calling thread.
  cv::setNumThreads(1);
  // Keeps the library's log out of the output.
  emulated_board::capture_log(true);
  benchmark::AddCustomContext("library", enhance_depth_get_version());
  benchmark::AddCustomContext("compiler", __VERSION__);
  benchmark::AddCustomContext("libc", gnu_get_libc_version());
  benchmark::AddCustomContext("opencv", CV_VERSION ", vector instructions " + cv::getCPUFeaturesLine());

  enhance_depth_bench::register_conversions();
  enhance_depth_bench::register_frames();
  enhance_depth_bench::register_setup();
#ifdef ENHANCE_DEPTH_BENCH_ONNX
  enhance_depth_bench::register_onnx();
#endif

  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
    return 1;
  }
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}
