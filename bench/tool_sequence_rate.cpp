// How well `enhance-depth sequence` uses the machine's cores: its rate with one job and with one per core,
// compared with the processor time of a frame.
//
//   tool_sequence_rate ENGINE RECORDING FRAMES OUTPUT
//
// The ideal rate is the number of cores divided by a frame's processor time, which is measured with one job.
// Leaves the results in folders below OUTPUT. Run by hand: on a busy machine the figures mean nothing.
#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include <sys/resource.h>

#include "sequence/engine_pool.h"
#include "sequence/output.h"
#include "sequence/progress.h"
#include "sequence/recording.h"
#include "sequence/result_journal.h"
#include "sequence/run.h"
#include "sequence/run_summary.h"
#include "support/stopwatch.h"
#include "support/text.h"
#include "support/tool_error.h"

namespace enhance_depth_tool {
namespace {

// The processor time of all threads of this process so far.
double processor_seconds() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  const auto seconds = [](const timeval& time) {
    return static_cast<double>(time.tv_sec) + 1e-6 * static_cast<double>(time.tv_usec);
  };
  return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

struct Figures {
  double frames_per_second;
  double processor_seconds_per_frame;
};

Figures measure(const std::string& engine, const std::vector<FrameFiles>& frames, std::size_t jobs,
                const std::filesystem::path& folder) {
  const SequenceOutput output(folder, true, false);
  output.create_folders();
  ResultJournal journal(output.journal());
  journal.write({});
  EnginePool engines(engine, jobs);
  std::ostringstream ignored;
  const double processor_before = processor_seconds();
  const Stopwatch stopwatch;
  Progress progress(ignored, {}, static_cast<std::int64_t>(frames.size()),
                    [&] { return stopwatch.seconds(); });
  RunSummary summary;
  SequenceRun::Settings settings;
  settings.interrupted = [] { return false; };
  SequenceRun(engines, output, journal, nullptr, progress, settings, summary).run(frames);
  if (!summary.all_went_well()) {
    throw ToolError(kFramesFailed, "Not all frames were refined: " + ignored.str());
  }
  const auto count = static_cast<double>(frames.size());
  const Figures figures{count / stopwatch.seconds(), (processor_seconds() - processor_before) / count};
  std::cout << enhance_depth_tool::count(static_cast<std::int64_t>(jobs), "job") << ": "
            << decimals(figures.frames_per_second, 1) << " frames/s, "
            << milliseconds(1e3 * figures.processor_seconds_per_frame) << " of processor time per frame"
            << std::endl;
  return figures;
}

void compare(const std::string& engine, const std::string& recording, std::size_t count,
             const std::filesystem::path& output) {
  std::vector<FrameFiles> frames = open_recording(recording, 0.02).frames;
  frames.resize(std::min(frames.size(), count));
  const std::size_t cores = std::max(1U, std::thread::hardware_concurrency());
  const Figures one = measure(engine, frames, 1, output / "1");
  const Figures all = measure(engine, frames, cores, output / std::to_string(cores));
  const double ideal = static_cast<double>(cores) / one.processor_seconds_per_frame;
  std::cout << enhance_depth_tool::count(static_cast<std::int64_t>(cores), "core") << " give at most "
            << decimals(ideal, 1) << " frames/s; reached " << percent(all.frames_per_second / ideal) << "\n";
}

}  // namespace
}  // namespace enhance_depth_tool

int main(int argc, char** argv) {
  if (argc != 5) {
    std::cerr << "usage: tool_sequence_rate ENGINE RECORDING FRAMES OUTPUT\n";
    return EXIT_FAILURE;
  }
  try {
    enhance_depth_tool::compare(argv[1], argv[2], std::stoul(argv[3]), argv[4]);
    return EXIT_SUCCESS;
  } catch (const std::exception& error) {
    std::cerr << error.what() << "\n";
    return EXIT_FAILURE;
  }
}
