// How well the stages of `enhance-depth sequence` overlap: the rate of each stage alone, then of all
// together.
//
//   tool_sequence_rate ENGINE RECORDING FRAMES OUTPUT
//
// Prints the rates and the share of the slowest stage's own rate that the whole reaches, and leaves the
// results in the folder OUTPUT. Runs by hand: on a busy machine the figures mean nothing.
#include <algorithm>
#include <cstdlib>
#include <iostream>
#include <sstream>
#include <string>
#include <vector>

#include "image/image_io.h"
#include "sequence/output.h"
#include "sequence/progress.h"
#include "sequence/recording.h"
#include "sequence/run.h"
#include "sequence/run_summary.h"
#include "support/atomic_file.h"
#include "support/engine.h"
#include "support/rgb_layout.h"
#include "support/stopwatch.h"
#include "support/text.h"
#include "support/tool_error.h"

namespace enhance_depth_tool {
namespace {

// Frames per second of `stage`, called once per frame.
template <typename Stage>
double rate(const char* name, const std::vector<FrameFiles>& frames, const Stage& stage) {
  const Stopwatch stopwatch;
  for (const FrameFiles& frame : frames) {
    stage(frame);
  }
  const double result = static_cast<double>(frames.size()) / stopwatch.seconds();
  std::cout << name << " alone: " << decimals(result, 1) << " frames/s" << std::endl;
  return result;
}

int measure(const std::string& engine_path, const std::string& recording_path, std::size_t count,
            const std::string& output_path) {
  std::vector<FrameFiles> frames = open_recording(recording_path, 0.02).frames;
  frames.resize(std::min(frames.size(), count));
  const SequenceOutput output(output_path, true, false);
  output.create_folders();
  Engine engine(engine_path);

  const double reading = rate("reading", frames, [](const FrameFiles& frame) {
    arrange_rgb(read_color(frame.color), RgbLayout::kPlanar);
    read_depth(frame.depth, {});
  });
  const std::vector<std::uint8_t> rgb = arrange_rgb(read_color(frames[0].color), RgbLayout::kPlanar);
  const cv::Mat depth = read_depth(frames[0].depth, {});
  engine.configure(depth.size());
  const double refining = rate("refining", frames, [&](const FrameFiles&) { engine.process(rgb, depth); });
  const Refined refined = engine.process(rgb, depth);
  const double writing = rate("writing", frames, [&](const FrameFiles& frame) {
    write_file(output.confidence(frame), encode_confidence(refined.confidence));
    write_file(output.depth(frame), encode_depth(refined.depth));
  });

  std::ostringstream ignored;
  const Stopwatch stopwatch;
  Progress progress(ignored, {}, static_cast<std::int64_t>(frames.size()),
                    [&] { return stopwatch.seconds(); });
  RunSummary summary;
  SequenceRun::Settings settings;
  settings.interrupted = [] { return false; };
  SequenceRun(engine, output, nullptr, progress, settings, summary).run(frames);
  const double together = static_cast<double>(summary.refined) / stopwatch.seconds();
  std::cout << "all together: " << decimals(together, 1) << " frames/s, "
            << percent(together / std::min({reading, refining, writing}))
            << " of the slowest stage's own rate\n";
  return summary.all_went_well() ? EXIT_SUCCESS : EXIT_FAILURE;
}

}  // namespace
}  // namespace enhance_depth_tool

int main(int argc, char** argv) {
  if (argc != 5) {
    std::cerr << "usage: tool_sequence_rate ENGINE RECORDING FRAMES OUTPUT\n";
    return EXIT_FAILURE;
  }
  try {
    return enhance_depth_tool::measure(argv[1], argv[2], std::stoul(argv[3]), argv[4]);
  } catch (const std::exception& error) {
    std::cerr << error.what() << "\n";
    return EXIT_FAILURE;
  }
}
