// A long run's reports, progress during it and figures at its end, and how it can be interrupted.
#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <sstream>
#include <string>
#include <thread>
#include <utility>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <pthread.h>
#include <unistd.h>

#include "sequence/engine_pool.h"
#include "sequence/output.h"
#include "sequence/progress.h"
#include "sequence/result_journal.h"
#include "sequence/run.h"
#include "sequence/run_summary.h"
#include "support.h"
#include "support/interrupt.h"
#include "support/percentiles.h"

namespace enhance_depth_tool {
namespace {

TEST(ToolPercentiles, InterpolateBetweenRanks) {
  const struct {
    std::vector<double> values;
    double fraction;
    double expected;
  } kCases[] = {
      {{7.0}, 0.0, 7.0},
      {{7.0}, 0.99, 7.0},
      {{1.0, 2.0}, 0.5, 1.5},
      {{1.0, 2.0, 10.0}, 0.5, 2.0},
      {{0.0, 1.0, 2.0, 3.0, 4.0, 5.0, 6.0, 7.0, 8.0, 9.0, 10.0}, 0.95, 9.5},
      {{1.0, 2.0, 3.0, 4.0}, 1.0, 4.0},
  };
  for (const auto& item : kCases) {
    EXPECT_DOUBLE_EQ(percentile(item.values, item.fraction), item.expected)
        << item.values.size() << " values, " << item.fraction;
  }
  const Percentiles result = percentiles({30.0, 10.0, 20.0});
  EXPECT_DOUBLE_EQ(result.median, 20.0);
  EXPECT_DOUBLE_EQ(result.p95, 29.0);
  EXPECT_DOUBLE_EQ(result.p99, 29.8);
  EXPECT_DOUBLE_EQ(result.maximum, 30.0);
}

TEST(ToolProgress, KeepsOneLineUpToDateOnATerminal) {
  std::ostringstream stream;
  double now = 0.0;
  {
    Progress progress(stream, {true, 60}, {2000}, [&] { return now; });
    now = 10.0;
    progress.frame_done(false);
    EXPECT_EQ(stream.str(), "\r1 of 2000 frames, 0.1 frames/s, 5 h 33 min left\033[K");
    stream.str("");
    progress.frame_done(false);
    EXPECT_EQ(stream.str(), "") << "updates must not cost more than the frames";
    now = 20.0;
    progress.frame_done(true);
    EXPECT_EQ(stream.str(), "\r3 of 2000 frames, 0.1 frames/s, 3 h 41 min left, 1 failed\033[K");
    stream.str("");
    progress.say("a line");
    EXPECT_EQ(stream.str(), "\r\033[Ka line\n");
    now = 30.0;
    progress.frame_done(false);
    stream.str("");
  }
  EXPECT_EQ(stream.str(), "\r\033[K") << "the summary starts on a clean line";
}

TEST(ToolProgress, NeverWrapsOnANarrowTerminal) {
  std::ostringstream stream;
  Progress progress(stream, {true, 20}, {2000}, [] { return 10.0; });
  progress.frame_done(false);
  EXPECT_EQ(stream.str(), "\r1 of 2000 frames, 0\033[K");
}

TEST(ToolProgress, WritesPlainLinesNowAndThenElsewhere) {
  std::ostringstream stream;
  double now = 0.0;
  Progress progress(stream, {false, 80}, {300}, [&] { return now; });
  for (int i = 0; i < 250; ++i) {
    now += 0.125;
    progress.frame_done(i == 3);
  }
  EXPECT_EQ(stream.str(),
            "80 of 300 frames, 8.0 frames/s, 27.5 s left, 1 failed\n"
            "160 of 300 frames, 8.0 frames/s, 17.5 s left, 1 failed\n"
            "240 of 300 frames, 8.0 frames/s, 7.5 s left, 1 failed\n");
}

TEST(ToolProgress, CountsTheTimeLeftWhereThatEndsTheRun) {
  const auto text = [](Progress::Extent extent, double now) {
    std::ostringstream stream;
    Progress(stream, {false, 80}, extent, [now] { return now; }).frame_done(false);
    return stream.str();
  };
  EXPECT_EQ(text({std::nullopt, 30.0}, 20.0), "1 frame, 0.1 frames/s, 10.0 s left\n");
  EXPECT_EQ(text({2, 30.0}, 20.0), "1 of 2 frames, 0.1 frames/s, 10.0 s left\n");
  EXPECT_EQ(text({2, 50.0}, 20.0), "1 of 2 frames, 0.1 frames/s, 20.0 s left\n");
  EXPECT_EQ(text({std::nullopt, 10.0}, 20.0), "1 frame, 0.1 frames/s, 0.0 s left\n");
}

TEST(ToolInterrupt, ASecondSignalOfAnyKindEndsTheProcess) {
  const auto raise_both = [](int first, int second) {
    const InterruptGuard interrupt;
    std::raise(first);
    std::raise(interrupt.interrupted() ? second : SIGABRT);
  };
  testing::GTEST_FLAG(death_test_style) = "fast";
  for (const auto& [first, second] : {std::pair(SIGINT, SIGTERM), {SIGTERM, SIGHUP}, {SIGHUP, SIGINT}}) {
    EXPECT_EXIT(raise_both(first, second), testing::KilledBySignal(second), "");
  }
}

// Reading and writing go on after the signal instead of failing.
TEST(ToolInterrupt, DisturbsNoSystemCall) {
  const InterruptGuard interrupt;
  int ends[2] = {};
  ASSERT_EQ(pipe(ends), 0);
  const pthread_t reader = pthread_self();
  std::thread other([&] {
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    pthread_kill(reader, SIGTERM);
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    EXPECT_EQ(write(ends[1], "x", 1), 1);
  });
  char byte = 0;
  EXPECT_EQ(read(ends[0], &byte, 1), 1);
  other.join();
  EXPECT_TRUE(interrupt.interrupted());
  close(ends[0]);
  close(ends[1]);
}

// An interrupt is a reason for an early end only when there was more to do.
TEST(ToolSequenceRun, IsNotStoppedByAnInterruptAfterTheLastFrame) {
  const TemporaryDirectory folder;
  EnginePool no_engines("none", 0);
  const SequenceOutput output(folder.path(), false, false);
  ResultJournal journal(output.journal());
  std::ostringstream stream;
  for (const std::vector<FrameFiles>& frames : {std::vector<FrameFiles>(), std::vector<FrameFiles>(1)}) {
    Progress progress(stream, {}, {1}, [] { return 1.0; });
    RunSummary summary;
    SequenceRun::Settings settings;
    settings.interrupted = [] { return true; };
    SequenceRun(no_engines, output, journal, nullptr, progress, settings, summary).run(frames);
    EXPECT_EQ(summary.stopped_by, frames.empty() ? "" : "interrupted");
  }
}

RunSummary example() {
  RunSummary summary;
  summary.paired = 4;
  summary.done_before = 1;
  summary.refined = 2;
  summary.unpaired_depth = 1;
  summary.failures = {{"d/3.png", "d/3.png is damaged."}};
  summary.wall_s = 0.5;
  summary.times = {{1.0, 3.0}, {2.0, 4.0}, {5.0, 5.0}, {6.0, 6.0}};
  summary.pixels = 1000;
  summary.valid_before = 800;
  summary.valid_after = 900;
  return summary;
}

TEST(ToolRunSummary, ReadsWell) {
  EXPECT_EQ(to_text(example()),
            "Refined 2 of 3 frames in 0.5 s, 4.0 frames/s; 1 failed\n"
            "  done earlier    1 frame\n"
            "  left out        0 colour images and 1 depth image without a partner\n"
            "  valid pixels    80.0 % before, 90.0 % after\n"
            "  ms per frame        median      95 %      99 %   maximum\n"
            "  network time           2.0       2.9       3.0       3.0\n"
            "  library time           3.0       3.9       4.0       4.0\n"
            "  input time             5.0       5.0       5.0       5.0\n"
            "  output time            6.0       6.0       6.0       6.0\n");
}

TEST(ToolRunSummary, HasALinePerFrameForTables) {
  RunSummary summary;
  summary.add("a\"\n", {1.0, 2.0, 3.0, 4.0, 100, 50, 75, {3, 4}, 0.25});
  summary.add("b", {1.0, 2.0, 3.0, 4.0, 0, 0, 0, {0, 1}, std::nullopt});
  EXPECT_EQ(to_csv(summary),
            "frame,input_ms,network_ms,library_ms,output_ms,valid_fraction_before,valid_fraction_after,"
            "mean_confidence,unsure_pixels,clipped_pixels\n"
            "\"a\"\"\\x0a\",3.000,1.000,2.000,4.000,0.500000,0.750000,0.250000,3,4\n"
            "\"b\",3.000,1.000,2.000,4.000,0.000000,0.000000,,0,1\n");
  EXPECT_EQ(to_json(summary)["unsure_pixels"], 3);
  EXPECT_EQ(to_json(summary)["clipped_pixels"], 5);
  EXPECT_EQ(summary.times.input, (std::vector<double>{3.0, 3.0}));
  EXPECT_EQ(summary.times.output, (std::vector<double>{4.0, 4.0}));
}

TEST(ToolRunSummary, HasOneMeaningForPrograms) {
  const nlohmann::ordered_json json = to_json(example());
  EXPECT_EQ(json["refined"], 2);
  EXPECT_EQ(json["failures"][0]["frame"], "d/3.png");
  EXPECT_EQ(json["stopped_by"], nullptr);
  EXPECT_DOUBLE_EQ(json["frames_per_s"], 4.0);
  EXPECT_DOUBLE_EQ(json["library_ms"]["median"], 3.0);
  EXPECT_DOUBLE_EQ(json["valid_fraction_after"], 0.9);
  EXPECT_EQ(to_json(RunSummary{})["network_ms"], nullptr) << "no frames, no figures";
}

TEST(ToolEnginePool, SharesTheCoresAmongNetworks) {
  constexpr const char* kName = "EMULATED_BOARD_THREADS";
  const std::size_t cores = std::max(1U, std::thread::hardware_concurrency());
  unsetenv(kName);
  EXPECT_THROW(EnginePool("none", 1), ToolError);
  EXPECT_EQ(std::getenv(kName), nullptr);
  EXPECT_THROW(EnginePool("none", 2 * cores), ToolError);
  EXPECT_STREQ(std::getenv(kName), "1");
  setenv(kName, "3", 1);
  EXPECT_THROW(EnginePool("none", 2), ToolError);
  EXPECT_STREQ(std::getenv(kName), "3");
  unsetenv(kName);
}

}  // namespace
}  // namespace enhance_depth_tool
