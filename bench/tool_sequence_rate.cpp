// How well `enhance-depth sequence` uses the machine's cores: its rate with one job and with one per core,
// compared with the processor time of a frame.
//
//   tool_sequence_rate ENGINE RECORDING OUTPUT
//
// Prints the figures as JSON: `scripts/bench --sequence` runs it. Leaves the results in folders below OUTPUT.
#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include <nlohmann/json.hpp>
#include <sys/resource.h>

#include "sequence/engine_pool.h"
#include "sequence/output.h"
#include "sequence/progress.h"
#include "sequence/recording.h"
#include "sequence/result_journal.h"
#include "sequence/run.h"
#include "sequence/run_summary.h"
#include "support/stopwatch.h"
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

nlohmann::json measure(const std::string& engine, const std::vector<FrameFiles>& frames, std::size_t jobs,
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
  return {{"jobs", jobs},
          {"frames_per_second", count / stopwatch.seconds()},
          {"processor_seconds_per_frame", (processor_seconds() - processor_before) / count}};
}

nlohmann::json compare(const std::string& engine, const std::string& recording,
                       const std::filesystem::path& output) {
  const std::vector<FrameFiles> frames = open_recording(recording, 0.02).frames;
  const std::size_t cores = std::max(1U, std::thread::hardware_concurrency());
  return {{"frames", frames.size()},
          {"cores", cores},
          {"one_job", measure(engine, frames, 1, output / "one")},
          {"job_per_core", measure(engine, frames, cores, output / "per-core")}};
}

}  // namespace
}  // namespace enhance_depth_tool

int main(int argc, char** argv) {
  if (argc != 4) {
    std::cerr << "usage: tool_sequence_rate ENGINE RECORDING OUTPUT\n";
    return EXIT_FAILURE;
  }
  try {
    std::cout << enhance_depth_tool::compare(argv[1], argv[2], argv[3]) << "\n";
    return EXIT_SUCCESS;
  } catch (const std::exception& error) {
    std::cerr << error.what() << "\n";
    return EXIT_FAILURE;
  }
}
