// enhance_depth_bench: what the library costs. scripts/bench runs it and prints the ratios that count.
#include <benchmark/benchmark.h>
#include <opencv2/core.hpp>

#include "conversion_bench.h"
#include "enhance_depth.h"

int main(int argc, char** argv) {
  // Everything measured runs on the calling thread.
  cv::setNumThreads(1);
  benchmark::AddCustomContext("library", enhance_depth_get_version());
  benchmark::AddCustomContext("compiler", __VERSION__);
  benchmark::AddCustomContext("opencv", CV_VERSION ", vector instructions " + cv::getCPUFeaturesLine());

  enhance_depth_bench::register_conversions();

  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
    return 1;
  }
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}
